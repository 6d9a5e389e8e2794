#include "MorvApp/Model/ColumnsModel.h"

#include <utility>

namespace morv {

ColumnsModel::ColumnsModel(AppModel& app, PaneModel& pane, QObject* parent)
    : QObject(parent), app_(app), root_(pane), isActive_(&app.activePane() == &pane) {
    rest_.setSingleShot(true);
    rest_.setInterval(restTime);
    connect(&rest_, &QTimer::timeout, this, &ColumnsModel::settle);
    observe(root_);
    connect(&root_, &PaneModel::locationChanged, this, &ColumnsModel::restart);
    connect(&app_, &AppModel::activePaneChanged, this, &ColumnsModel::followApp);
    connect(&app_, &AppModel::fileSnapshotRevisionChanged, this, &ColumnsModel::refreshChildren);
    follow(root_);
}

ColumnsModel::~ColumnsModel() {
    disconnect(&app_, nullptr, this, nullptr);
    if (focused_ > 0 && &app_.currentPane() == &focusedColumn())
        app_.setColumnPane(nullptr);
}

void ColumnsModel::observe(PaneModel& pane) {
    connect(&pane, &PaneModel::selectionChanged, this, [this, &pane] { follow(pane); });
    connect(&pane, &PaneModel::loaded, this, [this, &pane] {
        if (&pane == &focusedColumn())
            selectFirst();
        follow(pane);
    });
}

std::size_t ColumnsModel::indexOf(const PaneModel& pane) const {
    std::size_t index = 0;
    while (&column(index) != &pane)
        ++index;
    return index;
}

void ColumnsModel::follow(const PaneModel& pane) {
    const auto index = indexOf(pane);
    if (index > focused_) {
        // What an operation has selected there since the user left it.
        if (!pane.selection().empty())
            column(index).setSelection({});
        return;
    }
    const auto& selection = pane.selection();
    const bool isShown =
        index + 1 < count() && selection.size() == 1 && selection.contains(children_[index].folder);
    if (isShown && index < focused_)
        return;
    rest_.start();
    if (!isShown)
        dropFrom(index + 1);
}

const FileEntry* ColumnsModel::onlySelected() const {
    const auto& pane = focusedColumn();
    if (pane.selection().size() != 1)
        return nullptr;
    const auto selected = pane.selectedEntries();
    return selected.empty() ? nullptr : selected.front();
}

void ColumnsModel::settle() {
    const auto* only = onlySelected();
    const bool isFolder = only && only->isNavigable();
    if (isFolder && focused_ + 1 == count())
        append(*only);
    setPreview(isFolder ? nullptr : only);
    Q_EMIT settled();
}

void ColumnsModel::append(const FileEntry& folder) {
    children_.push_back({app_.makePane(folder.url()), EntryKey(folder)});
    auto& pane = *children_.back().pane;
    observe(pane);
    // A column never goes elsewhere itself: the whole pane goes there, but not within a signal of what that
    // drops.
    connect(&pane, &PaneModel::locationChanged, this, [this, &pane] {
        const auto goOn = [this, url = pane.location()] { root_.navigate(url, PaneModel::History::record); };
        QMetaObject::invokeMethod(this, goOn, Qt::QueuedConnection);
    });
    Q_EMIT added();
}

void ColumnsModel::dropFrom(std::size_t first) {
    if (first >= count())
        return;
    const bool losesFocus = focused_ >= first;
    if (losesFocus) {
        focused_ = first - 1;
        awaitsFirst_ = false;
        takeCurrent();
    }
    Q_EMIT dropping(first);
    std::vector<Child> gone;
    while (count() > first) {
        gone.push_back(std::move(children_.back()));
        children_.pop_back();
    }
    if (losesFocus)
        Q_EMIT focusedChanged();
}

void ColumnsModel::restart() {
    dropFrom(1);
    setPreview(nullptr);
    rest_.start();
}

void ColumnsModel::setPreview(const FileEntry* entry) {
    const auto wanted = entry ? std::optional(*entry) : std::nullopt;
    if (wanted == preview_)
        return;
    preview_ = wanted;
    Q_EMIT previewChanged();
}

/// Makes the focused column's pane the current one, as far as this pane is the active one.
void ColumnsModel::takeCurrent() {
    if (&app_.activePane() == &root_)
        app_.setColumnPane(focused_ == 0 ? nullptr : &focusedColumn());
}

void ColumnsModel::followApp() {
    const bool isActive = &app_.activePane() == &root_;
    const bool wasActive = std::exchange(isActive_, isActive);
    if (!isActive || &app_.currentPane() == &focusedColumn())
        return;
    if (wasActive)
        focus(0); // somebody has gone to the pane's own folder
    else
        takeCurrent();
}

void ColumnsModel::focus(std::size_t index) {
    const bool isOther = std::exchange(focused_, index) != index;
    if (isOther)
        awaitsFirst_ = false;
    if (&app_.activePane() != &root_)
        app_.activate(root_);
    takeCurrent();
    if (!isOther)
        return;
    rest_.start();
    setPreview(nullptr);
    dropFrom(index + 2);
    if (index + 1 < count())
        column(index + 1).setSelection({});
    Q_EMIT focusedChanged();
}

bool ColumnsModel::focusFolder(const FileURL& folder) {
    for (std::size_t index = 0; index < count(); ++index)
        if (column(index).location() == folder.asFolder()) {
            focus(index);
            return true;
        }
    return false;
}

bool ColumnsModel::enter() {
    const auto* only = onlySelected();
    if (!only || !only->isNavigable())
        return false;
    if (focused_ + 1 == count())
        append(*only);
    focus(focused_ + 1);
    awaitsFirst_ = true;
    if (focusedColumn().loadedLocation())
        selectFirst();
    return true;
}

/// Whoever has selected something meanwhile keeps it.
void ColumnsModel::selectFirst() {
    auto& pane = focusedColumn();
    if (!std::exchange(awaitsFirst_, false) || !pane.selection().empty() || pane.displayedEntries().empty())
        return;
    pane.setSelection({EntryKey(pane.displayedEntry(0))});
    Q_EMIT entered();
}

bool ColumnsModel::leave() {
    if (focused_ == 0)
        return false;
    focus(focused_ - 1);
    return true;
}

void ColumnsModel::refreshChildren() {
    // The current pane is the window's to refresh.
    for (auto& child : children_)
        if (child.pane.get() != &app_.currentPane())
            child.pane->refresh();
}

} // namespace morv
