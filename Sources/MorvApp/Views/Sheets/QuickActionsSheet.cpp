#include "MorvApp/Views/Sheets/QuickActionsSheet.h"

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Window/WindowActions.h"

#include <QApplication>
#include <QKeyEvent>
#include <QKeySequence>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPainter>
#include <QPushButton>
#include <QStyledItemDelegate>
#include <QVBoxLayout>
#include <algorithm>
#include <map>
#include <utility>
#include <vector>

namespace morv {

namespace {

constexpr QSize card{520, 460};

/// The icon theme's names for the table's symbols.
QIcon iconOf(std::string_view symbol) {
    static const std::map<std::string_view, const char*> names{
        {"folder.badge.plus", "folder-new"},
        {"folder", "folder"},
        {"network", "network-server"},
        {"rectangle.split.2x1", "view-split-left-right"},
        {"sidebar.right", "view-sidetree"},
        {"square.stack.3d.up", "view-list-tree"},
        {"sparkles", "edit-clear-all"},
        {"square.stack", "disk-quota"},
        {"clock.arrow.circlepath", "view-history"},
        {"bookmark", "bookmark-new"},
        {"arrow.clockwise", "view-refresh"},
    };
    return QIcon::fromTheme(QLatin1String(names.at(symbol)));
}

constexpr int commandRole = Qt::UserRole;
constexpr int keysRole = Qt::UserRole + 1;

/// A command with its keys at the other end of the row.
class CommandDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const override {
        return {200, option.fontMetrics.height() + 14};
    }
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        const auto keys = index.data(keysRole).toString();
        const int width = keys.isEmpty() ? 0 : option.fontMetrics.horizontalAdvance(keys) + Space::large;
        const auto place = [&option](const QRect& rect) {
            return QStyle::visualRect(option.direction, option.rect, rect);
        };
        auto title = option;
        initStyleOption(&title, index);
        const auto* style = title.widget ? title.widget->style() : QApplication::style();
        // First the row without its words, then they in the room that the keys leave them.
        auto row = title;
        row.text.clear();
        row.icon = {};
        style->drawControl(QStyle::CE_ItemViewItem, &row, painter, row.widget);
        title.state &= ~(QStyle::State_Selected | QStyle::State_HasFocus | QStyle::State_MouseOver);
        title.rect = place(option.rect.adjusted(0, 0, -width, 0));
        // A command without a symbol keeps its place free.
        if (index.data(commandRole).isValid() && title.icon.isNull()) {
            title.features |= QStyleOptionViewItem::HasDecoration;
            title.decorationSize = option.decorationSize;
        }
        title.text = inOwnDirection(title.text);
        style->drawControl(QStyle::CE_ItemViewItem, &title, painter, title.widget);
        if (keys.isEmpty())
            return;
        painter->save();
        painter->setPen(Theme::shared().colours().secondaryText);
        painter->drawText(place(QRect(option.rect.right() + 1 - width, option.rect.top(),
                                      width - Space::small, option.rect.height())),
                          Qt::AlignTrailing | Qt::AlignVCenter | Qt::TextSingleLine, keys);
        painter->restore();
    }
};

} // namespace

QuickActionsSheet::QuickActionsSheet(AppModel& app, QWidget* window)
    : Sheet(QStringLiteral("Quick Actions"), card, Height::full, window), app_(app) {
    field_ = new QLineEdit(this);
    field_->setPlaceholderText(QStringLiteral("Find an action…"));
    field_->setAccessibleName(QStringLiteral("Find an action"));
    field_->installEventFilter(this);
    body()->addWidget(field_);
    list_ = new QListWidget(this);
    list_->setObjectName(QStringLiteral("quickActions"));
    list_->setAccessibleName(QStringLiteral("Actions"));
    list_->setItemDelegate(new CommandDelegate(list_));
    body()->addWidget(list_, 1);
    none_ = addText(QStringLiteral("No matching actions"));
    addCancel(QStringLiteral("Close"))->setAccessibleName(QStringLiteral("Close quick actions"));
    auto* run = addDefault(QStringLiteral("Run"));
    connect(run, &QPushButton::clicked, this, &QuickActionsSheet::runCurrent);
    connect(list_, &QListWidget::itemActivated, this, &QuickActionsSheet::runCurrent);
    connect(list_, &QListWidget::currentItemChanged, run, [run](const QListWidgetItem* item) {
        run->setEnabled(item && item->flags().testFlag(Qt::ItemIsEnabled));
    });
    connect(field_, &QLineEdit::textChanged, this, &QuickActionsSheet::filter);
    connect(this, &Sheet::cancelled, &app_, &AppModel::closeSheet);
    filter({});
    present(field_);
}

