// Draws the cells of a collection. Made for one paint event; keeps nothing.
#pragma once

#include "MorvApp/Views/Collection/CollectionLayout.h"
#include "MorvApp/Views/Theme/IconCache.h"
#include "MorvCore/Folders/FileEntry.h"

#include <QFont>
#include <QRect>
#include <array>

class QPainter;

namespace morv {

struct ThemeColours;

struct CellState {
    bool isSelected = false;
    bool isCurrent = false; ///< shown by a ring while the view has the focus
    bool isHovered = false;
    bool isRenaming = false; ///< the name is left to the editor
};

/// Left edges and widths of the list's columns Name, Size, Kind, Modified, in viewport coordinates.
using ListColumns = std::array<std::pair<int, int>, 4>;

class CollectionPainter {
public:
    CollectionPainter(QPainter& painter, IconCache& icons, const ThemeColours& colours, bool hasFocus);

    void paintGridCell(const QRect& rect, int picture, const FileEntry& entry, CellState state);
    void paintListRow(const QRect& rect, int picture, const ListColumns& columns, const FileEntry& entry,
                      CellState state);

    /// Where the name stands, for the editor that takes its place.
    static QRect gridNameRect(const QRect& cell, int picture);
    static QRect listNameRect(const QRect& row, int picture, const ListColumns& columns);

private:
    void paintBackground(const QRect& rect, CellState state);
    void paintPicture(const QRect& rect, const FileEntry& entry);
    void paintTwoLines(const QRect& rect, const QString& text);

    QPainter& painter_;
    IconCache& icons_;
    const ThemeColours& colours_;
    bool hasFocus_;
};

} // namespace morv
