#include "MorvCommand/RecordCommands.h"

#include "MorvCommand/Presentation.h"
#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Records/SQLiteStore.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace morv {

namespace {

/// For what needs no engine.
struct Records {
    explicit Records(const FileURL& directory) : lock(directory), store(directory.child("Morv.sqlite")) {}

    DataDirectoryLock lock;
    SQLiteStore store;
};

template <class T>
std::string jsonLine(const std::vector<T>& values) {
    return jsonArray(values) + "\n";
}

void configure(SuggestionMemoryStore& memory, const SuggestionsChange& change) {
    if (change == SuggestionsChange())
        return;
    auto preferences = memory.preferences();
    preferences.enabled = change.enabled.value_or(preferences.enabled);
    preferences.suggestionsEnabled = change.suggestionsEnabled.value_or(preferences.suggestionsEnabled);
    preferences.retentionDays = change.retentionDays.value_or(preferences.retentionDays);
    if (change.everywhere) {
        preferences.allowedRoots.clear();
        preferences.excludedRoots.clear();
    }
    std::ranges::copy(change.allowed, std::back_inserter(preferences.allowedRoots));
    std::ranges::copy(change.excluded, std::back_inserter(preferences.excludedRoots));
    memory.configure(std::move(preferences));
}

/// By its id, else by its name.
Workspace workspaceCalled(const std::string& called, const std::vector<Workspace>& known) {
    if (const auto id = UUID::parse(called)) {
        const auto found = std::ranges::find(known, *id, &Workspace::id);
        if (found != known.end())
            return *found;
    }
    const auto found = std::ranges::find(known, called, &Workspace::name);
    if (found == known.end())
        throw FileOperationError::unavailable(
            fmt::format("There is no workspace “{}”.", displayText(called)));
    if (std::ranges::count(known, called, &Workspace::name) > 1)
        throw FileOperationError::unavailable(
            fmt::format("Several workspaces are called “{}”. Name one by its id.", displayText(called)));
    return *found;
}

/// The workspace as it is afterwards; as it was, when it has been deleted.
Workspace changedWorkspace(WorkspaceRepository& workspaces, const CommandLine& line) {
    const auto& request = line.workspace;
    if (line.verb == Verb::createWorkspace)
        return workspaces.create(request.name, line.paths, request.color);
    auto workspace = workspaceCalled(request.workspace, workspaces.list());
    if (line.verb == Verb::deleteWorkspace) {
        workspaces.remove(workspace.id);
        return workspace;
    }
    if (line.verb == Verb::addToWorkspace)
        workspace = workspace.adding(line.paths);
    else if (line.verb == Verb::removeFromWorkspace)
        workspace = workspace.removing(line.paths);
    else
        workspace.name = request.name;
    workspaces.save(workspace);
    return workspace;
}

} // namespace

std::string suggestionsAnswer(const CommandLine& line) {
    Records records(line.dataDirectory);
    SuggestionMemoryStore memory(records.store);
    const bool json = line.output == OutputForm::json;
    switch (line.verb) {
    case Verb::exportSuggestions:
        return jsonLine(memory.records());
    case Verb::suggest: {
        const auto found = memory.suggestions(DirectoryService::entry(line.paths.front()));
        return json ? jsonLine(found) : suggestionsText(found);
    }
    case Verb::configureSuggestions:
        configure(memory, line.suggestionsChange);
        return json ? toJSON(memory.preferences()) + "\n" : preferencesText(memory.preferences());
    case Verb::clearSuggestions:
        memory.clear();
        break;
    case Verb::forgetSuggestions:
        memory.forget(line.paths.front());
        break;
    case Verb::removeSuggestion:
        memory.remove(line.suggestion);
        break;
    default:
        break;
    }
    return json ? jsonLine(memory.records()) : memoryText(memory.preferences(), memory.records());
}

std::string workspaceAnswer(const CommandLine& line) {
    Records records(line.dataDirectory);
    WorkspaceRepository workspaces(records.store);
    const bool json = line.output == OutputForm::json;
    if (line.verb != Verb::listWorkspaces) {
        const auto workspace = changedWorkspace(workspaces, line);
        return json ? toJSON(workspace) + "\n" : workspaceText(workspace);
    }
    const auto known = workspaces.list();
    if (json)
        return jsonLine(known);
    std::string text;
    for (const auto& workspace : known)
        text += workspaceText(workspace);
    return text;
}

} // namespace morv
