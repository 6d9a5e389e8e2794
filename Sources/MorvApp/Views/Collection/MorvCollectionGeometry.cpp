// Where the items of a collection stand, which of them are in sight, and how they are drawn.
#include "MorvApp/Views/Collection/MorvCollectionView.h"
#include "MorvApp/Views/Collection/VisibleInsights.h"
#include "MorvApp/Views/Collection/VisibleThumbnails.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QHeaderView>
#include <QPaintEvent>
#include <QPainter>
#include <QScrollBar>
#include <algorithm>

namespace morv {

ListColumns MorvCollectionView::columns() const {
    ListColumns result;
    for (int i = 0; i < static_cast<int>(result.size()); ++i)
        result[static_cast<std::size_t>(i)] = {header_->sectionViewportPosition(i), header_->sectionSize(i)};
    return result;
}

void MorvCollectionView::placeHeader() {
    const bool isList = mode() == CollectionMode::list;
    header_->setVisible(isList);
    const int height = isList ? header_->sizeHint().height() : 0;
    setViewportMargins(0, height, 0, 0);
    header_->setGeometry(viewport()->x(), 0, viewport()->width(), height);
}

void MorvCollectionView::relayout() {
    const bool isStrip = wantedMode() == CollectionMode::strip;
    setHorizontalScrollBarPolicy(isStrip ? Qt::ScrollBarAsNeeded : Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(isStrip ? Qt::ScrollBarAlwaysOff : Qt::ScrollBarAsNeeded);
    layout_ =
        CollectionLayout(wantedMode(), display_.sections(),
                         {viewport()->size(), fontMetrics().height(), wantedIconSize(), layoutDirection()});
    const auto content = layout_.contentSize();
    verticalScrollBar()->setPageStep(viewport()->height());
    verticalScrollBar()->setSingleStep(mode() == CollectionMode::grid ? 40 : layout_.cell().height());
    verticalScrollBar()->setRange(0, content.height() - viewport()->height());
    horizontalScrollBar()->setPageStep(viewport()->width());
    horizontalScrollBar()->setSingleStep(layout_.cell().width());
    horizontalScrollBar()->setRange(0, content.width() - viewport()->width());
    column_ = current_ >= 0 && current_ < count() ? layout_.columnOf(current_) : 0;
    hovered_ = -1;
    placeEditor();
    insights_->grown();
    thumbnails_->grown();
    viewport()->update();
}

QPoint MorvCollectionView::origin() const {
    const auto* sideways = horizontalScrollBar();
    return {layout_.isMirrored() ? sideways->value() - sideways->maximum() : -sideways->value(),
            -verticalScrollBar()->value()};
}

QPoint MorvCollectionView::toContent(QPoint viewportPoint) const {
    return viewportPoint - origin();
}

std::optional<std::int64_t> MorvCollectionView::itemAt(QPoint viewportPoint) const {
    return headingAt(viewportPoint) ? std::nullopt : layout_.indexAt(toContent(viewportPoint));
}

std::optional<std::size_t> MorvCollectionView::headingAt(QPoint viewportPoint) const {
    std::optional<std::size_t> found;
    const auto point = toContent(viewportPoint);
    const int scrolled = verticalScrollBar()->value();
    layout_.forEachHeading(scrolled, viewport()->height(), [&](std::size_t section) {
        if (layout_.headingRect(section, scrolled).contains(point))
            found = section;
    });
    return found;
}

QRect MorvCollectionView::visualRect(std::int64_t index) const {
    return layout_.rect(index).translated(origin());
}

void MorvCollectionView::scrollTo(std::int64_t index) {
    const auto rect = layout_.rect(index);
    if (mode() == CollectionMode::strip) {
        const auto shown = visualRect(index);
        const int by =
            shown.left() < 6 ? shown.left() - 6 : std::max(0, shown.right() - viewport()->width() + 6);
        auto* sideways = horizontalScrollBar();
        return sideways->setValue(sideways->value() + (layout_.isMirrored() ? -by : by));
    }
    auto* bar = verticalScrollBar();
    const int covered = 6 + (layout_.hasHeading(layout_.sectionOf(index)) ? CollectionLayout::heading : 0);
    if (rect.top() < bar->value() + covered)
        bar->setValue(rect.top() - covered);
    else if (rect.bottom() > bar->value() + viewport()->height() - 6)
        bar->setValue(rect.bottom() - viewport()->height() + 6);
}

void MorvCollectionView::resizeEvent(QResizeEvent*) {
    if (header_)
        header_->setGeometry(viewport()->x(), 0, viewport()->width(), header_->height());
    relayout();
}

void MorvCollectionView::scrollContentsBy(int, int) {
    placeEditor();
    insights_->changed();
    thumbnails_->changed();
    viewport()->update();
}

std::vector<const FileEntry*> MorvCollectionView::foldersInSight() const {
    std::vector<const FileEntry*> found;
    if (!isVisible() || (mode() != CollectionMode::list && layout_.caption() == 0))
        return found;
    layout_.forEachIn(viewport()->rect().translated(-origin()), [&](std::int64_t index) {
        if (const auto& item = entry(index); FolderInsightCache::hasInsight(item))
            found.push_back(&item);
    });
    return found;
}

std::vector<const FileEntry*> MorvCollectionView::filesInSight() const {
    std::vector<const FileEntry*> found;
    if (isVisible())
        layout_.forEachIn(viewport()->rect().translated(-origin()), [&](std::int64_t index) {
            if (const auto& item = entry(index); !item.isNavigable())
                found.push_back(&item);
        });
    return found;
}

void MorvCollectionView::showThumbnails() {
    layout_.forEachIn(viewport()->rect().translated(-origin()), [&](std::int64_t index) {
        if (thumbnails_->hasArrived(entry(index)))
            viewport()->update(visualRect(index));
    });
}

void MorvCollectionView::paintEvent(QPaintEvent* event) {
    const auto& colours = Theme::shared().colours();
    QPainter painter(viewport());
    painter.setFont(font());
    painter.fillRect(event->rect(), colours.content);
    if (count() == 0) {
        paintNotice(painter);
        return paintDropTarget(painter);
    }
    paintCells(painter, event->rect());
    paintHeadings(painter);
    if (band_) {
        auto fill = colours.accent;
        fill.setAlpha(Theme::shared().look().contrast == Contrast::high ? 0 : 0x22);
        painter.setBrush(fill);
        painter.setPen(colours.accent);
        painter.drawRect(QRect(band_->origin, band_->corner).normalized().translated(origin()));
    }
    paintDropTarget(painter);
}

void MorvCollectionView::paintCells(QPainter& painter, const QRect& area) {
    const bool focused = hasFocus() || editor_;
    CollectionPainter cells(painter,
                            {icons_, folders_, app_.services().appearances, *insights_, *thumbnails_},
                            Theme::shared().colours(), focused);
    const auto listColumns = columns();
    layout_.forEachIn(area.translated(-origin()), [&](std::int64_t index) {
        const auto& item = entry(index);
        const CellState state{.isSelected = pane().isSelected(item),
                              .isCurrent = index == current_,
                              .isHovered = index == hovered_,
                              .isRenaming = editor_ && renamedKey_ == item,
                              .isPressed = index == pressed_};
        const auto rect = visualRect(index);
        switch (mode()) {
        case CollectionMode::grid:
            return cells.paintGridCell(rect, layout_, item, state);
        case CollectionMode::list:
            return cells.paintListRow(rect, layout_.picture(), listColumns, item, state);
        case CollectionMode::column:
            return cells.paintColumnRow(rect, layout_.picture(), item, state);
        case CollectionMode::strip:
            return cells.paintStripCell(rect, layout_.picture(), item, state);
        }
    });
}

void MorvCollectionView::paintHeadings(QPainter& painter) {
    const int scrolled = verticalScrollBar()->value();
    layout_.forEachHeading(scrolled, viewport()->height(), [&](std::size_t section) {
        const auto& [title, first, count] = display_.sections()[section];
        paintSectionHeading(painter, layout_.headingRect(section, scrolled).translated(origin()), title,
                            count);
    });
}

} // namespace morv
