#include "MorvApp/Views/Window/ReadingLine.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QTimerEvent>
#include <QToolButton>
#include <QVBoxLayout>

namespace morv {

namespace {

constexpr int signSize = 16;

} // namespace

ReadingLine::ReadingLine(QWidget* parent) : QFrame(parent) {
    setObjectName(QStringLiteral("readingLine"));
    auto* rows = new QVBoxLayout(this);
    rows->setContentsMargins(Space::large, Space::small, Space::small, Space::tiny);
    rows->setSpacing(0);
    auto* first = new QHBoxLayout;
    first->setSpacing(Space::small);
    auto* sign = new QLabel(this);
    sign->setPixmap(QIcon::fromTheme(QStringLiteral("emblem-warning")).pixmap(signSize, signSize));
    first->addWidget(sign);
    const auto label = [this](QHBoxLayout* row) {
        auto* made = new QLabel(this);
        made->setTextFormat(Qt::PlainText);
        // What does not fit is in the tooltip: words must not make the pane wider.
        made->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
        row->addWidget(made, 1);
        return made;
    };
    title_ = label(first);
    rows->addLayout(first);
    auto* second = new QHBoxLayout;
    second->setSpacing(0);
    detail_ = label(second);
    detail_->setObjectName(QStringLiteral("secondary"));
    rows->addLayout(second);
    const auto button = [this, second](const QString& words) {
        auto* made = new QToolButton(this);
        made->setText(words);
        made->setFocusPolicy(Qt::TabFocus);
        second->addWidget(made);
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
    doubt_ = pane_->isSearch() ? QStringLiteral("These results may be incomplete")
                               : QStringLiteral("These files may be incomplete or out of date");
    title_->setToolTip(doubt_);
    sentence_ =
        state == State::failed ? shown(*pane_->error()) : QStringLiteral("This folder is not answering.");
    detail_->setToolTip(sentence_);
    setAccessibleDescription(doubt_ + QStringLiteral(". ") + sentence_);
    goUp_->setVisible(state == State::failed && !pane_->location().isRoot());
    tryAgain_->setVisible(state == State::failed);
    cancel_->setVisible(state == State::silent);
    show();
    // The buttons leave the sentence another width.
    layout()->activate();
    elide();
}

void ReadingLine::elide() {
    title_->setText(title_->fontMetrics().elidedText(doubt_, Qt::ElideRight, title_->width()));
    detail_->setText(detail_->fontMetrics().elidedText(sentence_, Qt::ElideRight, detail_->width()));
}

void ReadingLine::resizeEvent(QResizeEvent* event) {
    QFrame::resizeEvent(event);
    elide();
}

} // namespace morv
