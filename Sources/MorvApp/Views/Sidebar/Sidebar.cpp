#include "MorvApp/Views/Sidebar/Sidebar.h"

#include "MorvApp/Views/Drag/DropArea.h"
#include "MorvApp/Views/Sidebar/SidebarDelegate.h"
#include "MorvApp/Views/Theme/PlaceSymbols.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvCore/Foundation/ByteCount.h"

#include <QHeaderView>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QToolButton>

namespace morv {

namespace {

constexpr int rowRole = Qt::UserRole; ///< an index; -1 for a heading
constexpr int ejectSide = 24;

} // namespace

Sidebar::Sidebar(AppModel& app, Form form, QWidget* parent) : QTreeWidget(parent), app_(app), form_(form) {
    setObjectName(form == Form::full ? QStringLiteral("sidebar") : QStringLiteral("sidebarRail"));
    setAccessibleName(QStringLiteral("Places"));
    setHeaderHidden(true);
    setRootIsDecorated(false);
    setIndentation(0);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    if (form == Form::rail) {
        setFixedWidth(railWidth);
        setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        // Else the one column is wider than what can be seen of it, and its middle lies outside.
        header()->setMinimumSectionSize(1);
    } else {
        setMinimumWidth(static_cast<int>(SidebarColumn::smallest));
        setMaximumWidth(static_cast<int>(SidebarColumn::largest));
    }
    setVerticalScrollMode(ScrollPerPixel);
    setMouseTracking(true);
    setItemDelegate(new SidebarDelegate(*this));
    closed_ = app.services().defaults.closedSidebarSections();
    buildEject();
    acceptFiles();
    follow();
    fill();
}

void Sidebar::follow() {
    connect(&app_.library(), &FileLibrary::favouritesChanged, this, &Sidebar::fill);
    connect(&app_.library(), &FileLibrary::savedSearchesChanged, this, &Sidebar::fill);
    connect(&app_.library(), &FileLibrary::workspaceListChanged, this, &Sidebar::fill);
    connect(&app_.services().tags, &TagsInUse::changed, this, &Sidebar::fill);
    if (auto* volumes = app_.volumes())
        connect(volumes, &VolumeSource::listsChanged, this, [this] {
            fill();
            askForSpaces();
        });
    connect(&Theme::shared(), &Theme::changed, this, [this] {
        eject_->setIcon(placeIcon("eject", Theme::shared().colours().text));
        fill();
    });
    connect(&app_.services().spaces, &VolumeSpaces::changed, this, &Sidebar::showSpaces);
    connect(&app_, &AppModel::fileSnapshotRevisionChanged, this, &Sidebar::askForSpaces);
    connect(&app_, &AppModel::ejectingChanged, this, [this] {
        placeEject();
        viewport()->update();
    });
    connect(&app_, &AppModel::selectedWorkspaceChanged, this, &Sidebar::markLocation);
    connect(&app_, &AppModel::activePaneChanged, this, &Sidebar::markLocation);
    connect(&app_, &AppModel::activePaneUpdated, this, &Sidebar::markLocation);
    // Not when it is activated: where one click does that, it comes after the click, which may have taken the row
    // away.
    connect(this, &QTreeWidget::itemClicked, this, [this](QTreeWidgetItem* item) { open(*item); });
}

// What is shown.

void Sidebar::addHeading(std::string_view title) {
    auto* item = new QTreeWidgetItem(this, {ours(title)});
    item->setData(0, rowRole, -1);
    const bool isGap = title.empty() || form_ == Form::rail;
    item->setFlags(isGap ? Qt::NoItemFlags : Qt::ItemIsEnabled);
    item->setSizeHint(0, QSize(0, isGap ? SidebarDelegate::gapHeight : SidebarDelegate::headingHeight));
    if (!isGap)
        item->setData(0, Qt::AccessibleTextRole,
                      ours(title) + (isClosed(*item) ? QStringLiteral(", closed section")
                                                     : QStringLiteral(", section")));
}

void Sidebar::addRow(const SidebarRow& row) {
    rows_.push_back(row);
    auto* item = new QTreeWidgetItem(this, {ours(row.title)});
    item->setData(0, rowRole, static_cast<int>(rows_.size()) - 1);
    item->setSizeHint(
        0, QSize(0, form_ == Form::rail ? SidebarDelegate::railHeight : SidebarDelegate::rowHeight));
    item->setToolTip(0, form_ == Form::rail && row.title != row.tip
                            ? ours(row.title) + QLatin1Char('\n') + ours(row.tip)
                            : ours(row.tip));
}

void Sidebar::fill() {
    if (!isVisible())
        return;
    // It is filled again whenever the window comes forward: whoever is in it stays where he was.
    const auto* held = hasFocus() ? currentItem() : nullptr;
    const auto* heldRow = held ? rowOf(*held) : nullptr;
    const auto kept = heldRow ? std::optional(*heldRow) : std::nullopt;
    const auto keptTitle = held && !heldRow ? held->text(0) : QString();
    const int scrolled = verticalScrollBar()->value();
    const QSignalBlocker quiet(this);
    clear();
    rows_.clear();
    for (const auto& section : sidebarSections(app_)) {
        const auto first = section.rows.empty() ? SidebarRow::Kind::volume : section.rows.front().kind;
        const bool isOfNames = first == SidebarRow::Kind::search || first == SidebarRow::Kind::tag;
        if (form_ == Form::rail && (isOfNames || section.rows.empty()))
            continue;
        if (form_ == Form::full || topLevelItemCount() > 0)
            addHeading(section.title);
        if (form_ == Form::rail || !closed_.contains(std::string(section.title)))
            for (const auto& row : section.rows)
                addRow(row);
    }
    marked_.reset();
    markLocation();
    for (int i = 0; i < topLevelItemCount() && (kept || !keptTitle.isEmpty()); ++i) {
        auto* item = topLevelItem(i);
        const auto* row = rowOf(*item);
        if (row ? kept && row->isSame(*kept) : !kept && item->text(0) == keptTitle) {
            setCurrentItem(item);
            break;
        }
    }
    showSpaces();
    verticalScrollBar()->setValue(scrolled);
    drops_->refresh();
}

void Sidebar::askForSpaces() {
    // One of the two is enough.
    if (form_ == Form::full)
        app_.services().spaces.refresh();
    showSpaces();
}

void Sidebar::showSpaces() {
    if (!isVisible())
        return;
    for (int i = 0; i < topLevelItemCount(); ++i) {
        auto* item = topLevelItem(i);
        const auto* row = rowOf(*item);
        const auto space = row ? spaceOf(*row) : std::nullopt;
        if (!space)
            continue;
        using Answer = VolumeSpaces::State;
        const bool isKnown = space->state == Answer::known && space->space.total > 0;
        const auto words = isKnown                          ? ours(VolumeSpaces::words(space->space))
                           : space->state == Answer::silent ? QStringLiteral("Not answering")
                                                            : QString();
        item->setData(0, Qt::AccessibleDescriptionRole, words);
        const auto title = form_ == Form::rail ? ours(row->title) + QLatin1Char('\n') : QString();
        item->setToolTip(0,
                         title + ours(row->tip) + (words.isEmpty() ? QString() : QLatin1Char('\n') + words));
        if (form_ == Form::full)
            item->setSizeHint(0,
                              QSize(0, isKnown ? SidebarDelegate::volumeHeight : SidebarDelegate::rowHeight));
    }
    placeEject();
    viewport()->update();
}

const SidebarRow* Sidebar::rowOf(const QTreeWidgetItem& item) const {
    const auto index = item.data(0, rowRole).toInt();
    return index < 0 ? nullptr : &rows_[static_cast<std::size_t>(index)];
}

bool Sidebar::isClosed(const QTreeWidgetItem& heading) const {
    return closed_.contains(typedBytes(heading.text(0)));
}

bool Sidebar::isTarget(const SidebarRow& row) const {
    return drops_->target() && drops_->target() == dropPlace(row);
}

std::optional<VolumeSpaces::Answer> Sidebar::spaceOf(const SidebarRow& row) const {
    const bool isVolume = row.kind == SidebarRow::Kind::volume ||
                          (row.kind == SidebarRow::Kind::network && row.symbol != "cloud");
    return isVolume ? std::optional(app_.services().spaces.of(row.place)) : std::nullopt;
}

QString Sidebar::noteOf(const SidebarRow& row) const {
    if (app_.ejecting().contains(row.place))
        return QStringLiteral("Ejecting…");
    const auto space = spaceOf(row);
    // The button stands there.
    if (!space || (ejectable_ && eject_->isVisible() && row.isSame(*ejectable_)))
        return {};
    if (space->state == VolumeSpaces::State::silent)
        return QStringLiteral("Not answering");
    return space->state == VolumeSpaces::State::known && space->space.total > 0
               ? ours(formatByteCount(space->space.free)) + QStringLiteral(" free")
               : QString();
}

void Sidebar::markLocation() {
    const auto& pane = app_.activePane();
    const Place present{pane.isSearch() ? std::nullopt : std::optional(pane.location()),
                        app_.selectedWorkspaceID(), pane.tagFilter()};
    // Only a window that goes elsewhere takes the keyboard's place in the list along.
    if (hasFocus() && present == marked_)
        return;
    marked_ = present;
    QTreeWidgetItem* wanted = nullptr;
    for (int i = 0; i < topLevelItemCount() && !wanted; ++i)
        if (const auto* row = rowOf(*topLevelItem(i)); row && isShown(app_, *row))
            wanted = topLevelItem(i);
    if (wanted == currentItem())
        return;
    const QSignalBlocker quiet(this);
    setCurrentItem(wanted);
    viewport()->update();
}

void Sidebar::showEvent(QShowEvent* event) {
    QTreeWidget::showEvent(event);
    fill();
}

void Sidebar::paintEvent(QPaintEvent* event) {
    QTreeWidget::paintEvent(event);
    const auto& target = drops_->target();
    const auto gap =
        target && target->kind == DropPlace::Kind::favourites ? std::optional(target->index) : gap_;
    if (!gap)
        return;
    // Below the favourite before it, or at the top of the first.
    int y = -1;
    std::size_t number = 0;
    for (int i = 0; i < topLevelItemCount(); ++i) {
        const auto* row = rowOf(*topLevelItem(i));
        if (!row || row->kind != SidebarRow::Kind::favourite)
            continue;
        const auto rect = visualItemRect(topLevelItem(i));
        if (number == 0 && *gap == 0)
            y = rect.top();
        if (++number == *gap)
            y = rect.bottom();
    }
    if (y < 0)
        return;
    constexpr int dot = 3;
    QPainter painter(viewport());
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Theme::shared().colours().accent, 2));
    painter.setBrush(Theme::shared().colours().window);
    painter.drawLine(dot * 2 + 2, y, viewport()->width() - Space::tiny, y);
    painter.drawEllipse(QPoint(dot + 2, y), dot, dot);
}

