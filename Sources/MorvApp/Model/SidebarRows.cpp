#include "MorvApp/Model/SidebarRows.h"

#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Platform/UserFolders.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

namespace morv {

namespace {

using Kind = SidebarRow::Kind;

/// Looked up once: the rows are made again whenever a window comes forward.
const std::map<FileURL, const char*>& symbolsOfUserFolders() {
    static const auto symbols = [] {
        constexpr std::array<std::pair<UserFolder, const char*>, 6> known{
            {{UserFolder::desktop, "display"},
             {UserFolder::documents, "doc.text"},
             {UserFolder::downloads, "arrow.down.circle"},
             {UserFolder::music, "music.note"},
             {UserFolder::pictures, "photo"},
             {UserFolder::videos, "film"}}};
        std::map<FileURL, const char*> found;
        for (const auto& [folder, symbol] : known)
            if (const auto url = userFolder(folder))
                found.emplace(url->asFolder(), symbol);
        return found;
    }();
    return symbols;
}

std::string symbolOf(const FileURL& place) {
    if (place.isRoot())
        return "drive";
    if (place == homeFolder())
        return "house";
    const auto& symbols = symbolsOfUserFolders();
    const auto known = symbols.find(place.asFolder());
    return known == symbols.end() ? "folder" : known->second;
}

SidebarRow placeRow(Kind kind, std::string title, std::string symbol, const FileURL& place) {
    SidebarRow row;
    row.kind = kind;
    row.title = displayText(title);
    row.symbol = std::move(symbol);
    row.place = place;
    row.tip = displayText(place.path());
    return row;
}

std::vector<SidebarRow> favouriteRows(const FileLibrary& library) {
    std::vector<SidebarRow> rows;
    for (const auto& place : library.favourites())
        rows.push_back(placeRow(Kind::favourite,
                                place == homeFolder() ? "Home"
                                : place.isRoot()      ? "Computer"
                                                      : std::string(place.lastComponent()),
                                symbolOf(place), place));
    return rows;
}

std::vector<SidebarRow> volumeRows(const std::vector<Volume>& volumes, Kind kind) {
    std::vector<SidebarRow> rows;
    for (const auto& volume : volumes) {
        const bool isSyncFolder = kind == Kind::network && volume.isInternal;
        rows.push_back(placeRow(kind, volume.name,
                                isSyncFolder            ? "cloud"
                                : kind == Kind::network ? "server"
                                : volume.isInternal     ? "drive"
                                                        : "stick",
                                volume.url));
        rows.back().canEject = volume.canEject;
    }
    return rows;
}

SidebarRow namedRow(Kind kind, const std::string& title, std::string symbol, std::string tip) {
    SidebarRow row;
    row.kind = kind;
    row.title = displayText(title);
    row.symbol = std::move(symbol);
    row.tip = std::move(tip);
    return row;
}

} // namespace

std::vector<SidebarSection> sidebarSections(const AppModel& app) {
    const auto& library = app.library();
    std::vector<SidebarSection> sections{{"Favourites", favouriteRows(library)}};
    SidebarSection workspaces{"Workspaces", {}};
    for (const auto& workspace : library.workspaceList()) {
        workspaces.rows.push_back(namedRow(Kind::workspace, workspace.name, {}, displayText(workspace.name)));
        workspaces.rows.back().id = workspace.id;
        workspaces.rows.back().color = workspace.color;
    }
    SidebarSection searches{"Searches", {}};
    for (const auto& search : library.savedSearches()) {
        searches.rows.push_back(
            namedRow(Kind::search, search.name, "search", "In " + displayText(search.root.path())));
        searches.rows.back().id = search.id;
    }
    SidebarSection tags{"Tags", {}};
    for (const auto& tag : app.services().tags.names()) {
        tags.rows.push_back(
            namedRow(Kind::tag, tag, "tag", "Files with this tag, in the folder that is shown and below it"));
        tags.rows.back().tag = tag;
    }
    for (auto* section : {&workspaces, &searches, &tags})
        if (!section->rows.empty())
            sections.push_back(std::move(*section));
    const auto* volumes = app.volumes();
    sections.push_back({"Volumes", volumes ? volumeRows(volumes->mountedVolumes(), Kind::volume)
                                           : std::vector<SidebarRow>()});
    if (volumes && !volumes->cloudLocations().empty())
        sections.push_back({"Cloud and Network", volumeRows(volumes->cloudLocations(), Kind::network)});
    sections.push_back({{}, {namedRow(Kind::trash, "Trash", "trash", "Opens in the system file manager")}});
    return sections;
}

bool isShown(const AppModel& app, const SidebarRow& row) {
    const auto& pane = app.activePane();
    if (row.kind == Kind::workspace)
        return app.selectedWorkspaceID() == row.id;
    if (app.selectedWorkspaceID())
        return false;
    if (row.kind == Kind::tag)
        return pane.tagFilter() == row.tag;
    return row.isPlace() && !pane.isSearch() && row.place == pane.location();
}

void openRow(AppModel& app, const SidebarRow& row) {
    const auto& library = app.library();
    switch (row.kind) {
    case Kind::favourite:
    case Kind::volume:
    case Kind::network:
        return app.showFolder(row.place);
    case Kind::trash:
        return app.services().trash.openTrash();
    case Kind::workspace:
        if (const auto* workspace = library.workspace(row.id))
            app.openWorkspace(static_cast<std::size_t>(workspace - library.workspaceList().data()));
        return;
    case Kind::search: {
        const auto& searches = library.savedSearches();
        if (const auto found = std::ranges::find(searches, row.id, &SavedFileSearch::id);
            found != searches.end())
            app.openSearch(SavedFileSearch(*found));
        return;
    }
    case Kind::tag:
        return app.filterTag(row.tag);
    }
}

std::optional<DropPlace> dropPlace(const SidebarRow& row) {
    if (row.isPlace())
        return DropPlace::into(row.place);
    if (row.kind == Kind::workspace)
        return DropPlace::intoWorkspace(row.id);
    return row.kind == Kind::trash ? std::optional(DropPlace::intoTrash()) : std::nullopt;
}

} // namespace morv
