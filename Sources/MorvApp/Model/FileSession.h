// A window as it is kept under a name: its tabs, and what their panes show. A search kept by name.
//
// On disk     a session at "session." and its name; the searches as one list at "search.saved". Of a session
//             only "tabs" and, in each, "location" and "view" are required: a record of an older version
//             still restores
#pragma once

#include "MorvApp/Model/PaneNavigationHistory.h"
#include "MorvCore/Folders/FileEntry.h"
#include "MorvCore/Foundation/UUID.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace morv {

/// One tab.
struct SavedPaneSession {
    FileURL location;                 ///< of the first pane
    std::optional<FileURL> secondary; ///< of the second; absent: no split
    FolderViewPreferences view;
    std::optional<FolderViewPreferences> secondaryView;
    std::optional<std::set<std::string>> selection; ///< ids of entries
    std::optional<std::set<std::string>> secondarySelection;
    std::optional<UUID> tabID;
    std::optional<PaneNavigationHistory> history;
    std::optional<PaneNavigationHistory> secondaryHistory;

    friend bool operator==(const SavedPaneSession&, const SavedPaneSession&) = default;
};

/// From a split's key to the places of its dividers, each a fraction of the split's length.
using SplitFractions = std::map<std::string, std::vector<double>>;

struct SavedFileSession {
    std::vector<SavedPaneSession> tabs;
    std::optional<std::int64_t> activeIndex;
    std::optional<bool> secondaryActive;
    std::optional<SplitFractions> splitRatios;
    std::optional<bool> showInspector;

    friend bool operator==(const SavedFileSession&, const SavedFileSession&) = default;
};

struct SavedFileSearch {
    UUID id;
    std::string name;
    FileURL root;
    std::string query;

    friend bool operator==(const SavedFileSearch&, const SavedFileSearch&) = default;
};

std::string toJSON(const SavedFileSession& session);
std::string toJSON(const std::vector<SavedFileSearch>& searches);
/// Each throws DecodingError and leaves `out` alone then.
void fromJSON(std::string_view text, SavedFileSession& out);
void fromJSON(std::string_view text, std::vector<SavedFileSearch>& out);

} // namespace morv
