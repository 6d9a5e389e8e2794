// The records of the engine: what a preview says will happen and what really happened.
//
// All of them persist as JSON; key names and raw strings are a file format. Dates are seconds since
// 2001-01-01, URLs absolute strings, UUIDs upper-case text, absent optionals absent keys. All are values:
// immutable once shared.
#pragma once

#include "MorvCore/Foundation/Date.h"
#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Foundation/FileURL.h"
#include "MorvCore/Foundation/UUID.h"
#include "MorvCore/Operations/OperationItemList.h"

#include <array>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace morv {

enum class OperationKind : std::uint8_t {
    copy,
    move,
    rename,
    duplicate,
    trash,
    newFolder,
    alias,
    tags,
    compressZIP,
    extractZIP
};
inline constexpr std::array allOperationKinds = {
    OperationKind::copy,        OperationKind::move,      OperationKind::rename, OperationKind::duplicate,
    OperationKind::trash,       OperationKind::newFolder, OperationKind::alias,  OperationKind::tags,
    OperationKind::compressZIP, OperationKind::extractZIP};
enum class CollisionPolicy : std::uint8_t { keepBoth, skip, fail };
inline constexpr std::array allCollisionPolicies = {CollisionPolicy::keepBoth, CollisionPolicy::skip,
                                                    CollisionPolicy::fail};
enum class OperationStatus : std::uint8_t {
    queued,
    running,
    completed,
    partial,
    failed,
    cancelled,
    interrupted,
    undone
};
enum class OperationItemStatus : std::uint8_t {
    pending,
    succeeded,
    skipped,
    failed,
    cancelled,
    copiedOriginalRetained, ///< a verified copy stands at the destination and the original is in its place
    undone
};

enum class SystemOperationStatus : std::uint8_t { pending, outcomeRecorded, requiresReview };

std::string_view rawValue(OperationKind kind);
std::string_view rawValue(CollisionPolicy policy);
std::string_view rawValue(OperationStatus status);
std::string_view rawValue(OperationItemStatus status);
std::string_view rawValue(SystemOperationStatus status);
std::optional<OperationKind> operationKind(std::string_view rawValue);
std::optional<CollisionPolicy> collisionPolicy(std::string_view rawValue);
/// As in a menu: "Copy", "Move to Trash", "New folder".
std::string_view displayName(OperationKind kind);

/// How an item is told from a changed copy of itself. Digests are 64 lower-case hexadecimal characters.
struct FileFingerprint {
    std::string identity;       ///< volume number ":" inode
    std::string contentDigest;  ///< names, kinds and contents of the whole tree
    std::string stateDigest;    ///< everything that identifies this very state on disk
    std::string metadataDigest; ///< the metadata that a faithful copy keeps
    std::int64_t byteCount = 0; ///< sum of the sizes of the tree's regular files
    std::string kind;           ///< "directory", "file" or "symbolicLink"

    /// Kind, byte count and content digest are equal.
    bool hasSameContent(const FileFingerprint& other) const;
    friend bool operator==(const FileFingerprint&, const FileFingerprint&) = default;
};

/// One line of a plan.
struct FileOperationItem {
    UUID id;
    std::optional<FileURL> source;      ///< absent for newFolder
    std::optional<FileURL> destination; ///< absent for trash and tags
    std::optional<FileFingerprint> fingerprint;
    std::optional<std::string> destinationParentIdentity;
    std::optional<std::string> skipReason; ///< present: the item will not be acted on, and this is why
    std::optional<std::vector<std::string>> originalTags;

    friend bool operator==(const FileOperationItem&, const FileOperationItem&) = default;
};

/// One previewed operation. Its id becomes the receipt's: one plan, one run, one receipt.
struct FileOperationPlan {
    UUID id;
    OperationKind kind = OperationKind::copy;
    std::vector<FileOperationItem> items; ///< in execution order
    Date createdAt;
    std::vector<std::string> warnings;
    std::vector<std::string> tags; ///< distinct and sorted; only tags plans use them
    CollisionPolicy collision = CollisionPolicy::keepBoth;

