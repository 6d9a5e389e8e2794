#include "MorvCore/Operations/Operations.h"

#include "MorvCore/Foundation/JSONCoding.h"
#include "MorvCore/Operations/OperationItemJSON.h"
#include "MorvCore/Platform/SystemTrash.h"

#include <algorithm>

namespace morv {

namespace {

template <class Enumeration>
struct Named {
    Enumeration value;
    std::string_view raw;
};

constexpr std::array<Named<OperationKind>, 10> kinds = {{{OperationKind::copy, "copy"},
                                                         {OperationKind::move, "move"},
                                                         {OperationKind::rename, "rename"},
                                                         {OperationKind::duplicate, "duplicate"},
                                                         {OperationKind::trash, "trash"},
                                                         {OperationKind::newFolder, "newFolder"},
                                                         {OperationKind::alias, "alias"},
                                                         {OperationKind::tags, "tags"},
                                                         {OperationKind::compressZIP, "compressZIP"},
                                                         {OperationKind::extractZIP, "extractZIP"}}};
constexpr std::array<Named<CollisionPolicy>, 3> policies = {{{CollisionPolicy::keepBoth, "keepBoth"},
                                                             {CollisionPolicy::skip, "skip"},
                                                             {CollisionPolicy::fail, "fail"}}};
constexpr std::array<Named<OperationStatus>, 8> statuses = {{{OperationStatus::queued, "queued"},
                                                             {OperationStatus::running, "running"},
                                                             {OperationStatus::completed, "completed"},
                                                             {OperationStatus::partial, "partial"},
                                                             {OperationStatus::failed, "failed"},
                                                             {OperationStatus::cancelled, "cancelled"},
                                                             {OperationStatus::interrupted, "interrupted"},
                                                             {OperationStatus::undone, "undone"}}};
constexpr std::array<Named<OperationItemStatus>, 7> itemStatuses = {
    {{OperationItemStatus::pending, "pending"},
     {OperationItemStatus::succeeded, "succeeded"},
     {OperationItemStatus::skipped, "skipped"},
     {OperationItemStatus::failed, "failed"},
     {OperationItemStatus::cancelled, "cancelled"},
     {OperationItemStatus::copiedOriginalRetained, "copiedOriginalRetained"},
     {OperationItemStatus::undone, "undone"}}};

constexpr std::array<Named<SystemOperationStatus>, 3> systemStatuses = {
    {{SystemOperationStatus::pending, "pending"},
     {SystemOperationStatus::outcomeRecorded, "outcomeRecorded"},
     {SystemOperationStatus::requiresReview, "requiresReview"}}};

template <class Table>
std::string_view nameIn(const Table& table, decltype(table[0].value) value) {
    return std::ranges::find(table, value, [](const auto& row) { return row.value; })->raw;
}

template <class Table>
auto valueIn(const Table& table, std::string_view raw) {
    const auto found = std::ranges::find(table, raw, [](const auto& row) { return row.raw; });
    return found == table.end() ? std::nullopt : std::optional(found->value);
}

template <class Table, class Enumeration>
void decodeIn(const Table& table, const json::Value& value, Enumeration& out) {
    std::string raw;
    json::decode(value, raw);
    const auto known = valueIn(table, raw);
    if (!known)
        throw DecodingError("A saved record is damaged: it holds an unknown word.");
    out = *known;
}

} // namespace

std::string_view rawValue(OperationKind kind) {
    return nameIn(kinds, kind);
}
std::string_view rawValue(CollisionPolicy policy) {
    return nameIn(policies, policy);
}
std::string_view rawValue(OperationStatus status) {
    return nameIn(statuses, status);
}
std::string_view rawValue(OperationItemStatus status) {
    return nameIn(itemStatuses, status);
}
std::string_view rawValue(SystemOperationStatus status) {
    return nameIn(systemStatuses, status);
}
std::optional<OperationKind> operationKind(std::string_view raw) {
    return valueIn(kinds, raw);
}
std::optional<CollisionPolicy> collisionPolicy(std::string_view raw) {
    return valueIn(policies, raw);
}

std::string_view displayName(OperationKind kind) {
    switch (kind) {
    case OperationKind::copy:
        return "Copy";
    case OperationKind::move:
        return "Move";
    case OperationKind::rename:
        return "Rename";
    case OperationKind::duplicate:
        return "Duplicate";
    case OperationKind::trash:
        return "Move to Trash";
    case OperationKind::newFolder:
        return "New folder";
    case OperationKind::alias:
        return "Make alias";
    case OperationKind::tags:
        return "Update tags";
    case OperationKind::compressZIP:
        return "Compress ZIP";
    case OperationKind::extractZIP:
        return "Extract ZIP";
    }
    return "";
}

bool FileFingerprint::hasSameContent(const FileFingerprint& other) const {
    return kind == other.kind && byteCount == other.byteCount && contentDigest == other.contentDigest;
}

bool FileOperationPlan::requiresReview() const {
    return (kind == OperationKind::rename && items.size() >= 2) || !warnings.empty();
}

FileOperationPlan FileOperationPlan::skipping(const std::set<UUID>& ids) const {
    auto plan = *this;
    for (auto& item : plan.items)
        if (ids.contains(item.id))
            item.skipReason = "Skipped in review.";
    return plan;
}

bool OperationReceipt::canUndo() const {
    if (isActive() || status == OperationStatus::interrupted || status == OperationStatus::undone)
        return false;
    return std::any_of(items.begin(), items.end(), [](const OperationItemResult& item) {
        return item.status == OperationItemStatus::succeeded ||
               item.status == OperationItemStatus::copiedOriginalRetained;
    });
}

std::size_t OperationReceipt::succeededCount() const {
    return static_cast<std::size_t>(
        std::count_if(items.begin(), items.end(), [](const OperationItemResult& item) {
            return item.status == OperationItemStatus::succeeded;
        }));
}

// MARK: JSON

json::Value encode(OperationKind kind) {
    return rawValue(kind);
}
json::Value encode(CollisionPolicy policy) {
    return rawValue(policy);
}
json::Value encode(OperationStatus status) {
    return rawValue(status);
}
json::Value encode(OperationItemStatus status) {
    return rawValue(status);
}
void decode(const json::Value& value, OperationKind& out) {
    decodeIn(kinds, value, out);
}
void decode(const json::Value& value, CollisionPolicy& out) {
    decodeIn(policies, value, out);
}
void decode(const json::Value& value, OperationStatus& out) {
    decodeIn(statuses, value, out);
}
void decode(const json::Value& value, OperationItemStatus& out) {
    decodeIn(itemStatuses, value, out);
}

json::Value encode(const FileFingerprint& fingerprint) {
    auto object = json::Value::object();
    json::put(object, "identity", fingerprint.identity);
    json::put(object, "contentDigest", fingerprint.contentDigest);
    json::put(object, "stateDigest", fingerprint.stateDigest);
    json::put(object, "metadataDigest", fingerprint.metadataDigest);
    json::put(object, "byteCount", fingerprint.byteCount);
    json::put(object, "kind", fingerprint.kind);
    return object;
}

void decode(const json::Value& value, FileFingerprint& fingerprint) {
    json::take(value, "identity", fingerprint.identity);
    json::take(value, "contentDigest", fingerprint.contentDigest);
    json::take(value, "stateDigest", fingerprint.stateDigest);
    json::take(value, "metadataDigest", fingerprint.metadataDigest);
    json::take(value, "byteCount", fingerprint.byteCount);
    json::take(value, "kind", fingerprint.kind);
}

json::Value encode(const FileOperationItem& item) {
    auto object = json::Value::object();
    json::put(object, "id", item.id);
    json::put(object, "source", item.source);
    json::put(object, "destination", item.destination);
    json::put(object, "fingerprint", item.fingerprint);
    json::put(object, "destinationParentIdentity", item.destinationParentIdentity);
    json::put(object, "skipReason", item.skipReason);
    json::put(object, "originalTags", item.originalTags);
    return object;
}

void decode(const json::Value& value, FileOperationItem& item) {
    json::take(value, "id", item.id);
    json::take(value, "source", item.source);
    json::take(value, "destination", item.destination);
    json::take(value, "fingerprint", item.fingerprint);
    json::take(value, "destinationParentIdentity", item.destinationParentIdentity);
    json::take(value, "skipReason", item.skipReason);
    json::take(value, "originalTags", item.originalTags);
}

json::Value encode(const OperationItemResult& result) {
    auto object = json::Value::object();
    json::put(object, "id", result.id);
    json::put(object, "source", result.source);
    json::put(object, "destination", result.destination);
    json::put(object, "status", result.status);
    json::put(object, "error", result.error);
    json::put(object, "before", result.before);
    json::put(object, "after", result.after);
    json::put(object, "originalTags", result.originalTags);
    json::put(object, "recoveryURL", result.recoveryURL);
    json::put(object, "stagingURL", result.stagingURL);
    return object;
}

void decode(const json::Value& value, OperationItemResult& result) {
    json::take(value, "id", result.id);
    json::take(value, "source", result.source);
    json::take(value, "destination", result.destination);
    json::take(value, "status", result.status);
    json::take(value, "error", result.error);
    json::take(value, "before", result.before);
    json::take(value, "after", result.after);
    json::take(value, "originalTags", result.originalTags);
    json::take(value, "recoveryURL", result.recoveryURL);
    json::take(value, "stagingURL", result.stagingURL);
}

namespace json {

namespace {

/// Parses a record whose "items" may be many: each is converted and dropped as it is read.
template <class Item, class Sink>
Value parseDroppingItems(std::string_view text, Sink&& sink) {
    bool inItems = false;
    auto value = Value::parse(
        text.begin(), text.end(),
        [&](int depth, Value::parse_event_t event, Value& parsed) {
            if (depth == 1 && event == Value::parse_event_t::key)
                inItems = parsed == "items";
            if (depth == 2 && inItems && event == Value::parse_event_t::object_end) {
                Item item;
                decode(parsed, item);
                sink(std::move(item));
                return false;
            }
            return true;
        },
        false);
    if (value.is_discarded())
        throw DecodingError("A saved record is damaged: it is not valid JSON.");
    if (const auto& items = require(value, "items"); !items.is_array() || !items.empty())
        throw DecodingError("A saved record is damaged: its items are not a list of records.");
    return value;
}

/// The object with its items put in one by one: twenty thousand of them as one tree would take ten times the
/// memory.
template <class Items>
std::string dumpWithItems(const Value& object, const Items& items) {
    std::string text = dump(object);
    text.pop_back();
    text += ",\"items\":[";
    bool isFirst = true;
    for (const auto& item : items) {
        if (!isFirst)
            text.push_back(',');
        isFirst = false;
        text += dump(encode(item));
    }
    return text += "]}";
}

} // namespace

} // namespace json

std::string toJSON(const FileFingerprint& fingerprint) {
    return json::dump(encode(fingerprint));
}
std::string toJSON(const OperationItemResult& result) {
    return json::dump(encode(result));
}

std::string toJSON(const FileOperationPlan& plan) {
    auto object = json::Value::object();
    json::put(object, "id", plan.id);
    json::put(object, "kind", plan.kind);
    json::put(object, "createdAt", plan.createdAt);
    json::put(object, "warnings", plan.warnings);
    json::put(object, "tags", plan.tags);
    json::put(object, "collision", plan.collision);
    return json::dumpWithItems(object, plan.items);
}

std::string toJSON(const OperationReceipt& receipt) {
    auto object = json::Value::object();
    json::put(object, "id", receipt.id);
    json::put(object, "kind", receipt.kind);
    json::put(object, "status", receipt.status);
    json::put(object, "startedAt", receipt.startedAt);
    json::put(object, "completedAt", receipt.completedAt);
    json::put(object, "message", receipt.message);
    return json::dumpWithItems(object, receipt.items);
}

void fromJSON(std::string_view text, FileFingerprint& fingerprint) {
    decode(json::parse(text), fingerprint);
}

void fromJSON(std::string_view text, OperationItemResult& result) {
    decode(json::parse(text), result);
}

void fromJSON(std::string_view text, FileOperationPlan& plan) {
    FileOperationPlan decoded;
    const auto value = json::parseDroppingItems<FileOperationItem>(
        text, [&](FileOperationItem item) { decoded.items.push_back(std::move(item)); });
    json::take(value, "id", decoded.id);
    json::take(value, "kind", decoded.kind);
    json::take(value, "createdAt", decoded.createdAt);
    json::take(value, "warnings", decoded.warnings);
    json::take(value, "tags", decoded.tags);
    json::take(value, "collision", decoded.collision);
    plan = std::move(decoded);
}

void fromJSON(std::string_view text, OperationReceipt& receipt) {
    OperationReceipt decoded;
    const auto value = json::parseDroppingItems<OperationItemResult>(
        text, [&](OperationItemResult item) { decoded.items.append(std::move(item)); });
    json::take(value, "id", decoded.id);
    json::take(value, "kind", decoded.kind);
    json::take(value, "status", decoded.status);
    json::take(value, "startedAt", decoded.startedAt);
    json::take(value, "completedAt", decoded.completedAt);
    json::take(value, "message", decoded.message);
    receipt = std::move(decoded);
}

std::string toJSON(const SystemOperationReceipt& receipt) {
    auto object = json::Value::object();
    json::put(object, "id", receipt.id);
    json::put(object, "kind", receipt.kind);
    json::put(object, "label", receipt.label);
    object["status"] = rawValue(receipt.status);
    json::put(object, "createdAt", receipt.createdAt);
    json::put(object, "finishedAt", receipt.finishedAt);
    json::put(object, "outcome", receipt.outcome);
    return json::dump(object);
}

void fromJSON(std::string_view text, SystemOperationReceipt& receipt) {
    const auto value = json::parse(text);
    SystemOperationReceipt decoded;
    json::take(value, "id", decoded.id);
    json::take(value, "kind", decoded.kind);
    json::take(value, "label", decoded.label);
    decodeIn(systemStatuses, json::require(value, "status"), decoded.status);
    json::take(value, "createdAt", decoded.createdAt);
    json::take(value, "finishedAt", decoded.finishedAt);
    json::take(value, "outcome", decoded.outcome);
    receipt = std::move(decoded);
}

FileURL SystemTrashProvider::trash(const FileURL& url) const {
    return SystemTrash::trash(url);
}

} // namespace morv
