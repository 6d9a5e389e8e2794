// Builds ZIP archives byte by byte, right or wrong in any field.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace morv::test {

struct ArchiveMember {
    std::string name = "file.txt";
    std::string data = "content";
    std::uint32_t mode = 0100644; ///< Unix type and permissions
    std::uint16_t flags = 0x0800;
    std::uint16_t method = 0;
    std::uint32_t time = 0x5A210000; ///< date and time of DOS; 2025-01-01
    std::string centralExtra = {};
    std::string localExtra = {};
    std::string comment = {};

    // What is said instead of the truth; sizes and what has no "local" in its name in the central directory.
    std::optional<std::string> localName = {};
    std::optional<std::uint32_t> centralSignature = {};
    std::optional<std::uint32_t> localSignature = {};
    std::optional<std::uint32_t> compressedSize = {};
    std::optional<std::uint32_t> uncompressedSize = {};
    std::optional<std::uint32_t> checksum = {}; ///< otherwise that of `data`
    std::optional<std::uint32_t> localOffset = {};
    std::optional<std::uint16_t> nameLength = {};
    std::optional<std::uint16_t> extraLength = {};
    std::optional<std::uint16_t> commentLength = {};
    std::optional<std::uint16_t> localFlags = {};
    std::optional<std::uint16_t> localMethod = {};
    std::optional<std::uint16_t> localNameLength = {};
    std::optional<std::uint16_t> localExtraLength = {};
};

struct ArchivePlan {
    std::vector<ArchiveMember> members = {};
    std::string stub = {};  ///< before the first member; no offset counts it
    std::string gap = {};   ///< between the last member and the directory
    std::string slack = {}; ///< between the directory and the end record, counted as a part of the directory
    std::string comment = {};
    std::string trailer = {}; ///< after the comment

    std::optional<std::uint32_t> endSignature = {};
    std::optional<std::uint16_t> disk = {};
    std::optional<std::uint16_t> directoryDisk = {};
    std::optional<std::uint16_t> entriesOnDisk = {};
    std::optional<std::uint16_t> entries = {};
    std::optional<std::uint32_t> directorySize = {};
    std::optional<std::uint32_t> directoryOffset = {};
    std::optional<std::uint16_t> commentLength = {};
};

/// An archive in the two pieces between which a hole can be left.
struct ArchiveParts {
    std::string members;
    std::string directory; ///< with the end record and all that follows
};

/// A member whose data are the deflated form of `content`, with the size and the checksum that belong to it.
ArchiveMember deflated(const std::string& name, const std::string& content);
/// The local header and data of one member.
std::string localRecord(const ArchiveMember& member);
ArchiveParts archiveParts(const ArchivePlan& plan);
std::string archiveBytes(const ArchivePlan& plan);
/// One extra field.
std::string extraField(std::uint16_t id, const std::string& data);

} // namespace morv::test
