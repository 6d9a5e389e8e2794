#include "MorvApp/Views/Collection/CollectionLayout.h"

namespace morv {

namespace {

/// A short name with its extension fits under a picture of any size.
constexpr int narrowestInStrip = 104;
constexpr int gridMargin = 12;
constexpr int listMargin = 8;
constexpr int columnMargin = 4;
constexpr int aboveFirstRow = 6;
constexpr int belowLastRow = 18;
constexpr int betweenSections = 8;
/// "128 items" needs about this much room.
constexpr int narrowestWithCaption = 84;
constexpr std::int64_t highest = 1 << 30;

} // namespace

CollectionLayout::CollectionLayout(CollectionMode mode, std::span<const FileDisplaySection> sections,
                                   const CollectionGeometry& geometry)
    : mode_(mode), viewport_(geometry.viewport), isMirrored_(geometry.direction == Qt::RightToLeft) {
    std::size_t largest = 0;
    for (const auto& section : sections) {
        count_ += static_cast<std::int64_t>(section.count);
        largest = std::max(largest, section.count);
    }
    const int line = geometry.lineHeight;
    switch (mode) {
    case CollectionMode::grid:
        shapeGrid(geometry, static_cast<std::int64_t>(largest));
        break;
    case CollectionMode::strip:
        shapeStrip(geometry);
        break;
    case CollectionMode::list:
    case CollectionMode::column:
        margin_ = mode == CollectionMode::list ? listMargin : columnMargin;
        picture_ = 20;
        cell_ = {std::max(1, viewport_.width() - 2 * margin_), std::max(30, line + 14)};
        break;
    }
    const FileDisplaySection whole{{}, 0, static_cast<std::size_t>(count_)};
    place(mode == CollectionMode::grid || mode == CollectionMode::list ? sections : std::span(&whole, 1));
}

void CollectionLayout::shapeGrid(const CollectionGeometry& geometry, std::int64_t largest) {
    const int icon = geometry.iconSize;
    margin_ = gridMargin;
    picture_ = icon * 3 / 5 / 4 * 4;
    caption_ = icon >= narrowestWithCaption ? geometry.lineHeight : 0;
    cell_ = {icon + 8, picture_ + 2 * geometry.lineHeight + caption_ + 26};
    const int width = std::max(viewport_.width() - 2 * margin_, cell_.width());
    columns_ = std::max(1, width / cell_.width());
    stride_ = std::max<double>(cell_.width(), static_cast<double>(width) / static_cast<double>(columns_));
    // A few items stay together at the edge instead of drifting apart.
    if (largest < columns_)
        stride_ = std::min<double>(stride_, cell_.width() + 16);
}

void CollectionLayout::shapeStrip(const CollectionGeometry& geometry) {
    margin_ = gridMargin;
    columns_ = std::max<std::int64_t>(1, count_);
    cell_ = {std::max(geometry.iconSize + 8, narrowestInStrip),
             std::max(1, viewport_.height() - aboveFirstRow)};
    picture_ = std::clamp(cell_.height() - geometry.lineHeight - 20, 16, std::max(16, geometry.iconSize));
    stride_ = cell_.width();
}

void CollectionLayout::place(std::span<const FileDisplaySection> sections) {
    sections_.reserve(sections.size());
    for (const auto& section : sections) {
        const int height = section.title.empty() ? 0 : heading;
        if (!sections_.empty())
            end_ += betweenSections;
        else if (height == 0)
            end_ = aboveFirstRow;
        const Section placed{static_cast<std::int64_t>(section.first),
                             static_cast<std::int64_t>(section.count), end_, height};
        sections_.push_back(placed);
        end_ = rowTop(placed, rowsOf(placed));
    }
}

QSize CollectionLayout::contentSize() const {
    if (mode_ == CollectionMode::strip)
        return {static_cast<int>(std::clamp<std::int64_t>(count_ * cell_.width() + 2 * margin_,
                                                          viewport_.width(), highest)),
                viewport_.height()};
    // Nobody scrolls for the room beneath the last row alone.
    const auto height = end_ <= viewport_.height() ? end_ : end_ + belowLastRow;
    return {viewport_.width(),
            static_cast<int>(std::clamp<std::int64_t>(height, viewport_.height(), highest))};
}

std::size_t CollectionLayout::sectionOf(std::int64_t index) const {
    const auto after = std::ranges::upper_bound(sections_, index, {}, &Section::first);
    return static_cast<std::size_t>(after - sections_.begin()) - 1;
}

std::size_t CollectionLayout::sectionFrom(std::int64_t y) const {
    const auto after = std::ranges::upper_bound(sections_, y, {}, &Section::top);
    const auto passed = static_cast<std::size_t>(after - sections_.begin());
    return passed == 0 ? 0 : passed - 1;
}

std::int64_t CollectionLayout::columnOf(std::int64_t index) const {
    return (index - sections_[sectionOf(index)].first) % columns_;
}

QRect CollectionLayout::rect(std::int64_t index) const {
    const auto& section = sections_[sectionOf(index)];
    const auto place = index - section.first;
    const int slack = mode_ == CollectionMode::grid ? static_cast<int>((stride_ - cell_.width()) / 2) : 0;
    const int x = margin_ + slack + static_cast<int>(static_cast<double>(place % columns_) * stride_);
    return {isMirrored_ ? contentSize().width() - x - cell_.width() : x,
            static_cast<int>(rowTop(section, place / columns_)), cell_.width(), cell_.height()};
}

std::pair<std::int64_t, std::int64_t> CollectionLayout::itemsIn(std::size_t section,
                                                                const QRect& area) const {
    const auto& [first, count, top, above] = sections_[section];
    if (mode_ == CollectionMode::strip) {
        const int left = isMirrored_ ? contentSize().width() - 1 - area.right() : area.left();
        const auto begin = std::clamp<std::int64_t>((left - margin_) / cell_.width(), 0, count);
        const auto end =
            std::clamp<std::int64_t>((left + area.width() - margin_) / cell_.width() + 1, begin, count);
        return {begin, end};
    }
    const auto rows = rowsOf(sections_[section]);
    const auto origin = top + above;
    const auto begin = std::clamp<std::int64_t>((area.top() - origin) / cell_.height(), 0, rows);
    // Integer division rounds up below zero.
    const auto end =
        area.bottom() < origin
            ? begin
            : std::clamp<std::int64_t>((area.bottom() - origin) / cell_.height() + 1, begin, rows);
    return {first + std::min(begin * columns_, count), first + std::min(end * columns_, count)};
}

std::optional<std::int64_t> CollectionLayout::indexAt(QPoint point) const {
    std::optional<std::int64_t> found;
    forEachIn({point, QSize(1, 1)}, [&found](std::int64_t index) { found = index; });
    return found;
}

QRect CollectionLayout::headingRect(std::size_t section, int scrolled) const {
    auto top = std::max<std::int64_t>(sections_[section].top, scrolled);
    if (section + 1 < sections_.size())
        top = std::min(top, sections_[section + 1].top - heading);
    // Above the content there is nothing to be pushed from.
    return {0, static_cast<int>(std::max(top, sections_[section].top)), viewport_.width(), heading};
}

std::int64_t CollectionLayout::itemAt(const Section& section, std::int64_t row, std::int64_t column) const {
    return section.first + std::min(row * columns_ + column, section.count - 1);
}

std::int64_t CollectionLayout::movedByRow(std::int64_t index, std::int64_t column, int by) const {
    const auto number = sectionOf(index);
    const auto& section = sections_[number];
    const auto row = (index - section.first) / columns_ + by;
    if (row >= 0 && row < rowsOf(section))
        return itemAt(section, row, column);
    if (by < 0)
        return number == 0 ? index : itemAt(sections_[number - 1], rowsOf(sections_[number - 1]) - 1, column);
    return number + 1 == sections_.size() ? index : itemAt(sections_[number + 1], 0, column);
}

std::int64_t CollectionLayout::movedByPage(std::int64_t index, std::int64_t column, int by) const {
    const auto& present = sections_[sectionOf(index)];
    const auto wanted = rowTop(present, (index - present.first) / columns_) + by;
    const auto& section = sections_[sectionFrom(wanted)];
    const auto row = std::clamp<std::int64_t>((wanted - section.top - section.heading) / cell_.height(), 0,
                                              rowsOf(section) - 1);
    const auto target = itemAt(section, row, column);
    // A page that is lower than a row still moves.
    return target == index ? movedByRow(index, column, by < 0 ? -1 : 1) : target;
}

std::int64_t CollectionLayout::moved(std::int64_t index, std::int64_t column, MoveKey key,
                                     QSize viewport) const {
    const auto by = [&](std::int64_t distance) {
        return std::clamp<std::int64_t>(index + distance, 0, count_ - 1);
    };
    const bool isStrip = mode_ == CollectionMode::strip;
    const bool hasColumns = isStrip || mode_ == CollectionMode::grid;
    const int forward = isMirrored_ ? -1 : 1;
    const int page = isStrip ? std::max(1, viewport.width() / cell_.width() - 1)
                             : std::max(cell_.height(), viewport.height() - cell_.height());
    switch (key) {
    case MoveKey::left:
        return hasColumns ? by(-forward) : index;
    case MoveKey::right:
        return hasColumns ? by(forward) : index;
    case MoveKey::up:
        return isStrip ? by(-1) : movedByRow(index, column, -1);
    case MoveKey::down:
        return isStrip ? by(1) : movedByRow(index, column, 1);
    case MoveKey::pageUp:
        return isStrip ? by(-page) : movedByPage(index, column, -page);
    case MoveKey::pageDown:
        return isStrip ? by(page) : movedByPage(index, column, page);
    case MoveKey::home:
        return 0;
    case MoveKey::end:
        return count_ - 1;
    }
    return index;
}

} // namespace morv
