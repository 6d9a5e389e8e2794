#include "MorvApp/Views/Window/StatusLine.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvCore/Foundation/ByteCount.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QTimerEvent>
#include <QToolButton>

namespace morv {

StatusLine::StatusLine(AppModel& app, QWidget* parent) : QFrame(parent), app_(app) {
    setObjectName(QStringLiteral("bar"));
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(Space::large, 2, Space::small, 2);
    row->setSpacing(Space::large);
    counts_ = new QLabel(this);
    counts_->setObjectName(QStringLiteral("secondary"));
    status_ = new QLabel(this);
    status_->setObjectName(QStringLiteral("secondary"));
    status_->setTextFormat(Qt::PlainText);
    status_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    status_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    auto* activity = new QToolButton(this);
    activity->setText(QStringLiteral("Activity"));
    activity->setObjectName(QStringLiteral("activityButton"));
    activity->setToolTip(QStringLiteral("What Morv changed, and what can be undone"));
    activity->setFocusPolicy(Qt::TabFocus);
    connect(activity, &QToolButton::clicked, &app_, [this] { app_.perform(FileCommand::activity); });
    row->addWidget(counts_);
    row->addWidget(status_, 1);
    row->addWidget(activity);
    connect(&app_, &AppModel::statusChanged, this, &StatusLine::update);
    connect(&app_, &AppModel::activePaneUpdated, this, &StatusLine::schedule);
    connect(&app_, &AppModel::activePaneChanged, this, &StatusLine::schedule);
    connect(&app_, &AppModel::selectedWorkspaceChanged, this, &StatusLine::schedule);
    update();
}

void StatusLine::schedule() {
    // Several changes of one event make one new text.
    if (!pending_.isActive())
        pending_.start(0, this);
}

void StatusLine::timerEvent(QTimerEvent* event) {
    if (event->timerId() != pending_.timerId())
        return QFrame::timerEvent(event);
    pending_.stop();
    update();
}

void StatusLine::resizeEvent(QResizeEvent*) {
    schedule();
}

void StatusLine::update() {
    const auto& pane = app_.currentPane();
    // What a filter hides is not counted; without one nothing has to be looked through.
    const auto selected = pane.kindFilter() ? pane.selectedEntries().size() : pane.selection().size();
    const auto total = shownCount(pane.displayedEntries().size());
    QString text = total;
    if (selected > 0) {
        text = QStringLiteral("%1 of %2 selected").arg(selected).arg(total);
        if (selected > pane.selectedFolders())
            text += QStringLiteral(" · ") + ours(formatByteCount(pane.selectedBytes()));
    } else if (pane.isLoading()) {
        text += QStringLiteral(" · Reading…");
    }
    // A workspace tells its own counts.
    counts_->setText(app_.selectedWorkspaceID() ? QString() : text);
    const auto status = app_.status() ? shown(*app_.status()) : QString();
    status_->setText(status_->fontMetrics().elidedText(status, Qt::ElideMiddle, status_->width()));
    status_->setToolTip(status);
}

} // namespace morv
