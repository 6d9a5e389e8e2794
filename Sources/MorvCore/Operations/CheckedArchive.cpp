#include "MorvCore/Operations/CheckedArchive.h"

#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Operations/ArchiveLimits.h"
#include "MorvCore/Operations/OperationFiles.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unordered_map>
#include <utility>
#include <vector>

namespace morv {

namespace {

using ZIPFormat::CentralHeader;
using ZIPFormat::EndRecord;
using ZIPFormat::LocalHeader;

constexpr std::int64_t smallestArchive = EndRecord::length;
constexpr std::uint64_t longestComment = 65'535;

// Encryption, strong encryption and masked headers.
constexpr unsigned refusedFlags = 0x2041;
// What is left is 0 for stored and deflated members.
constexpr unsigned methodMask = 0xFFF7;
// ZIP64, Unix (links and devices), Unicode path, ASi Unix (links and devices).
constexpr std::array<std::uint16_t, 4> refusedFields = {0x0001, 0x000D, 0x7075, 0x756E};

// Sixty-four kibibytes hold many headers of the directory, which is read from end to end. A local header
// stands alone before its data, which is not to be read.
constexpr std::size_t directoryPiece = 65'536;
constexpr std::size_t localPiece = 4096;
// Members' data are read from end to end.
constexpr std::size_t dataPiece = 262'144;

[[noreturn]] void refuseDamage() {
    throw FileOperationError::invalid("The ZIP directory is damaged or inconsistent. Nothing was extracted.");
}

[[noreturn]] void refuseEntryFormat() {
    throw FileOperationError::unsupported("This ZIP uses encryption or an unsupported entry format.");
}

[[noreturn]] void refuseChange() {
    throw FileOperationError::changed(
        "The archive changed while it was being checked. Nothing was extracted.");
}

void checkKindAndSize(const FileStat& info) {
    if (!info.isRegular() || info.size < smallestArchive ||
        info.size > static_cast<std::int64_t>(ArchiveLimits::largestArchive))
        throw FileOperationError::unsupported(
            "Choose a regular ZIP archive smaller than 2 GiB. ZIP64 archives are not supported yet.");
}

Descriptor openArchive(const FileURL& url) {
    // Before it is opened: opening a device or a pipe does something.
    checkKindAndSize(OperationFiles::info(url));
    Descriptor file(::open(url.path().c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file)
        throw PosixError(errno, url.path());
    return file;
}

bool isSafePath(std::string_view name) {
    if (name.find_first_of(std::string_view("\\:\0", 3)) != std::string_view::npos)
        return false;
    std::size_t components = 0;
    for (std::size_t start = 0; start <= name.size(); ++components) {
        const auto end = std::min(name.find('/', start), name.size());
        const auto component = name.substr(start, end - start);
        // An empty name and one that begins with "/" have an empty first component.
        if (component.empty() || component == "." || component == ".." ||
            component.size() > ArchiveLimits::longestComponent)
            return false;
        start = end + 1;
    }
    return components <= ArchiveLimits::mostComponents;
}

bool endsInSlash(std::string_view name) {
    return name.ends_with('/');
}

std::string_view withoutSlash(std::string_view name) {
    return name.substr(0, name.size() - (endsInSlash(name) ? 1 : 0));
}

void checkType(const CentralHeader& header, bool isDirectory) {
    const auto type = header.mode & S_IFMT;
    if (type != 0 && type != S_IFREG && (type != S_IFDIR || !isDirectory))
        throw FileOperationError::unsupported(
            "ZIP archives containing symbolic links or special files cannot be extracted by Morv.");
}

void checkExtraFields(std::string_view extra, const char* refusal) {
    const bool isWhole = ZIPFormat::forEachExtraField(extra, [refusal](std::uint16_t id, std::string_view) {
        if (std::ranges::find(refusedFields, id) != refusedFields.end())
            throw FileOperationError::unsupported(refusal);
    });
    if (!isWhole)
        refuseDamage();
}

// One archive on its way through the rules, each in its place: which reason is told depends on the order.
class Check {
public:
    Check(int file, std::uint64_t size, const FileURL& url, const Fingerprinter& fingerprinter,
          const std::stop_token& stop)
        : stop_(stop), directory_(file, directoryPiece, url), locals_(file, localPiece, url), size_(size),
          fingerprinter_(fingerprinter) {}

    std::vector<CheckedArchive::Member> run() {
        findEnd();
        checkEnd();
        checkMembers();
        checkOverlaps();
        checkParents();
        return std::move(members_);
    }

private:
    using Member = CheckedArchive::Member;
    struct Range {
        std::uint32_t start = 0;
        std::uint32_t end = 0;
    };

    std::string_view read(FilePieces& pieces, std::uint64_t offset, std::uint64_t count) const {
        if (offset > size_ || count > size_ - offset)
            refuseDamage();
        const auto bytes = pieces.bytes(offset, static_cast<std::size_t>(count));
        if (bytes.size() < count)
            refuseChange();
        return bytes;
    }

    void findEnd() {
        const auto window = std::min<std::uint64_t>(size_, EndRecord::length + longestComment);
        const auto tail = read(directory_, size_ - window, window);
        for (auto at = tail.size() - EndRecord::length + 1; at > 0;) {
            at = tail.rfind(EndRecord::signature, at - 1);
            if (at == std::string_view::npos)
                break;
            end_ = EndRecord::from(tail.substr(at));
            if (at + EndRecord::length + end_.commentLength == tail.size()) {
                endOffset_ = size_ - window + at;
                return;
            }
        }
        refuseDamage();
    }

    void checkEnd() const {
        if (end_.disk != 0 || end_.directoryDisk != 0 || end_.entriesOnDisk != end_.entries ||
            end_.entries == ZIPFormat::elsewhere16 || end_.directorySize == ZIPFormat::elsewhere32 ||
            end_.directoryOffset == ZIPFormat::elsewhere32 ||
            std::uint64_t{end_.directoryOffset} + end_.directorySize != endOffset_)
            throw FileOperationError::unsupported(
                "Multipart and ZIP64 archives are not supported. The archive was not extracted.");
    }

    void checkMembers() {
        members_.reserve(end_.entries);
        ranges_.reserve(end_.entries);
        isDirectory_.reserve(end_.entries);
        std::uint64_t at = end_.directoryOffset;
        for (unsigned count = 0; count < end_.entries; ++count) {
            checkCancelled(stop_);
            at = checkMember(at);
        }
        if (at != endOffset_)
            refuseDamage();
    }

    /// The member whose header stands at `at`; gives where the next one stands.
    std::uint64_t checkMember(std::uint64_t at) {
        const auto fixed = read(directory_, at, CentralHeader::length);
        if (!fixed.starts_with(CentralHeader::signature))
            refuseDamage();
        const auto header = CentralHeader::from(fixed);
        const std::size_t wanted =
            CentralHeader::length + header.nameLength + std::size_t{header.extraLength};
        const auto next = at + wanted + header.commentLength;
        if (header.nameLength == 0 || next > endOffset_ || (header.flags & refusedFlags) != 0 ||
            (header.method & methodMask) != 0 || header.compressedSize == ZIPFormat::elsewhere32 ||
            header.uncompressedSize == ZIPFormat::elsewhere32 || header.localOffset == ZIPFormat::elsewhere32)
            refuseEntryFormat();

        const auto whole = read(directory_, at, wanted);
        const auto stored = whole.substr(CentralHeader::length, header.nameLength);
        if (!isValidUTF8(stored))
            throw FileOperationError::unsupported(
                "This ZIP uses legacy filename encoding. Extract it with an "
                "archive utility that supports that encoding.");
        const bool isDirectory = endsInSlash(stored);
        const auto name = withoutSlash(stored);
        if (!isSafePath(name))
            throw FileOperationError::invalid(
                "This ZIP contains an unsafe or unsupported path. Nothing was extracted.");
        checkType(header, isDirectory);
        checkExtraFields(whole.substr(CentralHeader::length + header.nameLength),
                         "This ZIP includes unsupported link, ZIP64 or alternate-name metadata.");
        if (!isDirectory_.try_emplace(fingerprinter_.of(pathKey(name)), isDirectory).second)
            throw FileOperationError::invalid("This ZIP contains duplicate or case-colliding filenames.");
        checkExpansion(header);
        Member member{.name = fingerprinter_.of(stored),
                      .nameOffset = static_cast<std::uint32_t>(at + CentralHeader::length),
                      .compressedSize = header.compressedSize,
                      .size = header.uncompressedSize,
                      .checksum = header.checksum,
                      .nameLength = header.nameLength,
                      .mode = header.mode,
                      .isDirectory = isDirectory,
                      .isDeflated = header.method != 0};
        checkLocal(header, stored, member);
        members_.push_back(member);
        return next;
    }

    void checkExpansion(const CentralHeader& header) {
        expansion_ += header.uncompressedSize;
        const auto most = ArchiveLimits::largestRatio * std::max<std::uint64_t>(header.compressedSize, 1);
        if (expansion_ > ArchiveLimits::largestExpansion ||
            (header.uncompressedSize >= ArchiveLimits::smallestRatioChecked &&
             header.uncompressedSize > most))
            throw FileOperationError::unsupported(
                "This ZIP exceeds Morv's 20 GiB expanded-size or compression-ratio safety limit.");
    }

    /// Learns of the member where its data are and when it was modified.
    void checkLocal(const CentralHeader& header, std::string_view stored, Member& member) {
        const std::uint64_t at = header.localOffset;
        if (at >= end_.directoryOffset)
            refuseDamage();
        const auto fixed = read(locals_, at, LocalHeader::length);
        const auto local = LocalHeader::from(fixed);
        if (!fixed.starts_with(LocalHeader::signature) || local.flags != header.flags ||
            local.method != header.method || local.nameLength != header.nameLength)
            refuseDamage();
        const auto data = at + LocalHeader::length + local.nameLength + local.extraLength;
        const auto end = data + header.compressedSize;
        if (end > end_.directoryOffset)
            refuseDamage();
        const auto whole = read(locals_, at, data - at);
        if (whole.substr(LocalHeader::length, local.nameLength) != stored)
            refuseDamage();
        const auto extra = whole.substr(LocalHeader::length + local.nameLength);
        checkExtraFields(extra, "Unsupported ZIP local-header metadata.");
        member.dataOffset = static_cast<std::uint32_t>(data);
        member.modified = ZIPFormat::storedTime(local, extra);
        ranges_.push_back({header.localOffset, static_cast<std::uint32_t>(end)});
    }

    /// Bytes that two members share are how a small archive becomes a huge tree.
    void checkOverlaps() {
        std::ranges::sort(ranges_, {}, &Range::start);
        const auto overlap = std::ranges::adjacent_find(
            ranges_, [](const Range& one, const Range& next) { return next.start < one.end; });
        if (overlap != ranges_.end())
            refuseDamage();
    }

    /// Composition and lower case never reach across a "/", so the keys of a name's parents are beginnings of
    /// its own key.
    void checkParents() {
        for (const auto& member : members_) {
            checkCancelled(stop_);
            fingerprinter_.of(pathKey(withoutSlash(storedName(member))),
                              [this](const NameFingerprint& parent) {
                                  const auto known = isDirectory_.find(parent);
                                  if (known != isDirectory_.end() && !known->second)
                                      throw FileOperationError::invalid(
                                          "This ZIP uses the same path as a file and a parent folder.");
                              });
        }
    }

    /// As the directory has it, and proved to be what was checked. Stays until the directory is read again.
    std::string_view storedName(const Member& member) {
        const auto name = read(directory_, member.nameOffset, member.nameLength);
        if (fingerprinter_.of(name) != member.name)
            refuseChange();
        return name;
    }

    const std::stop_token& stop_;
    FilePieces directory_;
    FilePieces locals_;
    const std::uint64_t size_;
    EndRecord end_;
    std::uint64_t endOffset_ = 0;
    std::uint64_t expansion_ = 0;
    const Fingerprinter& fingerprinter_;
    std::vector<Member> members_;
    std::vector<Range> ranges_;
    std::unordered_map<NameFingerprint, bool> isDirectory_; ///< by the fingerprint of each member's key
};

} // namespace

CheckedArchive::CheckedArchive(const FileURL& url, const std::stop_token& stop)
    : url_(url), file_(openArchive(url)), info_(statDescriptor(file_.get())) {
    checkKindAndSize(info_);
    members_ = Check(file_.get(), static_cast<std::uint64_t>(info_.size), url_, fingerprinter_, stop).run();
    if (!isUnchanged())
        refuseChange();
}

bool CheckedArchive::isUnchanged() const {
    const auto now = statDescriptor(file_.get());
    return now.size == info_.size && now.modified == info_.modified && now.changed == info_.changed;
}

CheckedArchive::Reader::Reader(const CheckedArchive& archive, const char* changedSentence)
    : archive_(archive), changedSentence_(changedSentence),
      names_(archive.file_.get(), directoryPiece, archive.url_),
      data_(archive.file_.get(), dataPiece, archive.url_) {}

std::string_view CheckedArchive::Reader::name(const Member& member) {
    const auto stored = names_.bytes(member.nameOffset, member.nameLength);
    if (archive_.fingerprinter_.of(stored) != member.name)
        throw FileOperationError::changed(changedSentence_);
    return withoutSlash(stored);
}

std::string_view CheckedArchive::Reader::data(const Member& member, std::uint32_t offset, std::size_t count) {
    const auto bytes = data_.bytes(std::uint64_t{member.dataOffset} + offset, count);
    if (bytes.size() < count)
        throw FileOperationError::changed(changedSentence_);
    return bytes;
}

} // namespace morv
