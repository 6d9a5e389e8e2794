#include "MorvApp/Views/Collection/CollectionAccessibility.h"

#include "MorvApp/Views/Collection/MorvCollectionView.h"
#include "MorvApp/Views/Theme/Text.h"

#include <QLineEdit>
#include <QPointer>
#include <algorithm>
#include <utility>

namespace morv {

namespace {

/// One file of a view; void when the view has gone or shows other files.
class CollectionItem : public QAccessibleInterface, public QAccessibleActionInterface {
public:
    CollectionItem(MorvCollectionView& view, int index) : view_(&view), index_(index) {}

    int index() const { return index_; }

    bool isValid() const override { return view_ && index_ < view_->count(); }
    QObject* object() const override { return nullptr; }
    QWindow* window() const override {
        return view_ && view_->window() ? view_->window()->windowHandle() : nullptr;
    }
    QAccessibleInterface* parent() const override {
        return view_ ? QAccessible::queryAccessibleInterface(view_) : nullptr;
    }
    QAccessibleInterface* child(int) const override { return nullptr; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QAccessible::Role role() const override { return QAccessible::ListItem; }
    QString text(QAccessible::Text kind) const override {
        if (!isValid())
            return {};
        if (kind == QAccessible::Name)
            return view_->spokenName(index_);
        return kind == QAccessible::Description ? view_->spokenSection(index_) : QString();
    }
    void setText(QAccessible::Text, const QString&) override {}
    QRect rect() const override {
        if (!isValid())
            return {};
        const auto place = view_->visualRect(index_);
        return {view_->viewport()->mapToGlobal(place.topLeft()), place.size()};
    }
    QAccessible::State state() const override {
        QAccessible::State state;
        if (!isValid()) {
            state.invalid = true;
            return state;
        }
        state.focusable = true;
        state.selectable = true;
        state.multiSelectable = true;
        state.extSelectable = true;
        state.selected = view_->isSelected(index_);
        state.focused = view_->hasFocus() && view_->current() == index_;
        state.offscreen = !view_->viewport()->rect().intersects(view_->visualRect(index_));
        return state;
    }
    void* interface_cast(QAccessible::InterfaceType type) override {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this)
                                                    : nullptr;
    }

