#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/Mutex.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Operations/AppleDouble.h"
#include "MorvCore/Operations/CheckedArchive.h"
#include "MorvCore/Operations/ExtractedTree.h"
#include "MorvCore/Operations/ExtractionCrew.h"
#include "MorvCore/Operations/OperationProgress.h"
#include "MorvCore/Operations/QuarantineMarks.h"
#include "MorvCore/Operations/SafeArchiveService.h"
#include "MorvCore/Platform/ExtendedAttributes.h"
#include "MorvCore/Platform/VolumeNumber.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <ctime>
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
            ExtractionCrew crew(archive_, staging_, work_.staging, work_.mostItems);
            forEachMember(crew, [this](auto& worker, const auto& member) { write(worker, member); });
            restoreAttributes(crew.first());
            forEachMember(crew, [this](auto& worker, const auto& member) { finishFolder(worker, member); });
        }
        ExtractedTree::inspect(staging_, work_.mostItems, work_.stop);
        {
            // From staging itself again: nothing that was open during the writing is believed.
            ExtractionCrew crew(archive_, staging_, work_.staging, work_.mostItems);
            forEachMember(crew, [](auto& worker, const auto& member) { compare(worker, member); });
        }
        QuarantineMarks::of(archive_.descriptor()).setOnTree(staging_, work_.stop);
        done(archive_.size() - done_);
    }

private:
    template <class Step>
    void forEachMember(ExtractionCrew& crew, Step&& step) {
        crew.run([&](ExtractionWorker& worker, std::size_t index) {
            checkCancelled(work_.stop);
            step(worker, archive_.members()[index]);
        });
    }

    void write(ExtractionWorker& worker, const Member& member) {
        const auto path = worker.reader.name(member);
        if (!isBelowSidecars(path)) {
            if (member.isDirectory)
                worker.folders.make(path);
            else
                writeFile(worker, member, path);
        } else if (!member.isDirectory && member.size <= AppleDouble::largest &&
                   AppleDouble::memberOf(path)) {
            const MutexLock lock(mutex_);
            sidecars_.push_back(static_cast<std::size_t>(&member - archive_.members().data()));
        } else if (!member.isDirectory) {
            writeFile(worker, member, path);
        }
    }

    void writeFile(ExtractionWorker& worker, const Member& member, std::string_view path) {
        auto file = createFile(worker, member, path);
        expand(worker, member, path, [&](std::string_view bytes) { writeAll(file.get(), bytes, shown_); });
        finishFile(std::move(file), member);
    }

    void expand(ExtractionWorker& worker, const Member& member, std::string_view path,
                const MemberData::Sink& sink) {
        const auto count = [this](std::int64_t bytes) { done(bytes); };
        if (!worker.data.expand(worker.reader, member, sink, count, work_.stop))
            refuseDamage(path);
    }

    Descriptor createFile(ExtractionWorker& worker, const Member& member, std::string_view path) const {
        const auto place = Place::of(path);
        const int folder = worker.folders.make(place.parent);
        worker.folders.takeItem();
        // Without permissions of its own it has those that the process gives to new files. Nobody else can
        // pass staging.
        Descriptor file(openat(folder, std::string(place.name).c_str(),
                               O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                               member.mode != 0 ? 0600 : 0666));
        if (!file)
            worker.folders.refuse(errno, path);
        return file;
    }

    void finishFile(Descriptor file, const Member& member) const {
        setTimeAndMode(file.get(), member, 0600);
        if (close(file.release()) != 0)
            throw PosixError(errno, shown_.path());
    }

    /// On one thread, in the order of the archive, and once all items stand: each sidecar is held in memory as
    /// a whole. One that cannot be given back stays as the file that it is, so that nothing is lost.
    void restoreAttributes(ExtractionWorker& worker) {
        std::ranges::sort(sidecars_);
        for (const auto index : sidecars_) {
            checkCancelled(work_.stop);
            const auto& member = archive_.members()[index];
            const std::string path(worker.reader.name(member));
            std::string bytes;
            expand(worker, member, path, [&](std::string_view piece) { bytes += piece; });
            if (giveBack(worker, path, bytes))
                continue;
            auto file = createFile(worker, member, path);
            writeAll(file.get(), bytes, shown_);
            finishFile(std::move(file), member);
        }
    }

    /// False when the bytes are no attributes, there is no item that they are of, or its volume does not take
    /// them all.
    static bool giveBack(ExtractionWorker& worker, const std::string& path, const std::string& bytes) {
        const auto owner = AppleDouble::memberOf(path);
        const auto attributes = AppleDouble::decode(bytes);
        if (!owner || !attributes)
            return false;
        const auto place = Place::of(*owner);
        try {
            const Descriptor item(openat(worker.folders.open(place.parent), std::string(place.name).c_str(),
                                         O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
            if (!item)
                return false;
            for (const auto& [name, value] : *attributes)
                AttributeTarget::descriptor(item.get()).set(name, value);
        } catch (const PosixError&) {
            return false;
        }
        return true;
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
    Mutex mutex_;
    std::vector<std::size_t> sidecars_; ///< by index; under the mutex while the crew is at work
};

} // namespace

Descriptor extract(const Work& work) {
    const CheckedArchive archive(work.source, work.stop);
    auto staging = makeStaging(work);
    tzset(); // The zone of the members' times may be another one since the last look.
    Extraction(archive, work, staging.get()).run();
    return staging;
}

} // namespace morv::SafeArchiveService
