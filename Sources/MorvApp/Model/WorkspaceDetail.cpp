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
constexpr std::string_view unread = "Not Checked Yet";
constexpr std::array sectionTitles = {folders, documents, pinnedFiles, unavailable, unread};

using namespace std::chrono_literals;
constexpr auto usualPatience = 5s;
/// What is quicker than this is not seen on its way.
constexpr auto seen = 250ms;

WorkspaceCardReference read(const WorkspaceDetail::Reader& reader, const FileURL& url) {
    try {
        return {url, reader(url), std::nullopt};
    } catch (const std::exception& error) {
        return {url, std::nullopt, error.what()};
    }
}

WorkspaceCardReference silent(const FileURL& url) {
    return {url, std::nullopt,
            "This reference is not answering. It may be on a server or drive that cannot be reached."};
}

} // namespace

WorkspaceDetail::WorkspaceDetail(TaskPools& pools, const Environment& environment, QObject* parent)
    : QObject(parent), home_(homeFolder().path()), volumePlaces_(volumePlaces(environment)),
      networkPlace_(networkPlace(environment)), reader_(DirectoryService::entry), tasks_(pools) {
    patience_.setSingleShot(true);
    patience_.setInterval(usualPatience);
    connect(&patience_, &QTimer::timeout, this, &WorkspaceDetail::losePatience);
    telling_.setSingleShot(true);
    telling_.setInterval(seen);
    connect(&telling_, &QTimer::timeout, this, [this] {
        isSlow_ = true;
        Q_EMIT changed();
    });
}

void WorkspaceDetail::check(const Workspace& workspace) {
    std::map<FileURL, WorkspaceCardReference> known;
    for (auto& card : cards_)
        known.emplace(card.url, std::move(card));
    cards_.clear();
    for (const auto& url : workspace.references) {
        const auto found = known.find(url);
        cards_.push_back(found == known.end() ? WorkspaceCardReference{url, {}, {}} : found->second);
    }
    const bool isSame = loadedWorkspaceID_ == workspace.id;
    loadedWorkspaceID_ = workspace.id;
    isDue_ = isSame && checkingReferences_;
    if (!isDue_) {
        check_.cancel();
        checkingReferences_ = true;
        isSlow_ = false;
        telling_.start();
        ask(workspace.references);
    }
    Q_EMIT changed();
}

void WorkspaceDetail::ask(std::vector<FileURL> urls) {
    std::erase_if(away_, [](const auto& question) { return question.second.expired(); });
    std::erase_if(urls, [this](const FileURL& url) {
        if (!away_.contains(url))
            return false;
        take(silent(url));
        return true;
    });
    patience_.stop();
    if (urls.empty() || away_.size() >= mostAway)
        return finish();
    asked_ = std::move(urls);
    answered_ = 0;
    auto way = std::make_shared<char>();
    way_ = way;
    patience_.start();
    check_ = tasks_.stream<WorkspaceCardReference>(
        TaskLane::reading,
        [urls = asked_, reader = reader_, way = std::move(way)](const std::stop_token& stop,
                                                                const auto& emit) {
            for (const auto& url : urls) {
                checkCancelled(stop);
                emit(read(reader, url));
            }
        },
        [this](WorkspaceCardReference card) {
            ++answered_;
            patience_.start();
            take(std::move(card));
        },
        [this] { finish(); },
        // Only a cancellation ends here, and then nothing changes.
        [](const std::exception_ptr&) {});
}

void WorkspaceDetail::take(WorkspaceCardReference card) {
    const auto found = std::ranges::find(cards_, card.url, &WorkspaceCardReference::url);
    if (found == cards_.end() || *found == card)
        return;
    *found = std::move(card);
    if (!telling_.isActive())
        telling_.start();
}

void WorkspaceDetail::losePatience() {
    if (answered_ == asked_.size())
        return;
    check_.cancel();
    const auto silentOne = asked_.begin() + static_cast<std::ptrdiff_t>(answered_);
    away_[*silentOne] = way_;
    take(silent(*silentOne));
    ask(std::vector(silentOne + 1, asked_.end()));
}

void WorkspaceDetail::finish() {
    patience_.stop();
    if (std::exchange(isDue_, false)) {
        std::vector<FileURL> urls;
        for (const auto& card : cards_)
            urls.push_back(card.url);
        return ask(std::move(urls));
    }
    telling_.stop();
    checkingReferences_ = false;
    Q_EMIT changed();
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
    if (card.isUnread())
        return {};
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
    const auto unreadCards = std::ranges::count_if(cards_, &WorkspaceCardReference::isUnread);
    return fmt::format("{} on this computer · {} cloud only · {} unavailable", local, cloud,
                       std::ssize(cards_) - local - cloud - unreadCards);
}

std::vector<WorkspaceCardReference> WorkspaceDetail::filtered(std::string_view query) const {
    std::vector<WorkspaceCardReference> found;
    std::ranges::copy_if(cards_, std::back_inserter(found), [wanted = pathKey(query)](const auto& card) {
        return pathKey(card.url.path()).find(wanted) != std::string::npos;
    });
    return found;
}

std::string_view WorkspaceDetail::sectionOf(const WorkspaceCardReference& card) const {
    if (card.isUnread())
        return isSlow_ ? unread : std::string_view();
    if (!card.entry)
        return unavailable;
    if (card.entry->isNavigable())
        return folders;
    return card.entry->kind == FileKind::document ? documents : pinnedFiles;
}

std::vector<WorkspaceSection> WorkspaceDetail::sections(std::string_view query) const {
    std::vector<WorkspaceSection> result;
    const auto shown = filtered(query);
    for (const auto title : sectionTitles) {
        WorkspaceSection section{title, {}};
        std::ranges::copy_if(shown, std::back_inserter(section.cards),
                             [this, title](const auto& card) { return sectionOf(card) == title; });
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
