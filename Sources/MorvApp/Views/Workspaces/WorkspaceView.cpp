#include "MorvApp/Views/Workspaces/WorkspaceView.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Workspaces/ReferencePanel.h"
#include "MorvApp/Views/Workspaces/WorkspaceColours.h"

#include <QContextMenuEvent>
#include <QDragEnterEvent>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QScrollBar>
#include <QTreeWidget>
#include <QTreeWidgetItemIterator>
#include <QVBoxLayout>
#include <algorithm>
#include <map>
#include <utility>

namespace morv {

namespace {

constexpr int referenceRole = Qt::UserRole; ///< the path's bytes; nothing on a heading
constexpr int rowHeight = 32;
constexpr int headingHeight = 40;

/// The icon theme's names for the symbols of a reference's status.
QIcon statusIcon(std::string_view symbol) {
    static const std::map<std::string_view, const char*> names{
        {"arrow.down.circle", "folder-download"},
        {"checkmark.circle", "checkmark"},
        {"icloud", "folder-cloud"},
        {"exclamationmark.triangle", "emblem-warning"},
        {"externaldrive.badge.exclamationmark", "drive-removable-media"},
    };
    return QIcon::fromTheme(QLatin1String(names.at(symbol)));
}

QString iconName(const WorkspaceCardReference& card) {
    if (!card.entry)
        return QStringLiteral("emblem-unreadable");
    return card.entry->isNavigable() ? QStringLiteral("folder") : QStringLiteral("text-x-generic");
}

} // namespace

WorkspaceView::WorkspaceView(AppModel& app, QWidget* parent)
    : QFrame(parent), app_(app), detail_(app.services().pools, app.services().environment) {
    setObjectName(QStringLiteral("workspace"));
    setAcceptDrops(true);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(buildHead());
    list_ = new QTreeWidget(this);
    list_->setObjectName(QStringLiteral("references"));
    list_->setAccessibleName(QStringLiteral("References"));
    list_->setHeaderLabels(
        {QStringLiteral("Name"), QStringLiteral("Status"), QStringLiteral("Original’s Folder")});
    list_->setRootIsDecorated(false);
    list_->setIndentation(0);
    list_->setFrameShape(QFrame::NoFrame);
    list_->setTextElideMode(Qt::ElideMiddle);
    list_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    list_->installEventFilter(this);
    list_->viewport()->installEventFilter(this);
    list_->header()->setStretchLastSection(true);
    list_->header()->resizeSection(0, 360);
    list_->header()->resizeSection(1, 200);
    column->addWidget(list_, 1);
    note_ = new QLabel(this);
    note_->setObjectName(QStringLiteral("secondary"));
    note_->setContentsMargins(Space::huge, Space::small, Space::huge, Space::small);
    column->addWidget(note_);
    setFocusProxy(list_);

    connect(list_, &QTreeWidget::itemActivated, this, [this](const QTreeWidgetItem* item) {
        if (item->isSelected())
            openSelection();
        else if (isReference(*item))
            app_.open(referenceOf(*item));
    });
    connect(list_, &QTreeWidget::itemSelectionChanged, this, &WorkspaceView::selectionChanged);
    // Headings have a colour of their own.
    connect(&Theme::shared(), &Theme::changed, this, [this] {
        shownSections_.clear();
        fill();
    });
    connect(&detail_, &WorkspaceDetail::changed, this, &WorkspaceView::fill);
    connect(&app_, &AppModel::selectedWorkspaceChanged, this, &WorkspaceView::follow);
    connect(&app_, &AppModel::fileSnapshotRevisionChanged, this, &WorkspaceView::follow);
    connect(&app_.library(), &FileLibrary::workspaceListChanged, this, &WorkspaceView::follow);
    follow();
}

QWidget* WorkspaceView::buildHead() {
    auto* head = new QFrame(this);
    head->setObjectName(QStringLiteral("bar"));
    auto* column = new QVBoxLayout(head);
    column->setContentsMargins(Space::huge, Space::large, Space::huge, Space::medium);
    auto* names = new QHBoxLayout;
    names->setSpacing(Space::small);
    mark_ = new QLabel(head);
    names->addWidget(mark_);
    title_ = new QLabel(head);
    title_->setObjectName(QStringLiteral("title"));
    title_->setTextFormat(Qt::PlainText);
    title_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    names->addWidget(title_, 1);
    auto* edit = new QPushButton(QStringLiteral("Edit Workspace…"), head);
    connect(edit, &QPushButton::clicked, &app_, [this] {
        if (const auto* current = workspace())
            app_.editWorkspace(*current);
    });
    names->addWidget(edit);
    column->addLayout(names);
    summary_ = new QLabel(head);
    summary_->setObjectName(QStringLiteral("secondary"));
    summary_->setTextFormat(Qt::PlainText);
    column->addWidget(summary_);
    auto* tools = new QHBoxLayout;
    tools->setSpacing(Space::small);
    query_ = new QLineEdit(head);
    query_->setObjectName(QStringLiteral("workspaceQuery"));
    query_->setPlaceholderText(QStringLiteral("Find in names and source paths"));
    query_->setAccessibleName(query_->placeholderText());
    query_->setClearButtonEnabled(true);
    connect(query_, &QLineEdit::textChanged, &app_,
            [this](const QString& text) { app_.setWorkspaceQuery(typedBytes(text)); });
    tools->addWidget(query_, 1);
    checkAgain_ = new QPushButton(QStringLiteral("Check Again"), head);
    checkAgain_->setToolTip(QStringLiteral("Recheck offline drives and cloud reference availability"));
    connect(checkAgain_, &QPushButton::clicked, this, [this] {
        ++refreshRevision_;
        follow();
    });
    tools->addWidget(checkAgain_);
    auto* choose = new QPushButton(QStringLiteral("Choose Files and Folders…"), head);
    connect(choose, &QPushButton::clicked, this, [this] {
        ReferencePanel::choose(this, app_.activePane().location(), app_.services().pools,
                               [this](const std::vector<FileURL>& urls) { append(urls); });
    });
    tools->addWidget(choose);
    column->addLayout(tools);
    return head;
}

const Workspace* WorkspaceView::workspace() const {
    const auto& id = app_.selectedWorkspaceID();
    return id ? app_.library().workspace(*id) : nullptr;
}

void WorkspaceView::follow() {
    const auto* current = workspace();
    if (!current)
        return;
    std::string signature = current->id.text();
    for (const auto& reference : current->references)
        signature += "|" + reference.path();
    signature += "|" + std::to_string(app_.fileSnapshotRevision()) + "|" + std::to_string(refreshRevision_);
    if (std::exchange(signature_, signature) != signature)
        detail_.check(*current);
    fill();
}

void WorkspaceView::fill() {
    const auto* current = workspace();
    if (!current)
        return;
    fillHead(*current);
    fillList(*current);
    fillNote();
}

void WorkspaceView::fillHead(const Workspace& current) {
    mark_->setPixmap(workspaceMark(current.color).pixmap(16, 16));
    title_->setText(shownBriefly(current.name));
    if (const auto query = editableName(app_.workspaceQuery()); query != query_->text()) {
        const QSignalBlocker quiet(query_);
        query_->setText(query);
    }
    checkAgain_->setText(detail_.checkingReferences() ? QStringLiteral("Checking")
                                                      : QStringLiteral("Check Again"));
    checkAgain_->setEnabled(!detail_.checkingReferences());
    auto summary = QString::number(current.references.size()) +
                   QStringLiteral(" references · originals stay in their folders");
    if (detail_.checkingReferences())
        summary += QStringLiteral(" · Checking reference availability…");
    else if (detail_.loadedWorkspaceID() == current.id)
        summary += QStringLiteral(" · ") + ours(detail_.summary());
    summary_->setText(summary);
}

void WorkspaceView::fillList(const Workspace& current) {
    if (detail_.loadedWorkspaceID() != current.id)
        return;
    auto sections = detail_.sections(app_.workspaceQuery());
    const bool isOther = std::exchange(shownWorkspace_, current.id) != current.id;
    if (!isOther && sections == shownSections_)
        return;
    shownSections_ = std::move(sections);
    const auto* kept = list_->currentItem();
    const auto keptReference = kept && !isOther ? kept->data(0, referenceRole) : QVariant();
    const auto selected = isOther ? std::vector<FileURL>() : selectedReferences();
    const int scrolled = isOther ? 0 : list_->verticalScrollBar()->value();
    {
        const QSignalBlocker quiet(list_);
        list_->clear();
        for (const auto& section : shownSections_)
            addSection(section);
        for (QTreeWidgetItemIterator row(list_); *row; ++row) {
            if (!isReference(**row))
                continue;
            if (keptReference == (*row)->data(0, referenceRole))
                list_->setCurrentItem(*row, 0, QItemSelectionModel::NoUpdate);
            (*row)->setSelected(std::ranges::find(selected, referenceOf(**row)) != selected.end());
        }
    }
    // Only what is laid out can be scrolled.
    list_->doItemsLayout();
    list_->verticalScrollBar()->setValue(scrolled);
    Q_EMIT selectionChanged();
}

void WorkspaceView::addSection(const WorkspaceSection& section) {
    auto* heading = new QTreeWidgetItem(list_, {ours(section.title)});
    heading->setFlags(Qt::NoItemFlags);
    heading->setSizeHint(0, QSize(0, headingHeight));
    heading->setFirstColumnSpanned(true);
    auto bold = font();
    bold.setWeight(QFont::DemiBold);
    heading->setFont(0, bold);
    heading->setForeground(0, Theme::shared().colours().secondaryText);
    for (const auto& card : section.cards) {
        const auto status = detail_.status(card);
        auto* item = new QTreeWidgetItem(list_, {shownBriefly(card.url.lastComponent()), ours(status.status),
                                                 shownBriefly(detail_.sourceLabel(card.url))});
        item->setData(0, referenceRole, QByteArray::fromStdString(card.url.path()));
        item->setSizeHint(0, QSize(0, rowHeight));
        item->setIcon(0, QIcon::fromTheme(iconName(card)));
        if (!card.isUnread())
            item->setIcon(1, statusIcon(status.statusSymbol));
        item->setToolTip(0, shownBriefly(card.error.value_or(card.url.path())));
    }
}

void WorkspaceView::fillNote() {
    const auto* current = workspace();
    if (targeted_ || (current && current->references.empty())) {
        note_->setText(QStringLiteral("Drop here to add references. No originals are moved."));
    } else if (!app_.workspaceQuery().empty()) {
        std::size_t matches = 0;
        for (const auto& section : shownSections_)
            matches += section.cards.size();
        note_->setText(QStringLiteral("%1 matches in reference names and source paths").arg(matches));
    } else {
        note_->clear();
    }
    note_->setVisible(!note_->text().isEmpty());
}

bool WorkspaceView::isReference(const QTreeWidgetItem& item) {
    return item.data(0, referenceRole).isValid();
}

FileURL WorkspaceView::referenceOf(const QTreeWidgetItem& item) {
    return FileURL::fromPath(item.data(0, referenceRole).toByteArray().toStdString());
}

std::vector<FileURL> WorkspaceView::selectedReferences() const {
    std::vector<FileURL> references;
    for (QTreeWidgetItemIterator row(list_, QTreeWidgetItemIterator::Selected); *row; ++row)
        if (isReference(**row))
            references.push_back(referenceOf(**row));
    return references;
}

std::vector<const FileEntry*> WorkspaceView::selectedEntries() const {
    std::vector<const FileEntry*> entries;
    for (const auto& reference : selectedReferences()) {
        const auto found = std::ranges::find(detail_.cards(), reference, &WorkspaceCardReference::url);
        if (found != detail_.cards().end() && found->entry)
            entries.push_back(&*found->entry);
    }
    return entries;
}

void WorkspaceView::selectNeighbour(int by) {
    auto* item = list_->currentItem();
    do
        item = !item ? nullptr : by < 0 ? list_->itemAbove(item) : list_->itemBelow(item);
    while (item && !isReference(*item));
    if (item)
        list_->setCurrentItem(item);
}

void WorkspaceView::beginQuery() {
    query_->setFocus(Qt::ShortcutFocusReason);
    query_->selectAll();
}

void WorkspaceView::openSelection() {
    const auto references = selectedReferences();
    std::vector<FileURL> folders;
    for (const auto* entry : selectedEntries())
        if (entry->isNavigable())
            folders.push_back(entry->url().asFolder());
    // Several folders have a tab each; the first would otherwise be covered by the next.
    for (const auto& reference : references)
        if (references.size() > 1 && std::ranges::find(folders, reference.asFolder()) != folders.end())
            app_.addTab(reference.asFolder());
        else
            app_.open(reference);
}

void WorkspaceView::removeSelection() {
    const auto& id = app_.selectedWorkspaceID();
    if (const auto references = selectedReferences(); id && !references.empty())
        app_.library().removeReferences(*id, references);
}

void WorkspaceView::moveSelectionToTrash() {
    OperationRequest request;
    request.kind = OperationKind::trash;
    request.sources = selectedReferences();
    if (!request.sources.empty())
        app_.plan(std::move(request), AppModel::Review::always);
}

void WorkspaceView::openFolder(const FileURL& reference) {
    app_.showFolder(reference.parent());
    app_.activePane().selectWhenLoaded({reference});
}

void WorkspaceView::append(const std::vector<FileURL>& urls) {
    if (const auto& id = app_.selectedWorkspaceID())
        app_.library().appendReferences(*id, urls);
}

bool WorkspaceView::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress && watched == list_) {
        const auto* key = static_cast<QKeyEvent*>(event);
        if (key->modifiers() == Qt::NoModifier && key->key() == Qt::Key_Space) {
            if (!key->isAutoRepeat())
                Q_EMIT previewRequested();
            return true;
        }
        if (key->modifiers() == Qt::NoModifier && key->key() == Qt::Key_Delete) {
            removeSelection();
            return true;
        }
    }
    if (event->type() != QEvent::ContextMenu)
        return QFrame::eventFilter(watched, event);
    // From the keyboard the menu belongs to the row that has it, wherever the pointer is.
    const auto* asked = static_cast<QContextMenuEvent*>(event);
    const auto under = list_->viewport()->mapFromGlobal(asked->globalPos());
    if (asked->reason() != QContextMenuEvent::Keyboard)
        showMenu(list_->itemAt(under), asked->globalPos());
    else if (auto* row = list_->currentItem())
        showMenu(row, list_->viewport()->mapToGlobal(list_->visualItemRect(row).center()));
    return true;
}

