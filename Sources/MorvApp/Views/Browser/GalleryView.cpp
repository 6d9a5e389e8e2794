#include "MorvApp/Views/Browser/GalleryView.h"

#include "MorvApp/Views/Collection/MorvCollectionView.h"
#include "MorvApp/Views/Preview/PreviewPane.h"

#include <algorithm>
#include <chrono>

namespace morv {

namespace {

constexpr std::chrono::milliseconds restTime{120};
/// Of a strip's height, what is not its picture: the name, the room around both and a scroll bar.
constexpr int aroundPicture = 64;
constexpr int smallestPreview = 160;

} // namespace

GalleryView::GalleryView(AppModel& app, PaneModel& pane, const WindowActions& actions, BrowserSizes& sizes,
                         QWidget* parent)
    : QSplitter(Qt::Vertical, parent), pane_(pane), sizes_(sizes),
      preview_(new PreviewPane(app, PreviewPane::Detail::viewer, this)),
      strip_(new MorvCollectionView(app, pane, actions,
                                    {.mode = CollectionMode::strip, .iconSize = sizes.strip - aroundPicture},
                                    this)) {
    setObjectName(QStringLiteral("galleryView"));
    setChildrenCollapsible(false);
    setHandleWidth(1);
    preview_->setMinimumHeight(smallestPreview);
    strip_->setMinimumHeight(BrowserSizes::lowestStrip);
    setStretchFactor(0, 1);
    setStretchFactor(1, 0);
    setFocusProxy(strip_);
    rest_.setSingleShot(true);
    rest_.setInterval(restTime);
    connect(&rest_, &QTimer::timeout, this, &GalleryView::update);
    connect(&pane_, &PaneModel::loaded, this, [this] {
        selectFirst();
        update();
    });
    connect(&pane_, &PaneModel::entriesChanged, this, &GalleryView::update);
    connect(&pane_, &PaneModel::errorChanged, this, &GalleryView::update);
    connect(&pane_, &PaneModel::selectionChanged, this, &GalleryView::follow);
    connect(this, &QSplitter::splitterMoved, this, &GalleryView::takeHeight);
    if (pane_.loadedLocation())
        selectFirst();
    update();
}

/// Once in each folder: whoever takes the selection back afterwards means it.
void GalleryView::selectFirst() {
    if (begun_ == pane_.location())
        return;
    begun_ = pane_.location();
    if (!pane_.selection().empty() || pane_.displayedEntries().empty())
        return;
    pane_.setSelection({EntryKey(pane_.displayedEntry(0))});
    strip_->takeUpSelection();
}

void GalleryView::follow() {
    if (!rest_.isActive())
        update();
    rest_.start();
}

void GalleryView::update() {
    // Without items the strip has the whole room for its sentence.
    const bool isEmpty = pane_.displayedEntries().empty();
    const bool wasHidden = preview_->isHidden();
    preview_->setVisible(!isEmpty);
    strip_->setMaximumHeight(isEmpty ? QWIDGETSIZE_MAX : BrowserSizes::highestStrip);
    if (wasHidden && !isEmpty)
        place();
    const auto selected = pane_.selectedEntries();
    const auto* shown = selected.empty() ? nullptr : selected.front();
    // Of several the one that has the keyboard.
    if (const auto current = strip_->current(); selected.size() > 1 && current >= 0 &&
                                                current < strip_->count() &&
                                                pane_.isSelected(strip_->entry(current)))
        shown = &strip_->entry(current);
    if (shown)
        preview_->show(*shown);
    else if (preview_->entry())
        preview_->clear();
}

void GalleryView::takeHeight() {
    sizes_.strip = std::clamp(strip_->height(), BrowserSizes::lowestStrip, BrowserSizes::highestStrip);
    strip_->setIconSize(sizes_.strip - aroundPicture);
}

void GalleryView::place() {
    if (!preview_->isHidden())
        setSizes({std::max(smallestPreview, height() - sizes_.strip - handleWidth()), sizes_.strip});
}

void GalleryView::resizeEvent(QResizeEvent* event) {
    QSplitter::resizeEvent(event);
    place();
}

} // namespace morv
