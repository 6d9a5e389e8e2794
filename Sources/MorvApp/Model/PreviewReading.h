// What a preview shows of a file besides pictures: which way of showing suits it, the beginning of a text, and
// the members of an archive. Nothing here trusts what it reads.
//
// Invariants  I1  a file that is held in the cloud, is still arriving, or could not be looked at is never opened
//             I2  text that is given has no character left that hides, moves or reorders what stands around it
//             I3  what is kept of a file is bounded, whatever the file says of itself
// Threading   stateless; the readers block: call them on a worker
// Errors      FileOperationError and PosixError with a sentence, CancellationError
#pragma once

#include "MorvCore/Folders/FileEntry.h"
#include "MorvCore/Operations/SafeArchiveService.h"

#include <QString>
#include <cstddef>
#include <cstdint>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace morv {

class MediaDecoder;
class TextHighlighter;
struct TextHighlight;

/// How an entry is shown; by what the listing knows of it alone.
enum class PreviewSubject : std::uint8_t {
    unreadable,  ///< the listing could not look at it
    cloud,       ///< reading it would download it
    downloading, ///< not complete yet
    folder,
    media,   ///< for the decoder
    archive, ///< a ZIP
    text,    ///< perhaps: its bytes decide
    plain,   ///< a picture of its type, and facts
};
/// `decoder` may be null.
PreviewSubject previewSubject(const FileEntry& entry, const MediaDecoder* decoder);

/// What a link leads to in the end, as it is there. Throws with a sentence when there is nothing.
FileEntry previewOriginal(const FileURL& link, const std::stop_token& stop);

struct PreviewText {
    QString text;                   ///< lines end in "\n", also those that ended in CR LF or CR
    const char* encoding = nullptr; ///< for people; null: this is no text, and `text` is empty
    bool isWhole = true;            ///< false: the file goes on
};

inline constexpr std::size_t previewTextLimit = 1U << 20; ///< bytes

/// The encoding by the bytes: marked UTF-8 or UTF-16, else UTF-8 where all of it is, else Latin-1. A zero byte
/// or too many control characters: no text. `isWhole`: `bytes` are not the beginning of something longer.
PreviewText judgeText(std::string_view bytes, bool isWhole);
/// Reads no more than a block of what is no text, and previewTextLimit of what is.
PreviewText readPreviewText(const FileURL& file, const std::stop_token& stop);

/// Lines that are longer are no source that somebody reads.
inline constexpr qsizetype highlightedLineLimit = 2000; ///< UTF-16 units

/// The words of `text`, of a file of this name, in UTF-16 units and otherwise as the highlighter gives them. Only whole
/// lines from the beginning are asked about, as far as its limit and the first line that is too long. Throws what it
/// throws.
std::vector<TextHighlight> previewHighlights(const TextHighlighter& highlighter, const std::string& name,
                                             const QString& text, const std::stop_token& stop);

struct PreviewArchive {
    std::vector<SafeArchiveService::Entry> members; ///< the first of them, in the archive's order
    std::size_t files = 0;                          ///< in the whole archive
    std::size_t folders = 0;                        ///< that it names
    std::uint64_t bytes = 0;                        ///< extracted, as it says
    bool isWhole() const { return members.size() == files + folders; }
};

/// Keeps at most so many members, and names of so many bytes together.
inline constexpr std::size_t previewArchiveMembers = 20'000;
inline constexpr std::size_t previewArchiveNames = 4U << 20;

/// Throws the refusal of an archive that does not pass the check.
PreviewArchive readPreviewArchive(const FileURL& file, const std::stop_token& stop);

} // namespace morv
