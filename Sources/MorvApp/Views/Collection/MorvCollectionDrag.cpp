// Files that leave a collection under the hand, and files that come to it.
#include "MorvApp/Views/Collection/MorvCollectionView.h"
#include "MorvApp/Views/Drag/DragSource.h"
#include "MorvApp/Views/Drag/DropArea.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QApplication>
#include <QMouseEvent>
#include <QPainter>

namespace morv {

namespace {

constexpr int dragPicture = 48;
constexpr std::size_t mostPictures = 3;
constexpr double ring = 2;

} // namespace

void MorvCollectionView::acceptDrops() {
    drops_ = new DropArea(
        app_, *viewport(), [this](QPoint point) { return dropPlaceAt(point); }, this);
    connect(drops_, &DropArea::targetChanged, viewport(), qOverload<>(&QWidget::update));
    connect(drops_, &DropArea::rested, this, [this](QPoint point) {
        // A column's folder would open beside it, and take the column away from which the files come.
        if (const auto index = folderAt(point); index && mode() != CollectionMode::column)
            app_.drag().openFolder(pane(), entry(*index).url());
    });
    // What is under a resting pointer may be another item now.
    connect(&pane_, &PaneModel::entriesChanged, drops_, &DropArea::refresh, Qt::QueuedConnection);
}

bool MorvCollectionView::beginsDrag(const QMouseEvent& event) {
    if (!dragFrom_ || !event.buttons().testFlag(Qt::LeftButton))
        return false;
    if ((event.pos() - *dragFrom_).manhattanLength() >= QApplication::startDragDistance()) {
        dragFrom_.reset();
        pressedSelected_.reset();
        dragSelection();
    }
    return true;
}

void MorvCollectionView::dragSelection() {
    const auto selected = pane().selectedEntries();
    if (selected.empty())
        return;
    std::vector<QPixmap> pictures;
    for (const auto* item : selected) {
        if (pictures.size() == mostPictures)
            break;
        pictures.push_back(item->isNavigable()
                               ? folders_.folder(app_.services().appearances.appearance(item->url()),
                                                 dragPicture, devicePixelRatioF())
                               : icons_.file(*item, dragPicture, devicePixelRatioF()));
    }
    DragSource::run(*this, DragSource::data(pane().selectedURLs()),
                    DragSource::picture(pictures, selected.size(), devicePixelRatioF()));
}

std::optional<std::int64_t> MorvCollectionView::folderAt(QPoint viewportPoint) const {
    const auto index = itemAt(viewportPoint);
    return index && entry(*index).isNavigable() ? index : std::nullopt;
}

std::optional<DropPlace> MorvCollectionView::dropPlaceAt(QPoint viewportPoint) const {
    if (const auto index = folderAt(viewportPoint))
        return DropPlace::into(entry(*index).url());
    // What a search has found lies in many folders; none of them is meant.
    return pane().isSearch() || pane().error() ? std::nullopt
                                               : std::optional(DropPlace::into(pane().location()));
}

bool MorvCollectionView::isDropTarget(const FileEntry& entry) const {
    const auto& target = drops_->target();
    return target && entry.isNavigable() && target->folder == entry.url();
}

void MorvCollectionView::paintDropTarget(QPainter& painter) const {
    const auto& target = drops_->target();
    if (!target || target->folder != pane().location())
        return;
    const auto& theme = Theme::shared();
    const bool isFull = theme.look().contrast == Contrast::high;
    auto fill = theme.colours().accent;
    fill.setAlpha(isFull ? 0 : 0x0C);
    const double width = isFull ? theme.focusWidth() : ring;
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(theme.colours().accent, width));
    painter.setBrush(fill);
    const auto inset = width / 2 + 1;
    painter.drawRect(QRectF(viewport()->rect()).adjusted(inset, inset, -inset, -inset));
}

} // namespace morv
