// Where each item of a collection stands, by arithmetic alone: sections are kept, and nothing for an item, so
// a million items cost what ten do. Coordinates are the content's, in device-independent pixels. A value.
//
// Directions  in a right-to-left layout the content is mirrored: the first item of a row is its rightmost one
// Headings    a section with a title begins with a heading; only a grid and a list have any. The heading of
//             the section at the top of the viewport stays there until the next one pushes it away
#pragma once

#include "MorvApp/Model/FileDisplaySection.h"

#include <QPoint>
#include <QRect>
#include <QSize>
#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace morv {

enum class CollectionMode : std::uint8_t {
    grid,
    list,
    column, ///< names only, one below the other
    strip,  ///< pictures in one row, which scrolls sideways
};
enum class MoveKey : std::uint8_t { left, right, up, down, pageUp, pageDown, home, end };

struct CollectionGeometry {
    QSize viewport;
    int lineHeight = 0; ///< of the font
    int iconSize = 0;   ///< of a grid's and a strip's cells
    Qt::LayoutDirection direction = Qt::LeftToRight;
};

class CollectionLayout {
public:
    static constexpr int heading = 36; ///< the height of a section's heading

    CollectionLayout() = default;
    /// The sections follow one another without gaps; a column and a strip take them for one without a title.
    CollectionLayout(CollectionMode mode, std::span<const FileDisplaySection> sections,
                     const CollectionGeometry& geometry);

    CollectionMode mode() const { return mode_; }
    std::int64_t count() const { return count_; }
    std::int64_t columns() const { return columns_; }
    QSize cell() const { return cell_; }
    /// The height of the line under a name; 0 when cells are too narrow for one.
    int caption() const { return caption_; }
    /// The side of the picture in a cell.
    int picture() const { return picture_; }
    bool isMirrored() const { return isMirrored_; }
    /// At least the viewport's where the content does not scroll. Scroll bars count in int: a list of 30
    /// million rows still fits.
    QSize contentSize() const;

    QRect rect(std::int64_t index) const;
    /// The item whose cell holds `point`; nothing beside and below the cells.
    std::optional<std::int64_t> indexAt(QPoint point) const;
    /// Calls visit(index) for each item whose cell meets `area`, in their order.
    template <class Visit>
    void forEachIn(const QRect& area, const Visit& visit) const {
        for (auto section = sectionFrom(area.top()); section < sections_.size(); ++section) {
            if (sections_[section].top > area.bottom())
                return;
            const auto [first, last] = itemsIn(section, area);
            for (auto index = first; index < last; ++index)
                if (rect(index).intersects(area))
                    visit(index);
        }
    }
    /// Where a key leads from `index`, for one who wants to stay in `column` of the rows. A page is as high
    /// (for a strip, as wide) as `viewport`. Never leaves the range; needs an item.
    std::int64_t moved(std::int64_t index, std::int64_t column, MoveKey key, QSize viewport) const;
    /// The place of an item in its row.
    std::int64_t columnOf(std::int64_t index) const;

    bool hasHeading(std::size_t section) const { return sections_[section].heading > 0; }
    /// Needs an item.
    std::size_t sectionOf(std::int64_t index) const;
    /// Of a section with a heading, in content that is scrolled to `scrolled`.
    QRect headingRect(std::size_t section, int scrolled) const;
    /// Calls visit(section) for each heading that can be seen in a viewport from `scrolled` on; the one that
    /// stays at the top comes last.
    template <class Visit>
    void forEachHeading(int scrolled, int height, const Visit& visit) const {
        const auto topmost = sectionFrom(scrolled);
        for (auto section = topmost + 1; section < sections_.size(); ++section) {
            if (sections_[section].top > std::int64_t{scrolled} + height)
                break;
            if (hasHeading(section))
                visit(section);
        }
        if (topmost < sections_.size() && hasHeading(topmost))
            visit(topmost);
    }

private:
    struct Section {
        std::int64_t first = 0;
        std::int64_t count = 0;
        std::int64_t top = 0; ///< of its heading
        int heading = 0;
    };

    void shapeGrid(const CollectionGeometry& geometry, std::int64_t largest);
    void shapeStrip(const CollectionGeometry& geometry);
    void place(std::span<const FileDisplaySection> sections);
    std::int64_t rowsOf(const Section& section) const { return (section.count + columns_ - 1) / columns_; }
    std::int64_t rowTop(const Section& section, std::int64_t row) const {
        return section.top + section.heading + row * cell_.height();
    }
    /// The last section that begins at or above `y`, else the first; the number of sections without any.
    std::size_t sectionFrom(std::int64_t y) const;
    /// Half-open range of the section's items whose rows meet `area`; of a strip, whose cells do.
    std::pair<std::int64_t, std::int64_t> itemsIn(std::size_t section, const QRect& area) const;
    std::int64_t itemAt(const Section& section, std::int64_t row, std::int64_t column) const;
    std::int64_t movedByRow(std::int64_t index, std::int64_t column, int by) const;
    std::int64_t movedByPage(std::int64_t index, std::int64_t column, int by) const;

    CollectionMode mode_ = CollectionMode::grid;
    std::int64_t count_ = 0;
    std::int64_t columns_ = 1;
    QSize viewport_;
    QSize cell_{1, 1};
    int picture_ = 16;
    int caption_ = 0;
    int margin_ = 0;
    double stride_ = 1; ///< from one column's edge to the next
    bool isMirrored_ = false;
    std::int64_t end_ = 0; ///< below the last row
    std::vector<Section> sections_;
};

} // namespace morv
