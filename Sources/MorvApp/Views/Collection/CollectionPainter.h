// Draws the cells of a collection. Made for one paint event; keeps nothing but what it is given.
#pragma once

#include "MorvApp/Views/Collection/CollectionLayout.h"
#include "MorvApp/Views/Theme/FolderArt.h"
#include "MorvApp/Views/Theme/IconCache.h"
#include "MorvCore/Folders/FileEntry.h"

#include <QFont>
#include <QRect>
#include <array>
#include <string_view>
#include <utility>

class QPainter;

namespace morv {

class FolderAppearanceStore;
struct FolderInsight;
class VisibleInsights;
class VisibleThumbnails;
struct ThemeColours;

struct CellState {
    bool isSelected = false;
    bool isCurrent = false; ///< shown by a ring while the view has the focus
    bool isHovered = false;
    bool isRenaming = false; ///< the name is left to the editor
    bool isPressed = false;  ///< for the moment of a press
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
    CollectionPainter(QPainter& painter, const CollectionSources& sources, const ThemeColours& colours,
                      bool hasFocus);

    void paintGridCell(const QRect& rect, const CollectionLayout& layout, const FileEntry& entry,
                       CellState state);
    void paintListRow(const QRect& rect, int picture, const ListColumns& columns, const FileEntry& entry,
                      CellState state);
    void paintColumnRow(const QRect& rect, int picture, const FileEntry& entry, CellState state);
    void paintStripCell(const QRect& rect, int picture, const FileEntry& entry, CellState state);

    /// Where the name stands, for the editor that takes its place.
    static QRect gridNameRect(const QRect& cell, int picture);
    static QRect listNameRect(const QRect& row, int picture, const ListColumns& columns);

private:
    void paintBackground(const QRect& rect, CellState state);
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
    bool hasFocus_;
    bool isMirrored_;
};

/// The two lines of a name in a cell of this width: broken between words, before an extension or after a
/// hyphen where there is one, and the second not yet elided. A name of one line leaves it empty.
std::pair<QString, QString> brokenName(const QString& name, int width, const QFont& font);

/// Over whatever was painted there.
void paintSectionHeading(QPainter& painter, const QRect& rect, std::string_view title, std::size_t count);

} // namespace morv
