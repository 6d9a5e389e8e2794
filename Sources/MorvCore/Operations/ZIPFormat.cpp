#include "MorvCore/Operations/ZIPFormat.h"

#include <algorithm>
#include <ctime>
#include <optional>

namespace morv::ZIPFormat {

namespace {

std::uint16_t number16(std::string_view bytes, std::size_t at) {
    return static_cast<std::uint16_t>(static_cast<unsigned char>(bytes[at]) |
                                      static_cast<unsigned char>(bytes[at + 1]) << 8U);
}

std::uint32_t number32(std::string_view bytes, std::size_t at) {
    return number16(bytes, at) | static_cast<std::uint32_t>(number16(bytes, at + 2)) << 16U;
}

std::int64_t offsetFromUTC(std::int64_t seconds) {
    const std::time_t time = seconds;
    std::tm local{};
    return localtime_r(&time, &local) ? local.tm_gmtoff : 0;
}

} // namespace

EndRecord EndRecord::from(std::string_view bytes) {
    return {.disk = number16(bytes, 4),
            .directoryDisk = number16(bytes, 6),
            .entriesOnDisk = number16(bytes, 8),
            .entries = number16(bytes, 10),
            .directorySize = number32(bytes, 12),
            .directoryOffset = number32(bytes, 16),
            .commentLength = number16(bytes, 20)};
}

CentralHeader CentralHeader::from(std::string_view bytes) {
    return {.flags = number16(bytes, 8),
            .method = number16(bytes, 10),
            .checksum = number32(bytes, 16),
            .compressedSize = number32(bytes, 20),
            .uncompressedSize = number32(bytes, 24),
            .nameLength = number16(bytes, 28),
            .extraLength = number16(bytes, 30),
            .commentLength = number16(bytes, 32),
            .mode = number16(bytes, 40),
            .localOffset = number32(bytes, 42)};
}

LocalHeader LocalHeader::from(std::string_view bytes) {
    return {.flags = number16(bytes, 6),
            .method = number16(bytes, 8),
            .time = number32(bytes, 10),
            .nameLength = number16(bytes, 26),
            .extraLength = number16(bytes, 28)};
}

bool forEachExtraField(std::string_view extra,
                       const std::function<void(std::uint16_t id, std::string_view data)>& field) {
    constexpr std::size_t head = 4;
    while (!extra.empty()) {
        if (extra.size() < head)
            return false;
        const std::size_t length = head + number16(extra, 2);
        if (extra.size() < length)
            return false;
        field(number16(extra, 0), extra.substr(head, length - head));
        extra.remove_prefix(length);
    }
    return true;
}

StoredTime storedTime(const LocalHeader& header, std::string_view extra) {
    constexpr std::uint16_t extendedTimestamp = 0x5455, olderUnix = 0x5855;
    std::optional<std::uint32_t> time, olderTime;
    forEachExtraField(extra, [&](std::uint16_t id, std::string_view data) {
        // Flags, of which the lowest says that the time of modification comes first.
        if (id == extendedTimestamp && data.size() >= 5 && (data[0] & 1) != 0)
            time = number32(data, 1);
        // The time of the last access, then that of modification.
        if (id == olderUnix && data.size() >= 8)
            olderTime = number32(data, 4);
    });
    if (!time)
        time = olderTime;
    // The field has a sign, and its writers hold different views of it. Where that matters the header must
    // bear one of them out: years that only DOS counts this far, or its very first moment for all before it.
    constexpr std::uint32_t dos2038 = 0x74320000, dosFirst = 0x00210000;
    const bool isAmbiguous = time && (*time >> 31U) != 0;
    if (!time || (isAmbiguous && header.time < dos2038 && header.time != dosFirst))
        return {header.time, true};
    if (isAmbiguous && header.time == dosFirst)
        return {static_cast<std::int32_t>(*time), false};
    return {*time, false};
}

std::int64_t secondsOf(const StoredTime& time) {
    if (!time.isLocal)
        return time.value;
    const auto bits = static_cast<std::uint32_t>(time.value);
    const auto field = [bits](unsigned from, unsigned length) {
        return static_cast<int>(bits >> from & ((1U << length) - 1));
    };
    std::tm day{};
    day.tm_year = field(25, 7) + 80;
    day.tm_mon = std::max(field(21, 4) - 1, 0); // no date at all is the day before the first
    day.tm_mday = field(16, 5);
    day.tm_hour = field(11, 5);
    day.tm_min = field(5, 6);
    day.tm_sec = field(0, 5) * 2;
    // mktime would look for the zone's file again with every call, one thread after the other.
    const std::int64_t asUTC = timegm(&day);
    return asUTC - offsetFromUTC(asUTC - offsetFromUTC(asUTC));
}

} // namespace morv::ZIPFormat
