#include "MorvApp/Views/Sidebar/Sidebar.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Workspaces/WorkspaceColours.h"
#include "MorvCore/Platform/UserFolders.h"

#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QScrollBar>
#include <algorithm>
#include <array>
#include <utility>

namespace morv {

namespace {

constexpr int kindRole = Qt::UserRole;
constexpr int placeRole = Qt::UserRole + 1; ///< the path's bytes, or the search's id
constexpr int placeHeight = 30;
constexpr int headingHeight = 34;

/// The icon theme's name for a folder that the desktop knows, else a plain folder.
QString iconOf(const FileURL& place) {
    if (place == homeFolder())
        return QStringLiteral("user-home");
    constexpr std::array<std::pair<UserFolder, const char*>, 6> known{
        {{UserFolder::desktop, "user-desktop"},
         {UserFolder::documents, "folder-documents"},
         {UserFolder::downloads, "folder-downloads"},
         {UserFolder::music, "folder-music"},
         {UserFolder::pictures, "folder-pictures"},
         {UserFolder::videos, "folder-videos"}}};
    for (const auto& [folder, icon] : known)
        if (const auto url = userFolder(folder); url && url->asFolder() == place.asFolder())
            return QLatin1String(icon);
    return QStringLiteral("folder");
}

} // namespace

Sidebar::Sidebar(AppModel& app, QWidget* parent) : QTreeWidget(parent), app_(app) {
    setObjectName(QStringLiteral("sidebar"));
    setAccessibleName(QStringLiteral("Places"));
    setHeaderHidden(true);
    setRootIsDecorated(false);
    setIndentation(0);
    setFrameShape(QFrame::NoFrame);
    setTextElideMode(Qt::ElideMiddle);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setIconSize({16, 16});
    connect(&app_.library(), &FileLibrary::favouritesChanged, this, &Sidebar::fill);
    connect(&app_.library(), &FileLibrary::savedSearchesChanged, this, &Sidebar::fill);
    connect(&app_.library(), &FileLibrary::workspaceListChanged, this, &Sidebar::fill);
    connect(&app_, &AppModel::selectedWorkspaceChanged, this, &Sidebar::markLocation);
    if (auto* volumes = app_.volumes())
        connect(volumes, &VolumeSource::listsChanged, this, &Sidebar::fill);
    connect(&Theme::shared(), &Theme::changed, this, &Sidebar::fill);
    connect(&app_, &AppModel::activePaneChanged, this, &Sidebar::markLocation);
    connect(&app_, &AppModel::activePaneUpdated, this, &Sidebar::markLocation);
    connect(this, &QTreeWidget::itemClicked, this, [this](QTreeWidgetItem* item) { open(*item); });
    connect(this, &QTreeWidget::itemActivated, this, [this](QTreeWidgetItem* item) { open(*item); });
    fill();
}

QTreeWidgetItem* Sidebar::addHeading(const QString& title) {
    auto* item = addRow(Row::heading, title, {});
    item->setFlags(Qt::NoItemFlags);
    item->setSizeHint(0, QSize(0, headingHeight));
    item->setForeground(0, Theme::shared().colours().secondaryText);
    auto small = font();
    small.setPointSizeF(small.pointSizeF() * 0.9);
    small.setWeight(QFont::DemiBold);
    item->setFont(0, small);
    item->setTextAlignment(0, Qt::AlignLeft | Qt::AlignBottom);
    return item;
}

QTreeWidgetItem* Sidebar::addRow(Row kind, const QString& title, const QString& icon) {
    auto* item = new QTreeWidgetItem(this, {title});
    item->setData(0, kindRole, static_cast<int>(kind));
    item->setSizeHint(0, QSize(0, placeHeight));
    if (!icon.isEmpty())
        item->setIcon(0, QIcon::fromTheme(icon, QIcon::fromTheme(QStringLiteral("folder"))));
    return item;
}

void Sidebar::addPlace(Row kind, const QString& title, const QString& icon, const FileURL& place) {
    auto* item = addRow(kind, title, icon);
    item->setData(0, placeRole, QByteArray::fromStdString(place.path()));
    item->setToolTip(0, shown(place.path()));
}

void Sidebar::fill() {
    // It is filled again whenever the window comes forward: whoever is in it stays where he was.
    const auto* current = hasFocus() ? currentItem() : nullptr;
    const auto kept = current ? std::pair(kindOf(*current), current->data(0, placeRole))
                              : std::pair(Row::heading, QVariant());
    const int scrolled = verticalScrollBar()->value();
    clear();
    const auto& library = app_.library();
    addHeading(QStringLiteral("Favourites"));
    for (const auto& place : library.favourites()) {
        const auto title = place == homeFolder() ? QStringLiteral("Home")
                           : place.isRoot()      ? QStringLiteral("Computer")
                                                 : shown(place.lastComponent());
        addPlace(Row::favourite, title, iconOf(place), place);
    }
    if (!library.workspaceList().empty()) {
        addHeading(QStringLiteral("Workspaces"));
        for (const auto& workspace : library.workspaceList()) {
            auto* item = addRow(Row::workspace, shown(workspace.name), {});
            item->setIcon(0, workspaceMark(workspace.color));
            item->setData(0, placeRole, QString::fromStdString(workspace.id.text()));
        }
    }
    if (!library.savedSearches().empty()) {
        addHeading(QStringLiteral("Searches"));
        for (const auto& search : library.savedSearches()) {
            auto* item = addRow(Row::search, shown(search.name), QStringLiteral("edit-find"));
            item->setData(0, placeRole, QString::fromStdString(search.id.text()));
            item->setToolTip(0, QStringLiteral("In ") + shownPath(search.root));
        }
    }
    const auto* volumes = app_.volumes();
    addHeading(QStringLiteral("Volumes"));
    if (volumes)
        for (const auto& volume : volumes->mountedVolumes())
            addPlace(Row::volume, shown(volume.name),
                     volume.isInternal ? QStringLiteral("drive-harddisk")
                                       : QStringLiteral("drive-removable-media"),
                     volume.url);
    addRow(Row::trash, QStringLiteral("Trash"), QStringLiteral("user-trash"))
        ->setToolTip(0, QStringLiteral("Opens in the system file manager"));
    if (volumes) {
        if (!volumes->cloudLocations().empty())
            addHeading(QStringLiteral("Cloud and Network"));
        for (const auto& cloud : volumes->cloudLocations())
            addPlace(Row::cloud, shown(cloud.name), QStringLiteral("folder-cloud"), cloud.url);
    }
    marked_.reset();
    markLocation();
    for (int i = 0; i < topLevelItemCount() && kept.first != Row::heading; ++i) {
        auto* item = topLevelItem(i);
        if (kindOf(*item) != kept.first || item->data(0, placeRole) != kept.second)
            continue;
        const QSignalBlocker quiet(this);
        setCurrentItem(item);
        break;
    }
    verticalScrollBar()->setValue(scrolled);
}

Sidebar::Row Sidebar::kindOf(const QTreeWidgetItem& item) {
    return static_cast<Row>(item.data(0, kindRole).toInt());
}

FileURL Sidebar::placeOf(const QTreeWidgetItem& item) {
    return FileURL::folder(item.data(0, placeRole).toByteArray().toStdString());
}

const Workspace* Sidebar::workspaceOf(const QTreeWidgetItem& item) const {
    const auto id = UUID::parse(item.data(0, placeRole).toString().toStdString());
    return id ? app_.library().workspace(*id) : nullptr;
}

const SavedFileSearch* Sidebar::searchOf(const QTreeWidgetItem& item) const {
    const auto id = UUID::parse(item.data(0, placeRole).toString().toStdString());
    const auto& searches = app_.library().savedSearches();
    const auto found = std::ranges::find_if(
        searches, [&id](const SavedFileSearch& search) { return id && search.id == *id; });
    return found == searches.end() ? nullptr : &*found;
}

void Sidebar::markLocation() {
    const auto& pane = app_.activePane();
    const Place present{pane.isSearch() ? std::nullopt : std::optional(pane.location()),
                        app_.selectedWorkspaceID()};
    // Only a window that goes elsewhere takes the keyboard's place in the list along.
    if (hasFocus() && present == marked_)
        return;
    marked_ = present;
    QTreeWidgetItem* wanted = nullptr;
    for (int i = 0; i < topLevelItemCount() && !wanted; ++i) {
        auto* item = topLevelItem(i);
        const auto kind = kindOf(*item);
        const bool isPlace = kind == Row::favourite || kind == Row::volume || kind == Row::cloud;
        const auto& selected = app_.selectedWorkspaceID();
        if (kind == Row::workspace) {
            const auto* workspace = workspaceOf(*item);
            if (selected && workspace && workspace->id == *selected)
                wanted = item;
        } else if (isPlace && !selected && !pane.isSearch() && placeOf(*item) == pane.location()) {
            wanted = item;
        }
    }
    if (wanted == currentItem())
        return;
    const QSignalBlocker quiet(this);
    setCurrentItem(wanted);
    viewport()->update();
}

void Sidebar::open(const QTreeWidgetItem& item) {
    switch (kindOf(item)) {
    case Row::heading:
        return;
    case Row::trash:
        app_.services().trash.openTrash();
        return markLocation();
    case Row::workspace:
        if (const auto* workspace = workspaceOf(item))
            app_.openWorkspace(static_cast<std::size_t>(workspace - app_.library().workspaceList().data()));
        break;
    case Row::search:
        if (const auto* search = searchOf(item)) {
            const auto opened = *search;
            app_.openSearch(opened);
        }
        break;
    case Row::favourite:
    case Row::volume:
    case Row::cloud:
        app_.showFolder(placeOf(item));
        break;
    }
    Q_EMIT opened();
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

void Sidebar::contextMenuEvent(QContextMenuEvent* event) {
    const bool byKey = event->reason() == QContextMenuEvent::Keyboard;
    const auto* item = byKey ? currentItem() : itemAt(event->pos());
    if (!item || kindOf(*item) == Row::heading)
        return;
    const auto position = byKey ? viewport()->mapToGlobal(visualItemRect(item).center()) : event->globalPos();
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const auto add = [&](const QString& title, auto run) {
        connect(menu->addAction(title), &QAction::triggered, &app_, run);
    };
    const auto kind = kindOf(*item);
    if (kind == Row::workspace) {
        const auto* workspace = workspaceOf(*item);
        if (!workspace)
            return;
        add(QStringLiteral("Edit Workspace…"), [this, edited = *workspace] { app_.editWorkspace(edited); });
        add(QStringLiteral("Remove Workspace"), [this, id = workspace->id] {
            if (app_.selectedWorkspaceID() == id)
                app_.setSelectedWorkspaceID(std::nullopt);
            app_.library().removeWorkspace(id);
        });
        return menu->popup(event->globalPos());
    }
    if (kind == Row::search) {
        const auto* search = searchOf(*item);
        if (!search)
            return;
        add(QStringLiteral("Remove Search"), [this, id = search->id] { app_.library().removeSearch(id); });
        return menu->popup(position);
    }
    if (kind == Row::trash) {
        auto& trash = app_.services().trash;
        add(QStringLiteral("Open Trash"), [&trash] { trash.openTrash(); });
        menu->addSeparator();
        add(QStringLiteral("Empty Trash…"), [this] { app_.services().emptyTrash(); });
        menu->actions().back()->setEnabled(!trash.isWorking());
        return menu->popup(position);
    }
    const auto place = placeOf(*item);
    add(QStringLiteral("Open in New Tab"), [this, place] { app_.addTab(place); });
    add(QStringLiteral("Open in New Window"), [this, place] { app_.services().windows.newWindow(place); });
    menu->addSeparator();
    if (kind == Row::favourite) {
        add(QStringLiteral("Move Up"), [this, place] { app_.library().moveFavourite(place, -1); });
        add(QStringLiteral("Move Down"), [this, place] { app_.library().moveFavourite(place, 1); });
        menu->addSeparator();
        add(QStringLiteral("Remove from Favourites"),
            [this, place] { app_.library().removeFavourite(place); });
    } else {
        add(QStringLiteral("Add to Favourites"), [this, place] { app_.library().addFavourite(place); });
        const auto& volumes = app_.volumes()->mountedVolumes();
        const auto volume = std::ranges::find(volumes, place, &Volume::url);
        if (volume != volumes.end() && volume->canEject)
            add(QStringLiteral("Eject"), [this, place] { app_.eject(place); });
    }
    menu->popup(position);
}

} // namespace morv
