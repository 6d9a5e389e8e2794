#include "MorvCore/Operations/ItemWork.h"

#include "MorvCore/Folders/FileTagMetadata.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Operations/OperationFiles.h"
#include "MorvCore/Operations/RenameProof.h"
#include "MorvCore/Operations/SafeArchiveService.h"
#include "MorvCore/Operations/TreePass.h"
#include "MorvCore/Platform/Durability.h"
#include "MorvCore/Platform/ExclusiveRename.h"
#include "MorvCore/Platform/VolumeNumber.h"

#include <cerrno>
#include <exception>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace morv {

namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

/// Waits for the device on a thread of its own, while the copy is being read back from memory.
class Flush {
public:
    Flush(int descriptor, bool isTree, const FileURL& shown)
        : thread_([this, descriptor, isTree, shown] {
              try {
                  if (isTree)
                      flushVolume(descriptor, shown);
                  else
                      flushDescriptor(descriptor, shown);
              } catch (...) {
                  failure_ = std::current_exception();
              }
          }) {}
    ~Flush() {
        if (thread_.joinable())
            thread_.join();
    }
    Flush(const Flush&) = delete;
    Flush& operator=(const Flush&) = delete;

    /// Throws what the flush threw. Never flushes again.
    void wait() {
        if (thread_.joinable())
            thread_.join();
        if (failure_)
            std::rethrow_exception(failure_);
    }

private:
    std::exception_ptr failure_;
    std::thread thread_;
};

std::string describe(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& exception) {
        return exception.what();
    }
}

class ItemWork {
public:
    explicit ItemWork(const ItemWorkRequest& request) : request_(request), item_(request.item) {}

    Performed run();

private:
    void checkpoint() const {
        if (request_.cancellation.isCancelled())
            throw CancellationError();
    }
    void phase(OperationPhase phase) const {
        if (request_.progress)
            request_.progress->setPhase(phase);
    }
    ReadingContext reading() const { return {request_.cancellation.token(), request_.cache}; }
    /// What already stands must be told of: from its publication on cancellation only changes how it is
    /// reported.
    ReadingContext readingToTheEnd() const { return {{}, request_.cache}; }
    std::string sourceName() const { return displayText(item_.source->lastComponent()); }

    void refuseIncompletePlan() const;
    void revalidateSource();
    bool readsAtOnce(const FileURL& url) const;
    void revalidateDestination();
    bool isOccupied(const std::string& name) const;
    const FileURL& requireStaging(const char* sentence) const;

    Performed makeNewFolder();
    Performed makeAlias();
    Performed copy();
    Performed compress();
    Performed extract();
    void flushWhileSourceIsProved(const Descriptor& written, const char* changedSentence);
    Performed moveOrRename();
    Performed moveAcrossVolumes();
    Performed trash();
    Performed setTags();

    FileFingerprint publishVerifiedCopy(const FileURL& staging, ReadFrom readBack);
    void publish(const FileURL& staging);
    void flushDestination() const;
    void renameFromSource(const std::string& name, const FileURL& to);
    void renameThroughStaging(const FileURL& staging) const;
    FileFingerprint fingerprintAfterRename(const FileURL& url, const FileFingerprint& verified,
                                           const RenameProof& proof,
                                           const std::optional<ReadFile>& known) const;
    std::optional<FileFingerprint> fingerprintOfRenamedTree(const FileURL& url,
                                                            const FileFingerprint& verified) const;

    const ItemWorkRequest& request_;
    const FileOperationItem& item_;
    Descriptor folder_; ///< the destination's, pinned from its revalidation on
    FileURL folderURL_;
    std::string destinationName_;
    bool isSelfOccupied_ = false;
    std::optional<RenameProof> sourceProof_;
    std::optional<ReadFile> sourceFile_;
};

Performed ItemWork::run() {
    checkpoint();
    refuseIncompletePlan();
    if (item_.source)
        revalidateSource();
    checkpoint();
    if (item_.destination)
        revalidateDestination();
    switch (request_.kind) {
    case OperationKind::newFolder:
        return makeNewFolder();
    case OperationKind::alias:
        return makeAlias();
    case OperationKind::copy:
    case OperationKind::duplicate:
        return copy();
    case OperationKind::move:
    case OperationKind::rename:
        return moveOrRename();
    case OperationKind::trash:
        return trash();
    case OperationKind::tags:
        return setTags();
    case OperationKind::compressZIP:
        return compress();
    case OperationKind::extractZIP:
        return extract();
    }
    throw FileOperationError::invalid("This plan is incomplete. Create a new preview.");
}

