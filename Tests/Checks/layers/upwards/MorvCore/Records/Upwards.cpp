#include "MorvCore/Operations/Operations.h"
