#include "MorvApp/Views/Theme/IconCache.h"

#include "MorvApp/Views/Theme/Text.h"

#include <array>
#include <string_view>
#include <utility>

namespace morv {

namespace {

constexpr std::array<std::pair<std::string_view, const char*>, 38> iconsOfExtensions{{
    {"pdf", "application-pdf"},
    {"doc", "x-office-document"},
    {"docx", "x-office-document"},
    {"odt", "x-office-document"},
    {"rtf", "x-office-document"},
    {"pages", "x-office-document"},
    {"xls", "x-office-spreadsheet"},
    {"xlsx", "x-office-spreadsheet"},
    {"ods", "x-office-spreadsheet"},
    {"csv", "x-office-spreadsheet"},
    {"ppt", "x-office-presentation"},
    {"pptx", "x-office-presentation"},
    {"odp", "x-office-presentation"},
    {"key", "x-office-presentation"},
    {"html", "text-html"},
    {"htm", "text-html"},
    {"epub", "application-epub+zip"},
    {"sh", "text-x-script"},
    {"py", "text-x-python"},
    {"c", "text-x-csrc"},
    {"h", "text-x-chdr"},
    {"cpp", "text-x-c++src"},
    {"js", "text-x-javascript"},
    {"json", "application-json"},
    {"xml", "application-xml"},
    {"md", "text-markdown"},
    {"css", "text-css"},
    {"java", "text-x-java"},
    {"rs", "text-x-generic"},
    {"svg", "image-svg+xml"},
    {"iso", "application-x-cd-image"},
    {"deb", "application-x-deb"},
    {"rpm", "application-x-rpm"},
    {"ttf", "font-x-generic"},
    {"otf", "font-x-generic"},
    {"log", "text-x-log"},
    {"db", "application-vnd.sqlite3"},
    {"sqlite", "application-vnd.sqlite3"},
}};

constexpr std::array drawnSizes = {32, 48, 64, 96, 128};

const char* iconOfKind(FileKind kind) {
    switch (kind) {
    case FileKind::folder:
        return "folder";
    case FileKind::image:
        return "image-x-generic";
    case FileKind::document:
        return "text-x-generic";
    case FileKind::video:
        return "video-x-generic";
    case FileKind::audio:
        return "audio-x-generic";
    case FileKind::archive:
        return "package-x-generic";
    case FileKind::installer:
        return "application-x-executable";
    case FileKind::other:
        break;
    }
    return "application-octet-stream";
}

std::string lowerExtension(std::string_view name) {
    const auto dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0)
        return {};
    std::string extension(name.substr(dot + 1));
    for (auto& c : extension)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return extension;
}

} // namespace

QString IconCache::nameOf(const FileEntry& entry) {
    if (entry.isNavigable())
        return QStringLiteral("folder");
    const auto extension = lowerExtension(entry.name);
    for (const auto& [known, icon] : iconsOfExtensions)
        if (known == extension)
            return QLatin1String(icon);
    return QLatin1String(iconOfKind(entry.kind));
}

QPixmap IconCache::file(const FileEntry& entry, int size, qreal density) {
    return named(nameOf(entry), size, density);
}

QPixmap IconCache::named(const QString& name, int size, qreal density) {
    const auto key = QStringLiteral("%1/%2/%3").arg(name).arg(size).arg(density);
    if (const auto found = pixmaps_.constFind(key); found != pixmaps_.constEnd())
        return *found;
    auto icon = QIcon::fromTheme(name);
    if (icon.isNull())
        icon = QIcon::fromTheme(QStringLiteral("unknown"));
    // Themes draw coloured pictures at fixed sizes; between and below them they have only outlines for menus.
    const auto* drawn = std::ranges::find_if(drawnSizes, [size](int each) { return each > size; });
    const int source = drawn == drawnSizes.begin() ? drawnSizes.front() : *(drawn - 1);
    auto pixmap = icon.pixmap(QSize(source, source), density);
    if (source > size && !pixmap.isNull()) {
        const auto physical = static_cast<int>(size * density);
        pixmap = pixmap.scaled(physical, physical, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        pixmap.setDevicePixelRatio(density);
    }
    pixmaps_.insert(key, pixmap);
    return pixmap;
}

} // namespace morv
