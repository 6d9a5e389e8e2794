#include "MorvApp/Views/Sheets/ReviewSheet.h"

#include "MorvApp/Views/Sheets/RowDelegate.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvCore/Foundation/ByteCount.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPushButton>
#include <QShortcut>
#include <QTreeView>
#include <QVBoxLayout>
#include <algorithm>

namespace morv {

namespace {

/// Said in words of their own; the items say the rest.
constexpr std::size_t fewWarnings = 3;
constexpr std::size_t openedItems = 100;
constexpr int sizeWidth = 90;

QString titleOf(const FileOperationPlan& plan) {
    return QStringLiteral("Review: ") + ours(displayName(plan.kind));
}

} // namespace

ReviewSheet::ReviewSheet(AppModel& app, FileOperationPlan plan, QWidget* window)
    : Sheet(titleOf(plan), {1120, 720}, Height::full, window), app_(app), plan_(std::move(plan)),
      items_(new PlanModel(plan_, this)) {
    addText(QStringLiteral("Confirm the exact sources and destinations. Every item is revalidated before the "
                           "operation begins."));
    addWarnings();
    addSearch();
    addTable();
    addText(
        QStringLiteral("Keep Both uses the exact names shown. Uncheck an item to Skip it. Existing files are "
                       "never silently replaced."));
    totals_ = addText(QString(), "heading");
    auto* cancel = addCancel(QStringLiteral("Cancel"));
    cancel->setObjectName(QStringLiteral("reviewCancel"));
    confirm_ = addDefault(ours(displayName(plan_.kind)));
    confirm_->setObjectName(QStringLiteral("reviewConfirm"));
    connect(this, &Sheet::cancelled, &app_, &AppModel::cancelReview);
    connect(confirm_, &QPushButton::clicked, this, [this] {
        // The commit ends this sheet, and with it the plan it shows.
        const auto narrowed = plan_.skipping(items_->unchecked());
        app_.commitReview(narrowed);
    });
    connect(items_, &PlanModel::totalsChanged, this, &ReviewSheet::updateTotals);
    filter();
    updateTotals();
    present(table_);
}

void ReviewSheet::addWarnings() {
    const auto& general = items_->generalWarnings();
    const auto said = std::min(general.size(), fewWarnings);
    for (std::size_t i = 0; i < said; ++i)
        addText(shownBriefly(general[i]), "warning");
    if (general.size() > said)
        addText(
            QStringLiteral("And %1.").arg(shownCount(general.size() - said, "more warning", "more warnings")),
            "warning");
    if (const auto count = items_->itemWarningCount(); count > 0)
        addText(count == 1
                    ? QStringLiteral("1 item will be kept beside another under a new name.")
                    : QStringLiteral("%1 will be kept beside others under new names.").arg(shownCount(count)),
                "warning");
}

void ReviewSheet::addSearch() {
    auto* row = new QHBoxLayout;
    row->setSpacing(Space::medium);
    search_ = new QLineEdit(this);
    search_->setObjectName(QStringLiteral("reviewSearch"));
    search_->setPlaceholderText(QStringLiteral("Find in names and paths"));
    search_->setAccessibleName(QStringLiteral("Find in names and paths"));
    search_->setClearButtonEnabled(true);
    search_->installEventFilter(this);
    row->addWidget(search_, 1);
    onlyWarnings_ = new QCheckBox(QStringLiteral("Only with warnings"), this);
    onlyWarnings_->setObjectName(QStringLiteral("reviewOnlyWarnings"));
    row->addWidget(onlyWarnings_);
    found_ = new QLabel(this);
    found_->setObjectName(QStringLiteral("secondary"));
    row->addWidget(found_);
    body()->addLayout(row);
    connect(search_, &QLineEdit::textChanged, this, &ReviewSheet::filter);
    connect(onlyWarnings_, &QCheckBox::toggled, this, &ReviewSheet::filter);
    connect(new QShortcut(QKeySequence::Find, this, nullptr, nullptr, Qt::WidgetWithChildrenShortcut),
            &QShortcut::activated, this, [this] {
                search_->setFocus(Qt::ShortcutFocusReason);
                search_->selectAll();
            });
}

void ReviewSheet::addTable() {
    table_ = new QTreeView(this);
    table_->setObjectName(QStringLiteral("reviewItems"));
    table_->setAccessibleName(QStringLiteral("Items"));
    table_->setModel(items_);
    table_->setItemDelegate(new RowDelegate(table_));
    table_->setRootIsDecorated(items_->isGrouped());
    table_->setIndentation(Space::large);
    table_->setUniformRowHeights(true);
    table_->setTextElideMode(Qt::ElideMiddle);
    table_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    table_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    table_->installEventFilter(this);
    auto* header = table_->header();
    header->setStretchLastSection(false);
    for (const auto column : {PlanModel::source, PlanModel::destination, PlanModel::note})
        header->setSectionResizeMode(column, QHeaderView::Stretch);
    header->resizeSection(PlanModel::size, sizeWidth);
    const auto remember = [this](bool isOpen) {
        return [this, isOpen](const QModelIndex& group) {
            if (!isFilling_)
                chosen_[items_->groupNumber(group)] = isOpen;
        };
    };
    connect(table_, &QTreeView::expanded, this, remember(true));
    connect(table_, &QTreeView::collapsed, this, remember(false));
    body()->addWidget(table_, 1);
}

void ReviewSheet::filter() {
    items_->setFilter(typedBytes(search_->text()), onlyWarnings_->isChecked() ? PlanModel::Only::withWarnings
                                                                              : PlanModel::Only::everything);
    const auto whole = plan_.items.size();
    const auto visible = items_->visibleItems();
    found_->setText(visible == whole
                        ? shownCount(whole)
                        : QStringLiteral("%1 of %2")
                              .arg(QLocale().toString(static_cast<qulonglong>(visible)), shownCount(whole)));
    expandGroups();
    table_->setCurrentIndex(items_->index(0, 0));
}

void ReviewSheet::expandGroups() {
    if (!items_->isGrouped())
        return;
    const bool areOpen = items_->rowCount() == 1 || items_->visibleItems() <= openedItems;
    isFilling_ = true;
    for (int row = 0; row < items_->rowCount(); ++row) {
        const auto group = items_->index(row, 0);
        const auto chosen = chosen_.find(items_->groupNumber(group));
        table_->setExpanded(group, chosen == chosen_.end() ? areOpen : chosen->second);
    }
    isFilling_ = false;
}

void ReviewSheet::toggleSelected() {
    const auto lines = table_->selectionModel()->selectedRows();
    const bool areAllOut = std::ranges::all_of(lines, [](const QModelIndex& line) {
        return line.data(Qt::CheckStateRole).toInt() == Qt::Unchecked;
    });
    items_->setChecked(lines, areAllOut);
}

bool ReviewSheet::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (watched == table_ && key == Qt::Key_Space) {
            toggleSelected();
            return true;
        }
        if (watched == search_) {
            // Return looks at what was found; it confirms nothing.
            if (key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_Down) {
                table_->setFocus(Qt::OtherFocusReason);
                return true;
            }
            if (key == Qt::Key_Escape && !search_->text().isEmpty()) {
                search_->clear();
                return true;
            }
        }
    }
    return Sheet::eventFilter(watched, event);
}

void ReviewSheet::updateTotals() {
    const auto totals = items_->totals();
    auto text =
        QStringLiteral("%1: %2 of %3 · %4")
            .arg(shownIntention(plan_.kind), QLocale().toString(static_cast<qulonglong>(totals.items)),
                 shownCount(plan_.items.size()), ours(formatByteCount(totals.bytes)));
    if (totals.skipped > 0)
        text +=
            QStringLiteral(" · %1 skipped").arg(QLocale().toString(static_cast<qulonglong>(totals.skipped)));
    totals_->setText(text);
    confirm_->setEnabled(totals.items > 0);
}

} // namespace morv
