#include "MorvApp/Views/Workspaces/WorkspaceView.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Workspaces/ReferencePanel.h"
#include "MorvApp/Views/Workspaces/WorkspaceColours.h"

#include <QContextMenuEvent>
#include <QDragEnterEvent>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <map>

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

    connect(list_, &QTreeWidget::itemActivated, this, [this](QTreeWidgetItem* item) { open(*item); });
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
    mark_->setPixmap(workspaceMark(current->color).pixmap(16, 16));
    title_->setText(shown(current->name));
    if (const auto query = editableName(app_.workspaceQuery()); query != query_->text()) {
        const QSignalBlocker quiet(query_);
        query_->setText(query);
    }
    checkAgain_->setText(detail_.checkingReferences() ? QStringLiteral("Checking")
                                                      : QStringLiteral("Check Again"));
    checkAgain_->setEnabled(!detail_.checkingReferences());
    auto summary = QString::number(current->references.size()) +
                   QStringLiteral(" references · originals stay in their folders");
    const bool isLoaded = detail_.loadedWorkspaceID() == current->id;
    if (detail_.checkingReferences())
        summary += QStringLiteral(" · Checking reference availability…");
    else if (isLoaded)
        summary += QStringLiteral(" · ") + ours(detail_.summary());
    summary_->setText(summary);

    const auto* kept = list_->currentItem();
    const auto keptReference = kept ? kept->data(0, referenceRole) : QVariant();
    list_->clear();
    std::size_t matches = 0;
    if (isLoaded)
        for (const auto& section : detail_.sections(app_.workspaceQuery())) {
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
                auto* item = new QTreeWidgetItem(list_, {shown(card.url.lastComponent()), ours(status.status),
                                                         shown(detail_.sourceLabel(card.url))});
                item->setData(0, referenceRole, QByteArray::fromStdString(card.url.path()));
                item->setSizeHint(0, QSize(0, rowHeight));
                item->setIcon(0, QIcon::fromTheme(iconName(card)));
                item->setIcon(1, statusIcon(status.statusSymbol));
                item->setToolTip(0, shown(card.error.value_or(card.url.path())));
                if (keptReference == item->data(0, referenceRole))
                    list_->setCurrentItem(item);
                ++matches;
            }
        }
    if (targeted_ || (isLoaded && current->references.empty()))
        note_->setText(QStringLiteral("Drop here to add references. No originals are moved."));
    else if (!app_.workspaceQuery().empty())
        note_->setText(QStringLiteral("%1 matches in reference names and source paths").arg(matches));
    else
        note_->clear();
    note_->setVisible(!note_->text().isEmpty());
}

FileURL WorkspaceView::referenceOf(const QTreeWidgetItem& item) {
    return FileURL::fromPath(item.data(0, referenceRole).toByteArray().toStdString());
}

void WorkspaceView::open(const QTreeWidgetItem& item) {
    if (item.data(0, referenceRole).isValid())
        app_.open(referenceOf(item));
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
    if (event->type() != QEvent::ContextMenu)
        return QFrame::eventFilter(watched, event);
    // From the keyboard the menu belongs to the row that has it, wherever the pointer is.
    const auto* asked = static_cast<QContextMenuEvent*>(event);
    const auto under = list_->viewport()->mapFromGlobal(asked->globalPos());
    if (asked->reason() != QContextMenuEvent::Keyboard)
        showMenu(list_->itemAt(under), asked->globalPos());
    else if (const auto* row = list_->currentItem())
        showMenu(row, list_->viewport()->mapToGlobal(list_->visualItemRect(row).center()));
    return true;
}

void WorkspaceView::showMenu(const QTreeWidgetItem* item, QPoint globalPosition) {
    const auto* current = workspace();
    if (!item || !current || !item->data(0, referenceRole).isValid())
        return;
    const auto reference = referenceOf(*item);
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const auto add = [&](const QString& title, auto run) {
        connect(menu->addAction(title), &QAction::triggered, this, run);
    };
    add(QStringLiteral("Open Original"), [this, reference] { app_.open(reference); });
    add(QStringLiteral("Open Original’s Folder"), [this, reference] { openFolder(reference); });
    menu->addSeparator();
    add(QStringLiteral("Remove Reference"),
        [this, id = current->id, reference] { app_.library().removeReference(id, reference); });
    menu->addSeparator();
    add(QStringLiteral("Move Original to Trash…"), [this, reference] {
        OperationRequest request;
        request.kind = OperationKind::trash;
        request.sources = {reference};
        app_.plan(std::move(request), AppModel::Review::always);
    });
    menu->popup(globalPosition);
}

void WorkspaceView::dragEnterEvent(QDragEnterEvent* event) {
    if (!event->mimeData()->hasFormat(QLatin1String(FileClipboard::uriListType)))
        return;
    // A reference is made, whatever the keys say: the original stays where it is.
    event->setDropAction(Qt::LinkAction);
    event->accept();
    targeted_ = true;
    fill();
}

void WorkspaceView::dragLeaveEvent(QDragLeaveEvent*) {
    targeted_ = false;
    fill();
}

void WorkspaceView::dropEvent(QDropEvent* event) {
    targeted_ = false;
    event->setDropAction(Qt::LinkAction);
    event->accept();
    const auto list = event->mimeData()->data(QLatin1String(FileClipboard::uriListType)).toStdString();
    append(FileClipboard::urlsIn(list));
    fill();
}

void WorkspaceView::focusInEvent(QFocusEvent*) {
    list_->setFocus();
}

} // namespace morv
