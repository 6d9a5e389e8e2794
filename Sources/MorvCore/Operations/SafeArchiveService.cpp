#include "MorvCore/Operations/SafeArchiveService.h"

#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/JSONCoding.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Operations/NameFingerprint.h"
#include "MorvCore/Operations/OperationFiles.h"
#include "MorvCore/Operations/ZIPFormat.h"
#include "MorvCore/Platform/Descriptor.h"
#include "MorvCore/Platform/FilePieces.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unordered_map>
#include <utility>
#include <vector>

namespace morv::SafeArchiveService {

namespace {

using ZIPFormat::CentralHeader;
using ZIPFormat::EndRecord;
using ZIPFormat::LocalHeader;

constexpr std::int64_t smallestArchive = EndRecord::length;
constexpr std::int64_t largestArchive = 2'147'483'648;
constexpr std::uint64_t longestComment = 65'535;
constexpr std::uint64_t largestExpansion = 21'474'836'480;
constexpr std::uint64_t smallestRatioChecked = 104'857'601;
constexpr std::uint64_t largestRatio = 1000;
constexpr std::size_t mostComponents = 128;
constexpr std::size_t longestComponent = 255;

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
    if (!info.isRegular() || info.size < smallestArchive || info.size > largestArchive)
        throw FileOperationError::unsupported(
            "Choose a regular ZIP archive smaller than 2 GiB. ZIP64 archives are not supported yet.");
}

bool isSafePath(std::string_view name) {
    if (name.find_first_of(std::string_view("\\:\0", 3)) != std::string_view::npos)
        return false;
    std::size_t components = 0;
    for (std::size_t start = 0; start <= name.size(); ++components) {
        const auto end = std::min(name.find('/', start), name.size());
        const auto component = name.substr(start, end - start);
        // An empty name and one that begins with "/" have an empty first component.
        if (component.empty() || component == "." || component == ".." || component.size() > longestComponent)
            return false;
        start = end + 1;
    }
    return components <= mostComponents;
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
    const bool isWhole = ZIPFormat::forEachExtraField(extra, [refusal](std::uint16_t id) {
        if (std::ranges::find(refusedFields, id) != refusedFields.end())
            throw FileOperationError::unsupported(refusal);
    });
    if (!isWhole)
        refuseDamage();
}

// One archive on its way through the rules, each in its place: which reason is told depends on the order.
class Check {
public:
    Check(const FileURL& url, std::stop_token stop)
        : stop_(std::move(stop)), file_(open(url)), before_(statDescriptor(file_.get())),
          directory_(file_.get(), directoryPiece, url), locals_(file_.get(), localPiece, url) {
        checkKindAndSize(before_);
        size_ = static_cast<std::uint64_t>(before_.size);
    }

    void run() {
        findEnd();
        checkEnd();
        checkMembers();
        checkOverlaps();
        checkParents();
        checkUnchanged();
    }

    void visit(const std::function<void(const Entry&)>& visit) {
        for (const auto& member : members_) {
            checkCancelled(stop_);
            visit({std::string(withoutSlash(storedName(member))), member.size, member.isDirectory});
        }
    }

private:
    struct Member {
        NameFingerprint name; ///< of the bytes as stored
        std::uint32_t nameOffset = 0;
        std::uint32_t size = 0;
        std::uint16_t nameLength = 0;
        bool isDirectory = false;
    };
    struct Range {
        std::uint64_t start = 0;
        std::uint64_t end = 0;
    };

    static Descriptor open(const FileURL& url) {
        // Before it is opened: opening a device or a pipe does something.
        checkKindAndSize(OperationFiles::info(url));
        Descriptor file(::open(url.path().c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        if (!file)
            throw PosixError(errno, url.path());
        return file;
    }

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
        checkLocal(header, stored);
        members_.push_back({.name = fingerprinter_.of(stored),
                            .nameOffset = static_cast<std::uint32_t>(at + CentralHeader::length),
                            .size = header.uncompressedSize,
                            .nameLength = header.nameLength,
                            .isDirectory = isDirectory});
        return next;
    }

    void checkExpansion(const CentralHeader& header) {
        expansion_ += header.uncompressedSize;
        const auto most = largestRatio * std::max<std::uint64_t>(header.compressedSize, 1);
        if (expansion_ > largestExpansion ||
            (header.uncompressedSize >= smallestRatioChecked && header.uncompressedSize > most))
            throw FileOperationError::unsupported(
                "This ZIP exceeds Morv's 20 GiB expanded-size or compression-ratio safety limit.");
    }

    void checkLocal(const CentralHeader& header, std::string_view stored) {
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
        checkExtraFields(whole.substr(LocalHeader::length + local.nameLength),
                         "Unsupported ZIP local-header metadata.");
        ranges_.push_back({at, end});
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

    void checkUnchanged() const {
        const auto now = statDescriptor(file_.get());
        if (now.size != before_.size || now.modified != before_.modified || now.changed != before_.changed)
            refuseChange();
    }

    /// As the directory has it, and proved to be what was checked. Stays until the directory is read again.
    std::string_view storedName(const Member& member) {
        const auto name = read(directory_, member.nameOffset, member.nameLength);
        if (fingerprinter_.of(name) != member.name)
            refuseChange();
        return name;
    }

    const std::stop_token stop_;
    const Descriptor file_;
    const FileStat before_;
    FilePieces directory_;
    FilePieces locals_;
    std::uint64_t size_ = 0;
    EndRecord end_;
    std::uint64_t endOffset_ = 0;
    std::uint64_t expansion_ = 0;
    const Fingerprinter fingerprinter_;
    std::vector<Member> members_;
    std::vector<Range> ranges_;
    std::unordered_map<NameFingerprint, bool> isDirectory_; ///< by the fingerprint of each member's key
};

} // namespace

std::string toJSON(const Entry& entry) {
    const json::Value value = {
        {"name", entry.name}, {"size", entry.size}, {"isDirectory", entry.isDirectory}};
    return value.dump(-1, ' ', true);
}

void validate(const FileURL& url, const std::stop_token& stop) {
    Check(url, stop).run();
}

void entries(const FileURL& url, const std::stop_token& stop,
             const std::function<void(const Entry&)>& visit) {
    Check check(url, stop);
    check.run();
    check.visit(visit);
}

} // namespace morv::SafeArchiveService
