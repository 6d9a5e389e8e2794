#include "MorvApp/Views/Sheets/ActivitySheet.h"

#include "MorvApp/Views/Sheets/ActivityDetail.h"
#include "MorvApp/Views/Sheets/TrashBand.h"
#include "MorvApp/Views/Theme/Announcement.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QHBoxLayout>
#include <QIcon>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QShortcut>
#include <QStackedWidget>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>
#include <chrono>

namespace morv {

namespace {

/// What is read sooner is not announced.
constexpr std::chrono::milliseconds patience{250};

} // namespace

ActivitySheet::ActivitySheet(AppModel& app, QWidget* window)
    : Sheet(QStringLiteral("Activity & Recovery"), {1160, 760}, Height::full, window), app_(app),
      receipts_(new ReceiptListModel(app, this)), pages_(new QStackedWidget(this)),
      tasks_(app.services().pools) {
    app_.services().presentPendingHandoff();
    body()->addWidget(new TrashBand(app_.services(), this));
    failure_ = addText(QString(), "failure");
    pages_->addWidget(buildList());
    pages_->addWidget(buildEmpty());
    body()->addWidget(pages_, 1);
    undo_ = addAction(QStringLiteral("Undo"));
    undo_->setObjectName(QStringLiteral("activityUndo"));
    stop_ = addAction(QStringLiteral("Cancel Operation"));
    stop_->setObjectName(QStringLiteral("activityCancel"));
    addDefault(QStringLiteral("Done"))->setObjectName(QStringLiteral("activityDone"));
    connectAll();
    readHandoffs();
    follow();
    updateFailure();
    present(receipts_->rowCount() > 0 ? static_cast<QWidget*>(list_)
                                      : findChild<QPushButton*>(QStringLiteral("activityDone")));
}

QWidget* ActivitySheet::buildList() {
    auto* page = new QWidget(this);
    auto* halves = new QHBoxLayout(page);
    halves->setContentsMargins(0, 0, 0, 0);
    halves->setSpacing(Space::large);
    auto* left = new QVBoxLayout;
    left->setSpacing(Space::small);
    search_ = new QLineEdit(page);
    search_->setObjectName(QStringLiteral("activitySearch"));
    search_->setPlaceholderText(QStringLiteral("Find an operation or a file"));
    search_->setAccessibleName(QStringLiteral("Find an operation or a file"));
    search_->setClearButtonEnabled(true);
    search_->installEventFilter(this);
    left->addWidget(search_);
    none_ = new QLabel(QStringLiteral("No matching operations"), page);
    none_->setObjectName(QStringLiteral("secondary"));
    none_->setAlignment(Qt::AlignCenter);
    left->addWidget(none_);
    list_ = new QListView(page);
    list_->setObjectName(QStringLiteral("activityReceipts"));
    list_->setAccessibleName(QStringLiteral("Operations"));
    list_->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list_->setItemDelegate(new ReceiptDelegate(list_));
    list_->setMinimumWidth(240);
    list_->setModel(receipts_);
    left->addWidget(list_, 1);
    halves->addLayout(left, 2);
    detail_ = new ActivityDetail(app_, page);
    halves->addWidget(detail_, 3);
    return page;
}

QWidget* ActivitySheet::buildEmpty() {
    auto* page = new QWidget(this);
    auto* column = new QVBoxLayout(page);
    column->addStretch(1);
    emptySymbol_ = new QLabel(page);
    emptyTitle_ = new QLabel(page);
    emptyTitle_->setObjectName(QStringLiteral("title"));
    emptySentence_ = new QLabel(page);
    emptySentence_->setObjectName(QStringLiteral("secondary"));
    emptySentence_->setWordWrap(true);
    for (auto* label : {emptySymbol_, emptyTitle_, emptySentence_}) {
        label->setAlignment(Qt::AlignCenter);
        column->addWidget(label);
    }
    retry_ = new QPushButton(QStringLiteral("Try Again"), page);
    retry_->setObjectName(QStringLiteral("activityRetry"));
    column->addWidget(retry_, 0, Qt::AlignHCenter);
    column->addStretch(2);
    return page;
}

void ActivitySheet::updateEmpty() {
    using State = AppModel::HistoryState;
    const auto state = app_.historyState();
    const bool isSaid = state != State::reading || !isPatient_;
    emptySymbol_->setVisible(state != State::reading);
    emptySymbol_->setPixmap(QIcon::fromTheme(state == State::failed ? QStringLiteral("dialog-warning")
                                                                    : QStringLiteral("view-history"))
                                .pixmap(64, 64));
    emptyTitle_->setVisible(isSaid);
    emptyTitle_->setText(state == State::failed ? QStringLiteral("Activity couldn’t be loaded")
                         : state == State::read ? QStringLiteral("Nothing has been changed yet")
                                                : QStringLiteral("Reading what was done…"));
    emptySentence_->setVisible(state != State::reading);
    emptySentence_->setText(
        state == State::failed
            ? QStringLiteral("Whether anything was changed is not known until its record can be read.")
            : QStringLiteral("Every copy, move, rename and item moved to Trash is recorded here. Most of it "
                             "can be undone from here."));
    retry_->setVisible(state == State::failed);
}

void ActivitySheet::updateFailure() {
    failure_->setVisible(app_.errorMessage().has_value());
    failure_->setText(app_.errorMessage() ? shownBriefly(*app_.errorMessage()) : QString());
    if (app_.errorMessage())
        announce(*failure_);
}

void ActivitySheet::connectAll() {
    connect(&app_, &AppModel::errorMessageChanged, this, &ActivitySheet::updateFailure);
    connect(&app_, &AppModel::historyStateChanged, this, &ActivitySheet::follow);
    connect(&app_, &AppModel::isUndoingChanged, this, &ActivitySheet::showCurrent);
    connect(retry_, &QPushButton::clicked, this, [this] {
        app_.refreshOperationHistory();
        readHandoffs();
    });
    QTimer::singleShot(patience, this, [this] {
        isPatient_ = false;
        updateEmpty();
    });
    connect(findChild<QPushButton*>(QStringLiteral("activityDone")), &QPushButton::clicked, &app_,
            &AppModel::closeSheet);
    connect(this, &Sheet::cancelled, &app_, &AppModel::closeSheet);
    connect(stop_, &QPushButton::clicked, this, [this] {
        if (current_)
            app_.cancelOperation(*current_);
    });
    connect(undo_, &QPushButton::clicked, this, [this] {
        if (current_)
            app_.undo(current_);
    });
    connect(detail_, &ActivityDetail::showRequested, this, &ActivitySheet::show);
    connect(search_, &QLineEdit::textChanged, this, [this](const QString& text) {
        receipts_->setFilter(typedBytes(text));
        follow();
    });
    connect(new QShortcut(QKeySequence::Find, this, nullptr, nullptr, Qt::WidgetWithChildrenShortcut),
            &QShortcut::activated, this, [this] { search_->setFocus(Qt::ShortcutFocusReason); });
    connect(list_->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this](const QModelIndex& index) {
                if (index.isValid())
                    current_ = idOf(receipts_->entry(index.row()));
                showCurrent();
            });
    connect(receipts_, &QAbstractItemModel::modelReset, this, &ActivitySheet::follow);
    connect(receipts_, &QAbstractItemModel::dataChanged, this, &ActivitySheet::showCurrent);
    connect(&app_.services().trash, &FinderTrashController::messageChanged, this,
            &ActivitySheet::readHandoffs);
}