    /// A batch of renames, or anything with a warning.
    bool requiresReview() const;
    /// The same plan with "Skipped in review." on the items named; unknown ids change nothing.
    FileOperationPlan skipping(const std::set<UUID>& ids) const;

    friend bool operator==(const FileOperationPlan&, const FileOperationPlan&) = default;
};

/// What became of one item.
struct OperationItemResult {
    UUID id;
    std::optional<FileURL> source;
    std::optional<FileURL> destination; ///< where the result really stands (trash: its place in Trash)
    OperationItemStatus status = OperationItemStatus::pending;
    std::optional<std::string> error; ///< a sentence: why it failed, or a note on a success
    std::optional<FileFingerprint> before;
    std::optional<FileFingerprint> after;
    std::optional<std::vector<std::string>> originalTags;
    std::optional<FileURL> recoveryURL; ///< something recoverable in Trash
    std::optional<FileURL> stagingURL;  ///< in use, or kept for inspection

    friend bool operator==(const OperationItemResult&, const OperationItemResult&) = default;
};

/// The durable record of one operation. Copying it copies no items (OperationItemList shares them).
struct OperationReceipt {
    UUID id;
    OperationKind kind = OperationKind::copy;
    OperationStatus status = OperationStatus::queued;
    OperationItemList items;
    Date startedAt;
    std::optional<Date> completedAt;
    std::optional<std::string> message;

    /// Something took effect, and the operation is neither active nor interrupted nor undone.
    bool canUndo() const;
    std::size_t succeededCount() const;
    bool isActive() const { return status == OperationStatus::queued || status == OperationStatus::running; }

    friend bool operator==(const OperationReceipt&, const OperationReceipt&) = default;
};

/// The durable record of something that was handed over to the system.
struct SystemOperationReceipt {
    UUID id;
    std::string kind;
    std::string label;
    SystemOperationStatus status = SystemOperationStatus::pending;
    Date createdAt;
    std::optional<Date> finishedAt;
    std::optional<std::string> outcome;

    friend bool operator==(const SystemOperationReceipt&, const SystemOperationReceipt&) = default;
};

std::string toJSON(const FileFingerprint& fingerprint);
std::string toJSON(const FileOperationPlan& plan);
std::string toJSON(const OperationItemResult& result);
std::string toJSON(const OperationReceipt& receipt);
std::string toJSON(const SystemOperationReceipt& receipt);
/// Each throws DecodingError: a missing required key or a value of the wrong type makes the record
/// undecodable.
void fromJSON(std::string_view text, FileFingerprint& fingerprint);
void fromJSON(std::string_view text, FileOperationPlan& plan);
void fromJSON(std::string_view text, OperationItemResult& result);
void fromJSON(std::string_view text, OperationReceipt& receipt);
void fromJSON(std::string_view text, SystemOperationReceipt& receipt);

/// The seam to the system Trash. Safe to call from any thread.
class OperationTrashProvider {
public:
    virtual ~OperationTrashProvider() = default;
    /// Moves the item to the Trash and returns where it now lies. After a throw it is where it was.
    virtual FileURL trash(const FileURL& url) const = 0;
};

class SystemTrashProvider final : public OperationTrashProvider {
public:
    FileURL trash(const FileURL& url) const override;
};

/// Something took effect before the error: what stands on disk must not be lost.
struct Performed {
    std::optional<FileURL> destination;
    std::optional<FileURL> recovery;
    std::optional<FileFingerprint> after;
};

class MutationFailure : public std::runtime_error {
public:
    enum class Cause : std::uint8_t { error, cancelled };

    MutationFailure(const std::string& message, Performed outcome, Cause cause)
        : std::runtime_error(message), outcome_(std::move(outcome)), cause_(cause) {}

    const Performed& outcome() const { return outcome_; }
    /// The result is a verified copy with the original kept, through cancellation.
    bool cancelled() const { return cause_ == Cause::cancelled; }

private:
    Performed outcome_;
    Cause cause_;
};

} // namespace morv
