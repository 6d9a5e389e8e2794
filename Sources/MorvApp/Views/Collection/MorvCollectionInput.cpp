// What hands do to a collection: keys, pointer, the editor of a name and the context menu.
#include "MorvApp/Views/Collection/MorvCollectionView.h"
#include "MorvApp/Views/Collection/OpenWithMenu.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Window/WindowActions.h"
#include "MorvCore/Foundation/Unicode.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMouseEvent>
#include <QPointer>
#include <QScrollBar>
#include <QTimer>
#include <QToolTip>
#include <algorithm>

namespace morv {

namespace {

constexpr qint64 typeAheadPause = 800;
constexpr int autoScrollInterval = 30;

std::optional<MoveKey> moveOf(int key) {
    switch (key) {
    case Qt::Key_Left:
        return MoveKey::left;
    case Qt::Key_Right:
        return MoveKey::right;
    case Qt::Key_Up:
        return MoveKey::up;
    case Qt::Key_Down:
        return MoveKey::down;
    case Qt::Key_PageUp:
        return MoveKey::pageUp;
    case Qt::Key_PageDown:
        return MoveKey::pageDown;
    case Qt::Key_Home:
        return MoveKey::home;
    case Qt::Key_End:
        return MoveKey::end;
    default:
        return std::nullopt;
    }
}

bool keepsColumn(MoveKey key) {
    return key == MoveKey::up || key == MoveKey::down || key == MoveKey::pageUp || key == MoveKey::pageDown;
}

/// Also of characters beyond the first plane, which are two units each.
bool isTypable(const QString& text) {
    const auto characters = text.toUcs4();
    return !characters.isEmpty() &&
           std::ranges::all_of(characters, [](char32_t each) { return QChar::isPrint(each); });
}

/// Compares bytes while both are ASCII; only then is a name composed and lower-cased as a whole.
bool beginsWith(const std::string& name, const std::string& lowerPrefix) {
    for (std::size_t i = 0; i < lowerPrefix.size(); ++i) {
        const auto wanted = static_cast<unsigned char>(lowerPrefix[i]);
        const auto found = i < name.size() ? static_cast<unsigned char>(name[i]) : 0U;
        if (wanted >= 0x80 || found >= 0x80)
            return pathKey(name).starts_with(lowerPrefix);
        if ((found >= 'A' && found <= 'Z' ? found + 32U : found) != wanted)
            return false;
    }
    return true;
}

} // namespace

bool MorvCollectionView::isTyping() const {
    return !typedPrefix_.empty() && lastTyped_.isValid() && lastTyped_.elapsed() <= typeAheadPause;
}

bool MorvCollectionView::event(QEvent* event) {
    if (event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<QKeyEvent*>(event);
        // Beside the files there is nothing to go to but the other files.
        if (key->key() == Qt::Key_Tab && key->modifiers() == Qt::NoModifier && app_.isSplit()) {
            perform(FileCommand::switchPane);
            return true;
        }
    } else if (event->type() == QEvent::ShortcutOverride && isTyping()) {
        const auto* key = static_cast<QKeyEvent*>(event);
        if (key->key() == Qt::Key_Space && key->modifiers() == Qt::NoModifier) {
            // Within a name that is being typed.
            event->accept();
            return true;
        }
    }
    return QAbstractScrollArea::event(event);
}

bool MorvCollectionView::moveKey(QKeyEvent* event) {
    const auto key = moveOf(event->key());
    if (!key || event->modifiers().testFlag(Qt::AltModifier))
        return false;
    // Beside a column stand others: these keys belong to whoever has them all.
    if (mode() == CollectionMode::column && (*key == MoveKey::left || *key == MoveKey::right)) {
        event->ignore();
        return true;
    }
    if (count() == 0)
        return true;
    const bool extends = event->modifiers().testFlag(Qt::ShiftModifier);
    const bool onlyMoves = event->modifiers().testFlag(Qt::ControlModifier);
    // The first key in a folder lands on its first item instead of passing it.
    const bool isFirst = current_ < 0;
    const auto column = column_;
    const auto target = isFirst ? (*key == MoveKey::end ? count() - 1 : 0)
                                : layout_.moved(current_, column, *key, viewport()->size());
    moveTo(target, extends ? Select::extend : onlyMoves ? Select::none : Select::only);
    if (!isFirst && keepsColumn(*key))
        column_ = column;
    return true;
}

void MorvCollectionView::keyPressEvent(QKeyEvent* event) {
    const auto modifiers = event->modifiers() & ~Qt::KeypadModifier;
    // A key that is held moves on, but opens and renames nothing twice.
    const auto performOnce = [this, isFirst = !event->isAutoRepeat()](FileCommand command) {
        if (isFirst)
            perform(command);
    };
    if (event->key() == Qt::Key_Down && (modifiers == Qt::ControlModifier || modifiers == Qt::AltModifier))
        return performOnce(FileCommand::open);
    if (moveKey(event))
        return;
    const bool plain = modifiers == Qt::NoModifier;
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (const auto command = actions_.returnCommand(); plain && command)
            return performOnce(*command);
        break;
    case Qt::Key_Space:
        if (modifiers == Qt::ControlModifier && current_ >= 0)
            return moveTo(current_, Select::toggle);
        if (plain && !isTyping()) {
            if (const auto command = actions_.spaceCommand())
                performOnce(*command);
            return;
        }
        break;
    case Qt::Key_Escape:
        return select({});
    case Qt::Key_Menu:
        return showContextMenu(viewport()->mapToGlobal(current_ >= 0 ? visualRect(current_).center()
                                                                     : viewport()->rect().center()));
    case Qt::Key_F10:
        if (modifiers == Qt::ShiftModifier)
            return showContextMenu(viewport()->mapToGlobal(current_ >= 0 ? visualRect(current_).center()
                                                                         : viewport()->rect().center()));
        break;
    default:
        break;
    }
    constexpr auto commanding = Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier;
    if (const auto text = event->text(); isTypable(text) && !(modifiers & commanding))
        return typeAhead(text);
    QAbstractScrollArea::keyPressEvent(event);
}

