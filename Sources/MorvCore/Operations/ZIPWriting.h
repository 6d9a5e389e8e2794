// The records of a ZIP archive, as Morv writes them (".ZIP File Format Specification" 6.3.10, sections 4.3.7,
// 4.3.12 and 4.3.16). ZIPFormat.h has the reading side.
//
// Every member    name in UTF-8 and said to be so, version 2.0, made by Unix; its time of modification as DOS
//                 has it (local time, even seconds, 1980 to 2107) and in the "extended timestamp" field
//                 0x5455, with whole seconds since 1970 (1901 to 2106; times beyond are the nearest of these)
// Threading       stateless
#pragma once

#include "MorvCore/Platform/FileStat.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace morv::ZIPFormat {

struct NewMember {
    std::string_view name;  ///< a folder's ends in "/"
    std::uint32_t mode = 0; ///< with the type; of the rest only the permission bits are written
    FileTime modified;
    bool isDeflated = false;
    std::uint32_t checksum = 0; ///< CRC-32 of the bytes when extracted
    std::uint64_t compressedSize = 0;
    std::uint64_t size = 0;
    std::uint64_t localOffset = 0; ///< where its local header stands
};

/// Always as long for the same name, so that it can be written again once the sizes are known.
void appendLocalHeader(std::string& bytes, const NewMember& member);
void appendCentralHeader(std::string& bytes, const NewMember& member);
std::size_t centralHeaderLength(std::string_view name);

struct NewDirectory {
    std::size_t entries = 0;
    std::uint64_t size = 0;
    std::uint64_t offset = 0;
};
void appendEndRecord(std::string& bytes, const NewDirectory& directory);

} // namespace morv::ZIPFormat