// MARK: Revalidation

/// A plan may have been read from a file, where hardly any field of an item is required.
void ItemWork::refuseIncompletePlan() const {
    const auto kind = request_.kind;
    const bool needsSource = kind != OperationKind::newFolder;
    const bool needsDestination = kind != OperationKind::trash && kind != OperationKind::tags;
    if ((needsSource && !item_.source) || (item_.source && !item_.fingerprint) ||
        (needsDestination && !item_.destination))
        throw FileOperationError::invalid("This plan is incomplete. Create a new preview.");
}

void ItemWork::revalidateSource() {
    phase(OperationPhase::reading);
    const bool renamesSource = request_.kind == OperationKind::move ||
                               request_.kind == OperationKind::rename ||
                               request_.kind == OperationKind::trash;
    if (renamesSource)
        sourceProof_.emplace(readsAtOnce(*item_.source) ? RenameProof::of(*item_.source) : RenameProof({}));
    auto context = reading();
    context.topFile = &sourceFile_;
    if (readFingerprint(*item_.source, context) != *item_.fingerprint)
        throw FileOperationError::changed(sourceName() + " changed since the preview. Create a new preview.");
}

/// Whether a lease may be held while the item is read: a writer would have to wait for as long.
bool ItemWork::readsAtOnce(const FileURL& url) const {
    constexpr std::int64_t small = 16 * 1024 * 1024;
    const auto info = statIfPresent(url);
    return info && info->isRegular() &&
           (info->size <= small || (request_.cache && request_.cache->find(*info)));
}

void ItemWork::revalidateDestination() {
    const auto& destination = *item_.destination;
    folderURL_ = destination.parent();
    destinationName_ = destination.lastComponent();
    folder_ = Descriptor(open(folderURL_.path().c_str(), folderFlags));
    if (!folder_ && errno != ENOENT && errno != ENOTDIR && errno != ELOOP)
        throw PosixError(errno, folderURL_.path());
    if (!folder_ || !item_.destinationParentIdentity ||
        statDescriptor(folder_.get()).identity() != *item_.destinationParentIdentity)
        throw FileOperationError::changed("The destination folder changed since the preview.");

    if (request_.kind == OperationKind::rename && item_.source && *item_.source != destination &&
        pathKey(item_.source->path()) == pathKey(destination.path())) {
        const auto there = statIfPresent(destination);
        isSelfOccupied_ = there && item_.fingerprint && there->identity() == item_.fingerprint->identity;
    }
    if (!isSelfOccupied_ && isOccupied(destinationName_))
        throw FileOperationError::collision(
            displayText(destinationName_) +
            " appeared after the preview. It was preserved; create a new preview.");
    if (request_.staging && isOccupied(std::string(request_.staging->lastComponent())))
        throw FileOperationError::collision("An operation staging path is already occupied.");
}

/// Only an answer of the file system that nothing stands there counts as free.
bool ItemWork::isOccupied(const std::string& name) const {
    try {
        statAt(folder_.get(), name);
        return true;
    } catch (const PosixError& error) {
        if (error.code() == ENOENT || error.code() == ENAMETOOLONG)
            return false;
        throw PosixError(error.code(), folderURL_.child(name).path());
    }
}

const FileURL& ItemWork::requireStaging(const char* sentence) const {
    if (!request_.staging)
        throw FileOperationError::invalid(sentence);
    return *request_.staging;
}

// MARK: New objects

Performed ItemWork::makeNewFolder() {
    const auto& staging = requireStaging("Missing transfer staging location.");
    const std::string name(staging.lastComponent());
    checkpoint();
    if (mkdirat(folder_.get(), name.c_str(), 0777) != 0)
        throw PosixError(errno, item_.destination->path());
    const Descriptor made(openat(folder_.get(), name.c_str(), folderFlags));
    if (!made)
        throw PosixError(errno, item_.destination->path());
    flushFolder(made.get(), *item_.destination);
    checkpoint();
    publish(staging);
    return {item_.destination, {}, readFingerprint(*item_.destination, readingToTheEnd())};
}

