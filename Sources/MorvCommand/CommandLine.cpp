#include "MorvCommand/CommandLine.h"

#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Platform/UserFolders.h"
#include "MorvCore/Workspaces/WorkspaceRepository.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <fmt/format.h>
#include <utility>

namespace morv {

namespace {

constexpr char shield = '\x01';

// CLI11 takes a value in brackets for a list and "++" for the end of a command. Both are good file names.
std::string shielded(std::string argument) {
    if (argument == "++" || (!argument.empty() && (argument.front() == '[' || argument.front() == shield)))
        argument.insert(argument.begin(), shield);
    return argument;
}

std::string unshielded(std::string value) {
    if (!value.empty() && value.front() == shield)
        value.erase(0, 1);
    return value;
}

std::vector<FileURL> urls(const std::vector<std::string>& values) {
    std::vector<FileURL> result;
    result.reserve(values.size());
    for (const auto& value : values) {
        if (value.empty())
            throw UsageError("An empty name is no file.");
        result.push_back(FileURL::fromArgument(unshielded(value)));
    }
    return result;
}

struct RawArguments {
    std::optional<std::string> data;
    bool json = false;
    bool hidden = false;
    bool yes = false;
    std::vector<std::string> paths;
    std::string kind;
    std::optional<std::string> to;
    std::optional<std::string> name;
    std::vector<std::string> tags;
    std::string collision = "keepBoth";
    std::string planFile;
    std::string operation;
    std::string outcome;
    std::string grouping = "kind";
    SmartDownloadsRequest downloads;
    double gitTimeout = CommandLine().gitTimeout;
    std::string folder;
    std::string query;
    std::int64_t limit = SearchRequest().limit;
    bool enable = false;
    bool disable = false;
    bool suggest = false;
    bool noSuggest = false;
    bool everywhere = false;
    std::optional<std::int64_t> retentionDays;
    std::vector<std::string> allowed;
    std::vector<std::string> excluded;
    std::string record;
    std::string workspace;
    std::string workspaceName;
    std::string color = std::string(Workspace::colors.front());
};

void addTagOption(CLI::App& command, RawArguments& raw) {
    command.add_option("--tag", raw.tags, "A tag; may be given again")
        ->type_name("TAG")
        ->allow_extra_args(false);
}

void addRequestOptions(CLI::App& command, RawArguments& raw) {
    command.add_option("KIND", raw.kind, "copy, move, rename, duplicate, trash, newFolder, alias, tags, …")
        ->required();
    command.add_option("SOURCE", raw.paths, "What to act on");
    command.add_option("--to", raw.to, "The destination folder")->type_name("FOLDER");
    command
        .add_option("--name", raw.name,
                    "The new name; for several sources a template with {name}, {ext}, {n}")
        ->type_name("NAME");
    addTagOption(command, raw);
    command.add_option("--collision", raw.collision, "What to do with a taken name: keepBoth, skip or fail")
        ->type_name("POLICY");
}

/// A group of verbs and what each of them is called in a CommandLine.
using Verbs = std::vector<std::pair<const CLI::App*, Verb>>;

void addArchiveVerbs(CLI::App& app, RawArguments& raw, Verbs& verbs) {
    auto& group = *app.add_subcommand("archive", "Look into a ZIP archive; nothing is extracted");
    group.require_subcommand(1);
    const auto add = [&](const char* name, const char* help, Verb verb) {
        auto& command = *group.add_subcommand(name, help);
        verbs.emplace_back(&command, verb);
        command.add_option("FILE", raw.paths, "The archive")->required()->expected(1);
    };
    add("check", "Say whether an archive is harmless enough to be extracted", Verb::checkArchive);
    add("list", "List what a harmless archive holds", Verb::listArchive);
}

void addHandoffVerbs(CLI::App& app, RawArguments& raw, Verbs& verbs) {
    auto& group = *app.add_subcommand("handoffs", "Show what was handed to the system, such as Empty Trash");
    auto& acknowledge =
        *group.add_subcommand("acknowledge", "Say that it has finished: file operations may go on");
    acknowledge.add_option("ID", raw.record, "The handoff")->required();
    acknowledge.add_option("--outcome", raw.outcome, "What was seen of it")->type_name("TEXT")->required();
    verbs.emplace_back(&acknowledge, Verb::acknowledgeHandoff);
    verbs.emplace_back(&group, Verb::listHandoffs);
}

void addSuggestionVerbs(CLI::App& app, RawArguments& raw, Verbs& verbs) {
    auto& group = *app.add_subcommand("suggestions", "What is remembered of where things were filed");
    group.require_subcommand(1);
    const auto add = [&](const char* name, const char* help, Verb verb) -> CLI::App& {
        auto& command = *group.add_subcommand(name, help);
        verbs.emplace_back(&command, verb);
        return command;
    };
    add("list", "Show what is remembered, the newest first", Verb::listSuggestions);
    add("clear", "Forget all of it", Verb::clearSuggestions);
    add("export", "Print it as one JSON document", Verb::exportSuggestions);
    auto& configure = add("configure", "Show or change what may be remembered", Verb::configureSuggestions);
    auto* enable = configure.add_flag("--enable", raw.enable, "Remember from now on");
    configure.add_flag("--disable", raw.disable, "Remember nothing more; what is held stays")
        ->excludes(enable);
    auto* suggest = configure.add_flag("--suggest", raw.suggest, "Offer what was learned");
    configure.add_flag("--no-suggest", raw.noSuggest, "Learn without offering")->excludes(suggest);
    configure.add_option("--retention-days", raw.retentionDays, "Forget after so many days; 0 for never")
        ->type_name("N");
    configure.add_option("--allow", raw.allowed, "Remember only inside this folder; may be given again")
        ->type_name("DIR")
        ->allow_extra_args(false);
    configure.add_option("--exclude", raw.excluded, "Never inside this folder; may be given again")
        ->type_name("DIR")
        ->allow_extra_args(false);
    configure.add_flag("--everywhere", raw.everywhere,
                       "Drop the folders that were allowed and excluded before");
    add("suggest", "Say where an item could be filed", Verb::suggest)
        .add_option("PATH", raw.paths, "The item")
        ->required()
        ->expected(1);
    add("forget", "Forget what was filed from or to a folder", Verb::forgetSuggestions)
        .add_option("DIR", raw.paths, "The folder")
        ->required()
        ->expected(1);
    add("remove", "Forget one record", Verb::removeSuggestion)
        .add_option("ID", raw.record, "The record")
        ->required();
}

void addWorkspaceVerbs(CLI::App& app, RawArguments& raw, Verbs& verbs) {
    auto& group = *app.add_subcommand("workspace", "Named lists of references; the originals stay in place");
    group.require_subcommand(1);
    const auto add = [&](const char* name, const char* help, Verb verb) -> CLI::App& {
        auto& command = *group.add_subcommand(name, help);
        verbs.emplace_back(&command, verb);
        return command;
    };
    const auto addChange = [&](const char* name, const char* help, Verb verb) -> CLI::App& {
        auto& command = add(name, help, verb);
        command.add_option("WORKSPACE", raw.workspace, "Its id or its name")->required();
        return command;
    };
    add("list", "Show all workspaces, the oldest first", Verb::listWorkspaces);
    auto& create = add("create", "Make a workspace", Verb::createWorkspace);
    create.add_option("NAME", raw.workspaceName, "Its name")->required();
    create.add_option("PATH", raw.paths, "The first references");
    create
        .add_option("--color", raw.color, fmt::format("Its colour: {}", fmt::join(Workspace::colors, ", ")))
        ->type_name("COLOUR");
    addChange("add", "Add references at the end", Verb::addToWorkspace)
        .add_option("PATH", raw.paths, "What to refer to")
        ->required();
    addChange("remove", "Take references out", Verb::removeFromWorkspace)
        .add_option("PATH", raw.paths, "What it refers to")
        ->required();
    addChange("rename", "Give a workspace another name", Verb::renameWorkspace)
        .add_option("NAME", raw.workspaceName, "The new name")
        ->required();
    addChange("delete", "Delete a workspace; nothing that it refers to is touched", Verb::deleteWorkspace);
}

FileURL dataDirectory(const std::optional<std::string>& option) {
    if (option) {
        if (option->empty())
            throw UsageError("An empty name is no data directory.");
        return FileURL::fromArgument(unshielded(*option)).asFolder();
    }
    if (const char* environment = std::getenv("MORV_DATA_DIRECTORY"))
        return FileURL::fromArgument(environment).asFolder();
    return dataHome().child("Morv").asFolder();
}

std::vector<std::string> tags(const std::vector<std::string>& values) {
    if (!std::ranges::all_of(values, isValidUTF8))
        throw UsageError("A tag must be UTF-8 text.");
    std::vector<std::string> result;
    for (const auto& value : values)
        result.push_back(unshielded(value));
    return result;
}

OperationRequest request(const RawArguments& raw) {
    OperationRequest result;
    const auto kind = operationKind(raw.kind);
    if (!kind)
        throw UsageError(fmt::format("“{}” is not a kind of operation.", displayText(raw.kind)));
    const auto collision = collisionPolicy(raw.collision);
    if (!collision)
        throw UsageError(fmt::format("“{}” is not a collision policy: choose keepBoth, skip or fail.",
                                     displayText(raw.collision)));
    result.kind = *kind;
    result.collision = *collision;
    result.sources = urls(raw.paths);
    result.tags = tags(raw.tags);
    if (raw.to)
        result.destination = urls({*raw.to}).front();
    if (raw.name)
        result.newName = unshielded(*raw.name);
    return result;
}

SmartDownloadsGrouping grouping(const std::string& name) {
    for (const auto each : {SmartDownloadsGrouping::kind, SmartDownloadsGrouping::dateAdded}) {
        if (name == rawValue(each))
            return each;
    }
    throw UsageError(fmt::format("“{}” is not a grouping: choose kind or dateAdded.", displayText(name)));
}

UUID recordID(const std::string& text, std::string_view what) {
    if (const auto id = UUID::parse(text))
        return *id;
    throw UsageError(fmt::format("“{}” is not the id of {}.", displayText(text), what));
}

SuggestionsChange suggestionsChange(const RawArguments& raw) {
    SuggestionsChange change;
    if (raw.enable || raw.disable)
        change.enabled = raw.enable;
    if (raw.suggest || raw.noSuggest)
        change.suggestionsEnabled = raw.suggest;
    change.retentionDays = raw.retentionDays;
    change.everywhere = raw.everywhere;
    change.allowed = urls(raw.allowed);
    change.excluded = urls(raw.excluded);
    return change;
}

WorkspaceRequest workspaceRequest(const RawArguments& raw) {
    WorkspaceRequest result{unshielded(raw.workspace), unshielded(raw.workspaceName), raw.color};
    if (!isValidUTF8(result.name))
        throw UsageError("The name of a workspace must be UTF-8 text.");
    if (std::ranges::find(Workspace::colors, result.color) == Workspace::colors.end())
        throw UsageError(fmt::format("“{}” is not a colour: choose {}.", displayText(result.color),
                                     fmt::join(Workspace::colors, ", ")));
    return result;
}

std::string sentence(std::string text) {
    std::ranges::replace(text, '\n', ' ');
    text = displayText(text);
    while (!text.empty() && (text.back() == ' ' || text.back() == '.'))
        text.pop_back();
    return text + ".";
}

} // namespace

CommandLine parseCommandLine(int count, const char* const* arguments) {
    RawArguments raw;
    CLI::App app("Morv on the command line: plans, verified operations, receipts and undo.", "morvctl");
    app.fallthrough();
    app.require_subcommand(1);
    app.add_option("--data", raw.data,
                   "The data directory, instead of $MORV_DATA_DIRECTORY or the user’s own")
        ->type_name("DIR");
    app.add_flag("--json", raw.json, "Print records as one JSON document");

    auto& list = *app.add_subcommand("list", "List a folder");
    list.add_option("FOLDER", raw.paths, "The folder")->required()->expected(1);
    list.add_flag("--hidden", raw.hidden, "Show hidden items too");
    auto& search = *app.add_subcommand("search", "Find items below a folder by name and tags");
    search.add_option("FOLDER", raw.folder, "Where to search")->required();
    search.add_option("QUERY", raw.query, "A part of the name; an empty text for every name")->required();
    addTagOption(search, raw);
    search.add_flag("--hidden", raw.hidden, "Search hidden items too");
    search.add_option("--limit", raw.limit, "Stop after so many items")->type_name("N");
    auto& watch = *app.add_subcommand("watch", "Print a line for each change in a folder until stopped");
    watch.add_option("FOLDER", raw.paths, "The folder")->required()->expected(1);
    auto& info = *app.add_subcommand("info", "Say what items are");
    info.add_option("PATH", raw.paths, "The items")->required();
    auto& fingerprint = *app.add_subcommand("fingerprint", "Print the digests of files and trees");
    fingerprint.add_option("PATH", raw.paths, "The items")->required();
    auto& plan = *app.add_subcommand("plan", "Preview an operation; nothing is changed");
    addRequestOptions(plan, raw);
    auto& run = *app.add_subcommand("run", "Preview an operation and carry it out");
    addRequestOptions(run, raw);
    run.add_flag("--yes", raw.yes, "Accept the plan’s warnings beforehand");
    auto& execute = *app.add_subcommand("execute", "Carry out a plan that “plan --json” printed");
    execute.add_option("PLANFILE", raw.planFile, "The plan, or - for standard input")->required();
    auto& undo = *app.add_subcommand("undo", "Undo an operation");
    undo.add_option("ID", raw.operation, "The operation; without it the newest that can be undone");
    auto& history = *app.add_subcommand("history", "Show the receipts of all operations");
    auto& downloads = *app.add_subcommand("downloads", "Show a folder in groups, by kind or by date added");
    downloads.add_option("FOLDER", raw.paths, "The folder")->required()->expected(1);
    downloads.add_option("--by", raw.grouping, "How to group: kind or dateAdded")->type_name("GROUPING");
    downloads.add_option("--limit", raw.downloads.maxEntries, "Read this many items at most")->type_name("N");
    downloads.add_option("--seconds", raw.downloads.maxDuration, "Read this long at most")->type_name("S");
    downloads.add_flag("--hidden", raw.hidden, "Show hidden items too");
    auto& tidy = *app.add_subcommand("tidy", "Propose folders by kind for loose files; nothing is moved");
    tidy.add_option("FOLDER", raw.paths, "The folder")->required()->expected(1);
    tidy.add_option("--to", raw.to, "Where the kind folders are to stand, instead of the folder itself")
        ->type_name("FOLDER");
    tidy.add_flag("--hidden", raw.hidden, "Propose hidden files too");
    auto& git = *app.add_subcommand("git", "Say which branch a folder is on and how much has changed there");
    git.add_option("FOLDER", raw.paths, "The folder")->required()->expected(1);
    git.add_option("--seconds", raw.gitTimeout, "Wait this long at most")->type_name("S");
    auto& insight = *app.add_subcommand("insight", "Say at a glance what a folder holds, two levels deep");
    insight.add_option("FOLDER", raw.paths, "The folder")->required()->expected(1);
    Verbs verbs = {
        {&list, Verb::list},       {&info, Verb::info},           {&search, Verb::search},
        {&watch, Verb::watch},     {&plan, Verb::plan},           {&fingerprint, Verb::fingerprint},
        {&run, Verb::run},         {&execute, Verb::execute},     {&undo, Verb::undo},
        {&history, Verb::history}, {&downloads, Verb::downloads}, {&tidy, Verb::tidy},
        {&git, Verb::git},         {&insight, Verb::insight}};
    addHandoffVerbs(app, raw, verbs);
    addArchiveVerbs(app, raw, verbs);
    addSuggestionVerbs(app, raw, verbs);
    addWorkspaceVerbs(app, raw, verbs);

    std::vector<std::string> reversed;
    for (int i = count - 1; i > 0; --i)
        reversed.push_back(shielded(arguments[i]));
    try {
        app.parse(std::move(reversed));
    } catch (const CLI::CallForHelp&) {
        throw HelpRequest(app.help());
    } catch (const CLI::CallForAllHelp&) {
        throw HelpRequest(app.help("", CLI::AppFormatMode::All));
    } catch (const CLI::ParseError& error) {
        throw UsageError(sentence(error.what()));
    }

    CommandLine result;
    result.verb = std::ranges::find_if(verbs, [](const auto& verb) { return verb.first->parsed(); })->second;
    result.output = raw.json ? OutputForm::json : OutputForm::text;
    result.dataDirectory = dataDirectory(raw.data);
    result.hidden = raw.hidden ? HiddenItems::show : HiddenItems::skip;
    result.review = raw.yes ? Review::accepted : Review::ask;
    if (result.verb == Verb::plan || result.verb == Verb::run)
        result.request = request(raw);
    else
        result.paths = urls(raw.paths);
    if (result.verb == Verb::search) {
        result.search = {urls({raw.folder}).front(), unshielded(raw.query), tags(raw.tags), result.hidden,
                         raw.limit};
    }
    result.planFile = unshielded(raw.planFile);
    if (downloads.parsed()) {
        result.downloads = raw.downloads;
        result.downloads.grouping = grouping(raw.grouping);
        result.downloads.hidden = result.hidden;
    }
    result.gitTimeout = raw.gitTimeout;
    if (tidy.parsed())
        result.tidyDestination = raw.to ? urls({*raw.to}).front() : result.paths.front();
    if (undo.parsed() && !raw.operation.empty())
        result.operation = recordID(raw.operation, "an operation");
    if (result.verb == Verb::acknowledgeHandoff) {
        result.handoff = recordID(raw.record, "a handoff");
        result.outcome = unshielded(raw.outcome);
    }
    if (result.verb == Verb::configureSuggestions)
        result.suggestionsChange = suggestionsChange(raw);
    if (result.verb == Verb::removeSuggestion)
        result.suggestion = recordID(raw.record, "a record");
    result.workspace = workspaceRequest(raw);
    return result;
}

} // namespace morv
