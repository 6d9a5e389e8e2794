#include "MorvApp/Views/Collection/CollectionLayout.h"

#include <algorithm>

namespace morv {

namespace {

constexpr int gridMargin = 12;
constexpr int listMargin = 8;
/// "128 items" needs about this much room.
constexpr int narrowestWithCaption = 84;

} // namespace

CollectionLayout CollectionLayout::grid(std::int64_t count, QSize viewport, int iconSize, int lineHeight) {
    CollectionLayout layout;
    layout.mode_ = CollectionMode::grid;
    layout.count_ = count;
    layout.picture_ = iconSize * 3 / 5 / 4 * 4;
    layout.caption_ = iconSize >= narrowestWithCaption ? lineHeight : 0;
    layout.cell_ = {iconSize + 8, layout.picture_ + 2 * lineHeight + layout.caption_ + 26};
    layout.margin_ = gridMargin;
    const int width = std::max(viewport.width() - 2 * gridMargin, layout.cell_.width());
    layout.columns_ = std::max(1, width / layout.cell_.width());
    layout.stride_ = std::max<double>(layout.cell_.width(),
                                      static_cast<double>(width) / static_cast<double>(layout.columns_));
    // A few items stay together at the left instead of drifting apart.
    if (count < layout.columns_)
        layout.stride_ = std::min<double>(layout.stride_, layout.cell_.width() + 16);
    return layout;
}

CollectionLayout CollectionLayout::list(std::int64_t count, QSize viewport, int lineHeight) {
    CollectionLayout layout;
    layout.mode_ = CollectionMode::list;
    layout.count_ = count;
    layout.picture_ = 20;
    layout.margin_ = listMargin;
    layout.cell_ = {std::max(1, viewport.width() - 2 * listMargin), std::max(30, lineHeight + 14)};
    return layout;
}

int CollectionLayout::contentHeight() const {
    const auto rowCount = (count_ + columns_ - 1) / columns_;
    return static_cast<int>(std::min<std::int64_t>(rowCount * cell_.height() + 2 * gridMargin, 1 << 30));
}

QRect CollectionLayout::rect(std::int64_t index) const {
    const auto column = index % columns_;
    const auto row = index / columns_;
    const int slack = mode_ == CollectionMode::grid ? static_cast<int>((stride_ - cell_.width()) / 2) : 0;
    return {margin_ + slack + static_cast<int>(static_cast<double>(column) * stride_),
            gridMargin / 2 + static_cast<int>(row * cell_.height()), cell_.width(), cell_.height()};
}

std::pair<std::int64_t, std::int64_t> CollectionLayout::rows(int top, int bottom) const {
    const int offset = gridMargin / 2;
    const auto rowCount = (count_ + columns_ - 1) / columns_;
    const auto first = std::clamp<std::int64_t>((top - offset) / cell_.height(), 0, rowCount);
    const auto last = std::clamp<std::int64_t>((bottom - offset) / cell_.height() + 1, first, rowCount);
    if (bottom < offset)
        return {0, 0};
    return {std::min(first * columns_, count_), std::min(last * columns_, count_)};
}

std::optional<std::int64_t> CollectionLayout::indexAt(QPoint point) const {
    const auto [first, last] = rows(point.y(), point.y());
    for (auto index = first; index < last; ++index)
        if (rect(index).contains(point))
            return index;
    return std::nullopt;
}

std::int64_t CollectionLayout::moved(std::int64_t index, MoveKey key, int viewport) const {
    const auto page = std::max<std::int64_t>(1, viewport / cell_.height() - 1) * columns_;
    const auto last = count_ - 1;
    // A step that would leave a full column of rows stays; a page goes as far as it can in the same column.
    const auto by = [&](std::int64_t distance) {
        const auto target = index + distance;
        if (target >= 0 && target <= last)
            return target;
        if (distance > 0)
            return index / columns_ == last / columns_ ? index : last;
        return distance < -columns_ ? index % columns_ : index;
    };
    switch (key) {
    case MoveKey::left:
        return mode_ == CollectionMode::list ? index : std::max<std::int64_t>(index - 1, 0);
    case MoveKey::right:
        return mode_ == CollectionMode::list ? index : std::min(index + 1, last);
    case MoveKey::up:
        return by(-columns_);
    case MoveKey::down:
        return by(columns_);
    case MoveKey::pageUp:
        return by(-page);
    case MoveKey::pageDown:
        return by(page);
    case MoveKey::home:
        return 0;
    case MoveKey::end:
        return last;
    }
    return index;
}

} // namespace morv
