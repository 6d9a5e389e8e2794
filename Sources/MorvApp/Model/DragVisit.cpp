#include "MorvApp/Model/DragVisit.h"

#include "MorvApp/Model/AppModel.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Platform/FileStat.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <system_error>

namespace morv {

namespace {

/// A server that does not answer keeps the thread that asks it: more are not spent on one drag.
constexpr std::size_t mostQuestions = 4;

std::optional<DragStanding> readStanding(const FileURL& url, DragLinks links) {
    auto asked = url;
    if (links == DragLinks::followed) {
        std::error_code failure;
        const auto real = std::filesystem::canonical(url.path(), failure);
        if (failure)
            return std::nullopt;
        asked = FileURL::fromPath(real.native());
    }
    const auto found = statIfPresent(asked);
    return found ? std::optional(DragStanding{found->device, found->mountID, found->isDirectory()})
                 : std::nullopt;
}

std::string inQuotes(std::string_view name) {
    return fmt::format("“{}”", displayText(name));
}

} // namespace

/// Where the window was before folders opened under the drag.
struct DragVisit::Trail {
    struct Place {
        FileURL location;
        PaneNavigationHistory history;
        std::vector<FileURL> selected;
    };

    UUID tab;
    bool secondaryActive;
    std::optional<UUID> workspace;
    std::map<UUID, Place> panes; ///< by the pane's id
};

DragVisit::DragVisit(AppModel& app, TaskPools& pools)
    : QObject(&app), app_(app), reader_(readStanding), tasks_(pools) {}

DragVisit::~DragVisit() = default;

void DragVisit::enter(std::vector<FileURL> files, DragPermit permit) {
    if (files == files_ && permit == permit_)
        return;
    leave();
    files_ = std::move(files);
    fileSet_ = {files_.begin(), files_.end()};
    permit_ = permit;
    if (!files_.empty())
        askAboutFiles();
}

void DragVisit::askAboutFiles() {
    struct Answer {
        std::optional<DragStanding> standing;
        bool areFolders = true;
    };
    questions_.push_back(tasks_.run(
        TaskLane::reading,
        [files = files_, reader = reader_](const std::stop_token& stop) {
            Answer answer;
            bool isOneVolume = true;
            for (const auto& file : files) {
                const auto standing =
                    stop.stop_requested() ? std::nullopt : reader(file, DragLinks::asTheyAre);
                answer.areFolders = answer.areFolders && standing && standing->isFolder;
                if (!answer.standing)
                    answer.standing = standing;
                isOneVolume = isOneVolume && standing && standing->isBeside(*answer.standing);
                if (!isOneVolume && !answer.areFolders)
                    break;
            }
            if (!isOneVolume)
                answer.standing.reset();
            return answer;
        },
        [this](const Answer& answer) {
            standing_ = answer.standing;
            areFolders_ = answer.areFolders;
            last_.reset();
            Q_EMIT changed();
        },
        [](const std::exception_ptr&) {}));
}

VolumeRelation DragVisit::relationOf(const FileURL& folder) {
    const auto known = folders_.find(folder);
    if (known == folders_.end()) {
        if (asked_.size() < folders_.size() + mostQuestions && asked_.insert(folder).second)
            questions_.push_back(tasks_.run(
                TaskLane::reading,
                [folder, reader = reader_](const std::stop_token&) {
                    return reader(folder, DragLinks::followed);
                },
                [this, folder](const std::optional<DragStanding>& standing) {
                    folders_[folder] = standing;
                    last_.reset();
                    Q_EMIT changed();
                },
                [](const std::exception_ptr&) {}));
        return VolumeRelation::unknown;
    }
    if (!standing_)
        return VolumeRelation::unknown;
    return *standing_ && known->second && (*standing_)->isBeside(*known->second) ? VolumeRelation::same
                                                                                 : VolumeRelation::other;
}

DropAct DragVisit::hover(const DropPlace& place, DragWish wish) {
    // The hand moves often, and the files may be a hundred thousand.
    if (!last_ || last_->place != place || last_->wish != wish)
        last_ = Hovered{place, wish, actAt(place, wish)};
    return last_->act;
}

DropAct DragVisit::actAt(const DropPlace& place, DragWish wish) {
    if (!isActive())
        return DropAct::none;
    switch (place.kind) {
    case DropPlace::Kind::trash:
        return permit_.move ? DropAct::trash : DropAct::none;
    case DropPlace::Kind::workspace:
        return app_.library().workspace(place.workspace) ? DropAct::reference : DropAct::none;
    case DropPlace::Kind::favourites:
        return areFolders_ ? DropAct::favourite : DropAct::none;
    case DropPlace::Kind::folder:
        break;
    }
    return FileDrag::actInto(place.folder, files_, wish, permit_, relationOf(place.folder));
}

std::string DragVisit::sentence(const DropPlace& place, DropAct act) const {
    const auto name = place.folder.isRoot() ? "“File System”" : inQuotes(place.folder.lastComponent());
    switch (act) {
    case DropAct::none:
        return {};
    case DropAct::copy:
        return "Copy to " + name;
    case DropAct::move:
        return "Move to " + name;
    case DropAct::link:
        return "Make links in " + name;
    case DropAct::trash:
        return "Move to Trash";
    case DropAct::reference: {
        const auto* workspace = app_.library().workspace(place.workspace);
        return "Add to " + inQuotes(workspace ? workspace->name : std::string());
    }
    case DropAct::favourite:
        return "Add to Favourites";
    }
    return {};
}

DropAct DragVisit::drop(const DropPlace& place, DragWish wish) {
    const auto act = hover(place, wish);
    if (act == DropAct::none) {
        leave();
        return act;
    }
    auto files = files_;
    trail_.reset();
    end();
    switch (act) {
    case DropAct::reference:
        app_.library().appendReferences(place.workspace, files);
        break;
    case DropAct::favourite:
        app_.library().insertFavourites(files, place.index);
        break;
    default:
        app_.plan(FileDrag::request(act, std::move(files), place.folder));
        break;
    }
    return act;
}

void DragVisit::leave() {
    goBack();
    end();
}

void DragVisit::end() {
    const bool wasActive = isActive();
    for (auto& question : questions_)
        question.cancel();
    questions_.clear();
    last_.reset();
    files_.clear();
    fileSet_.clear();
    standing_.reset();
    areFolders_ = false;
    folders_.clear();
    asked_.clear();
    if (wasActive)
        Q_EMIT ended();
}

// Folders that open under the drag.

DragVisit::Trail& DragVisit::trail() {
    if (!trail_)
        trail_ = std::make_unique<Trail>(
            Trail{app_.activeTab().id, app_.secondaryActive(), app_.selectedWorkspaceID(), {}});
    return *trail_;
}

void DragVisit::openFolder(PaneModel& pane, const FileURL& folder) {
    if (!isActive() || (pane.location() == folder && !app_.selectedWorkspaceID()))
        return;
    trail().panes.try_emplace(pane.id(), Trail::Place{pane.location(), pane.history(), pane.selectedURLs()});
    app_.setSelectedWorkspaceID(std::nullopt);
    if (pane.location() != folder)
        pane.navigate(folder, PaneModel::History::record);
}

void DragVisit::openTab(const UUID& tab) {
    if (!isActive() || (app_.activeTab().id == tab && !app_.selectedWorkspaceID()))
        return;
    trail();
    app_.activateTab(tab);
}

void DragVisit::goBack() {
    if (!trail_)
        return;
    const auto was = std::move(*trail_);
    trail_.reset();
    for (const auto& [id, place] : was.panes)
        if (auto* pane = paneOf(id)) {
            pane->navigate(place.location, PaneModel::History::keep);
            pane->restoreHistory(place.history);
            pane->selectWhenLoaded(place.selected);
        }
    if (std::ranges::find(app_.tabs(), was.tab, &FileTab::id) != app_.tabs().end() &&
        app_.activeTab().id != was.tab)
        app_.activateTab(was.tab);
    if (app_.isSplit() && app_.secondaryActive() != was.secondaryActive)
        app_.activate(was.secondaryActive ? *app_.activeTab().second : *app_.activeTab().pane);
    app_.setSelectedWorkspaceID(was.workspace);
}

PaneModel* DragVisit::paneOf(const UUID& id) const {
    for (const auto& tab : app_.tabs())
        for (auto* pane : {tab.pane.get(), tab.second.get()})
            if (pane && pane->id() == id)
                return pane;
    return nullptr;
}

} // namespace morv
