#include "MorvCore/Foundation/UUID.h"
