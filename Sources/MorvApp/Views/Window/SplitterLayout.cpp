#include "MorvApp/Views/Window/SplitterLayout.h"

#include <QSplitter>
#include <algorithm>
#include <cmath>
#include <numeric>

namespace morv {

SplitterLayout::SplitterLayout(QSplitter& splitter) : SplitView(&splitter), splitter_(splitter) {
    connect(&splitter_, &QSplitter::splitterMoved, this, &SplitView::resized);
}

double SplitterLayout::length() const {
    if (!splitter_.isVisible())
        return 0;
    return splitter_.orientation() == Qt::Horizontal ? splitter_.width() : splitter_.height();
}

std::size_t SplitterLayout::dividers() const {
    return static_cast<std::size_t>(std::max(splitter_.count() - 1, 0));
}

double SplitterLayout::position(std::size_t divider) const {
    const auto sizes = splitter_.sizes();
    const auto parts = static_cast<qsizetype>(divider) + 1;
    const int before = std::accumulate(sizes.begin(), sizes.begin() + parts, 0);
    return before + static_cast<int>(divider) * splitter_.handleWidth();
}

std::pair<int, int> SplitterLayout::range(std::size_t divider) const {
    int smallest = 0;
    int largest = 0;
    splitter_.getRange(static_cast<int>(divider) + 1, &smallest, &largest);
    return {smallest, largest};
}

double SplitterLayout::smallestPosition(std::size_t divider) const {
    return range(divider).first;
}

double SplitterLayout::largestPosition(std::size_t divider) const {
    return range(divider).second;
}

void SplitterLayout::setPosition(std::size_t divider, double position) {
    auto sizes = splitter_.sizes();
    const auto part = static_cast<qsizetype>(divider);
    const int shift = static_cast<int>(std::lround(position - this->position(divider)));
    sizes[part] += shift;
    sizes[part + 1] -= shift;
    splitter_.setSizes(sizes);
}

} // namespace morv
