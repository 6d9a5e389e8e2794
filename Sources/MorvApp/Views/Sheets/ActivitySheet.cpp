#include "MorvApp/Views/Sheets/ActivitySheet.h"

#include "MorvApp/Views/Sheets/RowDelegate.h"
#include "MorvApp/Views/Sheets/TrashBand.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QTreeView>
#include <QVBoxLayout>

namespace morv {

ActivitySheet::ActivitySheet(AppModel& app, QWidget* window)
    : Sheet(QStringLiteral("Activity"), {1120, 680}, Height::full, window), app_(app) {
    app_.services().presentPendingHandoff();
    body()->addWidget(new TrashBand(app_.services(), this));
    introduction_ = addText(QString());
    auto* halves = new QHBoxLayout;
    halves->setSpacing(Space::large);
    list_ = new QListView(this);
    list_->setObjectName(QStringLiteral("activityReceipts"));
    list_->setAccessibleName(QStringLiteral("Operations"));
    list_->setUniformItemSizes(true);
    list_->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list_->setItemDelegate(new ReceiptDelegate(list_));
    list_->setMinimumWidth(240);
    receipts_ = new ReceiptListModel(app_, this);
    list_->setModel(receipts_);
    halves->addWidget(list_, 2);

    auto* detail = new QVBoxLayout;
    detail->setSpacing(Space::small);
    message_ = new QLabel(this);
    message_->setObjectName(QStringLiteral("heading"));
    message_->setTextFormat(Qt::PlainText);
    message_->setWordWrap(true);
    detail->addWidget(message_);
    items_ = new ReceiptItemsModel(this);
    auto* table = new QTreeView(this);
    table->setObjectName(QStringLiteral("activityItems"));
    table->setAccessibleName(QStringLiteral("Items of the operation"));
    table->setModel(items_);
    table->setItemDelegate(new RowDelegate(table));
    table->setRootIsDecorated(false);
    table->setUniformRowHeights(true);
    table->setTextElideMode(Qt::ElideMiddle);
    table->header()->setStretchLastSection(true);
    table->header()->resizeSection(ReceiptItemsModel::item, 180);
    table->header()->resizeSection(ReceiptItemsModel::outcome, 160);
    detail->addWidget(table, 1);
    halves->addLayout(detail, 3);
    body()->addLayout(halves, 1);

    undo_ = addAction(QStringLiteral("Undo"));
    undo_->setObjectName(QStringLiteral("activityUndo"));
    stop_ = addAction(QStringLiteral("Cancel Operation"));
    auto* done = addDefault(QStringLiteral("Done"));
    connect(done, &QPushButton::clicked, &app_, &AppModel::closeSheet);
    connect(this, &Sheet::cancelled, &app_, &AppModel::closeSheet);
    connect(stop_, &QPushButton::clicked, this, [this] {
        if (current_)
            app_.cancelOperation(*current_);
    });
    connect(undo_, &QPushButton::clicked, this, [this] {
        if (current_)
            app_.undo(current_);
    });
    connect(list_->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this](const QModelIndex& index) {
                if (index.isValid())
                    current_ = receipts_->receipt(index.row()).id;
                showCurrent();
            });
    const auto follow = [this] {
        introduction_->setText(receipts_->rowCount() == 0
                                   ? QStringLiteral("Nothing has been changed yet.")
                                   : QStringLiteral("Everything that Morv changed, newest first."));
        const int row = current_ ? receipts_->rowOf(*current_) : -1;
        if (receipts_->rowCount() > 0)
            list_->setCurrentIndex(receipts_->index(std::max(row, 0)));
        showCurrent();
    };
    connect(receipts_, &QAbstractItemModel::modelReset, this, follow);
    connect(receipts_, &QAbstractItemModel::dataChanged, this, &ActivitySheet::showCurrent);
    follow();
    present(list_);
}

void ActivitySheet::showCurrent() {
    const int row = current_ ? receipts_->rowOf(*current_) : -1;
    if (row < 0) {
        items_->setReceipt(std::nullopt);
        message_->clear();
        undo_->setEnabled(false);
        stop_->hide();
        return;
    }
    const auto& receipt = receipts_->receipt(row);
    items_->setReceipt(receipt);
    message_->setText(receipt.message && !receipt.message->empty()
                          ? shown(*receipt.message)
                          : QStringLiteral("%1 · %2 of %3")
                                .arg(shownOutcome(receipt.status))
                                .arg(receipt.succeededCount())
                                .arg(shownCount(receipt.items.size())));
    undo_->setEnabled(receipt.canUndo());
    stop_->setVisible(receipt.isActive());
}

} // namespace morv