// What is done.

void Sidebar::open(const QTreeWidgetItem& item) {
    const auto* row = rowOf(item);
    if (!row)
        return toggle(item);
    const auto opened = *row;
    openRow(app_, opened);
    if (opened.kind == SidebarRow::Kind::trash)
        return markLocation();
    Q_EMIT this->opened();
}

void Sidebar::toggle(const QTreeWidgetItem& heading) {
    const auto title = typedBytes(heading.text(0));
    if (title.empty() || form_ == Form::rail)
        return;
    if (closed_.erase(title) == 0)
        closed_.insert(title);
    app_.services().defaults.setClosedSidebarSections(closed_);
    fill();
}

void Sidebar::keyPressEvent(QKeyEvent* event) {
    const auto* item = currentItem();
    const auto key = event->key();
    const bool isReturn = key == Qt::Key_Return || key == Qt::Key_Enter;
    const bool isHeading = item && !rowOf(*item);
    if (item && isReturn)
        return open(*item);
    if (isHeading) {
        const bool opens = key == (isRightToLeft() ? Qt::Key_Left : Qt::Key_Right);
        const bool closes = key == (isRightToLeft() ? Qt::Key_Right : Qt::Key_Left);
        if (key == Qt::Key_Space || (opens && isClosed(*item)) || (closes && !isClosed(*item)))
            return toggle(*item);
        if (opens || closes)
            return;
    }
    QTreeWidget::keyPressEvent(event);
}

