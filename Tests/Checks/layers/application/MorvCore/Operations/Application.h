#include "MorvApp/Model/AppModel.h"
