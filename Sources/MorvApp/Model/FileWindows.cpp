#include "MorvApp/Model/FileWindows.h"

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Model/VolumeSource.h"
#include "MorvCore/Platform/UserFolders.h"

#include <algorithm>
#include <array>
#include <utility>

namespace morv {

namespace {

constexpr std::string_view scheme = "morv";
constexpr std::string_view openHost = "open";
constexpr std::string_view pathItem = "path";

/// Schemes and hosts: letters of ASCII, in either case.
bool sameWord(std::string_view a, std::string_view lowerCase) {
    return std::ranges::equal(a, lowerCase, [](char x, char y) {
        return (x >= 'A' && x <= 'Z' ? static_cast<char>(x - 'A' + 'a') : x) == y;
    });
}

/// Bytes without percent escapes; nothing for an escape that is none.
std::optional<std::string> decoded(std::string_view text) {
    constexpr std::string_view digits = "0123456789abcdef";
    const auto digit = [&](char c) {
        return digits.find(c >= 'A' && c <= 'F' ? static_cast<char>(c + 32) : c);
    };
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            result += text[i];
            continue;
        }
        if (i + 2 >= text.size() || digit(text[i + 1]) == digits.npos || digit(text[i + 2]) == digits.npos)
            return std::nullopt;
        result += static_cast<char>(digit(text[i + 1]) * 16 + digit(text[i + 2]));
        i += 2;
    }
    return result;
}

/// The part before `mark`; `text` becomes what follows it.
std::string_view takeUntil(std::string_view& text, std::string_view marks) {
    const auto end = text.find_first_of(marks);
    const auto part = text.substr(0, end);
    text.remove_prefix(end == text.npos ? text.size() : end);
    return part;
}

} // namespace

AppModel* FileWindows::activeModel() const {
    return activeModel_;
}

AppModel* FileWindows::introductionTarget() const {
    return introductionTarget_;
}

void FileWindows::configure(AppModel& model) {
    activeModel_ = &model;
    connect(&model, &AppModel::requested, this, [this](FileCommand command) {
        if (command == FileCommand::newWindow)
            newWindow();
    });
}

void FileWindows::registerWindow(FileWindow& window) {
    std::erase_if(managers_, [](const ManagerWindow& each) { return !each.model || each.window.expired(); });
    managers_.push_back({&window.model(), window.weak()});
}

void FileWindows::becameKey(FileWindow& window) {
    activeModel_ = &window.model();
    if (volumes_)
        volumes_->refresh();
}

FileWindow* FileWindows::newWindow(const std::optional<FileURL>& at) {
    auto* window = factory_ ? factory_(at) : nullptr;
    if (!window)
        return nullptr;
    configure(window->model());
    registerWindow(*window);
    window->bringForward();
    return window;
}

AppModel* FileWindows::visibleManager(const FileURL& at) {
    const auto isVisible = [](const ManagerWindow& each) {
        const auto window = each.window.lock();
        return each.model && window && window->isVisible();
    };
    auto chosen = std::ranges::find_if(
        managers_, [&](const ManagerWindow& each) { return each.model == activeModel_ && isVisible(each); });
    if (chosen == managers_.end())
        chosen = std::ranges::find_if(managers_, isVisible);
    if (chosen == managers_.end()) {
        const auto* window = newWindow(at);
        return window ? activeModel() : nullptr;
    }
    activeModel_ = chosen->model;
    const auto window = chosen->window.lock();
    window->bringForward();
    return activeModel_;
}

std::size_t FileWindows::visibleCount() const {
    return static_cast<std::size_t>(std::ranges::count_if(managers_, [](const ManagerWindow& each) {
        const auto window = each.window.lock();
        return window && window->isVisible();
    }));
}

