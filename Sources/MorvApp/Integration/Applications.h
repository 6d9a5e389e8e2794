// The desktop's applications. Threading: safe from any thread; calls block.
#pragma once

#include "MorvCore/Foundation/FileURL.h"

namespace morv {

/// Opens the item with the application that the desktop has chosen for its type.
/// Throws FileOperationError::unavailable with the system's sentence when there is none or it does not start.
void openWithDefaultApplication(const FileURL& url);

} // namespace morv
