// The sidebar under the hand: files that are dropped on its places, favourites that change their places.
#include "MorvApp/Views/Drag/DropArea.h"
#include "MorvApp/Views/Sidebar/Sidebar.h"
#include "MorvApp/Views/Sidebar/SidebarDelegate.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QApplication>
#include <QDrag>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>

namespace morv {

namespace {

/// A favourite on its way: its path's bytes. No list of files, so that no program can take it for its folder.
constexpr auto favouriteType = "application/x-morv-favourite";
/// Nearer to a row's edge than this is between the rows.
constexpr int gapReach = 7;

std::optional<FileURL> favouriteIn(const QDropEvent& event) {
    const auto bytes = event.mimeData()->data(QLatin1String(favouriteType));
    // Another program's would say nothing about these.
    if (!event.source() || !bytes.startsWith('/'))
        return std::nullopt;
    return FileURL::folder(bytes.toStdString());
}

} // namespace

void Sidebar::acceptFiles() {
    drops_ = new DropArea(
        app_, *viewport(), [this](QPoint point) { return dropPlaceAt(point); }, this);
    connect(drops_, &DropArea::targetChanged, viewport(), qOverload<>(&QWidget::update));
    connect(drops_, &DropArea::rested, this, [this](QPoint point) {
        const auto* item = itemAt(point);
        const auto* row = item ? rowOf(*item) : nullptr;
        if (row && row->isPlace())
            app_.drag().openFolder(app_.activePane(), row->place);
        else if (item && !row && isClosed(*item))
            toggle(*item);
    });
}

std::optional<std::size_t> Sidebar::gapAt(QPoint point, int reach) const {
    std::size_t number = 0;
    for (int i = 0; i < topLevelItemCount(); ++i) {
        const auto* row = rowOf(*topLevelItem(i));
        if (!row || row->kind != SidebarRow::Kind::favourite)
            continue;
        const auto rect = visualItemRect(topLevelItem(i));
        if (point.y() >= rect.top() - 1 && point.y() < rect.top() + reach)
            return number;
        ++number;
        if (point.y() > rect.bottom() - reach && point.y() <= rect.bottom() + 1)
            return number;
    }
    return std::nullopt;
}

std::optional<DropPlace> Sidebar::dropPlaceAt(QPoint point) const {
    if (const auto gap = gapAt(point, gapReach); gap && app_.drag().areFolders())
        return DropPlace::amongFavourites(*gap);
    const auto* item = itemAt(point);
    const auto* row = item ? rowOf(*item) : nullptr;
    return row ? dropPlace(*row) : std::nullopt;
}

void Sidebar::showGap(std::optional<std::size_t> gap) {
    if (gap_ == gap)
        return;
    gap_ = gap;
    viewport()->update();
}

void Sidebar::mousePressEvent(QMouseEvent* event) {
    const auto* item = itemAt(event->pos());
    const auto* row = item ? rowOf(*item) : nullptr;
    pressedAt_ = row && row->kind == SidebarRow::Kind::favourite && event->button() == Qt::LeftButton
                     ? std::optional(event->pos())
                     : std::nullopt;
    QTreeWidget::mousePressEvent(event);
}

void Sidebar::mouseMoveEvent(QMouseEvent* event) {
    if (!event->buttons().testFlag(Qt::LeftButton))
        return QTreeWidget::mouseMoveEvent(event);
    // A hand that moves with the button down carries a favourite, or nothing.
    if (!pressedAt_ || (event->pos() - *pressedAt_).manhattanLength() < QApplication::startDragDistance())
        return;
    const auto* item = itemAt(*pressedAt_);
    pressedAt_.reset();
    if (const auto* row = item ? rowOf(*item) : nullptr; row && row->kind == SidebarRow::Kind::favourite)
        reorder(SidebarRow(*row), visualItemRect(item));
}

void Sidebar::reorder(const SidebarRow& row, QRect place) {
    auto* carried = new QMimeData;
    carried->setData(QLatin1String(favouriteType), QByteArray::fromStdString(row.place.path()));
    auto* drag = new QDrag(this);
    drag->setMimeData(carried);
    QPixmap picture(QSize(viewport()->width(), SidebarDelegate::rowHeight) * devicePixelRatioF());
    picture.setDevicePixelRatio(devicePixelRatioF());
    picture.fill(Qt::transparent);
    viewport()->render(&picture, {}, QRegion(place), DrawChildren);
    drag->setPixmap(picture);
    drag->setHotSpot({Space::large, SidebarDelegate::rowHeight / 2});
    drag->exec(Qt::MoveAction);
    showGap(std::nullopt);
    markLocation();
}

void Sidebar::dragEnterEvent(QDragEnterEvent* event) {
    event->setAccepted(favouriteIn(*event).has_value());
}

void Sidebar::dragMoveEvent(QDragMoveEvent* event) {
    const auto gap = gapAt(event->position().toPoint(), SidebarDelegate::rowHeight / 2 + 1);
    showGap(gap);
    event->setDropAction(Qt::MoveAction);
    event->setAccepted(gap.has_value() && favouriteIn(*event));
}

void Sidebar::dragLeaveEvent(QDragLeaveEvent*) {
    showGap(std::nullopt);
}

void Sidebar::dropEvent(QDropEvent* event) {
    const auto gap = gapAt(event->position().toPoint(), SidebarDelegate::rowHeight / 2 + 1);
    const auto favourite = favouriteIn(*event);
    showGap(std::nullopt);
    if (!gap || !favourite)
        return event->ignore();
    event->setDropAction(Qt::MoveAction);
    event->accept();
    app_.library().insertFavourites({*favourite}, *gap);
}

} // namespace morv
