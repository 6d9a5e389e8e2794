#include "MorvApp/Views/Browser/ColumnsView.h"

#include "MorvApp/Views/Collection/MorvCollectionView.h"
#include "MorvApp/Views/Preview/PreviewPane.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <algorithm>

namespace morv {

namespace {

constexpr int previewWidth = 320;
/// The line between two columns is this wide to the hand.
constexpr int edgeWidth = 7;

} // namespace

/// The line at the end of a column, which can be moved.
class ColumnEdge : public QWidget {
    Q_OBJECT

public:
    explicit ColumnEdge(QWidget* parent) : QWidget(parent) {
        setObjectName(QStringLiteral("columnEdge"));
        setCursor(Qt::SplitHCursor);
    }

Q_SIGNALS:
    /// In the parent's coordinates.
    void dragged(int x);

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter(this).fillRect(width() / 2, 0, 1, height(), Theme::shared().colours().separator);
    }
    void mousePressEvent(QMouseEvent* event) override {
        event->setAccepted(event->button() == Qt::LeftButton);
    }
    void mouseMoveEvent(QMouseEvent* event) override { Q_EMIT dragged(mapToParent(event->pos()).x()); }
};

ColumnsView::ColumnsView(AppModel& app, PaneModel& pane, const WindowActions& actions, BrowserSizes& sizes,
                         QWidget* parent)
    : QScrollArea(parent), app_(app), pane_(pane), actions_(actions), sizes_(sizes),
      content_(new QWidget(this)), model_(app, pane) {
    setObjectName(QStringLiteral("columnsView"));
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::NoFocus);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    content_->setObjectName(QStringLiteral("columnsContent"));
    setWidget(content_);
    connect(&model_, &ColumnsModel::added, this, [this] {
        addColumn();
        place();
    });
    connect(&model_, &ColumnsModel::dropping, this, &ColumnsView::dropColumns);
    connect(&model_, &ColumnsModel::focusedChanged, this, &ColumnsView::followFocus);
    connect(&model_, &ColumnsModel::entered, this, [this] { collection().takeUpSelection(); });
    connect(&model_, &ColumnsModel::previewChanged, this, &ColumnsView::showPreview);
    connect(&model_, &ColumnsModel::settled, this, &ColumnsView::place);
    connect(&app_, &AppModel::requested, this, &ColumnsView::carryOut);
    addColumn();
    setFocusProxy(columns_.front().files);
}

ColumnsView::~ColumnsView() {
    // The columns' views refer to panes of the model, which goes before the children do.
    disconnect(&model_, nullptr, this, nullptr);
    for (const auto& column : columns_)
        column.files->removeEventFilter(this);
    for (const auto& column : columns_)
        delete column.files;
}

PreviewPane* ColumnsView::preview() const {
    return preview_ && !preview_->isHidden() ? preview_ : nullptr;
}

void ColumnsView::addColumn() {
    auto& pane = model_.column(columns_.size());
    auto* files = new MorvCollectionView(app_, pane, actions_, {.mode = CollectionMode::column}, content_);
    files->installEventFilter(this);
    files->setFocusPolicy(columns_.empty() ? Qt::StrongFocus : Qt::ClickFocus);
    auto* edge = new ColumnEdge(content_);
    connect(edge, &ColumnEdge::dragged, this, [this, index = columns_.size()](int x) { widen(index, x); });
    columns_.push_back({files, edge});
    files->show();
    edge->show();
}

void ColumnsView::dropColumns(std::size_t first) {
    // The keyboard goes to the focused column before Qt gives it to whatever comes next.
    if (content_->isAncestorOf(QApplication::focusWidget()) && !collection().hasFocus() &&
        !collection().isAncestorOf(QApplication::focusWidget()))
        collection().setFocus();
    while (columns_.size() > first) {
        delete columns_.back().files;
        delete columns_.back().edge;
        columns_.pop_back();
    }
    place();
}

void ColumnsView::followFocus() {
    auto& files = collection();
    setFocusProxy(&files);
    // All columns are one stop of the Tab key.
    for (const auto& column : columns_)
        column.files->setFocusPolicy(column.files == &files ? Qt::StrongFocus : Qt::ClickFocus);
    // A field or the sidebar keeps the keyboard; another column gives it up.
    if (const auto* holder = QApplication::focusWidget(); holder && content_->isAncestorOf(holder))
        files.setFocus();
    place();
}

