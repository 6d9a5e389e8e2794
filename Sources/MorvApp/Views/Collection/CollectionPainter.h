// Draws the cells of a collection. Made for one paint event; keeps nothing but what it is given.
#pragma once

#include "MorvApp/Views/Collection/CollectionLayout.h"
#include "MorvApp/Views/Theme/FolderArt.h"
#include "MorvApp/Views/Theme/IconCache.h"
#include "MorvApp/Views/Theme/ItemBack.h"
#include "MorvCore/Folders/FileEntry.h"

#include <QFont>
#include <QRect>
#include <QString>
#include <array>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class QFontMetrics;
class QPainter;

namespace morv {

class FolderAppearanceStore;
struct FolderInsight;
class VisibleInsights;
class VisibleThumbnails;
struct ThemeColours;

struct CellState : ItemState {
    bool isRenaming = false; ///< the name is left to the editor
};

/// Where a painter finds what an entry alone does not say.
struct CollectionSources {
    IconCache& icons;
    FolderArt& folders;
    const FolderAppearanceStore& appearances;
    const VisibleInsights& insights;
    VisibleThumbnails& thumbnails;
};

/// Left edges and widths of the list's columns Name, Size, Kind, Modified, in viewport coordinates.
using ListColumns = std::array<std::pair<int, int>, 4>;

class CollectionPainter {
public:
    CollectionPainter(QPainter& painter, const CollectionSources& sources, const ThemeColours& colours);

    void paintGridCell(const QRect& rect, const CollectionLayout& layout, const FileEntry& entry,
                       CellState state);
    void paintListRow(const QRect& rect, int picture, const ListColumns& columns, const FileEntry& entry,
                      CellState state);
    void paintColumnRow(const QRect& rect, int picture, const FileEntry& entry, CellState state);
    void paintStripCell(const QRect& rect, int picture, const FileEntry& entry, CellState state);

    /// Where the name stands, for the editor that takes its place.
    static QRect gridNameRect(const QRect& cell, int picture);
    static QRect listNameRect(const QRect& row, int picture, const ListColumns& columns);
    static QRect columnNameRect(const QRect& row, int picture, const FileEntry& entry,
                                Qt::LayoutDirection direction);
    static QRect stripNameRect(const QRect& cell, int picture, int lineHeight);

    /// What a row has no room for in a name's place of this width: the whole name, and the tags that it leaves
    /// out or shortens. Empty when all of it can be seen.
    static QString unseenInList(int width, const FileEntry& entry, const QFontMetrics& metrics);

private:
    /// The tags that stand behind a name, with as much of their words as they get.
    struct ListTags {
        std::vector<std::pair<const std::string*, QString>> tags;
        int width = 0;
    };

    /// Settled before the name, so that a long one does not push them out.
    static ListTags listTags(int width, const FileEntry& entry, const QFontMetrics& metrics);
    void paintPicture(const QRect& rect, const FileEntry& entry);
    void paintListName(QRect place, const FileEntry& entry, CellState state);
    void paintTagDot(QPointF centre, const std::string& tag);
    /// A square in the middle of the row's height, at its reading edge.
    QRect atStart(const QRect& row, int inset, int side) const;
    /// Returns how many of the two it took.
    int paintTwoLines(const QRect& rect, const QString& text);
    void paintCaption(const QRect& rect, const FolderInsight& insight, CellState state);
    QPixmap pictureOf(const FileEntry& entry, int size, qreal density);

    QPainter& painter_;
    CollectionSources sources_;
    const ThemeColours& colours_;
    bool isMirrored_;
};

/// The two lines of a name in a cell of this width: broken between words, before an extension or after a
/// hyphen where there is one, and the second not yet elided. A name of one line leaves it empty.
std::pair<QString, QString> brokenName(const QString& name, int width, const QFont& font);

/// Over whatever was painted there.
void paintSectionHeading(QPainter& painter, const QRect& rect, std::string_view title, std::size_t count);

} // namespace morv
