// Where each item of a collection stands, by arithmetic alone: nothing is kept for an item, so a million
// items cost what ten do. Coordinates are the content's, in device-independent pixels. A value.
#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>
#include <cstdint>
#include <optional>
#include <utility>

namespace morv {

enum class CollectionMode : std::uint8_t { grid, list };
enum class MoveKey : std::uint8_t { left, right, up, down, pageUp, pageDown, home, end };

class CollectionLayout {
public:
    CollectionLayout() = default;
    /// A grid of cells around icons of `iconSize`; the columns share the width that is left over.
    static CollectionLayout grid(std::int64_t count, QSize viewport, int iconSize, int lineHeight);
    static CollectionLayout list(std::int64_t count, QSize viewport, int lineHeight);

    CollectionMode mode() const { return mode_; }
    std::int64_t count() const { return count_; }
    std::int64_t columns() const { return columns_; }
    QSize cell() const { return cell_; }
    /// The height of the line under a name; 0 when cells are too narrow for one.
    int caption() const { return caption_; }
    /// The side of the picture in a cell.
    int picture() const { return picture_; }
    /// QScrollBar counts in int: a list of 60 million rows still fits.
    int contentHeight() const;

    QRect rect(std::int64_t index) const;
    /// The item whose cell holds `point`; nothing beside and below the cells.
    std::optional<std::int64_t> indexAt(QPoint point) const;
    /// Half-open range of the items whose rows meet the band from `top` to `bottom`.
    std::pair<std::int64_t, std::int64_t> rows(int top, int bottom) const;
    /// Calls visit(index) for each item whose cell meets `area`.
    template <class Visit>
    void forEachIn(const QRect& area, const Visit& visit) const {
        const auto [first, last] = rows(area.top(), area.bottom());
        for (auto index = first; index < last; ++index)
            if (rect(index).intersects(area))
                visit(index);
    }
    /// Where a key leads from `index`; a page is `viewport` high. Never leaves the range; needs an item.
    std::int64_t moved(std::int64_t index, MoveKey key, int viewport) const;

private:
    CollectionMode mode_ = CollectionMode::grid;
    std::int64_t count_ = 0;
    std::int64_t columns_ = 1;
    QSize cell_{1, 1};
    int picture_ = 16;
    int caption_ = 0;
    int margin_ = 0;
    double stride_ = 1; ///< from one column's left edge to the next
};

} // namespace morv
