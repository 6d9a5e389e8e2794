#include "MorvApp/Views/Sheets/ReviewSheet.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvCore/Foundation/ByteCount.h"

#include <QAbstractListModel>
#include <QHeaderView>
#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QTreeView>
#include <QVBoxLayout>
#include <algorithm>

namespace morv {

namespace {

class WarningsModel : public QAbstractListModel {
public:
    WarningsModel(const std::vector<std::string>& warnings, QObject* parent)
        : QAbstractListModel(parent), warnings_(warnings) {}

    int rowCount(const QModelIndex& parent) const override {
        return parent.isValid() ? 0 : static_cast<int>(warnings_.size());
    }
    QVariant data(const QModelIndex& index, int role) const override {
        if (role == Qt::DisplayRole || role == Qt::ToolTipRole)
            return shown(warnings_[static_cast<std::size_t>(index.row())]);
        if (role == Qt::ForegroundRole)
            return Theme::shared().colours().warning;
        return {};
    }

private:
    const std::vector<std::string>& warnings_;
};

QString titleOf(const FileOperationPlan& plan) {
    return QStringLiteral("Review: ") + ours(displayName(plan.kind));
}

} // namespace

ReviewSheet::ReviewSheet(AppModel& app, FileOperationPlan plan, QWidget* window)
    : Sheet(titleOf(plan), {1040, 640}, Height::full, window), app_(app), plan_(std::move(plan)) {
    addText(QStringLiteral("Confirm the exact sources and destinations. Every item is revalidated before the "
                           "operation begins."));
    if (!plan_.warnings.empty()) {
        auto* warnings = new QListView(this);
        warnings->setModel(new WarningsModel(plan_.warnings, warnings));
        warnings->setUniformItemSizes(true);
        warnings->setTextElideMode(Qt::ElideMiddle);
        warnings->setSelectionMode(QAbstractItemView::NoSelection);
        warnings->setAccessibleName(QStringLiteral("Warnings"));
        const auto lines = std::min<std::size_t>(plan_.warnings.size(), 4);
        warnings->setFixedHeight(static_cast<int>(lines) * (fontMetrics().height() + 4) + 10);
        body()->addWidget(warnings);
    }
    items_ = new PlanModel(plan_, this);
    auto* table = new QTreeView(this);
    table->setObjectName(QStringLiteral("reviewItems"));
    table->setAccessibleName(QStringLiteral("Items"));
    table->setModel(items_);
    table->setRootIsDecorated(false);
    table->setUniformRowHeights(true);
    table->setTextElideMode(Qt::ElideMiddle);
    table->header()->setStretchLastSection(false);
    table->header()->setSectionResizeMode(PlanModel::source, QHeaderView::Stretch);
    table->header()->setSectionResizeMode(PlanModel::destination, QHeaderView::Stretch);
    table->header()->resizeSection(PlanModel::note, 190);
    body()->addWidget(table, 1);
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
    connect(items_, &PlanModel::remainingChanged, this, &ReviewSheet::updateTotals);
    updateTotals();
    table->setCurrentIndex(items_->index(0, 0));
    present(table);
}

void ReviewSheet::updateTotals() {
    const auto remaining = items_->remaining();
    std::int64_t bytes = 0;
    for (const auto& item : plan_.items)
        if (item.fingerprint && !item.skipReason && !items_->unchecked().contains(item.id))
            bytes += item.fingerprint->byteCount;
    totals_->setText(QStringLiteral("%1 of %2 · %3")
                         .arg(remaining)
                         .arg(shownCount(plan_.items.size()), ours(formatByteCount(bytes))));
    confirm_->setEnabled(remaining > 0);
}

} // namespace morv
