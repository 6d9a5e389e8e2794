#include "MorvApp/Model/PreviewReading.h"

#include "MorvApp/Model/MediaDecoder.h"
#include "MorvApp/Model/TextHighlighter.h"
#include "MorvCore/Folders/CreativeLocalFile.h"
#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Platform/FilePieces.h"

#include <QStringDecoder>
#include <algorithm>
#include <filesystem>
#include <system_error>

namespace morv {

namespace {

constexpr std::string_view markUTF8 = "\xEF\xBB\xBF";
constexpr std::string_view markUTF16Little = "\xFF\xFE";
constexpr std::string_view markUTF16Big = "\xFE\xFF";
constexpr std::size_t firstBlock = 4096;
/// One control character in so many bytes still is a text, perhaps one with colours for a terminal.
constexpr std::size_t bytesForControl = 20;
constexpr std::size_t longestSequence = 4; ///< of UTF-8

bool isControl(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return (byte < 0x20 && c != '\t' && c != '\n' && c != '\r' && c != '\f') || byte == 0x7F;
}

bool looksBinary(std::string_view bytes) {
    if (bytes.find('\0') != std::string_view::npos)
        return true;
    return static_cast<std::size_t>(std::ranges::count_if(bytes, isControl)) * bytesForControl > bytes.size();
}

/// Without the character that the end of the piece has cut in two.
std::string_view withoutCutCharacter(std::string_view bytes) {
    const auto least = bytes.size() < longestSequence ? 0 : bytes.size() - longestSequence;
    for (auto i = bytes.size(); i > least; --i) {
        const auto byte = static_cast<unsigned char>(bytes[i - 1]);
        if (byte < 0x80)
            break;
        if (byte >= 0xC0) {
            const std::size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : 2;
            return i - 1 + length > bytes.size() ? bytes.substr(0, i - 1) : bytes;
        }
    }
    return bytes;
}

/// What is between line ends and tabs is shown as any text from outside is.
QString madeVisible(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        const auto end = std::min(text.find_first_of("\t\n\r", i), text.size());
        result += displayText(text.substr(i, end - i));
        if (end == text.size())
            break;
        const bool endsInBoth = text.substr(end, 2) == "\r\n";
        result += text[end] == '\t' ? '\t' : '\n';
        i = end + (endsInBoth ? 2 : 1);
    }
    return QString::fromUtf8(result.data(), static_cast<qsizetype>(result.size()));
}

/// In UTF-8, counted with the last unit of a character.
std::size_t bytesOf(QChar unit) {
    if (unit.isHighSurrogate())
        return 0;
    if (unit.isLowSurrogate())
        return 4;
    return unit.unicode() < 0x80 ? 1 : unit.unicode() < 0x800 ? 2 : 3;
}

/// What is asked about.
QStringView highlightedPart(QStringView text) {
    qsizetype end = 0;
    std::size_t bytes = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        bytes += bytesOf(text[i]);
        const bool isLineEnd = text[i] == QLatin1Char('\n');
        if (bytes > highlightedTextLimit || (!isLineEnd && i - end == highlightedLineLimit))
            return text.first(end);
        if (isLineEnd)
            end = i + 1;
    }
    return text;
}

PreviewText judgeUTF16(std::string_view bytes, QStringDecoder::Encoding encoding, bool isWhole) {
    QStringDecoder decoder(encoding);
    const QString text = decoder(QByteArrayView(bytes.data(), static_cast<qsizetype>(bytes.size() & ~1U)));
    return {madeVisible(text.toStdString()), "UTF-16", isWhole};
}

} // namespace

PreviewSubject previewSubject(const FileEntry& entry, const MediaDecoder* decoder) {
    if (entry.availability == FileAvailability::unavailable)
        return PreviewSubject::unreadable;
    if (entry.availability == FileAvailability::notDownloaded)
        return PreviewSubject::cloud;
    if (entry.isNavigable() && !entry.isSymbolicLink)
        return PreviewSubject::folder;
    if (entry.isDirectory || entry.isSymbolicLink)
        return PreviewSubject::plain;
    const auto url = entry.url();
    if (entry.isDownloading || isIncompleteDownload(url))
        return PreviewSubject::downloading;
    if (decoder && decoder->understands(url))
        return PreviewSubject::media;
    if (pathKey(url.extension()) == "zip")
        return PreviewSubject::archive;
    const bool mayBeText = entry.kind == FileKind::document || entry.kind == FileKind::other ||
                           pathKey(url.extension()) == "svg";
    return mayBeText ? PreviewSubject::text : PreviewSubject::plain;
}

