// The survey first, so that nothing is written of what would be refused on the way back; then its items are
// deflated side by side and written in order; the directory last.
#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Operations/AppleDouble.h"
#include "MorvCore/Operations/ArchiveLimits.h"
#include "MorvCore/Operations/ArchiveSurvey.h"
#include "MorvCore/Operations/Operations.h"
#include "MorvCore/Operations/PackingCrew.h"
#include "MorvCore/Operations/SafeArchiveService.h"
#include "MorvCore/Operations/TreeVisitor.h"
#include "MorvCore/Operations/ZIPFormat.h"
#include "MorvCore/Operations/ZIPWriting.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace morv::SafeArchiveService {

namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
constexpr std::size_t itemsInBatch = 16;
constexpr std::size_t bytesInBatch = PackingCrew::pieceLength / 2;
constexpr std::size_t writtenAtOnce = 262'144;

[[noreturn]] void refuseOccupied() {
    throw FileOperationError::collision("The ZIP staging path is occupied.");
}

/// The archive's file on its way to be written, from its beginning to its end.
class ArchiveFile {
public:
    explicit ArchiveFile(const Work& work) : work_(work) {}

    void create() {
        const std::string name(work_.staging.lastComponent());
        file_ = Descriptor(openat(work_.stagingFolder, name.c_str(),
                                  O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        if (!file_ && errno == EEXIST)
            refuseOccupied();
        if (!file_)
            fail();
    }
    std::uint64_t end() const { return end_; }
    void append(std::string_view bytes) {
        write(bytes, end_);
        end_ += bytes.size();
    }
    void write(std::string_view bytes, std::uint64_t offset) const {
        while (!bytes.empty()) {
            const auto count = pwrite(file_.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
            if (count < 0 && errno != EINTR)
                fail();
            if (count > 0) {
                bytes.remove_prefix(static_cast<std::size_t>(count));
                offset += static_cast<std::uint64_t>(count);
            }
        }
    }
    /// Until now only its owner could open it. A volume that keeps no modes has one for all its files.
    void openFor(mode_t readers) { std::ignore = fchmod(file_.get(), 0600 | readers); }
    Descriptor take() { return std::move(file_); }

private:
    /// The staging name says nothing to anybody.
    [[noreturn]] void fail() const {
        const int code = errno;
        throw PosixError(code, work_.staging.parent().path());
    }

    const Work& work_;
    Descriptor file_;
    std::uint64_t end_ = 0;
};

class Packing {
public:
    Packing(const Work& work, const ArchiveSurvey& survey)
        : survey_(survey), stop_(work.stop), file_(work), crew_(survey, stop_, work.progress) {}

    Descriptor run() {
        file_.create();
        for (std::size_t index = 0; index < survey_.items().size(); ++index)
            pack(index);
        submitBatch();
        while (!crew_.isIdle())
            writeOldest();
        writeDirectory();
        file_.openFor(readers());
        return file_.take();
    }

private:
    struct Folder {
        std::size_t index = 0;
        std::shared_ptr<Descriptor> descriptor;
    };
    /// What the directory has to say of a member.
    struct Member {
        std::size_t item = 0;
        std::uint64_t offset = 0;
        std::uint64_t compressedSize = 0;
        std::uint64_t size = 0;
        std::uint32_t checksum = 0;
        bool isSidecar = false;
        bool isDeflated = false;
    };

    // Reading ahead.

    void pack(std::size_t index) {
        checkCancelled(stop_);
        const auto& item = survey_.items()[index];
        while (!folders_.empty() && folders_.back().index != item.parent)
            folders_.pop_back();
        if (item.info.isDirectory()) {
            folders_.push_back({index, open(index)});
            addToBatch(index, 0);
        } else if (const auto size = static_cast<std::uint64_t>(item.info.size);
                   size <= PackingCrew::pieceLength) {
            addToBatch(index, size);
        } else {
            submitBatch();
            submitLarge(index, size);
        }
    }

    int parent() const { return folders_.empty() ? survey_.base() : folders_.back().descriptor->get(); }

    std::shared_ptr<Descriptor> open(std::size_t index) const {
        const auto& item = survey_.items()[index];
        auto folder = std::make_shared<Descriptor>(openat(parent(), item.name.c_str(), folderFlags));
        if (!*folder) {
            const int code = errno;
            throw PosixError(code, survey_.shown(index).path());
        }
        if (!statDescriptor(folder->get()).isSameItem(item.info))
            throw changedWhileInspected(item.name);
        return folder;
    }

    void addToBatch(std::size_t index, std::uint64_t size) {
        if (!batch_)
            batch_ = crew_.empty();
        batch_->items.push_back({index, folders_.empty() ? nullptr : folders_.back().descriptor});
        batchBytes_ += size;
        if (batch_->items.size() >= itemsInBatch || batchBytes_ >= bytesInBatch)
            submitBatch();
    }

    void submitBatch() {
        batchBytes_ = 0;
        if (batch_)
            submit(std::move(batch_));
    }

    void submitLarge(std::size_t index, std::uint64_t size) {
        const auto large = crew_.openLarge(parent(), index);
        for (std::uint64_t offset = 0; offset < size; offset += PackingCrew::pieceLength) {
            auto share = crew_.empty();
            share->items.push_back({index, nullptr});
            share->large = large;
            share->offset = offset;
            submit(std::move(share));
        }
    }

    void submit(std::unique_ptr<PackingShare> share) {
        while (crew_.isFull())
            writeOldest();
        crew_.submit(std::move(share));
    }

    // Writing, in order.

    void writeOldest() {
        auto share = crew_.take();
        checkCancelled(stop_);
        std::string_view data = share->bytes;
        for (const auto& packed : share->packed) {
            add(packed, data.substr(0, packed.length));
            data.remove_prefix(packed.length);
            if (packed.part == PackedData::Part::last)
                finishLarge(*share);
        }
        flush();
        crew_.giveBack(std::move(share));
    }

    void add(const PackedData& packed, std::string_view data) {
        const bool isNew = packed.part == PackedData::Part::whole || packed.part == PackedData::Part::first;
        if (isNew) {
            members_.push_back({.item = packed.item,
                                .offset = file_.end() + buffer_.size(),
                                .isSidecar = packed.isSidecar,
                                .isDeflated = packed.isDeflated});
            name_ = nameOf(members_.back());
            directoryLength_ += ZIPFormat::centralHeaderLength(name_);
        }
        auto& member = members_.back();
        member.checksum =
            isNew ? packed.checksum : combinedChecksum(member.checksum, packed.checksum, packed.size);
        member.size += packed.size;
        member.compressedSize += packed.length;
        if (isNew)
            ZIPFormat::appendLocalHeader(buffer_, described(member, name_));
        buffer_.append(data);
        if (file_.end() + buffer_.size() + directoryLength_ + ZIPFormat::EndRecord::length >
            ArchiveLimits::largestArchive)
            refusePacking(survey_.items().front().name, "the archive would be larger than 2 GiB");
    }

    /// Now the sizes are known. All pieces of the file have been read.
    void finishLarge(const PackingShare& share) {
        flush();
        crew_.checkUnchanged(*share.large, members_.back().item);
        std::string header;
        ZIPFormat::appendLocalHeader(header, described(members_.back(), name_));
        file_.write(header, members_.back().offset);
    }

    void flush() {
        file_.append(buffer_);
        buffer_.clear();
    }

    void writeDirectory() {
        const auto start = file_.end();
        for (const auto& member : members_) {
            checkCancelled(stop_);
            ZIPFormat::appendCentralHeader(buffer_, described(member, nameOf(member)));
            if (buffer_.size() >= writtenAtOnce)
                flush();
        }
        ZIPFormat::appendEndRecord(buffer_,
                                   {.entries = members_.size(), .size = directoryLength_, .offset = start});
        flush();
    }

    std::string nameOf(const Member& member) const {
        const auto name = survey_.memberName(member.item);
        if (member.isSidecar)
            return AppleDouble::sidecarName(name);
        return survey_.items()[member.item].info.isDirectory() ? name + "/" : name;
    }

    ZIPFormat::NewMember described(const Member& member, std::string_view name) const {
        const auto& info = survey_.items()[member.item].info;
        return {.name = name,
                .mode = member.isSidecar ? S_IFREG | (info.mode & 0666U) : info.mode,
                .modified = info.modified,
                .isDeflated = member.isDeflated,
                .checksum = member.checksum,
                .compressedSize = member.compressedSize,
                .size = member.size,
                .localOffset = member.offset};
    }

    /// Everybody, when everybody may read everything that is in the archive; else only its owner. A group is
    /// not asked for: the archive's need not be that of its source.
    mode_t readers() const {
        constexpr mode_t everybody = S_IRGRP | S_IROTH;
        const bool isPublic = std::ranges::all_of(survey_.items(), [](const SurveyedItem& item) {
            const mode_t needed = item.info.isDirectory() ? everybody | S_IXGRP | S_IXOTH : everybody;
            return (item.info.mode & needed) == needed;
        });
        return isPublic ? everybody : 0;
    }

    const ArchiveSurvey& survey_;
    const std::stop_token stop_;
    ArchiveFile file_;
    std::vector<Folder> folders_; ///< those above the item that is being packed
    std::unique_ptr<PackingShare> batch_;
    std::uint64_t batchBytes_ = 0;
    std::vector<Member> members_;
    std::string name_; ///< the last member's
    std::string buffer_;
    std::uint64_t directoryLength_ = 0;
    PackingCrew crew_; ///< last, so that its threads end first
};

} // namespace

void checkCanPack(const FileURL& source, const std::stop_token& stop) {
    ArchiveSurvey(source, stop);
}

Descriptor compress(const Work& work) {
    struct stat occupied {};
    if (fstatat(work.stagingFolder, std::string(work.staging.lastComponent()).c_str(), &occupied,
                AT_SYMLINK_NOFOLLOW) == 0)
        refuseOccupied();
    const ArchiveSurvey survey(work.source, work.stop);
    auto archive = Packing(work, survey).run();
    try {
        validate(work.staging, work.stop);
    } catch (const FileOperationError& error) {
        throw FileOperationError::unavailable(
            std::string("The archive could not be verified and was retained for inspection. ") +
            error.what());
    }
    return archive;
}

} // namespace morv::SafeArchiveService
