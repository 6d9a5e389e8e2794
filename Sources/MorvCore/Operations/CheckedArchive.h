// One archive that has passed every rule of SafeArchiveService, held open, and the only way to its bytes.
//
// Invariants  I1  constructed => the archive kept the promises of SafeArchiveService.h, and everything that is
//                 known of a member was read once, in the reading that was checked
//             I2  names and data come from the places that were checked. A name is proved again by its
//                 fingerprint; data are not: who expands them verifies size and checksum
// Memory      about 100 bytes for each member while it is checked, half of them afterwards
// Threading   immutable; safe to share. A Reader is confined to one thread
#pragma once

#include "MorvCore/Foundation/FileURL.h"
#include "MorvCore/Operations/NameFingerprint.h"
#include "MorvCore/Operations/ZIPFormat.h"
#include "MorvCore/Platform/FilePieces.h"
#include "MorvCore/Platform/FileStat.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <stop_token>
#include <string_view>
#include <vector>

namespace morv {

class CheckedArchive {
public:
    struct Member {
        NameFingerprint name; ///< of the bytes as stored
        ZIPFormat::StoredTime modified = {};
        std::uint32_t nameOffset = 0; ///< offsets count from the beginning of the archive
        std::uint32_t dataOffset = 0;
        std::uint32_t compressedSize = 0;
        std::uint32_t size = 0;     ///< bytes when extracted, as the directory says
        std::uint32_t checksum = 0; ///< CRC-32 of the bytes when extracted, as the directory says
        std::uint16_t nameLength = 0;
        std::uint16_t mode = 0; ///< Unix type and permissions; 0 where the maker had none
        bool isDirectory = false;
        bool isDeflated = false; ///< else stored as it is
    };

    /// Reads and checks. Throws FileOperationError with the reason, PosixError, CancellationError.
    CheckedArchive(const FileURL& url, const std::stop_token& stop);

    /// In the order of the directory.
    std::span<const Member> members() const { return members_; }
    int descriptor() const { return file_.get(); }
    std::int64_t size() const { return info_.size; }
    /// Whether the file has the size and times that it had when it was opened.
    bool isUnchanged() const;

    class Reader;

private:
    FileURL url_;
    Descriptor file_;
    FileStat info_;
    Fingerprinter fingerprinter_;
    std::vector<Member> members_;
};

/// The archive must outlive it. Throws PosixError, and FileOperationError::changed with the sentence it was
/// given when the file is no longer what was checked.
class CheckedArchive::Reader {
public:
    Reader(const CheckedArchive& archive, const char* changedSentence);

    /// Without the trailing "/" of a folder. Stays until the next call.
    std::string_view name(const Member& member);
    /// `count` bytes of what is stored of a member, from `offset` on; both lie within its compressed size.
    /// They stay until the next call.
    std::string_view data(const Member& member, std::uint32_t offset, std::size_t count);

private:
    const CheckedArchive& archive_;
    const char* changedSentence_;
    FilePieces names_;
    FilePieces data_;
};

} // namespace morv
