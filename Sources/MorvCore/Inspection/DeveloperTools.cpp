#include "MorvCore/Inspection/DeveloperTools.h"

#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/JSONCoding.h"
#include "MorvCore/Foundation/TextSearch.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Platform/ChildProcess.h"
#include "MorvCore/Platform/UserFolders.h"

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

namespace morv {

namespace {

/// Longer than anybody waits, and far from what a clock can count.
constexpr double longestTimeout = 1e6;

/// One question's runs of Git in one folder, under one deadline.
class Git {
public:
    Git(std::string executable, FileURL folder, double timeout, std::stop_token stop)
        : executable_(std::move(executable)), folder_(std::move(folder)), stop_(std::move(stop)) {
        using Clock = std::chrono::steady_clock;
        // Written so that what is no number counts as the shortest.
        const double seconds = timeout > GitStatusService::shortestTimeout
                                   ? std::min(timeout, longestTimeout)
                                   : GitStatusService::shortestTimeout;
        deadline_ = Clock::now() +
                    std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    }

    /// The standard output of a run that succeeded.
    std::optional<std::string> answer(const std::vector<std::string>& command) const {
        ChildRequest request;
        request.executable = executable_;
        request.arguments = {"--no-optional-locks",       "-c", "core.fsmonitor=false", "-c",
                             "core.untrackedCache=false", "-C", folder_.path()};
        request.arguments.insert(request.arguments.end(), command.begin(), command.end());
        request.environment = {"PATH=/usr/bin:/bin",
                               "HOME=" + homeFolder().path(),
                               "GIT_OPTIONAL_LOCKS=0",
                               "GIT_TERMINAL_PROMPT=0",
                               "GIT_CONFIG_SYSTEM=/dev/null",
                               "GIT_CONFIG_GLOBAL=/dev/null",
                               "LC_ALL=C"};
        request.outputLimit = GitStatusService::outputLimit;
        request.deadline = deadline_;
        auto result = runChild(request, stop_);
        if (result.ending == ChildResult::Ending::timedOut)
            throw DeveloperToolError::timedOut();
        if (result.ending == ChildResult::Ending::tooMuchOutput)
            throw DeveloperToolError::tooMuchOutput();
        if (result.status != 0)
            return std::nullopt;
        return std::move(result.output);
    }

private:
    std::string executable_;
    FileURL folder_;
    std::stop_token stop_;
    std::chrono::steady_clock::time_point deadline_;
};

std::string withoutNewlines(std::string_view text) {
    const auto first = text.find_first_not_of("\r\n");
    if (first == std::string_view::npos)
        return {};
    return repairedUTF8(text.substr(first, text.find_last_not_of("\r\n") - first + 1));
}

bool isMoved(char state) {
    return state == 'R' || state == 'C';
}

} // namespace

std::string_view rawValue(DeveloperEditor editor) {
    switch (editor) {
    case DeveloperEditor::visualStudioCode:
        return "visualStudioCode";
    case DeveloperEditor::cursor:
        return "cursor";
    case DeveloperEditor::xcode:
        return "xcode";
    case DeveloperEditor::zed:
        return "zed";
    }
    return {};
}

std::string_view displayName(DeveloperEditor editor) {
    switch (editor) {
    case DeveloperEditor::visualStudioCode:
        return "Visual Studio Code";
    case DeveloperEditor::cursor:
        return "Cursor";
    case DeveloperEditor::xcode:
        return "Xcode";
    case DeveloperEditor::zed:
        return "Zed";
    }
    return {};
}

std::optional<DeveloperPathIntent> PathCommandParser::parse(std::string_view input) {
    using Tool = DeveloperPathIntent::Tool;
    static const std::array<std::pair<std::string_view, DeveloperPathIntent>, 8> commands = {{
        {"terminal", {Tool::terminal, {}}},
        {"terminal .", {Tool::terminal, {}}},
        {"warp", {Tool::warp, {}}},
        {"warp .", {Tool::warp, {}}},
        {"code .", {Tool::editor, DeveloperEditor::visualStudioCode}},
        {"cursor .", {Tool::editor, DeveloperEditor::cursor}},
        {"xed .", {Tool::editor, DeveloperEditor::xcode}},
        {"zed .", {Tool::editor, DeveloperEditor::zed}},
    }};
    const auto typed = trimmed(input);
    const auto* found = std::ranges::find(commands, typed, [](const auto& command) { return command.first; });
    return found == commands.end() ? std::nullopt : std::optional(found->second);
}

DeveloperToolError DeveloperToolError::timedOut() {
    return {Case::timedOut, "Git status took too long. Try again when the folder is available."};
}

DeveloperToolError DeveloperToolError::tooMuchOutput() {
    return {Case::tooMuchOutput, "This repository has too many changes to summarise in the path bar."};
}

DeveloperToolError DeveloperToolError::invalidLocation() {
    return {Case::invalidLocation, "Choose a readable local folder."};
}

std::string toJSON(const GitFolderStatus& status) {
    auto object = json::Value::object();
    json::put(object, "repository", status.repository);
    json::put(object, "branch", status.branch);
    json::put(object, "changedCount", status.changedCount);
    json::put(object, "isDetached", status.isDetached);
    return json::dump(object);
}

std::optional<GitFolderStatus> GitStatusService::status(const FileURL& folder, double timeout,
                                                        const std::stop_token& stop) const {
    checkCancelled(stop);
    const auto entry = DirectoryService::entry(folder);
    if (!entry.isNavigable() || entry.isSymbolicLink || entry.availability != FileAvailability::local)
        throw DeveloperToolError::invalidLocation();
    const Git git(executable_, folder, timeout, stop);

    auto top = git.answer({"rev-parse", "--show-toplevel"});
    if (!top)
        return std::nullopt;
    if (top->ends_with('\n'))
        top->pop_back();
    if (top->empty())
        return std::nullopt;
    GitFolderStatus status;
    status.repository = FileURL::folder(*top);

    auto head = git.answer({"symbolic-ref", "--quiet", "--short", "HEAD"});
    if (!head) {
        status.isDetached = true;
        head = git.answer({"rev-parse", "--short", "HEAD"});
    }
    if (!head)
        throw DeveloperToolError::failed("The repository has no readable HEAD.");
    status.branch = withoutNewlines(*head);

    const auto changes =
        git.answer({"status", "--porcelain=v1", "-z", "--untracked-files=normal", "--ignore-submodules=all"});
    if (!changes)
        throw DeveloperToolError::failed("Git could not read this repository's status.");
    status.changedCount = changeCount(*changes);
    return status;
}

std::int64_t GitStatusService::changeCount(std::string_view output) {
    std::int64_t count = 0;
    bool isSource = false;
    while (!output.empty()) {
        const auto end = std::min(output.find('\0'), output.size());
        const auto piece = output.substr(0, end);
        output.remove_prefix(std::min(end + 1, output.size()));
        if (piece.empty())
            continue;
        if (std::exchange(isSource, false) || piece.size() < 3)
            continue;
        ++count;
        isSource = isMoved(piece[0]) || isMoved(piece[1]);
    }
    return count;
}

} // namespace morv
