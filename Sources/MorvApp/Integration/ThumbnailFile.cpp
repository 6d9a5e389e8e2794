#include "MorvApp/Integration/ThumbnailFile.h"

#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Platform/Descriptor.h"
#include "MorvCore/Platform/FileStat.h"

#include <QBuffer>
#include <QByteArray>
#include <QCryptographicHash>
#include <QImage>
#include <QImageWriter>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

namespace morv {

namespace {

constexpr std::string_view signature{"\x89PNG\r\n\x1A\n", 8};
/// Signature and IHDR, after which our texts stand.
constexpr std::size_t beginning = 33;
constexpr std::int64_t largestFile = 8 << 20;
constexpr mode_t folderMode = 0700;

std::uint32_t number(std::string_view bytes) {
    std::uint32_t result = 0;
    for (const char byte : bytes.substr(0, 4))
        result = result << 8U | static_cast<unsigned char>(byte);
    return result;
}

/// By the header alone, before a pixel is read.
bool fits(std::string_view png, std::uint32_t side) {
    if (png.size() <= beginning || !png.starts_with(signature) || png.substr(12, 4) != "IHDR")
        return false;
    const auto width = number(png.substr(16));
    const auto height = number(png.substr(20));
    return width > 0 && width <= side && height > 0 && height <= side;
}

std::string numberText(std::uint32_t number) {
    std::string result;
    for (int shift = 24; shift >= 0; shift -= 8)
        result += static_cast<char>(number >> static_cast<unsigned>(shift) & 0xFFU);
    return result;
}

std::string textChunk(std::string_view keyword, std::string_view text) {
    std::string body = "tEXt";
    body += keyword;
    body += '\0';
    body += text;
    const auto check =
        ::crc32(0, reinterpret_cast<const Bytef*>(body.data()), static_cast<uInt>(body.size()));
    return numberText(static_cast<std::uint32_t>(body.size() - 4)) + body +
           numberText(static_cast<std::uint32_t>(check));
}

std::optional<std::string> content(const FileURL& file) {
    const Descriptor opened(::open(file.path().c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat item {};
    if (!opened || ::fstat(opened.get(), &item) != 0 || !S_ISREG(item.st_mode) || item.st_size > largestFile)
        return std::nullopt;
    std::string bytes(static_cast<std::size_t>(item.st_size), '\0');
    std::size_t length = 0;
    while (length < bytes.size()) {
        const auto count = ::read(opened.get(), bytes.data() + length, bytes.size() - length);
        if (count <= 0)
            return std::nullopt;
        length += static_cast<std::size_t>(count);
    }
    return bytes;
}

QImage imageOf(const MediaPicture& picture) {
    return {reinterpret_cast<const uchar*>(picture.pixels.get()), picture.width, picture.height,
            picture.width * 4, QImage::Format_ARGB32_Premultiplied};
}

MediaPicture pictureOf(const QImage& image) {
    auto held = std::make_shared<QImage>(image.convertToFormat(QImage::Format_ARGB32_Premultiplied));
    if (held->isNull())
        return {};
    const auto* pixels = reinterpret_cast<const std::byte*>(held->constBits());
    return {held->width(), held->height(), std::shared_ptr<const std::byte>(std::move(held), pixels)};
}

bool isOpaque(const MediaPicture& picture) {
    const auto count = static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height);
    for (std::size_t i = 0; i < count; ++i)
        if (picture.pixels.get()[i * 4 + 3] != std::byte{0xFF})
            return false;
    return true;
}

QByteArray encoded(const MediaPicture& picture) {
    auto image = imageOf(picture);
    if (isOpaque(picture))
        image = image.convertToFormat(QImage::Format_RGB32);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    QImageWriter writer(&buffer, "png");
    // What is read a hundred times is written once, but by a machine that has other pictures to make.
    writer.setCompression(1);
    return writer.write(image) ? bytes : QByteArray();
}

void makeFolder(const FileURL& folder) {
    if (::mkdir(folder.path().c_str(), folderMode) == 0 || errno == EEXIST)
        return;
    if (errno != ENOENT)
        throw PosixError(errno, folder.path());
    makeFolder(folder.parent());
    if (::mkdir(folder.path().c_str(), folderMode) != 0 && errno != EEXIST)
        throw PosixError(errno, folder.path());
}

bool writeAll(int file, std::string_view bytes) {
    while (!bytes.empty()) {
        const auto count = ::write(file, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace

std::string thumbnailURI(const FileURL& file) {
    constexpr std::string_view plain = "!$&'()*+,-.:=@_~/";
    std::string result = "file://";
    for (const char c : file.path()) {
        const bool isPlain = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                             plain.find(c) != std::string_view::npos;
        result += isPlain ? std::string(1, c) : fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
    return result;
}

std::string thumbnailName(std::string_view uri) {
    const auto digest = QCryptographicHash::hash(
        QByteArray::fromRawData(uri.data(), static_cast<qsizetype>(uri.size())), QCryptographicHash::Md5);
    return digest.toHex().toStdString() + ".png";
}

std::optional<MediaPicture> readThumbnail(const FileURL& png, const ThumbnailOrigin& origin,
                                          int largestSide) {
    const auto bytes = content(png);
    if (!bytes || !fits(*bytes, static_cast<std::uint32_t>(largestSide)))
        return std::nullopt;
    const auto image = QImage::fromData(
        QByteArray::fromRawData(bytes->data(), static_cast<qsizetype>(bytes->size())), "PNG");
    if (image.text(QStringLiteral("Thumb::URI")).toStdString() != origin.uri ||
        image.text(QStringLiteral("Thumb::MTime")).toStdString() != std::to_string(origin.modified))
        return std::nullopt;
    auto picture = pictureOf(image);
    return picture ? std::optional(std::move(picture)) : std::nullopt;
}

void writeThumbnail(const FileURL& png, const ThumbnailOrigin& origin, const MediaPicture& picture) {
    const auto bytes = encoded(picture);
    const std::string_view all(bytes.constData(), static_cast<std::size_t>(bytes.size()));
    if (all.size() <= beginning)
        throw PosixError(EIO, png.path());
    makeFolder(png.parent());
    auto temporary = png.path() + ".XXXXXX";
    // Readable by its owner only.
    const int file = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (file < 0)
        throw PosixError(errno, png.path());
    const bool isWritten =
        writeAll(file, all.substr(0, beginning)) && writeAll(file, textChunk("Thumb::URI", origin.uri)) &&
        writeAll(file, textChunk("Thumb::MTime", std::to_string(origin.modified))) &&
        writeAll(file, textChunk("Software", "Morv")) && writeAll(file, all.substr(beginning));
    int code = isWritten ? 0 : errno;
    if (::close(file) != 0 && code == 0)
        code = errno;
    if (code == 0 && std::rename(temporary.c_str(), png.path().c_str()) != 0)
        code = errno;
    if (code != 0) {
        ::unlink(temporary.c_str());
        throw PosixError(code, png.path());
    }
}

MediaPicture scaled(const MediaPicture& picture, int side) {
    if (!picture || (picture.width <= side && picture.height <= side))
        return picture;
    return pictureOf(imageOf(picture).scaled(side, side, Qt::KeepAspectRatio, Qt::SmoothTransformation));
}

} // namespace morv
