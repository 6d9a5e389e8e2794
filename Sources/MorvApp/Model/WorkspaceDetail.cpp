#include "MorvApp/Model/WorkspaceDetail.h"

#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Platform/UserFolders.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

namespace morv {

namespace {

/// Where desktops mount what can be taken away, the longest first.
std::vector<std::string> volumePlaces(const Environment& environment) {
    const auto user = value(environment, "USER").value_or(std::string());
    std::vector<std::string> places;
    if (!user.empty())
        places = {"/run/media/" + user + "/", "/media/" + user + "/"};
    places.insert(places.end(), {"/media/", "/mnt/"});
    return places;
}

std::string networkPlace(const Environment& environment) {
    const auto directory = value(environment, "XDG_RUNTIME_DIR").value_or(std::string());
    return directory.empty() ? std::string() : directory + "/gvfs/";
}

std::string inWords(std::string_view path) {
    std::string words;
    for (const char byte : path)
        if (byte == '/')
            words += " › ";
        else
            words += byte;
    return words;
}

constexpr std::string_view folders = "Folders";
constexpr std::string_view documents = "Documents";
constexpr std::string_view pinnedFiles = "Pinned Files";
constexpr std::string_view unavailable = "Unavailable References";
constexpr std::array sectionTitles = {folders, documents, pinnedFiles, unavailable};

std::string_view sectionOf(const WorkspaceCardReference& card) {
    if (!card.entry)
        return unavailable;
    if (card.entry->isNavigable())
        return folders;
    return card.entry->kind == FileKind::document ? documents : pinnedFiles;
}

WorkspaceCardReference read(const FileURL& url) {
    try {
        return {url, DirectoryService::entry(url), std::nullopt};
    } catch (const std::exception& error) {
        return {url, std::nullopt, error.what()};
    }
}

} // namespace

WorkspaceDetail::WorkspaceDetail(TaskPools& pools, const Environment& environment, QObject* parent)
    : QObject(parent), home_(homeFolder().path()), volumePlaces_(volumePlaces(environment)),
      networkPlace_(networkPlace(environment)), tasks_(pools) {}

void WorkspaceDetail::check(const Workspace& workspace) {
    check_.cancel();
    checkingReferences_ = true;
    Q_EMIT changed();
    check_ = tasks_.run(
        TaskLane::reading,
        [urls = workspace.references](const std::stop_token& stop) {
            std::vector<WorkspaceCardReference> cards;
            for (const auto& url : urls) {
                checkCancelled(stop);
                cards.push_back(read(url));
            }
            return cards;
        },
        [this, id = workspace.id](std::vector<WorkspaceCardReference> cards) {
            cards_ = std::move(cards);
            loadedWorkspaceID_ = id;
            checkingReferences_ = false;
            Q_EMIT changed();
        },
        // Only a cancellation ends here, and then nothing changes.
        [](const std::exception_ptr&) {});
}

ReferenceStatus WorkspaceDetail::status(const WorkspaceCardReference& card) const {
    if (card.entry && card.entry->isDownloading)
        return {"Downloading", "arrow.down.circle"};
    if (card.entry)
        switch (card.entry->availability) {
        case FileAvailability::local:
            return {"On this computer", "checkmark.circle"};
        case FileAvailability::notDownloaded:
            return {"Cloud only", "icloud"};
        case FileAvailability::unavailable:
            return {"Unavailable", "exclamationmark.triangle"};
        }
    // What is missing where drives are mounted is on a drive that is away.
    const auto& path = card.url.path();
    if (std::ranges::any_of(volumePlaces_, [&path](const auto& place) { return path.starts_with(place); }))
        return {"Offline or unavailable", "externaldrive.badge.exclamationmark"};
    return {"Unavailable reference", "exclamationmark.triangle"};
}

std::string WorkspaceDetail::summary() const {
    const auto with = [this](FileAvailability availability) {
        return std::ranges::count_if(cards_, [availability](const auto& card) {
            return card.entry && card.entry->availability == availability;
        });
    };
    const auto local = with(FileAvailability::local);
    const auto cloud = with(FileAvailability::notDownloaded);
    return fmt::format("{} on this computer · {} cloud only · {} unavailable", local, cloud,
                       std::ssize(cards_) - local - cloud);
}

std::vector<WorkspaceCardReference> WorkspaceDetail::filtered(std::string_view query) const {
    std::vector<WorkspaceCardReference> found;
    std::ranges::copy_if(cards_, std::back_inserter(found), [wanted = pathKey(query)](const auto& card) {
        return pathKey(card.url.path()).find(wanted) != std::string::npos;
    });
    return found;
}

std::vector<WorkspaceSection> WorkspaceDetail::sections(std::string_view query) const {
    std::vector<WorkspaceSection> result;
    const auto shown = filtered(query);
    for (const auto title : sectionTitles) {
        WorkspaceSection section{title, {}};
        std::ranges::copy_if(shown, std::back_inserter(section.cards),
                             [title](const auto& card) { return sectionOf(card) == title; });
        if (!section.cards.empty())
            result.push_back(std::move(section));
    }
    return result;
}

std::string WorkspaceDetail::sourceLabel(const FileURL& reference) const {
    const auto path = reference.parent().path();
    const auto rest = [&path](std::string_view place) { return inWords(path.substr(place.size())); };
    if (!networkPlace_.empty() && path.starts_with(networkPlace_))
        return rest(networkPlace_);
    for (const auto& place : volumePlaces_)
        if (path.starts_with(place))
            return rest(place);
    // Folders of sync clients stand in the home directory, so that their names come first here.
    if (path.starts_with(home_ + "/"))
        return rest(home_ + "/");
    return path;
}

} // namespace morv
