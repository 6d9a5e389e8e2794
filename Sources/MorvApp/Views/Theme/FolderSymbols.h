// The symbols on folders, drawn by lines: one weight, round ends, on a square of 24 units.
#pragma once

#include <QPainterPath>
#include <span>
#include <string_view>

class QColor;
class QPainter;
class QRectF;

namespace morv {

struct FolderSymbol {
    std::string_view name;  ///< as in the record
    std::string_view title; ///< for people
    /// Commands and numbers between blanks: M x y (begin), L x y (line), C and Q (curves), Z (close),
    /// R x y width height radius (rounded rectangle), O x y radius (circle).
    std::string_view lines;
    std::string_view fills = {}; ///< filled instead
};

/// In the order in which they are offered.
std::span<const FolderSymbol> folderSymbols();
/// Null for a name of a newer version.
const FolderSymbol* folderSymbol(std::string_view name);
/// Fills `square`, whatever its size.
void drawSymbol(QPainter& painter, const FolderSymbol& symbol, const QRectF& square, const QColor& colour);

} // namespace morv
