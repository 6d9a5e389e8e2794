#include "MorvApp/Views/Window/ReadingLine.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QTimerEvent>
#include <QToolButton>

namespace morv {

namespace {

constexpr int signSize = 16;

} // namespace

ReadingLine::ReadingLine(QWidget* parent) : QFrame(parent) {
    setObjectName(QStringLiteral("readingLine"));
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(Space::large, Space::tiny, Space::small, Space::tiny);
    row->setSpacing(Space::small);
    sign_ = new QLabel(this);
    sign_->setPixmap(QIcon::fromTheme(QStringLiteral("dialog-warning")).pixmap(signSize, signSize));
    row->addWidget(sign_);
    text_ = new QLabel(this);
    text_->setTextFormat(Qt::PlainText);
    text_->setWordWrap(true);
    // A path without a place to break must not make the pane wider.
    text_->setMinimumWidth(1);
    row->addWidget(text_, 1);
    const auto button = [this, row](const QString& words) {
        auto* made = new QToolButton(this);
        made->setText(words);
        made->setFocusPolicy(Qt::TabFocus);
        row->addWidget(made);
        return made;
    };
    goUp_ = button(QStringLiteral("Go Up"));
    connect(goUp_, &QToolButton::clicked, this, &ReadingLine::goUp);
    tryAgain_ = button(QStringLiteral("Try Again"));
    connect(tryAgain_, &QToolButton::clicked, this, [this] {
        if (pane_)
            pane_->retry();
    });
    cancel_ = button(QStringLiteral("Cancel"));
    connect(cancel_, &QToolButton::clicked, this, [this] {
        if (pane_)
            pane_->cancelLoading();
    });
    hide();
}

void ReadingLine::follow(PaneModel& pane) {
    if (pane_ == &pane)
        return;
    if (pane_)
        pane_->disconnect(this);
    pane_ = &pane;
    connect(&pane, &PaneModel::locationChanged, this, &ReadingLine::leaveFolder);
    connect(&pane, &PaneModel::isLoadingChanged, this, &ReadingLine::awaitAnswer);
    // What arrives is an answer.
    connect(&pane, &PaneModel::entriesChanged, this, &ReadingLine::awaitAnswer);
    connect(&pane, &PaneModel::errorChanged, this, &ReadingLine::tell);
    leaveFolder();
}

void ReadingLine::leaveFolder() {
    say(State::nothing);
    awaitAnswer();
}

void ReadingLine::awaitAnswer() {
    isSilent_ = false;
    if (pane_->isLoading())
        silence_.start(static_cast<int>(patience_.count()), this);
    else
        silence_.stop();
    tell();
}

void ReadingLine::timerEvent(QTimerEvent* event) {
    if (event->timerId() != silence_.timerId())
        return QFrame::timerEvent(event);
    silence_.stop();
    isSilent_ = true;
    if (pane_)
        tell();
}

void ReadingLine::tell() {
    if (pane_->displayedEntries().empty())
        return say(State::nothing);
    if (pane_->error())
        return say(State::failed);
    // A search takes as long as it takes, and says so.
    if (pane_->isLoading() && isSilent_ && !pane_->isSearch())
        return say(State::silent);
    if (!pane_->isLoading() || state_ == State::silent)
        say(State::nothing);
}

void ReadingLine::say(State state) {
    state_ = state;
    if (state == State::nothing)
        return hide();
    const auto doubt = QStringLiteral(" The files shown here may not be what is there now.");
    if (state == State::failed)
        text_->setText(pane_->isSearch() ? shown(*pane_->error()) : shown(*pane_->error()) + doubt);
    else
        text_->setText(QStringLiteral("This folder is not answering.") + doubt);
    text_->setToolTip(text_->text());
    setAccessibleDescription(text_->text());
    goUp_->setVisible(state == State::failed && !pane_->location().isRoot());
    tryAgain_->setVisible(state == State::failed);
    cancel_->setVisible(state == State::silent);
    show();
}

} // namespace morv
