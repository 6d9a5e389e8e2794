// The one place where bytes of names and locations become text on the screen, and typed text becomes them.
// The way to the screen loses what is not UTF-8, so nothing is ever parsed back from a label: models keep
// bytes.
#pragma once

#include "MorvCore/Folders/FileEntry.h"
#include "MorvCore/Foundation/Date.h"
#include "MorvCore/Foundation/FileURL.h"

#include <QString>
#include <cstddef>
#include <string>
#include <string_view>

class QKeyEvent;

namespace morv {

/// A name, path or sentence from outside, with control and direction characters made visible.
QString shown(std::string_view bytes);
/// As shown(), but of something longer than anybody reads only both ends: a record may hold a name of megabytes,
/// and a line of a list is drawn many times.
QString shownBriefly(std::string_view bytes);
/// The home folder is "~" in front of what lies in it.
QString shownPath(const FileURL& url);
QString shownPathBriefly(const FileURL& url);
/// A sentence or name of our own.
QString ours(std::string_view utf8);
/// Of a window: the toolkit takes "[*]" in it for the place of a mark of its own.
QString asWindowTitle(QString title);
/// As the text of a button or of a menu, where one "&" marks a key.
QString buttonText(QString text);
/// To be drawn: in a mirrored window, too, a name, a path or a number with its unit reads in its own direction.
QString inOwnDirection(QString text);
/// A name to be edited: only what is not UTF-8 is repaired.
QString editableName(std::string_view bytes);

std::string typedBytes(const QString& text);
/// Whether a text field takes the key for its text, although it does not claim it before the window's keys.
bool editsText(const QKeyEvent& event);
/// A typed path: "~" is home, a relative one begins at `base`, "file://" is understood.
FileURL typedLocation(const QString& text, const FileURL& base);

/// "Today 14:02", "Yesterday 9:10", "3 Mar 2024 14:02".
QString shownDate(const Date& date);
/// "12 seconds", "3 minutes", "1.5 hours".
QString shownDuration(double seconds);
/// "Folder", "PNG image", "Link".
QString shownKind(const FileEntry& entry);
/// "1 item", "12,345 items".
QString shownCount(std::size_t count, const char* one = "item", const char* many = "items");

} // namespace morv
