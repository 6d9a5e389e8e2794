// What can be done with a row of the sidebar beside opening it.
#include "MorvApp/Views/Sheets/ConfirmBox.h"
#include "MorvApp/Views/Sidebar/Sidebar.h"
#include "MorvApp/Views/Theme/Text.h"

#include <QContextMenuEvent>
#include <QMenu>

namespace morv {

namespace {

template <class Run>
QAction* add(QMenu& menu, QObject* context, const QString& title, Run run) {
    auto* action = menu.addAction(title);
    QObject::connect(action, &QAction::triggered, context, run);
    return action;
}

} // namespace

void Sidebar::contextMenuEvent(QContextMenuEvent* event) {
    const bool byKey = event->reason() == QContextMenuEvent::Keyboard;
    const auto* item = byKey ? currentItem() : itemAt(event->pos());
    const auto* row = item ? rowOf(*item) : nullptr;
    if (!row)
        return;
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    fillMenu(*menu, *row);
    menu->popup(byKey ? viewport()->mapToGlobal(visualItemRect(item).center()) : event->globalPos());
}

void Sidebar::fillMenu(QMenu& menu, const SidebarRow& row) {
    auto& library = app_.library();
    switch (row.kind) {
    case SidebarRow::Kind::workspace:
        if (const auto* workspace = library.workspace(row.id))
            add(menu, &app_, QStringLiteral("Edit Workspace…"),
                [this, edited = *workspace] { app_.editWorkspace(edited); });
        add(menu, this, QStringLiteral("Remove Workspace…"), [this, id = row.id] { removeWorkspace(id); });
        return;
    case SidebarRow::Kind::search:
        add(menu, &app_, QStringLiteral("Remove Search"),
            [&library, id = row.id] { library.removeSearch(id); });
        return;
    case SidebarRow::Kind::tag:
        add(menu, &app_, QStringLiteral("Remove from Sidebar"),
            [&tags = app_.services().tags, tag = row.tag] { tags.forget(tag); })
            ->setToolTip(QStringLiteral("It comes back when it is seen on a file"));
        return;
    case SidebarRow::Kind::trash: {
        auto& trash = app_.services().trash;
        add(menu, &app_, QStringLiteral("Open Trash"), [&trash] { trash.openTrash(); });
        menu.addSeparator();
        add(menu, &app_, QStringLiteral("Empty Trash…"), [this] {
            app_.services().emptyTrash();
        })->setEnabled(!trash.isWorking());
        return;
    }
    case SidebarRow::Kind::favourite:
    case SidebarRow::Kind::volume:
    case SidebarRow::Kind::network:
        return fillPlaceMenu(menu, row);
    }
}

void Sidebar::removeWorkspace(const UUID& id) {
    const auto* workspace = app_.library().workspace(id);
    if (!workspace)
        return;
    const auto count = workspace->references.size();
    askBefore(
        *this,
        {"confirmRemoval", QStringLiteral("Remove the workspace “%1”?").arg(shownBriefly(workspace->name)),
         QStringLiteral("The list of its %1 is removed, and cannot be brought back. The originals stay in "
                        "their folders.")
             .arg(shownCount(count, "reference", "references")),
         QStringLiteral("Keep"), QStringLiteral("Remove Workspace")},
        [this, id] {
            if (app_.selectedWorkspaceID() == id)
                app_.setSelectedWorkspaceID(std::nullopt);
            app_.library().removeWorkspace(id);
        });
}

void Sidebar::fillPlaceMenu(QMenu& menu, const SidebarRow& row) {
    auto& library = app_.library();
    const auto place = row.place;
    add(menu, &app_, QStringLiteral("Open in New Tab"), [this, place] { app_.addTab(place); });
    add(menu, &app_, QStringLiteral("Open in New Window"),
        [this, place] { app_.services().windows.newWindow(place); });
    menu.addSeparator();
    if (row.kind == SidebarRow::Kind::favourite) {
        add(menu, &app_, QStringLiteral("Move Up"), [&library, place] { library.moveFavourite(place, -1); });
        add(menu, &app_, QStringLiteral("Move Down"), [&library, place] { library.moveFavourite(place, 1); });
        menu.addSeparator();
        add(menu, &app_, QStringLiteral("Remove from Favourites"),
            [&library, place] { library.removeFavourite(place); });
        return;
    }
    add(menu, &app_, QStringLiteral("Add to Favourites"), [&library, place] { library.addFavourite(place); });
    if (row.canEject)
        add(menu, &app_, QStringLiteral("Eject"), [this, place] {
            app_.eject(place);
        })->setEnabled(!app_.ejecting().contains(place));
}

} // namespace morv