Performed ItemWork::makeAlias() {
    const auto& staging = requireStaging("Missing transfer staging location.");
    checkpoint();
    if (symlinkat(item_.source->path().c_str(), folder_.get(),
                  std::string(staging.lastComponent()).c_str()) != 0)
        throw PosixError(errno, item_.destination->path());
    checkpoint();
    publish(staging);
    return {item_.destination, {}, readFingerprint(*item_.destination, readingToTheEnd())};
}

/// The destination's folder entries are durable when this returns; the rename is the last thing that can be
/// refused.
void ItemWork::publish(const FileURL& staging) {
    phase(OperationPhase::finishing);
    renameWithoutReplacing(folder_.get(), std::string(staging.lastComponent()), folder_.get(),
                           destinationName_, *item_.destination);
    flushDestination();
}

void ItemWork::flushDestination() const {
    try {
        flushFolder(folder_.get(), folderURL_);
    } catch (const PosixError& error) {
        throw MutationFailure(
            fmt::format("The result stands at its destination, but the device did not confirm it: {}",
                        error.what()),
            {item_.destination, {}, {}}, MutationFailure::Cause::error);
    }
}

// MARK: Copies

Performed ItemWork::copy() {
    const auto& volume = volumeTraits(statDescriptor(folder_.get()).device, folder_.get(), "");
    auto after = publishVerifiedCopy(requireStaging("Missing transfer staging location."),
                                     volume.verifyFromDevice ? ReadFrom::device : ReadFrom::disk);
    Performed performed{item_.destination, {}, std::move(after)};
    if (request_.cancellation.isCancelled())
        throw MutationFailure(
            "The verified copy was published just before cancellation reached its checkpoint. The "
            "original was retained.",
            std::move(performed), MutationFailure::Cause::cancelled);
    return performed;
}

/// Copies the source to staging, proves the copy, and gives it its final name.
FileFingerprint ItemWork::publishVerifiedCopy(const FileURL& staging, ReadFrom readBack) {
    const auto& expected = *item_.fingerprint;
    const auto& volume = volumeTraits(statDescriptor(folder_.get()).device, folder_.get(), "");
    const auto fidelity = volume.keepsMetadata ? CopyFidelity::everything : CopyFidelity::contentsOnly;

    checkpoint();
    phase(OperationPhase::copying);
    auto context = reading();
    context.progress = request_.progress;
    auto copied = copyTree({*item_.source, staging, folder_.get(), fidelity}, context);
    if (request_.stagingObserver)
        request_.stagingObserver(staging);
    checkpoint();

    const bool isFile = expected.kind == "file";
    const Descriptor flushing(fcntl(copied.written.get(), F_DUPFD_CLOEXEC, 0));
    if (!flushing)
        throw PosixError(errno, staging.path());
    phase(OperationPhase::flushing);
    Flush flush(flushing.get(), !isFile, *item_.destination);
    if (readBack == ReadFrom::device)
        flush.wait();
    phase(OperationPhase::verifying);
    const RenameProof proof(isFile ? std::move(copied.written) : Descriptor());
    std::optional<ReadFile> stagedFile;
    context.from = readBack;
    context.topFile = &stagedFile;
    const auto staged = readFingerprint(staging, context);
    checkpoint();
    const auto source = readFingerprint(*item_.source, reading());
    checkpoint();
    const bool wasReadAsPlanned = copied.source.contentDigest.empty() || copied.source == expected;
    const bool isFaithful =
        fidelity == CopyFidelity::contentsOnly || staged.metadataDigest == expected.metadataDigest;
    if (!staged.hasSameContent(expected) || !isFaithful || source != expected || !wasReadAsPlanned)
        throw FileOperationError::changed(
            "The source changed or the copy could not be verified. The original and "
            "staging copy were preserved.");
    phase(OperationPhase::flushing);
    flush.wait();
    if (isOccupied(destinationName_))
        throw FileOperationError::collision(
            "The destination appeared during copying. Both items were preserved.");
    checkpoint();
    publish(staging);
    return fingerprintAfterRename(*item_.destination, staged, proof, stagedFile);
}

