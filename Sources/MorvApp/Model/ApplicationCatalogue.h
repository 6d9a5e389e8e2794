// The applications of the desktop, for opening files in another one than the default.
#pragma once

#include "MorvApp/Model/DeveloperToolsUI.h"

#include <vector>

namespace morv {

/// Safe from any thread; calls block.
class ApplicationCatalogue {
public:
    ApplicationCatalogue() = default;
    virtual ~ApplicationCatalogue() = default;
    ApplicationCatalogue(const ApplicationCatalogue&) = delete;
    ApplicationCatalogue& operator=(const ApplicationCatalogue&) = delete;

    /// Those that open every one of `items`, the default of the first before the others. A type is told by
    /// the name alone: no item is read.
    virtual std::vector<InstalledApplication> thatOpen(const std::vector<FileURL>& items) const = 0;
    /// Throws FileOperationError::unavailable with the system's sentence when it does not start.
    virtual void open(const InstalledApplication& application, const std::vector<FileURL>& items) const = 0;
};

} // namespace morv
