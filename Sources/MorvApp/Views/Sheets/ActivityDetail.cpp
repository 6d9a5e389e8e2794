#include "MorvApp/Views/Sheets/ActivityDetail.h"

#include "MorvApp/Views/Sheets/RowDelegate.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Window/ProgressStrip.h"
#include "MorvCore/Foundation/ByteCount.h"

#include <QFrame>
#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QProgressBar>
#include <QPushButton>
#include <QTreeView>
#include <QVBoxLayout>

namespace morv {

namespace {

QLabel* label(const char* role, QWidget* parent) {
    auto* made = new QLabel(parent);
    made->setObjectName(QLatin1String(role));
    made->setTextFormat(Qt::PlainText);
    made->setWordWrap(true);
    return made;
}

/// Shows `text`, or nothing at all.
void say(QLabel* where, const QString& text) {
    where->setText(text);
    where->setVisible(!text.isEmpty());
}

QString factsOf(const OperationReceipt& receipt) {
    auto facts = shownOutcome(receipt.status) + QStringLiteral(" · ") + shownDate(receipt.startedAt);
    if (receipt.completedAt) {
        const auto seconds = receipt.completedAt->unixSeconds() - receipt.startedAt.unixSeconds();
        if (seconds >= 1)
            facts += QStringLiteral(" · took ") + shownDuration(seconds);
    }
    return facts + QStringLiteral(" · %1 of %2 done")
                       .arg(QLocale().toString(static_cast<qulonglong>(receipt.succeededCount())),
                            shownCount(receipt.items.size()));
}

/// What is known of the bytes that stand where the item is now.
QString verificationOf(const OperationItemResult& item) {
    switch (item.status) {
    case OperationItemStatus::succeeded:
    case OperationItemStatus::copiedOriginalRetained:
        if (!item.after)
            return QStringLiteral("Done and recorded.");
        return (item.before && item.before->hasSameContent(*item.after)
                    ? QStringLiteral("Verified: the same contents as before, %1.")
                    : QStringLiteral("Verified as it was made, %1."))
            .arg(ours(formatByteCount(item.after->byteCount)));
    case OperationItemStatus::pending:
        return item.stagingURL ? QStringLiteral("Not finished. The staging copy may be incomplete.")
                               : QStringLiteral("Not begun.");
    case OperationItemStatus::failed:
    case OperationItemStatus::cancelled:
        return item.stagingURL ? QStringLiteral("Not published. The staging copy was not verified.")
                               : QString();
    case OperationItemStatus::skipped:
    case OperationItemStatus::undone:
        break;
    }
    return {};
}

} // namespace

QString whyNoUndo(const OperationReceipt& receipt) {
    if (receipt.canUndo())
        return {};
    switch (receipt.status) {
    case OperationStatus::queued:
    case OperationStatus::running:
        return QStringLiteral("It can be undone when it has ended.");
    case OperationStatus::interrupted:
        return QStringLiteral(
            "An interrupted operation is never undone or repeated by itself: its files stay as "
            "they are for you to inspect.");
    case OperationStatus::undone:
        return QStringLiteral("It has been undone.");
    default:
        return QStringLiteral("Nothing took effect, so there is nothing to undo.");
    }
}

ActivityDetail::ActivityDetail(AppModel& app, QWidget* parent)
    : QWidget(parent), app_(app), items_(new ReceiptItemsModel(this)), title_(label("heading", this)),
      facts_(label("secondary", this)), message_(label("message", this)), amounts_(label("secondary", this)),
      bar_(new QProgressBar(this)), table_(new QTreeView(this)), itemFrame_(new QFrame(this)),
      itemWords_(label("secondary", itemFrame_)) {
    build();
    connect(&app_, &AppModel::progressChanged, this, &ActivityDetail::updateProgress);
    connect(table_->selectionModel(), &QItemSelectionModel::currentChanged, this,
            &ActivityDetail::updateItem);
    connect(items_, &QAbstractItemModel::dataChanged, this, &ActivityDetail::updateItem);
    setEntry(std::nullopt);
}

void ActivityDetail::build() {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(Space::small);
    for (auto* line : {title_, facts_, message_})
        column->addWidget(line);
    bar_->setTextVisible(false);
    bar_->setAccessibleName(QStringLiteral("Progress"));
    column->addWidget(bar_);
    column->addWidget(amounts_);
    table_->setObjectName(QStringLiteral("activityItems"));
    table_->setAccessibleName(QStringLiteral("Items of the operation"));
    table_->setModel(items_);
    table_->setItemDelegate(new RowDelegate(table_));
    table_->setRootIsDecorated(false);
    table_->setUniformRowHeights(true);
    table_->setTextElideMode(Qt::ElideMiddle);
    table_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto* header = table_->header();
    header->setStretchLastSection(false);
    for (const int section : {ReceiptItemsModel::item, ReceiptItemsModel::outcome, ReceiptItemsModel::place})
        header->setSectionResizeMode(section, QHeaderView::Stretch);
    column->addWidget(table_, 1);

    auto* grid = new QGridLayout(itemFrame_);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(Space::medium);
    grid->setVerticalSpacing(Space::tiny);
    grid->setColumnStretch(1, 1);
    grid->addWidget(itemWords_, 0, 0, 1, 3);
    constexpr std::array names = {"activityShowResult", "activityShowStaging", "activityShowRecovery"};
    for (std::size_t i = 0; i < places_.size(); ++i) {
        auto& place = places_[i];
        place.role = label("secondary", itemFrame_);
        place.role->setWordWrap(false);
        place.path = label("path", itemFrame_);
        place.path->setWordWrap(false);
        place.path->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
        place.show = new QPushButton(QStringLiteral("Show"), itemFrame_);
        place.show->setObjectName(QLatin1String(names[i]));
        connect(place.show, &QPushButton::clicked, this, [this, i] {
            if (const auto url = places_[i].url)
                Q_EMIT showRequested(*url);
        });
        const int row = static_cast<int>(i) + 1;
        grid->addWidget(place.role, row, 0);
        grid->addWidget(place.path, row, 1);
        grid->addWidget(place.show, row, 2);
    }
    column->addWidget(itemFrame_);
}

void ActivityDetail::setEntry(const std::optional<ActivityEntry>& entry) {
    const bool isSame = entry && entry_ && idOf(*entry) == idOf(*entry_);
    entry_ = entry;
    const auto* receipt = entry_ ? operationOf(*entry_) : nullptr;
    const auto* system = entry_ ? std::get_if<SystemOperationReceipt>(&*entry_) : nullptr;
    items_->setReceipt(receipt ? std::get<SharedReceipt>(*entry_) : nullptr);
    table_->setVisible(receipt != nullptr);
    say(title_, entry_ ? titleOf(*entry_) : QString());
    if (receipt) {
        say(facts_, factsOf(*receipt));
        const auto said = receipt->message ? shownBriefly(*receipt->message) : QString();
        const auto why = whyNoUndo(*receipt);
        say(message_, said.isEmpty() || why.isEmpty() ? said + why : said + QLatin1Char('\n') + why);
    } else if (system) {
        auto facts = shownOutcome(system->status) + QStringLiteral(" · ") + shownDate(system->createdAt);
        if (system->finishedAt)
            facts += QStringLiteral(" · ended ") + shownDate(*system->finishedAt);
        say(facts_, facts);
        say(message_, system->outcome ? shownBriefly(*system->outcome) : QString());
    } else {
        say(facts_, {});
        say(message_, {});
    }
    if (receipt && !isSame && items_->rowCount() > 0)
        table_->setCurrentIndex(items_->index(0, 0));
    updateProgress();
    updateItem();
}

void ActivityDetail::updateProgress() {
    const auto* receipt = entry_ ? operationOf(*entry_) : nullptr;
    const bool isActive = receipt && receipt->isActive();
    bar_->setVisible(isActive);
    amounts_->setVisible(isActive);
    if (!isActive)
        return;
    const auto& progress = app_.operationProgress();
    const bool isOfThis = progress && progress->id == receipt->id;
    ProgressStrip::fill(*bar_, isOfThis ? &*progress : nullptr);
    amounts_->setText(isOfThis ? ProgressStrip::words(*progress)
                      : receipt->status == OperationStatus::queued
                          ? QStringLiteral("Waits for the operations before it.")
                          : QString());
}

void ActivityDetail::setPlace(PlaceRole role, const std::optional<FileURL>& url, const QString& words) {
    auto& place = places_[role];
    place.url = url;
    for (auto* widget : std::initializer_list<QWidget*>{place.role, place.path, place.show})
        widget->setVisible(url.has_value());
    if (!url)
        return;
    place.role->setText(words);
    const auto path = shownPathBriefly(*url);
    place.path->setText(fontMetrics().elidedText(path, Qt::ElideMiddle, std::max(place.path->width(), 240)));
    place.path->setToolTip(path);
    place.show->setAccessibleName(QStringLiteral("Show: ") + words);
}

void ActivityDetail::updateItem() {
    const auto* item = items_->result(table_->currentIndex());
    itemFrame_->setVisible(item != nullptr);
    if (!item)
        return;
    auto words = verificationOf(*item);
    if (item->error)
        words = shownBriefly(*item->error) + (words.isEmpty() ? QString() : QLatin1Char('\n') + words);
    say(itemWords_, words);
    const bool tookEffect = item->status == OperationItemStatus::succeeded ||
                            item->status == OperationItemStatus::copiedOriginalRetained;
    const auto now = tookEffect ? (item->destination ? item->destination : item->source) : item->source;
    setPlace(result, now, tookEffect ? QStringLiteral("Now at") : QStringLiteral("Original"));
    setPlace(staging, item->stagingURL, QStringLiteral("Staging copy"));
    setPlace(recovery, item->recoveryURL, QStringLiteral("Recovery copy"));
}

} // namespace morv