std::optional<FileURL> FileWindows::fileURL(std::string_view url) {
    if (url.size() >= 5 && sameWord(url.substr(0, 5), "file:"))
        return FileURL::parse("file:" + std::string(url.substr(5)));
    auto rest = url;
    if (!sameWord(takeUntil(rest, ":"), scheme) || !rest.starts_with("://"))
        return std::nullopt;
    rest.remove_prefix(3);
    auto host = takeUntil(rest, "/?#");
    if (const auto user = host.rfind('@'); user != host.npos)
        host.remove_prefix(user + 1);
    if (!sameWord(host.substr(0, host.find(':')), openHost))
        return std::nullopt;
    takeUntil(rest, "?#");
    if (!rest.starts_with('?'))
        return std::nullopt;
    rest.remove_prefix(1);
    auto query = takeUntil(rest, "#");
    while (!query.empty()) {
        auto value = takeUntil(query, "&");
        if (!query.empty())
            query.remove_prefix(1);
        if (decoded(takeUntil(value, "=")) != pathItem)
            continue;
        const auto path = value.empty() ? std::nullopt : decoded(value.substr(1));
        if (!path || !path->starts_with('/') || path->find('\0') != std::string::npos)
            return std::nullopt;
        return FileURL::fromPath(*path);
    }
    return std::nullopt;
}

FileWindows::Destination FileWindows::destination(const FileURL& url, Placement placement) {
    Destination result{url.parent().asFolder(), {}};
    try {
        const auto entry = DirectoryService::entry(url);
        if (url.isRoot() || (placement == Placement::open && entry.isDirectory && !entry.isPackage))
            return {url.asFolder(), {}};
        result.selection.insert(entry.id());
    } catch (const std::exception&) {
        // What cannot be read is looked for where it should be.
    }
    return result;
}

std::vector<FileWindows::Destination> FileWindows::destinations(const std::vector<FileURL>& urls,
                                                                Placement placement) {
    std::vector<Destination> result;
    for (const auto& url : urls) {
        auto one = destination(url, placement);
        const auto known = std::ranges::find(result, one.container, &Destination::container);
        if (known != result.end())
            known->selection.merge(one.selection);
        else if (result.size() < mostWindowsAtOnce)
            result.push_back(std::move(one));
    }
    return result;
}

void FileWindows::open(std::string_view url, std::set<std::string> selection,
                       std::optional<CommandCall> command) {
    const auto file = fileURL(url);
    if (!file)
        return;
    read(
        [file = *file, selection = std::move(selection)] {
            auto result = destination(file, Placement::open);
            if (!selection.empty())
                result.selection = selection;
            return std::vector{std::move(result)};
        },
        FirstWindow::visible, command);
}

void FileWindows::read(std::function<std::vector<Destination>()> find, FirstWindow first,
                       const std::optional<CommandCall>& command) {
    ++readings_;
    const auto number = ++requests_;
    if (first == FirstWindow::visible)
        newest_ = number;
    tasks_.run(
        TaskLane::reading, [find = std::move(find)](const std::stop_token&) { return find(); },
        [this, first, command, number](const std::vector<Destination>& found) {
            // The window is about to go elsewhere: nothing is done on the way.
            const bool acts = first == FirstWindow::own || number == newest_;
            if (first == FirstWindow::own || std::exchange(routed_, std::max(routed_, number)) < number)
                route(found, first, acts ? command : std::nullopt);
            --readings_;
        },
        [this](const std::exception_ptr&) { --readings_; });
}

void FileWindows::openAll(const std::vector<std::string>& urls, Placement placement,
                          const std::optional<CommandCall>& command) {
    openFiles(urls, placement, FirstWindow::visible, command);
}

void FileWindows::openFiles(const std::vector<std::string>& urls, Placement placement, FirstWindow first,
                            const std::optional<CommandCall>& command) {
    std::vector<FileURL> files;
    for (const auto& url : urls)
        if (auto file = fileURL(url))
            files.push_back(std::move(*file));
    if (files.empty())
        return;
    read([files = std::move(files), placement] { return destinations(files, placement); }, first, command);
}