bool Sidebar::event(QEvent* event) {
    if (event->type() == QEvent::ShortcutOverride) {
        const auto* key = static_cast<QKeyEvent*>(event);
        // Whoever presses it here means a place, and not the files that are selected beside it.
        if (key->key() == Qt::Key_Delete || key->matches(QKeySequence::DeleteStartOfWord)) {
            event->accept();
            return true;
        }
    }
    return QTreeWidget::event(event);
}

void Sidebar::focusInEvent(QFocusEvent* event) {
    QTreeWidget::focusInEvent(event);
    placeEject();
}

void Sidebar::focusOutEvent(QFocusEvent* event) {
    QTreeWidget::focusOutEvent(event);
    placeEject();
}

void Sidebar::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
    QTreeWidget::currentChanged(current, previous);
    placeEject();
}

// The button that ejects: on the volume under the pointer, else on the one that has the keyboard.

void Sidebar::buildEject() {
    eject_ = new QToolButton(viewport());
    eject_->setObjectName(QStringLiteral("eject"));
    eject_->setIcon(placeIcon("eject", Theme::shared().colours().text));
    eject_->setIconSize({14, 14});
    eject_->setFixedSize(ejectSide, ejectSide);
    eject_->setFocusPolicy(Qt::TabFocus);
    eject_->setCursor(Qt::ArrowCursor);
    eject_->installEventFilter(this);
    eject_->hide();
    connect(eject_, &QToolButton::clicked, this, [this] {
        if (ejectable_)
            app_.eject(FileURL(ejectable_->place));
    });
}