void ActivitySheet::readHandoffs() {
    tasks_.run(
        TaskLane::reading,
        [&engine = app_.services().engine](const std::stop_token& stop) {
            return engine.externalHistory(stop);
        },
        [this](std::vector<SystemOperationReceipt> handoffs) {
            receipts_->setSystemReceipts(std::move(handoffs));
        },
        [this](const std::exception_ptr& failure) {
            app_.setErrorMessage("Activity couldn’t be loaded: " + sentence(failure));
        });
}

void ActivitySheet::follow() {
    const bool isEmpty = receipts_->rowCount() == 0;
    pages_->setCurrentIndex(isEmpty && search_->text().isEmpty() ? 1 : 0);
    updateEmpty();
    none_->setVisible(isEmpty);
    list_->setVisible(!isEmpty);
    const int row = current_ ? receipts_->rowOf(*current_) : -1;
    if (!isEmpty)
        list_->setCurrentIndex(receipts_->index(std::max(row, 0)));
    showCurrent();
}

void ActivitySheet::showCurrent() {
    const int row = current_ ? receipts_->rowOf(*current_) : -1;
    detail_->setEntry(row < 0 ? std::nullopt : std::optional(receipts_->entry(row)));
    const auto* receipt = row < 0 ? nullptr : operationOf(receipts_->entry(row));
    undo_->setVisible(receipt != nullptr);
    undo_->setEnabled(receipt && receipt->canUndo() && !app_.isUndoing());
    undo_->setToolTip(receipt ? whyNoUndo(*receipt) : QString());
    stop_->setVisible(receipt && receipt->isActive());
}

void ActivitySheet::show(const FileURL& item) {
    // A copy: closing the sheet ends what named it.
    const auto wanted = item;
    auto& app = app_;
    app.closeSheet();
    app.reveal(wanted);
}

bool ActivitySheet::eventFilter(QObject* watched, QEvent* event) {
    if (watched == search_ && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if ((key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_Down) && list_->isVisible()) {
            list_->setFocus(Qt::OtherFocusReason);
            return true;
        }
        if (key == Qt::Key_Escape && !search_->text().isEmpty()) {
            search_->clear();
            return true;
        }
    }
    return Sheet::eventFilter(watched, event);
}

} // namespace morv
