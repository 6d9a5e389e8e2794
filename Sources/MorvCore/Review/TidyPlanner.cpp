#include "MorvCore/Review/TidyPlanner.h"

#include "MorvCore/Folders/CreativeLocalFile.h"
#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Foundation/JSONCoding.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Platform/FileStat.h"

#include <algorithm>
#include <optional>
#include <unordered_set>

namespace morv {

namespace {

json::Value value(const TidyProposal& proposal) {
    auto object = json::Value::object();
    json::put(object, "source", proposal.source);
    json::put(object, "destination", proposal.destination);
    json::put(object, "kind", std::string(rawValue(proposal.kind)));
    json::put(object, "hasCollision", proposal.hasCollision);
    return object;
}

json::Value value(const TidyExclusion& exclusion) {
    auto object = json::Value::object();
    json::put(object, "source", exclusion.source);
    json::put(object, "reason", exclusion.reason);
    return object;
}

void read(const json::Value& object, TidyProposal& out) {
    TidyProposal proposal;
    json::take(object, "source", proposal.source);
    json::take(object, "destination", proposal.destination);
    std::string kind;
    json::take(object, "kind", kind);
    const auto* const found =
        std::ranges::find_if(allFileKinds, [&](FileKind known) { return rawValue(known) == kind; });
    if (found == allFileKinds.end())
        throw DecodingError("A saved record is damaged: “" + repairedUTF8(kind) +
                            "” is not a value of “kind”.");
    proposal.kind = *found;
    json::take(object, "hasCollision", proposal.hasCollision);
    out = proposal;
}

void read(const json::Value& object, TidyExclusion& out) {
    TidyExclusion exclusion;
    json::take(object, "source", exclusion.source);
    json::take(object, "reason", exclusion.reason);
    out = exclusion;
}

template <class T>
json::Value list(const std::vector<T>& records) {
    auto array = json::Value::array();
    for (const auto& record : records)
        array.push_back(value(record));
    return array;
}

template <class T>
std::vector<T> readList(const json::Value& object, const char* key) {
    const auto& array = json::require(object, key);
    if (!array.is_array())
        throw DecodingError("A saved record is damaged: it holds a value that is not a list.");
    std::vector<T> records;
    for (const auto& element : array)
        read(element, records.emplace_back());
    return records;
}

std::optional<std::string_view> reasonToStay(const FileEntry& entry) {
    if (entry.isSymbolicLink)
        return "Symbolic links stay in place.";
    if (entry.isDirectory || entry.isPackage)
        return "Folders and app packages stay in place.";
    if (entry.availability != FileAvailability::local)
        return "This file has not been downloaded.";
    if (entry.isDownloading || isIncompleteDownload(entry.url()))
        return "An active or incomplete download stays in place.";
    if (!entry.isWritable)
        return "This file is read-only.";
    return std::nullopt;
}

bool isTaken(const FileURL& url) {
    try {
        return statUnlessMissing(url).has_value();
    } catch (const PosixError&) {
        // Nobody can say that it is free.
        return true;
    }
}

} // namespace

std::string toJSON(const TidyProposal& proposal) {
    return json::dump(value(proposal));
}

std::string toJSON(const TidyExclusion& exclusion) {
    return json::dump(value(exclusion));
}

std::string toJSON(const TidyPlan& plan) {
    auto object = json::Value::object();
    object["proposals"] = list(plan.proposals);
    object["exclusions"] = list(plan.exclusions);
    return json::dump(object);
}

void fromJSON(std::string_view text, TidyProposal& proposal) {
    read(json::parse(text), proposal);
}

void fromJSON(std::string_view text, TidyExclusion& exclusion) {
    read(json::parse(text), exclusion);
}

void fromJSON(std::string_view text, TidyPlan& plan) {
    const auto object = json::parse(text);
    TidyPlan result;
    result.proposals = readList<TidyProposal>(object, "proposals");
    result.exclusions = readList<TidyExclusion>(object, "exclusions");
    plan = std::move(result);
}

TidyPlan TidyPlanner::plan(std::vector<FileEntry> entries, const FileURL& destination) {
    DirectoryService::sortByName(entries);
    std::unordered_set<std::string> reserved;
    TidyPlan plan;
    for (const auto& entry : entries) {
        const auto source = entry.url();
        if (const auto reason = reasonToStay(entry)) {
            plan.exclusions.push_back({source, std::string(*reason)});
            continue;
        }
        const auto target = destination.child(title(entry.kind)).child(entry.name);
        if (target == source) {
            plan.exclusions.push_back({source, "Already in its destination."});
            continue;
        }
        const bool collides = isTaken(target) || !reserved.insert(pathKey(target.path())).second;
        plan.proposals.push_back({source, target, entry.kind, collides});
    }
    return plan;
}

} // namespace morv