FileEntry previewOriginal(const FileURL& link, const std::stop_token& stop) {
    if (stop.stop_requested())
        throw CancellationError();
    std::error_code failure;
    const auto path = std::filesystem::canonical(link.path(), failure);
    if (failure)
        throw FileOperationError::unavailable("The original of this link cannot be reached.");
    return DirectoryService::entry(FileURL::fromPath(path.native()));
}

PreviewText judgeText(std::string_view bytes, bool isWhole) {
    if (bytes.starts_with(markUTF16Little))
        return judgeUTF16(bytes.substr(2), QStringDecoder::Utf16LE, isWhole);
    if (bytes.starts_with(markUTF16Big))
        return judgeUTF16(bytes.substr(2), QStringDecoder::Utf16BE, isWhole);
    if (bytes.starts_with(markUTF8))
        bytes.remove_prefix(markUTF8.size());
    if (looksBinary(bytes))
        return {{}, nullptr, isWhole};
    const auto readable = isWhole ? bytes : withoutCutCharacter(bytes);
    if (isValidUTF8(readable))
        return {madeVisible(readable), "UTF-8", isWhole};
    const auto latin = QString::fromLatin1(bytes.data(), static_cast<qsizetype>(bytes.size()));
    return {madeVisible(latin.toStdString()), "Latin-1", isWhole};
}

PreviewText readPreviewText(const FileURL& file, const std::stop_token& stop) {
    if (stop.stop_requested())
        throw CancellationError();
    const CreativeLocalFile local(file);
    FilePieces pieces(local.descriptor(), firstBlock, file);
    const auto beginning = pieces.bytes(0, firstBlock);
    if (beginning.size() < firstBlock)
        return judgeText(beginning, true);
    if (!judgeText(beginning, false).encoding)
        return {{}, nullptr, false};
    if (stop.stop_requested())
        throw CancellationError();
    // One byte more tells whether there is more.
    const auto bytes = pieces.bytes(0, previewTextLimit + 1);
    return judgeText(bytes.substr(0, previewTextLimit), bytes.size() <= previewTextLimit);
}

std::vector<TextHighlight> previewHighlights(const TextHighlighter& highlighter, const std::string& name,
                                             const QString& text, const std::stop_token& stop) {
    const auto part = highlightedPart(text);
    if (part.isEmpty())
        return {};
    auto highlights = highlighter.highlight({name, part.toUtf8().toStdString()}, stop);
    qsizetype unit = 0;
    std::size_t bytes = 0;
    const auto unitAt = [&](std::size_t byte) {
        for (; bytes < byte && unit < part.size(); ++unit)
            bytes += bytesOf(part[unit]);
        return static_cast<std::size_t>(unit);
    };
    for (auto& highlight : highlights) {
        const auto end = highlight.start + highlight.length;
        highlight.start = unitAt(highlight.start);
        highlight.length = unitAt(end) - highlight.start;
    }
    return highlights;
}

PreviewArchive readPreviewArchive(const FileURL& file, const std::stop_token& stop) {
    PreviewArchive result;
    std::size_t names = 0;
    SafeArchiveService::entries(file, stop, [&](const SafeArchiveService::Entry& member) {
        ++(member.isDirectory ? result.folders : result.files);
        result.bytes += member.size;
        names += member.name.size();
        const bool hasRoom = result.members.size() < previewArchiveMembers && names <= previewArchiveNames;
        // Without gaps: what is shown is the beginning.
        if (hasRoom && result.members.size() + 1 == result.files + result.folders)
            result.members.push_back(member);
    });
    return result;
}

} // namespace morv