void MorvCollectionView::typeAhead(const QString& text) {
    if (!isTyping())
        typedPrefix_.clear();
    lastTyped_.start();
    typedPrefix_ += typedBytes(text);
    const auto prefix = pathKey(typedPrefix_);
    const auto& order = display_.order();
    const auto found = std::ranges::find_if(
        order, [&](EntryRef ref) { return beginsWith(display_.entries()[ref].name, prefix); });
    if (found != order.end())
        moveTo(found - order.begin(), Select::only);
}

void MorvCollectionView::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::BackButton)
        return performLater(FileCommand::back);
    if (event->button() == Qt::ForwardButton)
        return performLater(FileCommand::forward);
    if (event->button() != Qt::LeftButton && event->button() != Qt::RightButton)
        return;
    endInlineRename(true);
    focusForFileInteraction();
    const bool toggles = event->modifiers().testFlag(Qt::ControlModifier);
    const bool extends = event->modifiers().testFlag(Qt::ShiftModifier);
    pressedSelected_.reset();
    dragFrom_.reset();
    if (const auto index = itemAt(event->pos())) {
        const bool wasSelected = pane().isSelected(entry(*index));
        press(*index);
        if (event->button() == Qt::LeftButton && !extends)
            dragFrom_ = event->pos();
        if (event->button() == Qt::RightButton)
            moveTo(*index, wasSelected ? Select::none : Select::only);
        else if (wasSelected && (toggles || (!extends && pane().selection().size() > 1)))
            pressedSelected_ = *index;
        else if (toggles)
            moveTo(*index, Select::toggle);
        else if (extends)
            moveTo(*index, Select::extend);
        else
            moveTo(*index, Select::only);
        return;
    }
    const bool keeps = toggles || extends;
    if (!keeps)
        select({});
    if (event->button() == Qt::LeftButton && mode() != CollectionMode::strip)
        band_ = RubberBand{toContent(event->pos()), toContent(event->pos()),
                           keeps ? pane().selection() : EntrySelection{}, toggles};
}

void MorvCollectionView::mouseMoveEvent(QMouseEvent* event) {
    if (band_) {
        updateRubberBand(event->pos());
        const bool outside = event->pos().y() < 0 || event->pos().y() > viewport()->height();
        if (outside && !autoScroll_.isActive())
            autoScroll_.start(autoScrollInterval, this);
        else if (!outside)
            autoScroll_.stop();
        return;
    }
    if (beginsDrag(*event))
        return;
    const auto index = itemAt(event->pos()).value_or(-1);
    if (index != hovered_) {
        hovered_ = index;
        viewport()->update();
    }
}

void MorvCollectionView::press(std::int64_t index) {
    const int time = Theme::shared().motion().press;
    if (time == 0)
        return;
    pressed_ = index;
    pressing_.start(time, this);
    viewport()->update(visualRect(index));
}

void MorvCollectionView::selectItem(std::int64_t index) {
    focusForFileInteraction();
    moveTo(index, Select::only);
}

void MorvCollectionView::openItem(std::int64_t index) {
    selectItem(index);
    perform(FileCommand::open);
}

