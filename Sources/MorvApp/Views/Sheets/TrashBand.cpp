#include "MorvApp/Views/Sheets/TrashBand.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvCore/Foundation/SystemWords.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QMainWindow>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>
#include <memory>
#include <utility>

namespace morv {

namespace {

struct Alert {
    std::string_view title;
    std::string_view text;
    std::string_view button;
    bool isDestructive = false;
};

QWidget* frontWindow() {
    if (auto* active = qobject_cast<QMainWindow*>(QApplication::activeWindow()))
        return active;
    for (auto* window : QApplication::topLevelWidgets())
        if (qobject_cast<QMainWindow*>(window) && window->isVisible())
            return window;
    return nullptr;
}

void show(const Alert& alert, std::function<void(bool)> answer) {
    auto* window = frontWindow();
    // Without a window there is nobody to ask.
    if (!window)
        return answer(false);
    const auto title = ours(alert.title);
    auto* box = new QMessageBox(QMessageBox::Warning, title, title, QMessageBox::NoButton, window);
    box->setObjectName(QStringLiteral("trashAlert"));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setInformativeText(ours(alert.text));
    // Of the one role that every desktop lays out in this order: by any other some put the destructive one
    // first.
    auto* cancel = box->addButton(QStringLiteral("Cancel"), QMessageBox::ActionRole);
    auto* go = box->addButton(ours(alert.button), QMessageBox::ActionRole);
    if (alert.isDestructive) {
        go->setObjectName(QStringLiteral("destructive"));
        // The box has given it its look already, under no name.
        go->style()->unpolish(go);
        go->style()->polish(go);
    }
    box->setDefaultButton(cancel);
    box->setEscapeButton(cancel);
    const auto once = std::make_shared<std::function<void(bool)>>(std::move(answer));
    const auto tell = [once](bool accepted) {
        if (const auto call = std::exchange(*once, nullptr))
            call(accepted);
    };
    QObject::connect(box, &QMessageBox::finished, box, [box, go, tell] { tell(box->clickedButton() == go); });
    QObject::connect(box, &QObject::destroyed, [tell] { tell(false); });
    box->open();
}

} // namespace

TrashOperations::Confirmation emptyTrashAlert() {
    return [](std::function<void(bool)> answer) {
        show({words::emptyTrashTitle, words::emptyTrashText, "Empty Trash Permanently", true},
             std::move(answer));
    };
}

TrashOperations::Confirmation trashFinishedAlert() {
    return [](std::function<void(bool)> answer) {
        show({words::trashFinishedTitle, words::trashFinishedText, words::trashFinishedButton},
             std::move(answer));
    };
}

TrashBand::TrashBand(MorvServices& services, QWidget* parent) : QFrame(parent), trash_(services.trash) {
    setObjectName(QStringLiteral("trashBand"));
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(Space::large, Space::small, Space::small, Space::small);
    column->setSpacing(Space::small);
    auto* row = new QHBoxLayout;
    row->setSpacing(Space::small);
    message_ = new QLabel(this);
    message_->setObjectName(QStringLiteral("trashMessage"));
    message_->setTextFormat(Qt::PlainText);
    message_->setWordWrap(true);
    row->addWidget(message_, 1);
    close_ = new QToolButton(this);
    close_->setObjectName(QStringLiteral("trashClose"));
    close_->setText(QStringLiteral("✕"));
    close_->setAccessibleName(QStringLiteral("Dismiss the message"));
    close_->setFocusPolicy(Qt::TabFocus);
    row->addWidget(close_);
    column->addLayout(row);
    // Below the message, which says so.
    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(Space::small);
    open_ = new QPushButton(QStringLiteral("Open Trash"), this);
    open_->setObjectName(QStringLiteral("trashOpen"));
    buttons->addWidget(open_);
    finished_ = new QPushButton(ours(words::trashFinishedButton), this);
    finished_->setObjectName(QStringLiteral("trashFinished"));
    buttons->addWidget(finished_);
    buttons->addStretch(1);
    column->addLayout(buttons);
    progress_ = new QProgressBar(this);
    progress_->setRange(0, 0);
    progress_->setTextVisible(false);
    progress_->setAccessibleName(QStringLiteral("Empty Trash"));
    column->addWidget(progress_);

    connect(open_, &QPushButton::clicked, &trash_, &FinderTrashController::openTrash);
    connect(finished_, &QPushButton::clicked, &trash_, &FinderTrashController::acknowledgeFinderFinished);
    connect(close_, &QToolButton::clicked, this, [this] {
        isPutAway_ = true;
        update();
    });
    connect(&trash_, &FinderTrashController::messageChanged, this, [this] {
        isPutAway_ = false;
        update();
    });
    using Trash = FinderTrashController;
    for (const auto changed :
         {&Trash::isWorkingChanged, &Trash::isOpeningChanged, &Trash::isCompletingChanged,
          &Trash::awaitingFinderCompletionChanged, &Trash::hasErrorChanged})
        connect(&trash_, changed, this, &TrashBand::update);
    update();
}

void TrashBand::update() {
    const bool waits = trash_.awaitingFinderCompletion();
    const bool isBusy = trash_.isWorking() || waits;
    message_->setText(trash_.message() ? shown(*trash_.message()) : QStringLiteral("Looking at operations…"));
    progress_->setVisible(trash_.isWorking());
    open_->setVisible(waits);
    open_->setEnabled(!trash_.isOpening());
    finished_->setVisible(waits);
    finished_->setEnabled(!trash_.isCompleting());
    close_->setVisible(!isBusy);
    if (const bool isProblem = trash_.hasError(); property("problem").toBool() != isProblem) {
        setProperty("problem", isProblem);
        style()->unpolish(this);
        style()->polish(this);
    }
    setVisible(isBusy || (trash_.message() && !isPutAway_));
}

} // namespace morv
