#include "MorvCore/Operations/ZIPWriting.h"

#include "MorvCore/Operations/ZIPFormat.h"

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <limits>
#include <sys/stat.h>

namespace morv::ZIPFormat {

namespace {

constexpr std::uint16_t version = 20;
constexpr std::uint16_t madeByUnix = 3 << 8U | version;
constexpr std::uint16_t namesAreUTF8 = 1U << 11U;
constexpr std::uint16_t deflated = 8;
constexpr std::uint32_t dosFolder = 0x10;
constexpr std::uint16_t extendedTimestamp = 0x5455;
constexpr std::uint16_t timestampLength = 5;
constexpr std::uint8_t modificationTimeOnly = 1;
constexpr std::size_t extraLength = 4 + timestampLength;
// Where DOS has years that are too late for a sign, or its first moment, readers tell which of both this is.
constexpr std::int64_t firstStamp = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t lastStamp = std::numeric_limits<std::uint32_t>::max();

void append16(std::string& bytes, std::uint64_t value) {
    bytes.push_back(static_cast<char>(value));
    bytes.push_back(static_cast<char>(value >> 8U));
}

void append32(std::string& bytes, std::uint64_t value) {
    append16(bytes, value);
    append16(bytes, value >> 16U);
}

/// The date in the upper half, the time of day in the lower one.
std::uint32_t dosTime(const FileTime& time) {
    constexpr std::uint32_t first = 1U << 21U | 1U << 16U;
    constexpr std::uint32_t last = 127U << 25U | 12U << 21U | 31U << 16U | 23U << 11U | 59U << 5U | 29U;
    const auto seconds = static_cast<time_t>(time.seconds);
    std::tm local{};
    if (!localtime_r(&seconds, &local) || local.tm_year < 80)
        return first;
    if (local.tm_year > 80 + 127)
        return last;
    const auto field = [](int value, unsigned shift) { return static_cast<std::uint32_t>(value) << shift; };
    return field(local.tm_year - 80, 25) | field(local.tm_mon + 1, 21) | field(local.tm_mday, 16) |
           field(local.tm_hour, 11) | field(local.tm_min, 5) | field(local.tm_sec, 0) >> 1U;
}

/// The fields that both headers have, in their common order.
void appendCommon(std::string& bytes, const NewMember& member) {
    append16(bytes, namesAreUTF8);
    append16(bytes, member.isDeflated ? deflated : 0);
    append32(bytes, dosTime(member.modified));
    append32(bytes, member.checksum);
    append32(bytes, member.compressedSize);
    append32(bytes, member.size);
    append16(bytes, member.name.size());
    append16(bytes, extraLength);
}

void appendNameAndExtra(std::string& bytes, const NewMember& member) {
    bytes.append(member.name);
    append16(bytes, extendedTimestamp);
    append16(bytes, timestampLength);
    bytes.push_back(modificationTimeOnly);
    append32(bytes, static_cast<std::uint64_t>(std::clamp(member.modified.seconds, firstStamp, lastStamp)));
}

} // namespace

void appendLocalHeader(std::string& bytes, const NewMember& member) {
    bytes.append(LocalHeader::signature);
    append16(bytes, version);
    appendCommon(bytes, member);
    appendNameAndExtra(bytes, member);
}

void appendCentralHeader(std::string& bytes, const NewMember& member) {
    bytes.append(CentralHeader::signature);
    append16(bytes, madeByUnix);
    append16(bytes, version);
    appendCommon(bytes, member);
    append16(bytes, 0); // comment
    append16(bytes, 0); // disk
    append16(bytes, 0); // internal attributes
    append32(bytes, (member.mode & (S_IFMT | 0777U)) << 16U | (S_ISDIR(member.mode) ? dosFolder : 0));
    append32(bytes, member.localOffset);
    appendNameAndExtra(bytes, member);
}

std::size_t centralHeaderLength(std::string_view name) {
    return CentralHeader::length + name.size() + extraLength;
}

void appendEndRecord(std::string& bytes, const NewDirectory& directory) {
    bytes.append(EndRecord::signature);
    append32(bytes, 0); // disks
    append16(bytes, directory.entries);
    append16(bytes, directory.entries);
    append32(bytes, directory.size);
    append32(bytes, directory.offset);
    append16(bytes, 0); // comment
}

} // namespace morv::ZIPFormat
