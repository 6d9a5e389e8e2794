#include "MorvApp/Views/Sheets/QuickActionsSheet.h"

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Window/WindowActions.h"

#include <QKeyEvent>
#include <QKeySequence>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>
#include <map>

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

} // namespace

QuickActionsSheet::QuickActionsSheet(AppModel& app, QWidget* window)
    : Sheet(QStringLiteral("Quick Actions"), card, Height::full, window), app_(app) {
    field_ = new QLineEdit(this);
    field_->setPlaceholderText(QStringLiteral("Find an action…"));
    field_->setAccessibleName(QStringLiteral("Find an action"));
    field_->installEventFilter(this);
    body()->addWidget(field_);
    list_ = new QListWidget(this);
    list_->setAccessibleName(QStringLiteral("Actions"));
    body()->addWidget(list_, 1);
    none_ = addText(QStringLiteral("No matching actions"));
    addCancel(QStringLiteral("Close"))->setAccessibleName(QStringLiteral("Close quick actions"));
    auto* run = addDefault(QStringLiteral("Run"));
    connect(run, &QPushButton::clicked, this, &QuickActionsSheet::runCurrent);
    connect(list_, &QListWidget::itemActivated, this, &QuickActionsSheet::runCurrent);
    connect(list_, &QListWidget::currentRowChanged, run, [run](int row) { run->setEnabled(row >= 0); });
    connect(field_, &QLineEdit::textChanged, this, &QuickActionsSheet::filter);
    connect(this, &Sheet::cancelled, &app_, &AppModel::closeSheet);
    filter({});
    present(field_);
}

void QuickActionsSheet::filter(const QString& query) {
    shown_ = FileManagerCommands::quickActions(typedBytes(query));
    std::erase_if(shown_,
                  [](const QuickAction& action) { return !WindowActions::isOffered(action.command); });
    list_->clear();
    for (const auto& action : shown_) {
        auto title = ours(action.title);
        const auto& keys = app_.services().keys.keys(action.command);
        if (!keys.empty())
            title += QStringLiteral("  ·  ") + QKeySequence(ours(keys.front()), QKeySequence::PortableText)
                                                   .toString(QKeySequence::NativeText);
        new QListWidgetItem(iconOf(action.symbol), title, list_);
    }
    list_->setVisible(!shown_.empty());
    none_->setVisible(shown_.empty());
    list_->setCurrentRow(shown_.empty() ? -1 : 0);
}

void QuickActionsSheet::runCurrent() {
    const int row = list_->currentRow();
    // Return in the list comes twice: from the list, and from the sheet when that has already ended.
    if (row < 0 || !isVisible())
        return;
    auto& app = app_;
    const auto command = shown_[static_cast<std::size_t>(row)].command;
    app.closeSheet();
    app.perform(command);
}

bool QuickActionsSheet::eventFilter(QObject* watched, QEvent* event) {
    if (watched == field_ && event->type() == QEvent::KeyPress && list_->count() > 0) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        const int step = key == Qt::Key_Down ? 1 : key == Qt::Key_Up ? -1 : 0;
        if (step != 0) {
            list_->setCurrentRow((list_->currentRow() + step + list_->count()) % list_->count());
            return true;
        }
    }
    return Sheet::eventFilter(watched, event);
}

} // namespace morv
