// The records of a ZIP archive, as far as Morv reads them (".ZIP File Format Specification" 6.3.10, sections
// 4.3.7, 4.3.12, 4.3.16 and 4.5.1). Only what stands there: nothing is judged and nothing is looked up.
//
// Numbers     little-endian; sizes and offsets in bytes, offsets from the beginning of the file
// Threading   stateless
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

namespace morv::ZIPFormat {

/// A 32-bit or 16-bit field that holds this has its value elsewhere, in a ZIP64 record.
inline constexpr std::uint32_t elsewhere32 = 0xFFFFFFFF;
inline constexpr std::uint16_t elsewhere16 = 0xFFFF;

/// End of central directory record: these 22 bytes, then the comment.
struct EndRecord {
    static constexpr std::size_t length = 22;
    static constexpr std::string_view signature = "PK\5\6";

    std::uint16_t disk = 0;
    std::uint16_t directoryDisk = 0;
    std::uint16_t entriesOnDisk = 0;
    std::uint16_t entries = 0;
    std::uint32_t directorySize = 0;
    std::uint32_t directoryOffset = 0;
    std::uint16_t commentLength = 0;

    /// `bytes` has at least `length`, as for the other two.
    static EndRecord from(std::string_view bytes);
};

/// Central directory header: these 46 bytes, then name, extra fields and comment.
struct CentralHeader {
    static constexpr std::size_t length = 46;
    static constexpr std::string_view signature = "PK\1\2";

    std::uint16_t flags = 0;
    std::uint16_t method = 0;
    std::uint32_t checksum = 0; ///< CRC-32 of the bytes when extracted
    std::uint32_t compressedSize = 0;
    std::uint32_t uncompressedSize = 0;
    std::uint16_t nameLength = 0;
    std::uint16_t extraLength = 0;
    std::uint16_t commentLength = 0;
    std::uint16_t mode = 0; ///< Unix type and permissions; 0 where the maker had none
    std::uint32_t localOffset = 0;

    static CentralHeader from(std::string_view bytes);
};

/// Local file header: these 30 bytes, then name, extra fields and data.
struct LocalHeader {
    static constexpr std::size_t length = 30;
    static constexpr std::string_view signature = "PK\3\4";

    std::uint16_t flags = 0;
    std::uint16_t method = 0;
    std::uint32_t time = 0; ///< of modification: date and time of day as DOS counts them, the date above
    std::uint16_t nameLength = 0;
    std::uint16_t extraLength = 0;

    static LocalHeader from(std::string_view bytes);
};

/// Calls `field` with the id and the data of each extra field in order, once the whole field is known to be
/// there. False when one runs past the end.
bool forEachExtraField(std::string_view extra,
                       const std::function<void(std::uint16_t id, std::string_view data)>& field);

/// When a member was modified, as its local header says it.
struct StoredTime {
    std::int64_t value = 0; ///< seconds since 1970-01-01 UTC, or the 32 bits of DOS
    bool isLocal = true;    ///< DOS: in whatever time zone the reader is in

    friend bool operator==(const StoredTime&, const StoredTime&) = default;
};

/// The time among the extra fields of a local header ("extended timestamp" 0x5455, or the older Unix field
/// 0x5855), else that of the header itself.
StoredTime storedTime(const LocalHeader& header, std::string_view extra);

/// Seconds since 1970-01-01 UTC, in the time zone of the last tzset(). Days and hours that no calendar has count
/// on from the last one that it has.
std::int64_t secondsOf(const StoredTime& time);

} // namespace morv::ZIPFormat
