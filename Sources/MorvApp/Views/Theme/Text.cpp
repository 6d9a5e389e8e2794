#include "MorvApp/Views/Theme/Text.h"

#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Platform/UserFolders.h"

#include <QDateTime>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLocale>
#include <algorithm>
#include <cmath>
#include <optional>

namespace morv {

QString ours(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

QString shown(std::string_view bytes) {
    return ours(displayText(bytes));
}

QString asWindowTitle(QString title) {
    return title.replace(QLatin1String("[*]"), QLatin1String("[*][*]"));
}

QString shownBriefly(std::string_view bytes) {
    // The longest name and the longest path of the kernel are shown whole.
    constexpr std::size_t longest = 4096;
    constexpr std::size_t end = 500;
    if (bytes.size() <= longest)
        return shown(bytes);
    const auto isWithinCharacter = [&](std::size_t at) {
        return (static_cast<unsigned char>(bytes[at]) & 0xC0U) == 0x80U;
    };
    std::size_t head = end, tail = bytes.size() - end;
    while (head > 0 && isWithinCharacter(head))
        --head;
    while (tail < bytes.size() && isWithinCharacter(tail))
        ++tail;
    return shown(bytes.substr(0, head)) + QStringLiteral("…") + shown(bytes.substr(tail));
}

/// What follows the home folder, when `url` lies in it.
static std::optional<std::string_view> belowHome(const FileURL& url) {
    static const FileURL home = homeFolder();
    if (home.isRoot() || !url.isWithin(home))
        return std::nullopt;
    return std::string_view(url.path()).substr(home.path().size());
}

QString shownPath(const FileURL& url) {
    if (const auto below = belowHome(url))
        return QStringLiteral("~") + shown(*below);
    return shown(url.path());
}

QString shownPathBriefly(const FileURL& url) {
    if (const auto below = belowHome(url))
        return QStringLiteral("~") + shownBriefly(*below);
    return shownBriefly(url.path());
}

QString buttonText(QString text) {
    return text.replace(QLatin1Char('&'), QLatin1String("&&"));
}

QString inOwnDirection(QString text) {
    if (!QGuiApplication::isRightToLeft() || text.isEmpty())
        return text;
    // Unicode Standard Annex #9: isolates the text, in the direction of its first letter.
    constexpr QChar firstStrongIsolate(0x2068), popDirectionalIsolate(0x2069);
    return firstStrongIsolate + text + popDirectionalIsolate;
}

QString editableName(std::string_view bytes) {
    return ours(repairedUTF8(bytes));
}

std::string typedBytes(const QString& text) {
    return text.toUtf8().toStdString();
}

bool editsText(const QKeyEvent& event) {
    for (const auto key :
         {QKeySequence::DeleteStartOfWord, QKeySequence::DeleteEndOfWord, QKeySequence::DeleteEndOfLine})
        if (event.matches(key))
            return true;
    return false;
}

FileURL typedLocation(const QString& text, const FileURL& base) {
    const auto typed = typedBytes(text.trimmed());
    if (auto url = FileURL::parse(typed))
        return url->asFolder();
    if (typed == "~" || typed.starts_with("~/"))
        return FileURL::folder(homeFolder().path() + typed.substr(1));
    if (typed.starts_with('/'))
        return FileURL::folder(typed);
    return FileURL::folder(base.path() + "/" + typed);
}

QString shownDate(const Date& date) {
    const auto moment = QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(date.unixSeconds() * 1000));
    const auto days = moment.date().daysTo(QDate::currentDate());
    const QLocale locale;
    const auto time = locale.toString(moment.time(), QStringLiteral("HH:mm"));
    if (days == 0)
        return QStringLiteral("Today ") + time;
    if (days == 1)
        return QStringLiteral("Yesterday ") + time;
    return locale.toString(moment.date(), QStringLiteral("d MMM yyyy ")) + time;
}

QString shownDuration(double seconds) {
    constexpr double minute = 60, hour = 3600;
    if (seconds < 2 * minute)
        return shownCount(static_cast<std::size_t>(std::max(0.0, seconds)), "second", "seconds");
    if (seconds < 2 * hour)
        return shownCount(static_cast<std::size_t>(std::lround(seconds / minute)), "minute", "minutes");
    return QStringLiteral("%1 hours").arg(QLocale().toString(seconds / hour, 'f', 1));
}

QString shownKind(const FileEntry& entry) {
    if (entry.isNavigable())
        return QStringLiteral("Folder");
    if (entry.isSymbolicLink)
        return QStringLiteral("Link");
    const char* noun = "file";
    switch (entry.kind) {
    case FileKind::image:
        noun = "image";
        break;
    case FileKind::document:
        noun = "document";
        break;
    case FileKind::video:
        noun = "video";
        break;
    case FileKind::audio:
        noun = "audio";
        break;
    case FileKind::archive:
        noun = "archive";
        break;
    case FileKind::installer:
        noun = "installer";
        break;
    case FileKind::folder:
    case FileKind::other:
        break;
    }
    const auto dot = entry.name.rfind('.');
    const auto suffix = dot == std::string::npos || dot == 0 ? std::string_view()
                                                             : std::string_view(entry.name).substr(dot + 1);
    if (suffix.empty() || suffix.size() > 5)
        return QString(QLatin1Char(noun[0])).toUpper() + QLatin1String(noun + 1);
    return shown(suffix).toUpper() + QLatin1Char(' ') + QLatin1String(noun);
}

QString shownCount(std::size_t count, const char* one, const char* many) {
    return QLocale().toString(static_cast<qulonglong>(count)) + QLatin1Char(' ') +
           QLatin1String(count == 1 ? one : many);
}

} // namespace morv
