#include "MorvApp/Views/Theme/Text.h"

#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Platform/UserFolders.h"

#include <QDateTime>
#include <QKeyEvent>
#include <QLocale>

namespace morv {

QString ours(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

QString shown(std::string_view bytes) {
    return ours(displayText(bytes));
}

QString shownPath(const FileURL& url) {
    static const FileURL home = homeFolder();
    if (!home.isRoot() && url.isWithin(home))
        return QStringLiteral("~") + shown(std::string_view(url.path()).substr(home.path().size()));
    return shown(url.path());
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
