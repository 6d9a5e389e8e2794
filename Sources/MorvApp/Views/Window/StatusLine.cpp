#include "MorvApp/Views/Window/StatusLine.h"

#include "MorvApp/Views/Theme/Announcement.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvCore/Foundation/ByteCount.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QTimerEvent>
#include <QToolButton>
#include <algorithm>
#include <cmath>

namespace morv {

namespace {

constexpr int smallestIcon = static_cast<int>(AppModel::smallestIcon);
constexpr int largestIcon = static_cast<int>(AppModel::largestIcon);
constexpr int iconStep = 16;
constexpr int sliderWidth = 112;
/// Milliseconds: a hand that slides changes the folder's view no more often than it can be seen.
constexpr int sizePause = 30;

} // namespace

StatusLine::StatusLine(AppModel& app, QWidget* parent) : QFrame(parent), app_(app) {
    setObjectName(QStringLiteral("bar"));
    build();
    connect(&app_, &AppModel::statusChanged, this, [this] {
        update();
        // Not every step of an operation: how it ended.
        if (!app_.isOperating())
            announce(*status_);
    });
    for (const auto signal : {&AppModel::activePaneUpdated, &AppModel::activePaneChanged,
                              &AppModel::selectedWorkspaceChanged, &AppModel::fileSnapshotRevisionChanged})
        connect(&app_, signal, this, &StatusLine::schedule);
    connect(&app_.services().spaces, &VolumeSpaces::changed, this, &StatusLine::schedule);
    update();
}

void StatusLine::build() {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(Space::large, 2, Space::small, 2);
    row->setSpacing(Space::large);
    counts_ = new QLabel(this);
    counts_->setObjectName(QStringLiteral("secondary"));
    const auto openActivity = [this] { app_.perform(FileCommand::activity); };
    status_ = new QPushButton(this);
    status_->setFlat(true);
    status_->setObjectName(QStringLiteral("statusText"));
    status_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    status_->setFocusPolicy(Qt::TabFocus);
    connect(status_, &QToolButton::clicked, &app_, openActivity);
    space_ = new QLabel(this);
    space_->setObjectName(QStringLiteral("freeSpace"));
    sizes_ = makeSizes();
    auto* activity = new QToolButton(this);
    activity->setText(QStringLiteral("Activity"));
    activity->setObjectName(QStringLiteral("activityButton"));
    activity->setToolTip(QStringLiteral("What Morv changed, and what can be undone"));
    activity->setFocusPolicy(Qt::TabFocus);
    connect(activity, &QToolButton::clicked, &app_, openActivity);
    row->addWidget(counts_);
    row->addWidget(status_, 1);
    row->addWidget(space_);
    row->addWidget(sizes_);
    row->addWidget(activity);
}

QSlider* StatusLine::makeSizes() {
    auto* slider = new QSlider(Qt::Horizontal, this);
    slider->setObjectName(QStringLiteral("iconSize"));
    slider->setAccessibleName(QStringLiteral("Icon size"));
    slider->setToolTip(slider->accessibleName());
    slider->setRange(smallestIcon, largestIcon);
    slider->setSingleStep(iconStep / 2);
    slider->setPageStep(iconStep);
    slider->setFixedWidth(sliderWidth);
    slider->setFocusPolicy(Qt::TabFocus);
    connect(slider, &QSlider::valueChanged, this, [this] {
        if (!resizing_.isActive())
            resizing_.start(sizePause, this);
    });
    return slider;
}

void StatusLine::schedule() {
    // Several changes of one event make one new text.
    if (!pending_.isActive())
        pending_.start(0, this);
}

void StatusLine::timerEvent(QTimerEvent* event) {
    if (event->timerId() == pending_.timerId()) {
        pending_.stop();
        update();
    } else if (event->timerId() == resizing_.timerId()) {
        resizing_.stop();
        takeSize();
    } else {
        QFrame::timerEvent(event);
    }
}

void StatusLine::resizeEvent(QResizeEvent*) {
    schedule();
}

void StatusLine::update() {
    showCounts();
    showSpace();
    showSize();
    showStatus();
}

void StatusLine::showCounts() {
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
}

void StatusLine::showStatus() {
    const auto status = app_.status() ? shownBriefly(*app_.status()) : QString();
    status_->setEnabled(!status.isEmpty());
    status_->setText(buttonText(
        status_->fontMetrics().elidedText(status, Qt::ElideMiddle, status_->width() - 2 * Space::small)));
    status_->setToolTip(status);
    status_->setAccessibleName(status);
}

void StatusLine::showSpace() {
    using State = VolumeSpaces::State;
    VolumeSpaces::Answer answer;
    if (!app_.selectedWorkspaceID())
        answer = app_.services().spaces.of(app_.currentPane().location());
    const bool isKnown = answer.state == State::known && answer.space.total > 0;
    const bool isSilent = answer.state == State::silent;
    space_->setVisible(isKnown || isSilent);
    if (isKnown)
        space_->setText(ours(formatByteCount(answer.space.free)) + QStringLiteral(" free"));
    else if (isSilent)
        space_->setText(QStringLiteral("Volume not answering"));
    space_->setToolTip(isKnown ? ours(VolumeSpaces::words(answer.space)) : QString());
}

void StatusLine::showSize() {
    const auto& preferences = app_.currentPane().preferences();
    sizes_->setVisible(preferences.view == BrowserViewMode::grid && !app_.selectedWorkspaceID());
    if (resizing_.isActive() || sizes_->isSliderDown())
        return;
    const QSignalBlocker quiet(sizes_);
    sizes_->setValue(
        static_cast<int>(std::clamp<double>(std::round(preferences.iconSize), smallestIcon, largestIcon)));
}

void StatusLine::takeSize() {
    auto preferences = app_.currentPane().preferences();
    if (std::lround(preferences.iconSize) == sizes_->value())
        return;
    preferences.iconSize = sizes_->value();
    app_.currentPane().setPreferences(preferences);
}

} // namespace morv
