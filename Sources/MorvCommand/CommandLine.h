// What morvctl was asked to do, as typed.
//
// Value       names and paths are bytes; relative paths are taken from the working directory
// Threading   stateless
#pragma once

#include "MorvCore/Folders/SearchService.h"
#include "MorvCore/Operations/FileOperationEngine.h"
#include "MorvCore/Review/SmartDownloadsService.h"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace morv {

enum class Verb : std::uint8_t {
    list,
    info,
    fingerprint,
    plan,
    run,
    execute,
    undo,
    history,
    listHandoffs,
    acknowledgeHandoff,
    search,
    watch,
    checkArchive,
    listArchive,
    downloads,
    tidy,
    git,
    insight,
    listSuggestions,
    clearSuggestions,
    exportSuggestions,
    configureSuggestions,
    suggest,
    forgetSuggestions,
    removeSuggestion,
    listWorkspaces,
    createWorkspace,
    addToWorkspace,
    removeFromWorkspace,
    renameWorkspace,
    deleteWorkspace
};
enum class OutputForm : std::uint8_t { text, json };
/// Whether a plan that needs review was accepted beforehand (--yes).
enum class Review : std::uint8_t { ask, accepted };

/// What is to be other than it is.
struct SuggestionsChange {
    std::optional<bool> enabled;
    std::optional<bool> suggestionsEnabled;
    std::optional<std::int64_t> retentionDays;
    bool everywhere = false; ///< drops the places that were allowed and excluded before
    std::vector<FileURL> allowed;
    std::vector<FileURL> excluded;

    friend bool operator==(const SuggestionsChange&, const SuggestionsChange&) = default;
};

struct WorkspaceRequest {
    std::string workspace; ///< an id or a name
    std::string name;      ///< the new one
    std::string color;
};

struct CommandLine {
    Verb verb = Verb::list;
    OutputForm output = OutputForm::text;
    FileURL dataDirectory;
    HiddenItems hidden = HiddenItems::skip;
    Review review = Review::ask;
    std::vector<FileURL> paths; ///< list, downloads, tidy, archive, insight: the one item; others: the items
    OperationRequest request;   ///< plan, run
    SearchRequest search;       ///< search
    std::string planFile;       ///< execute: a path, or "-" for standard input
    std::optional<UUID> operation; ///< undo: absent for the newest that can be undone
    UUID handoff;                  ///< handoffs acknowledge
    std::string outcome;           ///< handoffs acknowledge: what was seen
    SmartDownloadsRequest downloads;
    double gitTimeout = 3;   ///< git: seconds
    FileURL tidyDestination; ///< tidy: the folder in which the kind folders are to stand
    SuggestionsChange suggestionsChange;
    UUID suggestion; ///< suggestions remove
    WorkspaceRequest workspace;
};

/// The arguments make no sense; what() is one sentence.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Help was asked for; what() is the page.
class HelpRequest : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Throws UsageError or HelpRequest. Looks nothing up on disk but the working directory.
CommandLine parseCommandLine(int count, const char* const* arguments);

} // namespace morv
