#include "MorvCore/Operations/ZIPFormat.h"

namespace morv::ZIPFormat {

namespace {

std::uint16_t number16(std::string_view bytes, std::size_t at) {
    return static_cast<std::uint16_t>(static_cast<unsigned char>(bytes[at]) |
                                      static_cast<unsigned char>(bytes[at + 1]) << 8U);
}

std::uint32_t number32(std::string_view bytes, std::size_t at) {
    return number16(bytes, at) | static_cast<std::uint32_t>(number16(bytes, at + 2)) << 16U;
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
            .nameLength = number16(bytes, 26),
            .extraLength = number16(bytes, 28)};
}

bool forEachExtraField(std::string_view extra, const std::function<void(std::uint16_t id)>& field) {
    constexpr std::size_t head = 4;
    while (!extra.empty()) {
        if (extra.size() < head)
            return false;
        const std::size_t length = head + number16(extra, 2);
        if (extra.size() < length)
            return false;
        field(number16(extra, 0));
        extra.remove_prefix(length);
    }
    return true;
}

} // namespace morv::ZIPFormat