void WorkspaceView::showMenu(QTreeWidgetItem* item, QPoint globalPosition) {
    if (!item || !isReference(*item))
        return;
    if (!item->isSelected())
        list_->setCurrentItem(item);
    const auto count = selectedReferences().size();
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const auto add = [&](const QString& title, auto run) {
        auto* action = menu->addAction(title);
        connect(action, &QAction::triggered, this, run);
        return action;
    };
    add(QStringLiteral("Open"), [this] { openSelection(); });
    if (count == 1) {
        const auto reference = referenceOf(*item);
        add(QStringLiteral("Open Original"), [this, reference] { app_.open(reference); });
        add(QStringLiteral("Open Original’s Folder"), [this, reference] { openFolder(reference); });
    }
    auto* preview = add(QStringLiteral("Quick Look"), [this] { Q_EMIT previewRequested(); });
    preview->setShortcut(Qt::Key_Space);
    preview->setEnabled(!selectedEntries().empty());
    menu->addSeparator();
    auto* remove = add(count == 1 ? QStringLiteral("Remove Reference")
                                  : QStringLiteral("Remove %1 References").arg(count),
                       [this] { removeSelection(); });
    remove->setShortcut(Qt::Key_Delete);
    menu->addSeparator();
    add(count == 1 ? QStringLiteral("Move Original to Trash…") : QStringLiteral("Move Originals to Trash…"),
        [this] { moveSelectionToTrash(); });
    for (auto* action : menu->actions())
        action->setShortcutContext(Qt::WidgetShortcut);
    menu->popup(globalPosition);
}

/// Files only: what lies on the web is no place that a reference could name.
static std::vector<FileURL> filesIn(const QMimeData& data) {
    return FileClipboard::urlsIn(data.data(QLatin1String(FileClipboard::uriListType)).toStdString());
}

void WorkspaceView::dragEnterEvent(QDragEnterEvent* event) {
    if (filesIn(*event->mimeData()).empty())
        return;
    // A reference is made, whatever the keys say: the original stays where it is.
    event->setDropAction(Qt::LinkAction);
    event->accept();
    targeted_ = true;
    fillNote();
}

void WorkspaceView::dragLeaveEvent(QDragLeaveEvent*) {
    targeted_ = false;
    fillNote();
}

void WorkspaceView::dropEvent(QDropEvent* event) {
    targeted_ = false;
    event->setDropAction(Qt::LinkAction);
    event->accept();
    append(filesIn(*event->mimeData()));
    fillNote();
}

void WorkspaceView::focusInEvent(QFocusEvent*) {
    list_->setFocus();
}

} // namespace morv
