// Records as text for people. Names and sentences from outside go through displayText.
//
// Threading   stateless
#pragma once

#include "MorvCore/Folders/SearchService.h"
#include "MorvCore/Inspection/DeveloperTools.h"
#include "MorvCore/Inspection/FolderInsights.h"
#include "MorvCore/Operations/Operations.h"
#include "MorvCore/Operations/SafeArchiveService.h"
#include "MorvCore/Review/SmartDownloadsService.h"
#include "MorvCore/Review/SuggestionMemoryStore.h"
#include "MorvCore/Workspaces/WorkspaceRepository.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace morv {

/// Records as one JSON array.
template <class T>
std::string jsonArray(const std::vector<T>& values) {
    std::string text = "[";
    for (const auto& value : values) {
        if (text.size() > 1)
            text += ",";
        text += toJSON(value);
    }
    return text + "]";
}

/// One line of a listing: time of modification, size, and the name ("/" after a folder, the target's arrow is
/// left out: a link is not followed). Ends in a line feed, as all texts here do.
std::string listingLine(const FileEntry& entry);
/// The place of each match, a line for each folder that could not be read, and the counts.
std::string searchText(const SearchResult& result);
/// One member: its size, and its name with "/" after a folder.
std::string archiveLine(const SafeArchiveService::Entry& entry);
/// What passed: how many members, and how many bytes they say that they hold.
std::string archiveText(std::size_t members, std::uint64_t size);
std::string infoText(const FileEntry& entry);
std::string fingerprintText(const FileURL& url, const FileFingerprint& fingerprint);

/// The preview: each source, its exact destination, skips, warnings and the total size.
std::string planText(const FileOperationPlan& plan);

/// Every item with its outcome, staging and recovery places.
std::string receiptText(const OperationReceipt& receipt);
/// One operation of the history: its head, and the items that something is to be said about.
std::string historyText(const OperationReceipt& receipt);
/// One handoff to the system, and what is known of it.
std::string handoffText(const SystemOperationReceipt& receipt);
/// Why no file operation can run, and what ends that.
std::string handoffRefusal(const SystemOperationReceipt& receipt);

/// The groups with their entries, then what a limit left out and what tidying would leave in place.
std::string downloadsText(const SmartDownloadsSnapshot& snapshot);
/// Each file with its proposed place, then what stays and why.
std::string tidyText(const TidyPlan& plan);
/// Where the repository is, on which branch, and how many entries have changed.
std::string gitText(const GitFolderStatus& status);
/// The numbers, the kinds, what was left out, and the names of two levels.
std::string insightText(const FileURL& folder, const FolderInsight& insight);
/// Whether the memory is enabled, and what it holds.
std::string memoryText(const SuggestionMemoryPreferences& preferences,
                       const std::vector<SuggestionMemoryRecord>& records);
std::string preferencesText(const SuggestionMemoryPreferences& preferences);
/// Each folder with the reason to offer it.
std::string suggestionsText(const std::vector<LearnedSuggestion>& suggestions);
std::string workspaceText(const Workspace& workspace);

} // namespace morv
