#include "MorvApp/Views/Tags/FlowLayout.h"

#include <QStyle>
#include <QWidget>
#include <algorithm>

namespace morv {

namespace {

constexpr int narrowestField = 96;

} // namespace

FlowLayout::FlowLayout(QWidget* parent, int spacing) : QLayout(parent) {
    setContentsMargins(0, 0, 0, 0);
    setSpacing(spacing);
}

FlowLayout::~FlowLayout() {
    qDeleteAll(items_);
}

void FlowLayout::insertWidget(int index, QWidget* widget) {
    addChildWidget(widget);
    items_.insert(index, new QWidgetItem(widget));
    invalidate();
}

void FlowLayout::addItem(QLayoutItem* item) {
    items_ << item;
}

QLayoutItem* FlowLayout::takeAt(int index) {
    return index >= 0 && index < items_.size() ? items_.takeAt(index) : nullptr;
}

QSize FlowLayout::minimumSize() const {
    QSize size;
    for (const auto* item : items_)
        size = size.expandedTo(item->minimumSize());
    return size;
}

void FlowLayout::setGeometry(const QRect& rect) {
    QLayout::setGeometry(rect);
    arrange(rect, Act::place);
}

int FlowLayout::arrange(const QRect& rect, Act act) const {
    const auto direction = parentWidget() ? parentWidget()->layoutDirection() : Qt::LeftToRight;
    int x = 0;
    int y = 0;
    int row = 0;
    for (auto* item : items_) {
        if (item->isEmpty())
            continue;
        const bool expands = item->expandingDirections().testFlag(Qt::Horizontal);
        auto size = item->sizeHint().boundedTo(QSize(rect.width(), QWIDGETSIZE_MAX));
        if (expands)
            size.setWidth(std::min(size.width(), narrowestField));
        if (x > 0 && x + size.width() > rect.width()) {
            x = 0;
            y += row + spacing();
            row = 0;
        }
        if (expands)
            size.setWidth(rect.width() - x);
        if (act == Act::place)
            item->setGeometry(
                QStyle::visualRect(direction, rect, QRect(rect.topLeft() + QPoint(x, y), size)));
        x += size.width() + spacing();
        row = std::max(row, size.height());
    }
    return y + row;
}

} // namespace morv