    QStringList actionNames() const override { return {pressAction(), setFocusAction()}; }
    void doAction(const QString& name) override {
        if (!isValid())
            return;
        if (name == pressAction())
            view_->openItem(index_);
        else if (name == setFocusAction())
            view_->selectItem(index_);
    }
    QStringList keyBindingsForAction(const QString&) const override { return {}; }
    QString localizedActionName(const QString& name) const override {
        return name == pressAction() ? QStringLiteral("Open") : QStringLiteral("Select");
    }
    QString localizedActionDescription(const QString& name) const override {
        return localizedActionName(name);
    }

private:
    QPointer<MorvCollectionView> view_;
    int index_;
};

QAccessibleInterface* makeInterface(const QString&, QObject* object) {
    auto* view = qobject_cast<MorvCollectionView*>(object);
    return view ? new CollectionAccessible(*view) : nullptr;
}

} // namespace

void CollectionAccessible::install() {
    static const bool once = [] {
        QAccessible::installFactory(makeInterface);
        return true;
    }();
    static_cast<void>(once);
}

CollectionAccessible* CollectionAccessible::of(MorvCollectionView& view) {
    return QAccessible::isActive()
               ? dynamic_cast<CollectionAccessible*>(QAccessible::queryAccessibleInterface(&view))
               : nullptr;
}

void CollectionAccessible::itemsChanged(MorvCollectionView& view) {
    auto* mine = of(view);
    if (!mine)
        return;
    mine->forgetItems();
    mine->told_ = mine->present();
    QAccessibleEvent event(&view, QAccessible::ObjectReorder);
    QAccessible::updateAccessibility(&event);
}

void CollectionAccessible::currentChanged(MorvCollectionView& view) {
    auto* mine = of(view);
    if (!mine)
        return;
    if (mine->told_.current != view.current())
        mine->told_ = mine->present();
    if (!view.hasFocus() || view.current() < 0)
        return;
    QAccessibleEvent event(&view, QAccessible::Focus);
    event.setChild(static_cast<int>(view.current()));
    QAccessible::updateAccessibility(&event);
}

void CollectionAccessible::selectionChanged(MorvCollectionView& view) {
    if (!QAccessible::isActive())
        return;
    // Whoever hears of it asks for items, and a pane that goes elsewhere drops its selection before the view
    // knows.
    QMetaObject::invokeMethod(
        &view,
        [&view] {
            if (auto* mine = of(view))
                mine->tellSelection();
        },
        Qt::QueuedConnection);
}

void CollectionAccessible::tellSelection() {
    auto& view = this->view();
    QAccessibleEvent within(&view, QAccessible::SelectionWithin);
    QAccessible::updateAccessibility(&within);
    const auto [current, wasSelected] = std::exchange(told_, present());
    // Of an item that the keyboard has just come to, the state is asked for.
    if (current < 0 || current != told_.current || wasSelected == told_.isSelected)
        return;
    QAccessible::State toggled;
    toggled.selected = true;
    QAccessibleStateChangeEvent event(&view, toggled);
    event.setChild(static_cast<int>(current));
    QAccessible::updateAccessibility(&event);
}

CollectionAccessible::CollectionAccessible(MorvCollectionView& view)
    : QAccessibleWidget(&view, QAccessible::List) {}

CollectionAccessible::~CollectionAccessible() {
    forgetItems();
}

MorvCollectionView& CollectionAccessible::view() const {
    return *static_cast<MorvCollectionView*>(widget());
}

CollectionAccessible::Told CollectionAccessible::present() const {
    const auto current = view().current();
    return {current, current >= 0 && view().isSelected(current)};
}

void CollectionAccessible::forgetItems() {
    for (const auto id : std::as_const(items_))
        QAccessible::deleteAccessibleInterface(id);
    items_.clear();
}

int CollectionAccessible::childCount() const {
    return static_cast<int>(view().count()) + static_cast<int>(view().controls().size());
}

QAccessibleInterface* CollectionAccessible::child(int index) const {
    const auto files = static_cast<int>(view().count());
    if (index >= files) {
        const auto controls = view().controls();
        const auto place = static_cast<std::size_t>(index - files);
        return place < controls.size() ? QAccessible::queryAccessibleInterface(controls[place]) : nullptr;
    }
    if (index < 0)
        return nullptr;
    auto& id = items_[index];
    if (id == 0)
        id = QAccessible::registerAccessibleInterface(new CollectionItem(view(), index));
    return QAccessible::accessibleInterface(id);
}

QAccessibleInterface* CollectionAccessible::childAt(int x, int y) const {
    const auto point = view().viewport()->mapFromGlobal(QPoint(x, y));
    for (auto* control : view().controls())
        if (control->rect().contains(control->mapFromGlobal(QPoint(x, y))))
            return QAccessible::queryAccessibleInterface(control);
    const auto index = view().itemAt(point);
    return index ? child(static_cast<int>(*index)) : nullptr;
}

int CollectionAccessible::indexOfChild(const QAccessibleInterface* wanted) const {
    if (const auto* item = dynamic_cast<const CollectionItem*>(wanted))
        return item->index();
    const auto controls = view().controls();
    const auto found = std::ranges::find(controls, wanted ? wanted->object() : nullptr);
    return found == controls.end() ? -1 : static_cast<int>(view().count() + (found - controls.begin()));
}

QAccessibleInterface* CollectionAccessible::focusChild() const {
    for (auto* control : view().controls())
        if (control->hasFocus())
            return QAccessible::queryAccessibleInterface(control);
    return view().hasFocus() && view().current() >= 0 ? child(static_cast<int>(view().current())) : nullptr;
}

} // namespace morv
