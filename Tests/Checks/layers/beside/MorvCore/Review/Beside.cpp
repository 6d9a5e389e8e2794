#include "MorvCore/Inspection/FolderInsights.h"
