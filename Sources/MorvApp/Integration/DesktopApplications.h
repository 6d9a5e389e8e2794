// The installed applications, from their desktop entries. Safe from any thread; calls block.
#pragma once

#include "MorvApp/Model/ApplicationCatalogue.h"

namespace morv {

class DesktopApplications : public ApplicationCatalogue {
public:
    std::vector<InstalledApplication> thatOpen(const std::vector<FileURL>& items) const override;
    void open(const InstalledApplication& application, const std::vector<FileURL>& items) const override;
};

} // namespace morv