void FileWindows::route(const std::vector<Destination>& destinations, FirstWindow first,
                        const std::optional<CommandCall>& command) {
    for (std::size_t i = 0; i < destinations.size(); ++i) {
        const auto& each = destinations[i];
        if (i == 0 && first == FirstWindow::visible) {
            if (auto* model = visibleManager(each.container))
                show(*model, each, command);
        } else if (auto* window = newWindow(each.container)) {
            show(window->model(), each, command);
        }
    }
}

void FileWindows::show(AppModel& model, const Destination& destination,
                       const std::optional<CommandCall>& command) {
    const bool wasShown = model.activePane().loadedLocation() == destination.container;
    model.showFolder(destination.container);
    if (destination.selection.empty() && !command)
        return;
    // What was made a moment ago may not be in the list yet.
    if (wasShown)
        model.activePane().refresh();
    new PaneArrival(model, {destination.container, destination.selection, command}, patience_, this);
}

void FileWindows::handle(const OutsideRequest& request) {
    switch (request.kind) {
    case OutsideRequest::Kind::activate:
        if (anyVisible())
            visibleManager(activeFolder());
        else
            newWindow();
        return;
    case OutsideRequest::Kind::newWindow:
        if (request.urls.empty())
            newWindow();
        else
            openFiles(request.urls, Placement::open, FirstWindow::own, {});
        return;
    case OutsideRequest::Kind::open:
        return openAll(request.urls, Placement::open);
    case OutsideRequest::Kind::showItems:
        return openAll(request.urls, Placement::reveal);
    case OutsideRequest::Kind::showProperties:
        return openAll(request.urls, Placement::reveal, FileCommand::info);
    }
}

FileURL FileWindows::activeFolder() const {
    return activeModel_ ? activeModel_->activePane().location() : homeFolder();
}

void FileWindows::showActivity() {
    if (auto* model = visibleManager(activeFolder()))
        model->perform(FileCommand::activity);
}

void FileWindows::chooseFolder() {
    if (auto* model = visibleManager(activeFolder()))
        model->perform(FileCommand::chooseFolder);
}

void FileWindows::showIntroduction(AppModel* model) {
    introductionTarget_ = model ? model : visibleManager(activeFolder());
    Q_EMIT introductionTargetChanged();
}

void FileWindows::offerIntroduction(AppModel& model) {
    if (!defaults_.introductionCompleted() && !introductionTarget_)
        showIntroduction(&model);
}

void FileWindows::introductionEnded(const AppModel& model) {
    if (introductionTarget_ != &model)
        return;
    introductionTarget_ = nullptr;
    Q_EMIT introductionTargetChanged();
}

void FileWindows::setSettingsSelection(std::string selection) {
    settingsSelection_ = std::move(selection);
    Q_EMIT settingsSelectionChanged();
}

void FileWindows::openSettings() const {
    if (settingsAction_)
        settingsAction_();
}

QuitAnswer FileWindows::applicationShouldTerminate() const {
    using Verdict = QuitAnswer::Verdict;
    if (engine_.hasActiveOperation())
        return {
            Verdict::refuse,
            "Files are still being processed",
            "Keep Morv open until the current operation finishes, or cancel it in Activity before quitting.",
            {"Keep Morv Open"}};
    if (shelvesEnabled_ && shelvesEnabled_())
        return {
            Verdict::ask,
            "Quit Morv’s desktop shelves?",
            "If you hid the desktop’s own icons, turn them back on in your desktop’s settings to see them "
            "after quitting. Your files stay in Desktop.",
            {"Keep Morv Open", "Quit Morv"}};
    return {};
}

bool FileWindows::isProcessing() const {
    try {
        engine_.activeExternalMaintenance();
    } catch (const std::exception&) {
        // What an earlier process left cannot be read: this one has never begun anything.
        return false;
    }
    return engine_.hasActiveOperation();
}

bool FileWindows::mayCloseWindow() const {
    return !isProcessing() || reachable_ || visibleCount() > 1;
}

bool FileWindows::keepsProcess() const {
    return anyVisible() || readings_ > 0 || isProcessing() ||
           std::ranges::any_of(anchors_, [](const auto& isThere) { return isThere(); });
}

} // namespace morv