/// The fingerprint of what was `verified` and has been renamed since.
FileFingerprint ItemWork::fingerprintAfterRename(const FileURL& url, const FileFingerprint& verified,
                                                 const RenameProof& proof,
                                                 const std::optional<ReadFile>& known) const {
    if (auto renamed = fingerprintOfRenamedTree(url, verified))
        return *renamed;
    auto context = readingToTheEnd();
    const auto proved = request_.cache ? proof.afterRename(known) : std::nullopt;
    context.proved = proved ? &*proved : nullptr;
    auto fingerprint = readFingerprint(url, context);
    if (proved)
        proof.keep(*proved, *request_.cache);
    return fingerprint;
}

/// A rename changes nothing below a folder. Should somebody else have changed something since it was
/// verified, then the result is not what this says, and undo will preserve it.
std::optional<FileFingerprint> ItemWork::fingerprintOfRenamedTree(const FileURL& url,
                                                                  const FileFingerprint& verified) const {
    if (!request_.cache || verified.kind != "directory")
        return std::nullopt;
    const auto top = statItem(url);
    const auto tree = request_.cache->findTree(top);
    if (!tree || tree->fingerprint() != verified)
        return std::nullopt;
    auto renamed = tree->renamed(top);
    if (!renamed)
        return std::nullopt;
    request_.cache->remember(renamed);
    return renamed->fingerprint();
}

// MARK: Archives

Performed ItemWork::compress() {
    const auto& staging = requireStaging("Missing transfer staging location.");
    checkpoint();
    phase(OperationPhase::packing);
    const auto archive = SafeArchiveService::compress(
        {*item_.source, staging, folder_.get(), request_.cancellation.token(), request_.progress});
    if (request_.stagingObserver)
        request_.stagingObserver(staging);
    flushWhileSourceIsProved(archive, "The source changed while its ZIP archive was being created. The "
                                      "staging archive was retained for inspection.");
    publish(staging);
    return {item_.destination, {}, readFingerprint(*item_.destination, readingToTheEnd())};
}

Performed ItemWork::extract() {
    const auto& staging = requireStaging("Missing transfer staging location.");
    checkpoint();
    phase(OperationPhase::unpacking);
    const auto folder = SafeArchiveService::extract(
        {*item_.source, staging, folder_.get(), request_.cancellation.token(), request_.progress});
    if (request_.stagingObserver)
        request_.stagingObserver(staging);
    flushWhileSourceIsProved(
        folder, "The archive changed during extraction. The staged files were retained for inspection.");
    publish(staging);
    return {item_.destination, {}, readFingerprint(*item_.destination, readingToTheEnd())};
}

/// The last steps before a made archive, or an extracted one, may be published.
void ItemWork::flushWhileSourceIsProved(const Descriptor& written, const char* changedSentence) {
    checkpoint();
    phase(OperationPhase::flushing);
    Flush flush(written.get(), statDescriptor(written.get()).isDirectory(), *item_.destination);
    if (readFingerprint(*item_.source, reading()) != *item_.fingerprint)
        throw FileOperationError::changed(changedSentence);
    flush.wait();
    checkpoint();
    // Publication goes by name, and what was proved is the open item.
    if (!statAt(folder_.get(), std::string(request_.staging->lastComponent()))
             .isSameItem(statDescriptor(written.get())))
        throw FileOperationError::changed(
            "The staged item was replaced before it could be published. Both were left where they are.");
}

// MARK: Moves

Performed ItemWork::moveOrRename() {
    if (OperationFiles::crossesVolumes(OperationFiles::info(*item_.source), statDescriptor(folder_.get())))
        return moveAcrossVolumes();
    checkpoint();
    try {
        if (!isSelfOccupied_) {
            renameFromSource(destinationName_, *item_.destination);
        } else {
            const auto& staging = requireStaging("Missing rename staging location.");
            renameFromSource(std::string(staging.lastComponent()), staging);
            renameThroughStaging(staging);
        }
    } catch (const PosixError& error) {
        // One mount can still be two places (merged file systems): that is a transfer, not a failure.
        if (error.code() != EXDEV || isSelfOccupied_)
            throw;
        return moveAcrossVolumes();
    }
    flushDestination();
    return {item_.destination,
            {},
            fingerprintAfterRename(*item_.destination, *item_.fingerprint, *sourceProof_, sourceFile_)};
}