void ColumnsView::showPreview() {
    if (const auto& entry = model_.preview()) {
        if (!preview_)
            preview_ = new PreviewPane(app_, PreviewPane::Detail::column, content_);
        preview_->QWidget::show();
        place();
        preview_->show(*entry);
    } else if (preview_) {
        preview_->clear();
        preview_->hide();
        place();
    }
}

void ColumnsView::carryOut(FileCommand command) {
    if (isHidden() || &app_.activePane() != &pane_)
        return;
    if (command == FileCommand::open)
        model_.enter();
    else if (command == FileCommand::enclosingFolder)
        model_.leave();
}

void ColumnsView::moveBetween(int key) {
    const bool isForward = (key == Qt::Key_Right) == (layoutDirection() == Qt::LeftToRight);
    if (isForward)
        model_.enter();
    else
        model_.leave();
}

bool ColumnsView::eventFilter(QObject* watched, QEvent* event) {
    const auto column = std::ranges::find(columns_, watched, &Column::files);
    if (column != columns_.end() && event->type() == QEvent::FocusIn)
        model_.focus(static_cast<std::size_t>(column - columns_.begin()));
    if (column != columns_.end() && event->type() == QEvent::KeyPress) {
        const auto* press = static_cast<QKeyEvent*>(event);
        const bool isPlain = (press->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
        if (isPlain && (press->key() == Qt::Key_Left || press->key() == Qt::Key_Right)) {
            moveBetween(press->key());
            return true;
        }
    }
    return QScrollArea::eventFilter(watched, event);
}

void ColumnsView::widen(std::size_t index, int edge) {
    const bool isMirrored = layoutDirection() == Qt::RightToLeft;
    const int across = isMirrored ? content_->width() - edge : edge;
    const int wanted = across / static_cast<int>(index + 1);
    sizes_.column = std::clamp(wanted, BrowserSizes::narrowestColumn, BrowserSizes::widestColumn);
    place();
}

void ColumnsView::place() {
    const auto room = viewport()->size();
    const int width = std::min(sizes_.column, room.width());
    const int before = static_cast<int>(columns_.size()) * width;
    const bool previews = preview() != nullptr;
    const int shown = previews ? std::max(std::min(previewWidth, room.width()), room.width() - before) : 0;
    int whole = std::max(before + shown, room.width());
    // What is about to come takes the place of what has just gone.
    if (model_.isResting())
        whole = std::max(whole, std::min(content_->width(), before + std::max(width, previewWidth)));
    content_->resize(whole, room.height());
    const auto put = [&](QWidget* part, int left, int wide) {
        part->setGeometry(layoutDirection() == Qt::RightToLeft ? whole - left - wide : left, 0, wide,
                          room.height());
    };
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        const int left = static_cast<int>(i) * width;
        put(columns_[i].files, left, width);
        put(columns_[i].edge, left + width - edgeWidth / 2 - 1, edgeWidth);
        columns_[i].edge->raise();
    }
    if (previews)
        put(preview_, before, shown);
    scrollToFocused();
}

void ColumnsView::scrollToFocused() {
    const int width = columns_.front().files->width();
    const int left = static_cast<int>(model_.focused()) * width;
    const bool hasNext = model_.focused() + 1 < columns_.size();
    const int right = !hasNext && preview() ? content_->width() : left + (hasNext ? 2 : 1) * width;
    auto* bar = horizontalScrollBar();
    const int lowest = std::min(left, right - viewport()->width());
    bar->setValue(std::clamp(bar->value(), std::max(0, lowest), left));
}

void ColumnsView::resizeEvent(QResizeEvent* event) {
    QScrollArea::resizeEvent(event);
    place();
}

void ColumnsView::changeEvent(QEvent* event) {
    QScrollArea::changeEvent(event);
    if (event->type() == QEvent::LayoutDirectionChange && !columns_.empty())
        place();
}

} // namespace morv

#include "ColumnsView.moc"