void Sidebar::placeEject() {
    if (!eject_ || form_ == Form::rail)
        return;
    const auto ejectable = [this](const QTreeWidgetItem* item) {
        const auto* row = item ? rowOf(*item) : nullptr;
        return row && row->canEject && !app_.ejecting().contains(row->place);
    };
    const auto* item = hover_ ? itemAt(*hover_) : nullptr;
    if (!ejectable(item))
        item = hasFocus() || eject_->hasFocus() ? currentItem() : nullptr;
    if (!ejectable(item)) {
        ejectable_.reset();
        if (eject_->hasFocus())
            setFocus();
        return eject_->hide();
    }
    ejectable_ = *rowOf(*item);
    const auto title = QStringLiteral("Eject ") + ours(ejectable_->title);
    eject_->setToolTip(title);
    eject_->setAccessibleName(title);
    const auto row = visualItemRect(item);
    const QRect place(row.right() - ejectSide - 2, row.center().y() - ejectSide / 2 + 1, ejectSide,
                      ejectSide);
    const auto target = QStyle::visualRect(layoutDirection(), row, place);
    if (eject_->isVisible() && eject_->geometry() == target)
        return;
    eject_->setGeometry(target);
    eject_->show();
    // What stood in its place goes.
    viewport()->update();
}

bool Sidebar::eventFilter(QObject* watched, QEvent* event) {
    if (watched == eject_ && event->type() == QEvent::FocusOut)
        QMetaObject::invokeMethod(this, &Sidebar::placeEject, Qt::QueuedConnection);
    return QTreeWidget::eventFilter(watched, event);
}

bool Sidebar::viewportEvent(QEvent* event) {
    const bool result = QTreeWidget::viewportEvent(event);
    if (event->type() == QEvent::MouseMove)
        hover_ = static_cast<QMouseEvent*>(event)->pos();
    else if (event->type() == QEvent::Leave)
        hover_.reset();
    if (event->type() == QEvent::MouseMove || event->type() == QEvent::Leave ||
        event->type() == QEvent::Wheel || event->type() == QEvent::Resize)
        placeEject();
    return result;
}

} // namespace morv
