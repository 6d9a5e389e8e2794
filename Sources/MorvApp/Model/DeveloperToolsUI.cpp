#include "MorvApp/Model/DeveloperToolsUI.h"

#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Foundation/Errors.h"

#include <fmt/format.h>
#include <utility>

namespace morv {

namespace {

using Tool = DeveloperPathIntent::Tool;

std::string nameOf(const DeveloperPathIntent& intent) {
    if (intent.editor)
        return std::string(displayName(*intent.editor));
    return intent.tool == Tool::warp ? "Warp" : "Terminal";
}

bool exists(const FileURL& url) {
    try {
        DirectoryService::entry(url);
        return true;
    } catch (const PosixError&) {
        return false;
    }
}

/// Opens the folder that `at` is or lies in. The sentence of what is in the way, or nothing.
std::optional<std::string> opened(const DeveloperToolLauncher& launcher, const DeveloperTool& tool,
                                  const FileURL& at) {
    if (!exists(tool.application))
        return "The selected application is no longer available. Choose your editor again.";
    std::optional<FileEntry> target;
    try {
        target = DirectoryService::entry(at);
    } catch (const PosixError&) {
        return "This location is no longer available.";
    }
    launcher.open(tool, target->isNavigable() ? at.asFolder() : at.parent().asFolder());
    return std::nullopt;
}

/// The user's own terminal stands before all others, and nothing stands in for it.
std::optional<DeveloperTool> found(const DeveloperToolLauncher& launcher, const DeveloperPathIntent& intent,
                                   const std::string& ownTerminal) {
    const bool isOwn = intent.tool == Tool::terminal && !intent.editor && !ownTerminal.empty();
    return isOwn ? launcher.terminal(ownTerminal) : launcher.find(intent);
}

} // namespace

DeveloperToolsUI::DeveloperToolsUI(TaskPools& pools, UserDefaults& defaults,
                                   std::shared_ptr<const DeveloperToolLauncher> launcher)
    : defaults_(defaults), launcher_(std::move(launcher)), tasks_(pools) {}

bool DeveloperToolsUI::executePathInput(std::string_view input, const FileURL& at) {
    const auto intent = PathCommandParser::parse(input);
    if (!intent)
        return false;
    launch(*intent, nameOf(*intent), at);
    return true;
}

void DeveloperToolsUI::openTerminal(const FileURL& at) {
    const DeveloperPathIntent intent{Tool::terminal, {}};
    launch(intent, nameOf(intent), at);
}

void DeveloperToolsUI::openEditor(const FileURL& at) {
    if (const auto editor = editorURL())
        return launch(DeveloperTool{*editor}, at);
    waiting_ = at;
    Q_EMIT editorChoiceRequested();
}

void DeveloperToolsUI::chooseEditor(const FileURL& application) {
    defaults_.setEditorApplication(application);
    if (const auto at = std::exchange(waiting_, std::nullopt))
        launch(DeveloperTool{application}, *at);
}

void DeveloperToolsUI::listEditors(std::function<void(const std::vector<InstalledApplication>&)> done) {
    tasks_.run(
        TaskLane::reading,
        [launcher = launcher_](const std::stop_token&) {
            return launcher ? launcher->editors() : std::vector<InstalledApplication>();
        },
        std::move(done), [this](const std::exception_ptr& failure) { Q_EMIT failed(sentence(failure)); });
}

void DeveloperToolsUI::findTerminal(std::function<void(const std::optional<DeveloperTool>&)> done) {
    tasks_.run(
        TaskLane::reading,
        [launcher = launcher_, own = defaults_.terminalCommand()](const std::stop_token&) {
            return launcher ? found(*launcher, {Tool::terminal, {}}, own) : std::nullopt;
        },
        std::move(done), [this](const std::exception_ptr& failure) { Q_EMIT failed(sentence(failure)); });
}

void DeveloperToolsUI::launch(const DeveloperPathIntent& intent, const std::string& name, const FileURL& at) {
    start([launcher = launcher_, own = defaults_.terminalCommand(), intent, name,
           at]() -> std::optional<std::string> {
        const auto tool = launcher ? found(*launcher, intent, own) : std::nullopt;
        if (!tool && intent.tool == Tool::terminal && !own.empty())
            return fmt::format("There is no program “{}”. Choose another terminal in Settings.", own);
        if (!tool)
            return fmt::format("{} is not installed. Choose an installed editor or use Terminal.", name);
        return opened(*launcher, *tool, at);
    });
}

void DeveloperToolsUI::launch(const DeveloperTool& tool, const FileURL& at) {
    start([launcher = launcher_, tool, at]() -> std::optional<std::string> {
        return launcher ? opened(*launcher, tool, at) : std::nullopt;
    });
}

void DeveloperToolsUI::start(std::function<std::optional<std::string>()> work) {
    tasks_.run(
        TaskLane::reading, [run = std::move(work)](const std::stop_token&) { return run(); },
        [this](const std::optional<std::string>& obstacle) {
            if (obstacle)
                Q_EMIT failed(*obstacle);
        },
        [this](const std::exception_ptr& failure) { Q_EMIT failed(sentence(failure)); });
}

} // namespace morv