void MorvCollectionView::updateRubberBand(QPoint viewportPoint) {
    band_->corner = toContent(viewportPoint);
    auto selection = band_->base;
    layout_.forEachIn(QRect(band_->origin, band_->corner).normalized(), [&](std::int64_t index) {
        EntryKey key(entry(index));
        if (band_->toggles && band_->base.contains(key))
            selection.erase(key);
        else
            selection.insert(std::move(key));
    });
    select(std::move(selection));
    viewport()->update();
}

void MorvCollectionView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    if (pressedSelected_ && itemAt(event->pos()) == pressedSelected_)
        moveTo(*pressedSelected_,
               event->modifiers().testFlag(Qt::ControlModifier) ? Select::toggle : Select::only);
    pressedSelected_.reset();
    dragFrom_.reset();
    band_.reset();
    autoScroll_.stop();
    viewport()->update();
}

void MorvCollectionView::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && itemAt(event->pos()))
        perform(FileCommand::open);
}

void MorvCollectionView::wheelEvent(QWheelEvent* event) {
    if (event->modifiers().testFlag(Qt::ControlModifier)) {
        if (event->angleDelta().y() != 0)
            perform(event->angleDelta().y() > 0 ? FileCommand::increaseIconSize
                                                : FileCommand::decreaseIconSize);
        return event->accept();
    }
    if (mode() == CollectionMode::strip && event->angleDelta().x() == 0) {
        // A wheel that turns one way moves what moves one way.
        horizontalScrollBar()->setValue(horizontalScrollBar()->value() - event->angleDelta().y());
        return event->accept();
    }
    QAbstractScrollArea::wheelEvent(event);
}

void MorvCollectionView::timerEvent(QTimerEvent* event) {
    if (event->timerId() == autoScroll_.timerId() && band_) {
        const auto point = viewport()->mapFromGlobal(QCursor::pos());
        const int distance = point.y() < 0 ? point.y() : std::max(0, point.y() - viewport()->height());
        verticalScrollBar()->setValue(verticalScrollBar()->value() + distance);
        updateRubberBand(point);
    } else if (event->timerId() == slowLoading_.timerId()) {
        losePatience();
    } else if (event->timerId() == pressing_.timerId()) {
        pressing_.stop();
        pressed_ = -1;
        viewport()->update();
    } else if (event->timerId() == midnight_.timerId()) {
        midnight_.stop();
        followDay();
    } else {
        QAbstractScrollArea::timerEvent(event);
    }
}

bool MorvCollectionView::viewportEvent(QEvent* event) {
    if (event->type() == QEvent::Leave && hovered_ >= 0) {
        hovered_ = -1;
        viewport()->update();
    }
    if (event->type() == QEvent::ToolTip) {
        const auto* help = static_cast<QHelpEvent*>(event);
        if (const auto section = headingAt(help->pos()))
            QToolTip::showText(help->globalPos(), sectionSize(*section), viewport());
        else if (const auto index = itemAt(help->pos()); index && mode() != CollectionMode::list)
            QToolTip::showText(help->globalPos(), shown(entry(*index).name), viewport(), visualRect(*index));
        else
            QToolTip::hideText();
        return true;
    }
    return QAbstractScrollArea::viewportEvent(event);
}

void MorvCollectionView::beginInlineRename() {
    const auto selected = pane().selectedEntries();
    if (selected.size() != 1 || editor_)
        return;
    const auto& item = *selected.front();
    currentKey_ = EntryKey(item);
    findCurrent();
    if (current_ < 0)
        return;
    scrollTo(current_);
    renamedKey_ = EntryKey(item);
    renamedItem_ = item.url();
    originalName_ = editableName(item.name);
    editor_ = new QLineEdit(originalName_, viewport());
    editor_->setObjectName(QStringLiteral("inlineName"));
    editor_->setAccessibleName(QStringLiteral("Name"));
    editor_->setAlignment(mode() == CollectionMode::grid ? Qt::AlignHCenter : Qt::AlignLeft);
    editor_->installEventFilter(this);
    // Anything that took the keyboard would end it with half a name.
    app_.waitFor(*editor_);
    placeEditor();
    editor_->show();
    editor_->setFocus();
    const auto stem = item.isNavigable() ? originalName_ : editableName(renamedItem_.stem());
    editor_->setSelection(0, static_cast<int>(stem.size()));
    viewport()->update();
}

void MorvCollectionView::placeEditor() {
    // While a new order is taken over the item may not be found yet; a hidden field would lose the keyboard,
    // and end with half a name.
    if (!isAtEditor(current_))
        return;
    const auto cell = visualRect(current_);
    const int height = fontMetrics().height() + 8;
    QRect place;
    if (mode() == CollectionMode::grid) {
        place = CollectionPainter::gridNameRect(cell, layout_.picture()).adjusted(-4, -4, 4, 0);
        place.setHeight(height);
    } else {
        place = CollectionPainter::listNameRect(cell, layout_.picture(), columns()).adjusted(-6, 0, 0, 0);
        place.setTop(cell.top() + (cell.height() - height) / 2);
        place.setHeight(height);
    }
    editor_->setGeometry(place);
    editor_->show();
}

