#include "MorvApp/Views/Preview/PreviewWindow.h"

#include "MorvApp/Views/Theme/Text.h"

#include <QCloseEvent>
#include <QKeyEvent>
#include <QScreen>
#include <QShortcut>
#include <QVBoxLayout>
#include <algorithm>

namespace morv {

namespace {

constexpr QSize firstSize{960, 720};
constexpr QSize smallestSize{480, 360};
/// Of the owner, and of its screen.
constexpr double largestShare = 0.9;

std::size_t placeOf(const std::vector<const FileEntry*>& entries, const FileEntry& wanted) {
    const EntryKey key(wanted);
    const auto found =
        std::ranges::find_if(entries, [&](const FileEntry* each) { return EntryKey(*each) == key; });
    return static_cast<std::size_t>(found - entries.begin());
}

bool holds(const EntryList& entries, const FileEntry& wanted) {
    const EntryKey key(wanted);
    bool isThere = false;
    entries.forEach([&](const FileEntry& each) { isThere = isThere || key == each; });
    return isThere;
}

} // namespace

PreviewWindow::PreviewWindow(AppModel& app, Subjects subjects, QWidget* owner)
    : QWidget(owner, Qt::Window), app_(app), subjects_(std::move(subjects)),
      pane_(new PreviewPane(app, PreviewPane::Detail::viewer, this)) {
    setObjectName(QStringLiteral("previewWindow"));
    setMinimumSize(smallestSize);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(pane_);
    const auto forward = [this] { return layoutDirection() == Qt::LeftToRight ? 1 : -1; };
    addKey(Qt::Key_Left, [this, forward] { step(-forward()); });
    addKey(Qt::Key_Right, [this, forward] { step(forward()); });
    addKey(Qt::Key_Up, [this] { step(-1); });
    addKey(Qt::Key_Down, [this] { step(1); });
    addKey(Qt::Key_F11, [this] { setWindowState(windowState() ^ Qt::WindowFullScreen); });
    addKey(QKeySequence::Open, [this] { pane_->open(); });
    addKey(QKeySequence::Close, [this] { close(); });
    readKeys();
    connect(&app_.services().keys, &KeyBindings::changed, this, &PreviewWindow::readKeys);
    connect(pane_, &PreviewPane::opened, this, &QWidget::close);
    connect(&app_, &AppModel::activePaneUpdated, this, &PreviewWindow::follow);
    connect(&app_, &AppModel::activePaneChanged, this, &PreviewWindow::follow);
    connect(&app_, &AppModel::selectedWorkspaceChanged, this, &PreviewWindow::follow);
}

void PreviewWindow::addKey(const QKeySequence& key, std::function<void()> action) {
    auto* shortcut = new QShortcut(key, this);
    keys_ << key;
    connect(shortcut, &QShortcut::activated, this, std::move(action));
}

/// What opened the preview closes it. Its own keys come first: of two shortcuts with one key Qt runs neither.
void PreviewWindow::readKeys() {
    qDeleteAll(std::exchange(closing_, {}));
    for (const auto& text : app_.services().keys.keys(FileCommand::preview)) {
        const QKeySequence key(ours(text), QKeySequence::PortableText);
        // Space is no shortcut: it comes to keyPressEvent(), and only when nothing in the window wants it.
        if (key.isEmpty() || key == QKeySequence(Qt::Key_Space) || keys_.contains(key))
            continue;
        closing_ << new QShortcut(key, this);
        connect(closing_.back(), &QShortcut::activated, this, &QWidget::close);
    }
}

void PreviewWindow::toggle() {
    if (isVisible()) {
        close();
        return;
    }
    if (subjects_.selected().empty())
        return;
    if (!testAttribute(Qt::WA_Resized))
        place();
    // Laid out first: a picture is asked for at the size at which it will be seen.
    ensurePolished();
    layout()->activate();
    show();
    follow();
    raise();
    activateWindow();
    pane_->setFocus(Qt::OtherFocusReason);
}

/// In the middle of its owner and a little smaller. Afterwards size and place are the user's own.
void PreviewWindow::place() {
    const auto& owner = *parentWidget();
    // Its own screen is not known before it has been shown.
    const auto room = owner.screen() ? owner.screen()->availableGeometry() : owner.geometry();
    resize(firstSize.boundedTo(owner.size().boundedTo(room.size()) * largestShare));
    auto frame = geometry();
    frame.moveCenter(owner.geometry().center());
    move(std::clamp(frame.left(), room.left(), std::max(room.left(), room.right() - frame.width())),
         std::clamp(frame.top(), room.top(), std::max(room.top(), room.bottom() - frame.height())));
}

void PreviewWindow::follow() {
    if (!isVisible())
        return;
    const auto& files = app_.currentPane();
    const auto selected = subjects_.selected();
    const auto& shownEntry = pane_->entry();
    if (!selected.empty()) {
        const auto place = shownEntry ? placeOf(selected, *shownEntry) : selected.size();
        const auto next = place < selected.size() ? place : 0;
        return showEntry(*selected[next], next, selected.size());
    }
    if (app_.selectedWorkspaceID())
        return pane_->clear();
    const bool isGone = shownEntry && shownEntry->url().parent() == files.location() && !files.isLoading() &&
                        !holds(files.entries(), *shownEntry);
    if (isGone)
        pane_->showGone();
    else if (!files.isLoading())
        pane_->clear();
}

void PreviewWindow::step(int by) {
    const auto selected = subjects_.selected();
    if (selected.size() < 2)
        return subjects_.selectNeighbour(by);
    const auto last = static_cast<std::int64_t>(selected.size()) - 1;
    const auto place =
        pane_->entry() ? static_cast<std::int64_t>(placeOf(selected, *pane_->entry())) : std::int64_t(0);
    const auto next = static_cast<std::size_t>(std::clamp(place + by, std::int64_t(0), last));
    showEntry(*selected[next], next, selected.size());
}

void PreviewWindow::showEntry(const FileEntry& entry, std::size_t place, std::size_t count) {
    auto title = shown(entry.name);
    if (count > 1)
        title += QStringLiteral(" — %1 of %2").arg(place + 1).arg(count);
    setWindowTitle(asWindowTitle(title));
    pane_->show(entry);
}

void PreviewWindow::keyPressEvent(QKeyEvent* event) {
    // The key that opened the window may still be held.
    const bool isSpace = event->key() == Qt::Key_Space && event->modifiers() == Qt::NoModifier;
    if (isSpace && !event->isAutoRepeat()) {
        close();
    } else if (event->key() == Qt::Key_Escape) {
        if (isFullScreen())
            setWindowState(windowState() & ~Qt::WindowFullScreen);
        else
            close();
    } else {
        QWidget::keyPressEvent(event);
    }
}

void PreviewWindow::closeEvent(QCloseEvent* event) {
    event->accept();
    setWindowState(windowState() & ~Qt::WindowFullScreen);
    pane_->clear();
    if (parentWidget()->isVisible())
        parentWidget()->activateWindow();
}

} // namespace morv
