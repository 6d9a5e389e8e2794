#include "MorvCore/Review/SuggestionMemoryStore.h"

#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Foundation/JSONCoding.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Records/SQLiteStore.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <map>
#include <system_error>
#include <tuple>
#include <utility>

namespace morv {

namespace {

const std::string preferencesKey = "suggestions/preferences";
const std::string recordPrefix = "suggestions/record/";
constexpr std::int64_t longestRetention = 365;
constexpr double secondsPerDay = 86'400;

std::string keyOf(const UUID& id) {
    return recordPrefix + id.text();
}

std::int64_t clampedRetention(std::int64_t days) {
    return std::clamp(days, std::int64_t{0}, longestRetention);
}

/// With links resolved as far as the path exists: what was filed is gone from where it was.
FileURL canonicalPath(const FileURL& url) {
    std::error_code failure;
    const auto resolved = std::filesystem::weakly_canonical(url.path(), failure);
    return failure ? url : FileURL::fromPath(resolved.native());
}

bool isWithinAny(const FileURL& place, const std::vector<FileURL>& roots) {
    return std::ranges::any_of(roots, [&](const FileURL& root) { return place.isWithin(root); });
}

bool mayHold(const FileURL& url, const SuggestionMemoryPreferences& policy) {
    const auto place = canonicalPath(url);
    return !isWithinAny(place, policy.excludedRoots) &&
           (policy.allowedRoots.empty() || isWithinAny(place, policy.allowedRoots));
}

bool mayHold(const SuggestionMemoryRecord& record, const SuggestionMemoryPreferences& policy) {
    return mayHold(record.source, policy) && mayHold(record.destination, policy);
}

bool isExpired(const SuggestionMemoryRecord& record, const SuggestionMemoryPreferences& policy) {
    const auto oldest =
        Date::now().sinceReference - static_cast<double>(policy.retentionDays) * secondsPerDay;
    return policy.retentionDays >= 1 && record.createdAt.sinceReference < oldest;
}

/// Equal for things that are filed alike. An unknown kind says nothing, so there the extension has to agree.
std::pair<FileKind, std::string> category(std::string_view name) {
    const auto kind = classifyName(name, false, false);
    return {kind, kind == FileKind::other ? pathKey(FileURL::extensionOf(name)) : std::string()};
}

} // namespace

std::string LearnedSuggestion::id() const {
    return std::string(rawValue(kind)) + ':' + destination.path();
}

std::string toJSON(const SuggestionMemoryPreferences& preferences) {
    auto object = json::Value::object();
    json::put(object, "enabled", preferences.enabled);
    json::put(object, "suggestionsEnabled", preferences.suggestionsEnabled);
    json::put(object, "allowedRoots", preferences.allowedRoots);
    json::put(object, "excludedRoots", preferences.excludedRoots);
    json::put(object, "retentionDays", preferences.retentionDays);
    return json::dump(object);
}

void fromJSON(std::string_view text, SuggestionMemoryPreferences& preferences) {
    const auto object = json::parse(text);
    SuggestionMemoryPreferences read;
    json::take(object, "enabled", read.enabled);
    json::take(object, "suggestionsEnabled", read.suggestionsEnabled);
    json::take(object, "allowedRoots", read.allowedRoots);
    json::take(object, "excludedRoots", read.excludedRoots);
    json::take(object, "retentionDays", read.retentionDays);
    read.retentionDays = clampedRetention(read.retentionDays);
    preferences = std::move(read);
}

std::string toJSON(const SuggestionMemoryRecord& record) {
    auto object = json::Value::object();
    json::put(object, "id", record.id);
    json::put(object, "source", record.source);
    json::put(object, "destination", record.destination);
    json::put(object, "createdAt", record.createdAt);
    return json::dump(object);
}

void fromJSON(std::string_view text, SuggestionMemoryRecord& record) {
    const auto object = json::parse(text);
    SuggestionMemoryRecord read;
    json::take(object, "id", read.id);
    json::take(object, "source", read.source);
    json::take(object, "destination", read.destination);
    json::take(object, "createdAt", read.createdAt);
    record = std::move(read);
}

std::string toJSON(const LearnedSuggestion& suggestion) {
    auto object = json::Value::object();
    json::put(object, "kind", std::string(rawValue(suggestion.kind)));
    json::put(object, "destination", suggestion.destination);
    json::put(object, "evidenceCount", suggestion.evidenceCount);
    json::put(object, "lastUsed", suggestion.lastUsed);
    json::put(object, "reason", suggestion.reason);
    return json::dump(object);
}

SuggestionMemoryPreferences SuggestionMemoryStore::preferences() const {
    return store_.load<SuggestionMemoryPreferences>(preferencesKey).value_or(SuggestionMemoryPreferences());
}

void SuggestionMemoryStore::configure(SuggestionMemoryPreferences preferences) {
    std::ranges::transform(preferences.allowedRoots, preferences.allowedRoots.begin(), canonicalPath);
    std::ranges::transform(preferences.excludedRoots, preferences.excludedRoots.begin(), canonicalPath);
    preferences.retentionDays = clampedRetention(preferences.retentionDays);
    store_.save(preferences, preferencesKey);
    prunedRecords(preferences);
}

void SuggestionMemoryStore::record(const SuggestionMemoryRecord& record) {
    const auto policy = preferences();
    if (policy.enabled && mayHold(record, policy) && !isExpired(record, policy))
        store_.save(record, keyOf(record.id));
}

void SuggestionMemoryStore::save(const SuggestionMemoryRecord& record) {
    const auto policy = preferences();
    if (!policy.enabled || !mayHold(record, policy))
        throw FileOperationError::invalid("This location is excluded from local suggestion memory.");
    if (!isExpired(record, policy))
        store_.save(record, keyOf(record.id));
}

std::vector<SuggestionMemoryRecord> SuggestionMemoryStore::records() {
    return prunedRecords(preferences());
}

// Whether the memory is enabled is not asked: pausing it would otherwise lose all that it holds.
std::vector<SuggestionMemoryRecord>
SuggestionMemoryStore::prunedRecords(const SuggestionMemoryPreferences& policy) {
    std::vector<SuggestionMemoryRecord> held;
    std::vector<std::string> refused;
    for (const auto& key : store_.keys(recordPrefix)) {
        auto record = store_.load<SuggestionMemoryRecord>(key);
        if (!record)
            continue;
        if (mayHold(*record, policy) && !isExpired(*record, policy))
            held.push_back(std::move(*record));
        else
            refused.push_back(key);
    }
    store_.removeAll(refused);
    std::ranges::stable_sort(held, std::ranges::greater(), &SuggestionMemoryRecord::createdAt);
    return held;
}

std::vector<LearnedSuggestion> SuggestionMemoryStore::suggestions(const FileEntry& entry) {
    const auto policy = preferences();
    if (!policy.enabled || !policy.suggestionsEnabled)
        return {};
    const auto wanted = category(entry.name);
    const auto ownFolder = canonicalPath(entry.url().parent());
    std::map<FileURL, LearnedSuggestion> byFolder;
    for (const auto& record : prunedRecords(policy)) {
        const auto folder = record.destination.parent().asFolder();
        if (category(record.source.lastComponent()) != wanted || canonicalPath(folder) == ownFolder ||
            !mayHold(folder.child(entry.name), policy))
            continue;
        auto& suggestion = byFolder[folder];
        if (suggestion.evidenceCount++ == 0) {
            suggestion.kind = wanted.first;
            suggestion.destination = folder;
            suggestion.lastUsed = record.createdAt; // the newest: records come newest first
        }
    }
    std::vector<LearnedSuggestion> result;
    for (auto& [folder, suggestion] : byFolder) {
        suggestion.reason =
            fmt::format("Based on {} file organisation {} in this category.", suggestion.evidenceCount,
                        suggestion.evidenceCount == 1 ? "choice" : "choices");
        result.push_back(std::move(suggestion));
    }
    std::ranges::sort(result, [](const LearnedSuggestion& a, const LearnedSuggestion& b) {
        return std::tie(b.evidenceCount, b.lastUsed, a.destination) <
               std::tie(a.evidenceCount, a.lastUsed, b.destination);
    });
    return result;
}

void SuggestionMemoryStore::suspend(const FileURL& root) {
    auto changed = preferences();
    const auto place = canonicalPath(root);
    if (std::ranges::find(changed.excludedRoots, place) == changed.excludedRoots.end())
        changed.excludedRoots.push_back(place);
    configure(std::move(changed));
}

void SuggestionMemoryStore::forget(const FileURL& root) {
    const auto place = canonicalPath(root);
    std::vector<std::string> forgotten;
    for (const auto& record : records()) {
        if (canonicalPath(record.source).isWithin(place) || canonicalPath(record.destination).isWithin(place))
            forgotten.push_back(keyOf(record.id));
    }
    store_.removeAll(forgotten);
}

void SuggestionMemoryStore::remove(const UUID& id) {
    store_.remove(keyOf(id));
}

void SuggestionMemoryStore::clear() {
    store_.removeAll(store_.keys(recordPrefix));
}

} // namespace morv