bool MorvCollectionView::eventFilter(QObject* watched, QEvent* event) {
    if (watched != editor_)
        return QAbstractScrollArea::eventFilter(watched, event);
    if (event->type() == QEvent::ShortcutOverride) {
        // While a name is edited every key belongs to the field: Ctrl+Z takes back text, not a file
        // operation.
        event->accept();
        return true;
    }
    if (event->type() == QEvent::KeyPress) {
        const auto key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Escape || key == Qt::Key_Return || key == Qt::Key_Enter) {
            // The Return that began it and is still held does not end it.
            if (static_cast<QKeyEvent*>(event)->isAutoRepeat())
                return true;
            endInlineRename(key != Qt::Key_Escape);
            setFocus();
            return true;
        }
    }
    if (event->type() == QEvent::FocusOut) {
        const auto reason = static_cast<QFocusEvent*>(event)->reason();
        if (reason != Qt::ActiveWindowFocusReason && reason != Qt::PopupFocusReason)
            endInlineRename(true);
    }
    return false;
}

void MorvCollectionView::endInlineRename(bool commits) {
    if (!editor_)
        return;
    auto* editor = std::exchange(editor_, nullptr);
    const auto text = editor->text();
    renamedKey_.reset();
    editor->removeEventFilter(this);
    editor->hide();
    // The field may be in the middle of handling the event that ends it.
    editor->deleteLater();
    viewport()->update();
    if (commits && text != originalName_ && !text.isEmpty())
        app_.renameItem(renamedItem_, typedBytes(text));
}

void MorvCollectionView::perform(FileCommand command) {
    if (options_.onCommand)
        options_.onCommand(command);
    else
        app_.perform(command);
}

void MorvCollectionView::performLater(FileCommand command) {
    const auto goOn = [view = QPointer(this), command] {
        if (view)
            view->perform(command);
    };
    QMetaObject::invokeMethod(&app_, goOn, Qt::QueuedConnection);
}

void MorvCollectionView::carryOut(FileCommand command) {
    if (&app_.currentPane() != &pane_)
        return;
    if (command == FileCommand::rename)
        beginInlineRename();
    else if (command == FileCommand::selectAll)
        selectAll();
    else if (command == FileCommand::invertSelection)
        invertSelection();
}

void MorvCollectionView::contextMenuEvent(QContextMenuEvent* event) {
    if (event->reason() == QContextMenuEvent::Mouse)
        showContextMenu(event->globalPos());
}

void MorvCollectionView::showContextMenu(QPoint globalPosition) {
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    // Its commands are meant for what was there when it came up.
    connect(&pane_, &PaneModel::locationChanged, menu, &QMenu::close);
    auto groups = pane().selection().empty() ? FileManagerCommands::backgroundMenu()
                                             : FileManagerCommands::itemMenu(pane());
    if (!app_.clipboard().canPaste())
        for (auto& group : groups)
            std::erase_if(group, [](FileCommand command) {
                return command == FileCommand::paste || command == FileCommand::movePaste;
            });
    actions_.fill(*menu, groups);
    addItemActions(*menu);
    menu->popup(globalPosition);
}

/// What is no command of its own, each beside its relatives.
void MorvCollectionView::addItemActions(QMenu& menu) {
    const auto urls = pane().selectedURLs();
    const auto behind = [&menu](const QAction* action) -> QAction* {
        const auto index = menu.actions().indexOf(action);
        return index < 0 || index + 1 >= menu.actions().size() ? nullptr : menu.actions().at(index + 1);
    };
    const auto* open = actions_.action(FileCommand::open);
    if (const bool isOneFolder = urls.size() == 1 && pane().selectedFolders() == 1; isOneFolder) {
        auto* glance = new QAction(QStringLiteral("Folder at a Glance"), &menu);
        glance->setObjectName(QStringLiteral("glanceAction"));
        connect(glance, &QAction::triggered, &app_, [this] { app_.showSheet(AppSheet::glance); });
        menu.insertAction(behind(open), glance);
        auto* favourite = new QAction(QStringLiteral("Add to Favourites"), &menu);
        connect(favourite, &QAction::triggered, &app_,
                [this, folder = urls.front()] { app_.library().addFavourite(folder); });
        menu.insertAction(behind(actions_.action(FileCommand::appearance)), favourite);
    }
    if (!urls.empty() && app_.services().applications)
        menu.insertMenu(behind(open), new OpenWithMenu(app_, urls, &menu));
}

} // namespace morv
