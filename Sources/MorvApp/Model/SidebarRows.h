// What a sidebar shows, in its order, and what a row leads to; no widgets. Looks nothing up on a disk.
#pragma once

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Model/FileDrag.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace morv {

struct SidebarRow {
    enum class Kind : std::uint8_t { favourite, workspace, search, tag, volume, network, trash };

    Kind kind = Kind::favourite;
    std::string title; ///< as it is shown
    std::string symbol;
    FileURL place;     ///< of favourites, volumes and network places
    UUID id;           ///< of workspaces and searches
    std::string color; ///< of a workspace
    std::string tag;   ///< its name
    std::string tip;
    bool canEject = false;

    bool isPlace() const { return kind == Kind::favourite || kind == Kind::volume || kind == Kind::network; }
    /// The same row in a list that was made anew.
    bool isSame(const SidebarRow& other) const {
        return kind == other.kind && place == other.place && id == other.id && tag == other.tag;
    }
};

struct SidebarSection {
    std::string_view title; ///< the last one has none
    std::vector<SidebarRow> rows;
};

/// Sections without rows are left out, but for the favourites and volumes.
std::vector<SidebarSection> sidebarSections(const AppModel& app);
/// Whether this is where the window is.
bool isShown(const AppModel& app, const SidebarRow& row);
void openRow(AppModel& app, const SidebarRow& row);
/// Where files go that are dropped on it.
std::optional<DropPlace> dropPlace(const SidebarRow& row);

} // namespace morv
