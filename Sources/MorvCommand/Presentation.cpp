#include "MorvCommand/Presentation.h"

#include "MorvCore/Foundation/ByteCount.h"
#include "MorvCore/Foundation/Unicode.h"

#include <array>
#include <cmath>
#include <ctime>
#include <fmt/format.h>
#include <string_view>

namespace morv {

namespace {

std::string dateText(const std::optional<Date>& date) {
    if (!date)
        return "–";
    const auto seconds = static_cast<std::time_t>(std::floor(date->unixSeconds()));
    std::tm local{};
    std::array<char, 32> text{};
    if (localtime_r(&seconds, &local) == nullptr)
        return "–";
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M", &local)};
}

std::string place(const FileURL& url) {
    return displayText(url.path());
}

std::string_view outcome(OperationItemStatus status) {
    switch (status) {
    case OperationItemStatus::pending:
        return "not finished";
    case OperationItemStatus::succeeded:
        return "done";
    case OperationItemStatus::skipped:
        return "skipped";
    case OperationItemStatus::failed:
        return "failed";
    case OperationItemStatus::cancelled:
        return "cancelled";
    case OperationItemStatus::copiedOriginalRetained:
        return "copied, original kept";
    case OperationItemStatus::undone:
        return "undone";
    }
    return "";
}

std::string itemText(const OperationItemResult& item) {
    std::string text = fmt::format("  {}: ", outcome(item.status));
    if (item.source && item.destination && *item.source != *item.destination)
        text += fmt::format("{} → {}", place(*item.source), place(*item.destination));
    else if (item.source || item.destination)
        text += place(item.source ? *item.source : *item.destination);
    text += "\n";
    if (item.error)
        text += fmt::format("      {}\n", displayText(*item.error));
    if (item.stagingURL)
        text += fmt::format("      staging: {}\n", place(*item.stagingURL));
    if (item.recoveryURL)
        text += fmt::format("      recovery: {}\n", place(*item.recoveryURL));
    return text;
}

std::string headText(const OperationReceipt& receipt) {
    std::string text = fmt::format("{} · {} · {}", displayName(receipt.kind), rawValue(receipt.status),
                                   dateText(receipt.startedAt));
    text += fmt::format("\n  id {}\n", receipt.id.text());
    if (receipt.message)
        text += fmt::format("  {}\n", displayText(*receipt.message));
    return text;
}

std::string exclusionsText(const std::vector<TidyExclusion>& exclusions) {
    std::string text;
    for (const auto& exclusion : exclusions)
        text += fmt::format("{}\n    stays: {}\n", place(exclusion.source), exclusion.reason);
    return text;
}

} // namespace

std::string listingLine(const FileEntry& entry) {
    return fmt::format("{:16}  {:>10}  {}{}\n", dateText(entry.modifiedAt), entry.formattedSize(),
                       displayText(entry.name),
                       entry.isDirectory      ? "/"
                       : entry.isSymbolicLink ? "@"
                                              : "");
}

std::string searchText(const SearchResult& result) {
    std::string text;
    for (const auto& entry : result.entries)
        text += place(entry.url()) + "\n";
    for (const auto& issue : result.issues)
        text += fmt::format("Skipped {}: {}\n", place(issue.url), displayText(issue.message));
    return text + fmt::format("{} found · {} examined · {} skipped{}\n", result.entries.size(),
                              result.scannedCount, result.skippedCount,
                              result.truncated ? " · Result limit reached" : "");
}

std::string archiveLine(const SafeArchiveService::Entry& entry) {
    return fmt::format("{:>10}  {}{}\n",
                       entry.isDirectory ? "Folder" : formatByteCount(static_cast<std::int64_t>(entry.size)),
                       displayText(entry.name), entry.isDirectory ? "/" : "");
}

std::string archiveText(std::size_t members, std::uint64_t size) {
    return fmt::format("The archive passed the check: {} {}, {} when extracted.\n", members,
                       members == 1 ? "member" : "members", formatByteCount(static_cast<std::int64_t>(size)));
}

std::string infoText(const FileEntry& entry) {
    std::string text = place(entry.url()) + "\n";
    const auto line = [&text](std::string_view name, std::string_view value) {
        text += fmt::format("  {:<10}{}\n", name, value);
    };
    line("Kind", entry.isSymbolicLink ? "Symbolic link" : title(entry.kind));
    line("Size", fmt::format("{} ({} bytes)", entry.formattedSize(), entry.size));
    line("Modified", dateText(entry.modifiedAt));
    line("Added", dateText(entry.addedAt));
    line("Identity", entry.resourceIdentity());
    line("Available", rawValue(entry.availability));
    line("Writable", entry.isWritable ? "yes" : "no");
    for (const auto& tag : entry.tags())
        line("Tag", displayText(tag));
    return text;
}

std::string fingerprintText(const FileURL& url, const FileFingerprint& fingerprint) {
    return fmt::format("{}\n  kind      {}\n  bytes     {}\n  identity  {}\n  content   {}\n  state     {}\n"
                       "  metadata  {}\n",
                       place(url), fingerprint.kind, fingerprint.byteCount, fingerprint.identity,
                       fingerprint.contentDigest, fingerprint.stateDigest, fingerprint.metadataDigest);
}

std::string planText(const FileOperationPlan& plan) {
    std::int64_t total = 0;
    std::string items;
    for (const auto& item : plan.items) {
        if (item.source)
            items += fmt::format("  {}\n", place(*item.source));
        if (item.destination)
            items += fmt::format("    → {}\n", place(*item.destination));
        if (item.skipReason)
            items += fmt::format("    skipped: {}\n", displayText(*item.skipReason));
        else if (item.fingerprint)
            total += item.fingerprint->byteCount;
    }
    std::string text = fmt::format("{}: {} {}", displayName(plan.kind), plan.items.size(),
                                   plan.items.size() == 1 ? "item" : "items");
    if (plan.kind != OperationKind::newFolder)
        text += ", " + formatByteCount(total);
    text += "\n";
    text += items;
    if (plan.kind == OperationKind::tags) {
        text += "Tags:";
        for (const auto& tag : plan.tags)
            text += fmt::format(" “{}”", displayText(tag));
        text += plan.tags.empty() ? " none\n" : "\n";
    }
    for (const auto& warning : plan.warnings)
        text += fmt::format("Warning: {}\n", displayText(warning));
    return text;
}

std::string receiptText(const OperationReceipt& receipt) {
    std::string text = headText(receipt);
    for (const auto& item : receipt.items)
        text += itemText(item);
    return text;
}

std::string historyText(const OperationReceipt& receipt) {
    std::string text = headText(receipt);
    for (const auto& item : receipt.items) {
        if (item.error || item.stagingURL || item.recoveryURL)
            text += itemText(item);
    }
    return text;
}

std::string handoffText(const SystemOperationReceipt& receipt) {
    auto text = fmt::format("{} · {} · {}\n  id {}\n", displayText(receipt.label), rawValue(receipt.status),
                            dateText(receipt.createdAt), receipt.id.text());
    if (receipt.finishedAt)
        text += fmt::format("  ended {}\n", dateText(receipt.finishedAt));
    if (receipt.outcome)
        text += fmt::format("  {}\n", displayText(*receipt.outcome));
    return text;
}

std::string handoffRefusal(const SystemOperationReceipt& receipt) {
    return fmt::format(
        "File operations wait for “{}” of {}. Check Trash, then say what became of it: morvctl "
        "handoffs acknowledge {} --outcome TEXT",
        displayText(receipt.label), dateText(receipt.createdAt), receipt.id.text());
}

std::string downloadsText(const SmartDownloadsSnapshot& snapshot) {
    std::string text;
    for (const auto& group : snapshot.groups) {
        text +=
            fmt::format("{} · {} {} · {}\n", group.title, group.entries.size(),
                        group.entries.size() == 1 ? "item" : "items", formatByteCount(group.logicalBytes()));
        for (const auto& entry : group.entries)
            text += "  " + listingLine(entry);
    }
    if (snapshot.completion == SmartDownloadsCompletion::entryLimit)
        text +=
            fmt::format("Reading stopped after {} items. Other items may exist.\n", snapshot.totalCount());
    if (snapshot.completion == SmartDownloadsCompletion::timeLimit)
        text +=
            fmt::format("The time ran out after {} items. Other items may exist.\n", snapshot.totalCount());
    return text + exclusionsText(snapshot.exclusions);
}

std::string tidyText(const TidyPlan& plan) {
    std::string text;
    for (const auto& proposal : plan.proposals) {
        text += fmt::format("{}\n    → {}\n", place(proposal.source), place(proposal.destination));
        if (proposal.hasCollision)
            text += "    This name is taken there.\n";
    }
    return text + exclusionsText(plan.exclusions);
}

std::string gitText(const GitFolderStatus& status) {
    return fmt::format("{}\n  {} {} · {} changed {}\n", place(status.repository),
                       status.isDetached ? "Detached HEAD" : "Branch", displayText(status.branch),
                       status.changedCount, status.changedCount == 1 ? "entry" : "entries");
}

std::string insightText(const FileURL& folder, const FolderInsight& insight) {
    std::string text =
        fmt::format("{} · {} · {}\n", place(folder), insight.countLabel(), insight.sizeLabel());
    if (insight.error)
        return text + fmt::format("  {}\n", displayText(*insight.error));
    for (const auto& [kind, count] : insight.counts) {
        const auto bytes = insight.kindBytes.find(kind);
        text += fmt::format("  {:<12}{:>6}  {:>10}\n", title(kind), count,
                            formatByteCount(bytes == insight.kindBytes.end() ? 0 : bytes->second));
    }
    text += fmt::format("  {}\n", insight.coverage());
    for (const auto& node : insight.peek) {
        text += fmt::format("  {}{}\n", displayText(node.entry.name), node.entry.isNavigable() ? "/" : "");
        for (const auto& child : node.children)
            text += fmt::format("    {}{}\n", displayText(child.name), child.isNavigable() ? "/" : "");
    }
    if (std::ssize(insight.peek) < insight.directCount)
        text += fmt::format("  Showing {} of {}.\n", insight.peek.size(), insight.directCount);
    return text;
}

std::string memoryText(const SuggestionMemoryPreferences& preferences,
                       const std::vector<SuggestionMemoryRecord>& records) {
    std::string text = fmt::format("Suggestion memory is {}. {} {}.\n", preferences.enabled ? "on" : "off",
                                   records.size(), records.size() == 1 ? "record" : "records");
    for (const auto& record : records)
        text += fmt::format("  {}  {} → {}\n    id {}\n", dateText(record.createdAt), place(record.source),
                            place(record.destination), record.id.text());
    return text;
}

std::string preferencesText(const SuggestionMemoryPreferences& preferences) {
    std::string text = fmt::format("Suggestion memory is {}. ", preferences.enabled ? "on" : "off");
    text += fmt::format("Suggestions are {}. ", preferences.suggestionsEnabled ? "offered" : "not offered");
    text += preferences.retentionDays == 0
                ? "Records are kept until they are removed.\n"
                : fmt::format("Records are kept for {} {}.\n", preferences.retentionDays,
                              preferences.retentionDays == 1 ? "day" : "days");
    for (const auto& root : preferences.allowedRoots)
        text += fmt::format("  only inside {}\n", place(root));
    for (const auto& root : preferences.excludedRoots)
        text += fmt::format("  never inside {}\n", place(root));
    return text;
}

std::string suggestionsText(const std::vector<LearnedSuggestion>& suggestions) {
    std::string text;
    for (const auto& suggestion : suggestions)
        text += fmt::format("{}\n    {}\n", place(suggestion.destination), suggestion.reason);
    return text;
}

std::string workspaceText(const Workspace& workspace) {
    const auto count = workspace.references.size();
    std::string text =
        fmt::format("{} · {} · {} {}\n  id {}\n", displayText(workspace.name), displayText(workspace.color),
                    count, count == 1 ? "reference" : "references", workspace.id.text());
    for (const auto& reference : workspace.references)
        text += fmt::format("  {}\n", place(reference));
    return text;
}

} // namespace morv