/// Renames the very item that was revalidated, and makes its absence durable.
void ItemWork::renameFromSource(const std::string& name, const FileURL& to) {
    phase(OperationPhase::finishing);
    const auto parent = item_.source->parent();
    const Descriptor from(open(parent.path().c_str(), folderFlags));
    if (!from)
        throw PosixError(errno, parent.path());
    const std::string sourceLast(item_.source->lastComponent());
    if (statAt(from.get(), sourceLast).identity() != item_.fingerprint->identity)
        throw FileOperationError::changed(sourceName() + " changed since the preview. Create a new preview.");
    renameWithoutReplacing(from.get(), sourceLast, folder_.get(), name, to);
    try {
        flushFolder(from.get(), parent);
    } catch (const PosixError& error) {
        throw MutationFailure(
            fmt::format("The item was moved, but the device did not confirm it: {}", error.what()),
            {to, {}, {}}, MutationFailure::Cause::error);
    }
}

/// The second half of a rename that changes only the spelling. Another name of the same file may really stand
/// there (a hard link on a volume that tells case apart): then the first half is taken back.
void ItemWork::renameThroughStaging(const FileURL& staging) const {
    const std::string name(staging.lastComponent());
    try {
        renameWithoutReplacing(folder_.get(), name, folder_.get(), destinationName_, *item_.destination);
    } catch (...) {
        const auto failure = std::current_exception();
        try {
            OperationFiles::exclusiveMove(staging, *item_.source);
            flushFolder(item_.source->parent());
        } catch (const std::exception&) {
            // The receipt still says where it stands.
        }
        std::rethrow_exception(failure);
    }
}

Performed ItemWork::moveAcrossVolumes() {
    // Nothing is renamed here: a lease kept for the whole copy would only make others wait for the file.
    sourceProof_.reset();
    const auto published =
        publishVerifiedCopy(requireStaging("Missing transfer staging location."), ReadFrom::device);
    FileURL recovery;
    try {
        checkpoint();
        if (readFingerprint(*item_.source, reading()) != *item_.fingerprint)
            throw FileOperationError::changed("The source changed after the copy was published.");
        checkpoint();
        recovery = request_.trash.trash(*item_.source);
    } catch (const CancellationError&) {
        throw MutationFailure(
            "Cancelled after the verified destination copy was created. The original was retained; "
            "neither item was deleted.",
            {item_.destination, {}, published}, MutationFailure::Cause::cancelled);
    } catch (const std::exception& error) {
        throw MutationFailure(
            fmt::format(
                "The verified destination was created, but the source could not be moved to Trash. Inspect "
                "both locations before retrying: {}",
                error.what()),
            {item_.destination, {}, published}, MutationFailure::Cause::error);
    }
    try {
        return {item_.destination, recovery, readFingerprint(*item_.destination, readingToTheEnd())};
    } catch (...) {
        throw MutationFailure(
            fmt::format("The move completed, but the result could not be verified for Undo: {}",
                        describe(std::current_exception())),
            {item_.destination, recovery, {}}, MutationFailure::Cause::error);
    }
}

// MARK: Trash and tags

Performed ItemWork::trash() {
    checkpoint();
    phase(OperationPhase::finishing);
    const auto place = request_.trash.trash(*item_.source);
    try {
        return {place, {}, fingerprintAfterRename(place, *item_.fingerprint, *sourceProof_, sourceFile_)};
    } catch (...) {
        throw MutationFailure(
            fmt::format("The item is in Trash, but Morv could not verify it for automatic restoration: {}",
                        describe(std::current_exception())),
            {place, {}, {}}, MutationFailure::Cause::error);
    }
}

Performed ItemWork::setTags() {
    checkpoint();
    phase(OperationPhase::finishing);
    const auto& source = *item_.source;
    FileTagMetadata::setNames(source, request_.tags);
    try {
        const Descriptor item(open(source.path().c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        if (!item)
            throw PosixError(errno, source.path());
        flushDescriptor(item.get(), source);
        return {source, {}, readFingerprint(source, readingToTheEnd())};
    } catch (...) {
        throw MutationFailure(fmt::format("Tags were set, but Morv could not verify the resulting item: {}",
                                          describe(std::current_exception())),
                              {source, {}, {}}, MutationFailure::Cause::error);
    }
}

} // namespace

Performed performItem(const ItemWorkRequest& request) {
    return ItemWork(request).run();
}

} // namespace morv
