// The desktop's own settings, where their schema is installed. Blocks while the settings service is reached:
// call it on a worker.
#pragma once

#include "MorvApp/Integration/GObjects.h"

namespace morv {

/// Null when this desktop has no such schema or key. Asking never ties this process to the session bus.
GHandle<GSettings> desktopSettings(const char* schema, const char* key);

} // namespace morv
