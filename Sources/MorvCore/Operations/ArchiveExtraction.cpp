#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Operations/CheckedArchive.h"
#include "MorvCore/Operations/ExtractedTree.h"
#include "MorvCore/Operations/ExtractionCrew.h"
#include "MorvCore/Operations/OperationProgress.h"
#include "MorvCore/Operations/QuarantineMarks.h"
#include "MorvCore/Operations/SafeArchiveService.h"
#include "MorvCore/Platform/VolumeNumber.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

namespace morv::SafeArchiveService {

namespace {

using Member = CheckedArchive::Member;

constexpr std::string_view sidecarFolder = "__MACOSX";

/// "a" and "b" of "a/b"; an item at the top has no parent.
struct Place {
    std::string_view parent;
    std::string_view name;

    static Place of(std::string_view path) {
        const auto slash = path.rfind('/');
        if (slash == std::string_view::npos)
            return {{}, path};
        return {path.substr(0, slash), path.substr(slash + 1)};
    }
};

bool isBelowSidecars(std::string_view path) {
    return path.starts_with(sidecarFolder) &&
           (path.size() == sidecarFolder.size() || path[sidecarFolder.size()] == '/');
}

void writeAll(int file, std::string_view bytes, const FileURL& shown) {
    while (!bytes.empty()) {
        const auto count = write(file, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR)
            throw PosixError(errno, shown.path());
        bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
}

Descriptor makeStaging(const Work& work) {
    const std::string name(work.staging.lastComponent());
    if (mkdirat(work.stagingFolder, name.c_str(), 0700) != 0) {
        if (errno == EEXIST)
            throw FileOperationError::collision("The extraction staging folder is occupied.");
        throw PosixError(errno, work.staging.path());
    }
    Descriptor staging(
        openat(work.stagingFolder, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!staging)
        throw PosixError(errno, work.staging.path());
    return staging;
}

/// One extraction into one staging folder.
class Extraction {
public:
    Extraction(const CheckedArchive& archive, const Work& work, int staging)
        : archive_(archive), work_(work), staging_(staging), shown_(work.staging.parent()),
          keepsMetadata_(volumeTraits(statDescriptor(staging).device, staging, "").keepsMetadata) {}

    void run() {
        {
            ExtractionCrew crew(archive_, staging_, work_.staging);
            forEachMember(crew, [this](auto& worker, const auto& member) { write(worker, member); });
            forEachMember(crew, [this](auto& worker, const auto& member) { finishFolder(worker, member); });
        }
        ExtractedTree::inspect(staging_, work_.stop);
        {
            // From staging itself again: nothing that was open during the writing is believed.
            ExtractionCrew crew(archive_, staging_, work_.staging);
            forEachMember(crew, [this](auto& worker, const auto& member) { compare(worker, member); });
        }
        QuarantineMarks::of(archive_.descriptor()).setOnTree(staging_, work_.stop);
        done(archive_.size() - done_);
    }

private:
    template <class Step>
    void forEachMember(ExtractionCrew& crew, Step&& step) {
        crew.run(archive_.members().size(), [&](ExtractionWorker& worker, std::size_t index) {
            checkCancelled(work_.stop);
            step(worker, archive_.members()[index]);
        });
    }

    void write(ExtractionWorker& worker, const Member& member) {
        const auto path = worker.reader.name(member);
        if (!member.isDirectory)
            writeFile(worker, member, path);
        else if (!isBelowSidecars(path))
            worker.folders.make(path);
    }

    void writeFile(ExtractionWorker& worker, const Member& member, std::string_view path) {
        const auto place = Place::of(path);
        const int folder = worker.folders.make(place.parent);
        worker.folders.takeItem();
        // Without permissions of its own it has those that the process gives to new files. Nobody else can
        // pass staging.
        Descriptor file(openat(folder, std::string(place.name).c_str(),
                               O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                               member.mode != 0 ? 0600 : 0666));
        if (!file)
            refuseToCreate(path);
        const bool isSound = worker.data.expand(
            worker.reader, member, [&](std::string_view bytes) { writeAll(file.get(), bytes, shown_); },
            [this](std::int64_t bytes) { done(bytes); }, work_.stop);
        if (!isSound)
            refuseDamage(path);
        setTimeAndMode(file.get(), member, 0600);
        if (close(file.release()) != 0)
            throw PosixError(errno, shown_.path());
    }

    [[noreturn]] void refuseToCreate(std::string_view path) const {
        const int code = errno;
        if (code == EEXIST || code == ELOOP)
            ExtractionFolders::refuseOccupied(path);
        if (code == EINVAL)
            throw FileOperationError::unsupported(
                fmt::format("The destination volume does not accept the name “{}”.", displayText(path)));
        throw PosixError(code, shown_.path());
    }

    [[noreturn]] void refuseDamage(std::string_view path) const {
        if (!archive_.isUnchanged())
            throw FileOperationError::changed(ExtractionCrew::changedSentence);
        throw FileOperationError::invalid(fmt::format(
            "“{}” in this ZIP is damaged. Extracted files remain in staging.", displayText(path)));
    }

    /// The mode comes last. `least` is what its owner may always do.
    void setTimeAndMode(int item, const Member& member, mode_t least) const {
        const std::array<timespec, 2> times = {timespec{0, UTIME_OMIT},
                                               timespec{static_cast<time_t>(secondsOf(member.modified)), 0}};
        const bool isSet = futimens(item, times.data()) == 0 &&
                           (member.mode == 0 || fchmod(item, (member.mode & 0777U) | least) == 0);
        if (!isSet && keepsMetadata_)
            throw PosixError(errno, shown_.path());
    }

    /// Once nothing is made in it any more. Its owner can always pass it, so no order is needed.
    void finishFolder(ExtractionWorker& worker, const Member& member) const {
        if (!member.isDirectory)
            return;
        const auto path = worker.reader.name(member);
        if (!isBelowSidecars(path))
            setTimeAndMode(worker.folders.open(path), member, 0700);
    }

    static void compare(ExtractionWorker& worker, const Member& member) {
        const auto path = worker.reader.name(member);
        if (isBelowSidecars(path))
            return;
        const auto place = Place::of(path);
        const auto info = statAt(worker.folders.open(place.parent), std::string(place.name));
        const bool matches = member.isDirectory ? info.isDirectory()
                                                : info.isRegular() && info.size == std::int64_t{member.size};
        if (!matches)
            ExtractedTree::refuseMismatch();
    }

    void done(std::int64_t bytes) {
        done_ += bytes;
        if (work_.progress)
            work_.progress->addBytes(bytes);
    }

    const CheckedArchive& archive_;
    const Work& work_;
    const int staging_;
    const FileURL shown_; ///< what an error of the volume names: staging says nothing to anybody
    const bool keepsMetadata_;
    std::atomic<std::int64_t> done_ = 0; ///< bytes of the archive
};

} // namespace

Descriptor extract(const Work& work) {
    const CheckedArchive archive(work.source, work.stop);
    auto staging = makeStaging(work);
    Extraction(archive, work, staging.get()).run();
    return staging;
}

} // namespace morv::SafeArchiveService