void QuickActionsSheet::addHeading(const QString& text) {
    auto* item = new QListWidgetItem(text, list_);
    item->setFlags(Qt::NoItemFlags);
    auto font = list_->font();
    font.setWeight(QFont::DemiBold);
    item->setFont(font);
}

QListWidgetItem* QuickActionsSheet::addRow(FileCommand command, const QString& title, const QIcon& icon) {
    auto* item = new QListWidgetItem(icon, title, list_);
    item->setData(commandRole, static_cast<int>(command));
    if (const auto& keys = app_.services().keys.keys(command); !keys.empty())
        item->setData(
            keysRole,
            QKeySequence(ours(keys.front()), QKeySequence::PortableText).toString(QKeySequence::NativeText));
    return item;
}

void QuickActionsSheet::filter(const QString& query) {
    const auto typed = typedBytes(query);
    list_->clear();
    std::vector<FileCommand> shownAbove;
    for (const auto& action : FileManagerCommands::quickActions(typed))
        if (WindowActions::isOffered(action.command)) {
            addRow(action.command, ours(action.title), iconOf(action.symbol));
            shownAbove.push_back(action.command);
        }
    bool isFirst = true;
    for (const auto command : FileManagerCommands::commandsFound(typed, app_)) {
        // Redo is of text alone, and this is the palette.
        const bool isUseless = command == FileCommand::redo || command == FileCommand::quickActions;
        if (isUseless || !WindowActions::isOffered(command) || std::ranges::count(shownAbove, command) > 0)
            continue;
        if (std::exchange(isFirst, false))
            addHeading(QStringLiteral("All Commands"));
        auto* item = addRow(command, ours(FileManagerCommands::titleNow(command, &app_)), {});
        if (!FileManagerCommands::isEnabled(command, &app_)) {
            item->setFlags(Qt::NoItemFlags);
            item->setToolTip(QStringLiteral("Cannot run on what is shown and selected now"));
        }
    }
    list_->setVisible(list_->count() > 0);
    none_->setVisible(list_->count() == 0);
    list_->setCurrentRow(-1);
    step(1);
}

void QuickActionsSheet::step(int by) {
    const int count = list_->count();
    int row = list_->currentRow() < 0 && by < 0 ? 0 : list_->currentRow();
    for (int tried = 0; tried < count; ++tried) {
        row = (row + by + count) % count;
        if (list_->item(row)->flags().testFlag(Qt::ItemIsEnabled))
            return list_->setCurrentRow(row);
    }
}

void QuickActionsSheet::runCurrent() {
    const auto* item = list_->currentItem();
    // Return in the list comes twice: from the list, and from the sheet when that has already ended.
    if (!item || !item->flags().testFlag(Qt::ItemIsEnabled) || !isVisible())
        return;
    auto& app = app_;
    const auto command = static_cast<FileCommand>(item->data(commandRole).toInt());
    app.closeSheet();
    app.perform(command);
}

bool QuickActionsSheet::eventFilter(QObject* watched, QEvent* event) {
    if (watched == field_ && event->type() == QEvent::KeyPress && list_->count() > 0) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        const int by = key == Qt::Key_Down ? 1 : key == Qt::Key_Up ? -1 : 0;
        if (by != 0) {
            step(by);
            return true;
        }
    }
    return Sheet::eventFilter(watched, event);
}

} // namespace morv
