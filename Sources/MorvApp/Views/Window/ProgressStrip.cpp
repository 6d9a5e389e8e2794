#include "MorvApp/Views/Window/ProgressStrip.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvCore/Foundation/ByteCount.h"

#include <QApplication>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QProgressBar>
#include <QPushButton>
#include <QShortcut>
#include <QToolButton>
#include <algorithm>
#include <chrono>
#include <cmath>

namespace morv {

namespace {

constexpr int barSteps = 1000;
constexpr double minute = 60;
constexpr double hour = 3600;
/// Seconds after which it is told how long something has been going on.
constexpr double shortWait = 3;

QString timeInWords(double seconds) {
    if (seconds < 5)
        return QStringLiteral("a few seconds left");
    if (seconds < minute)
        return QStringLiteral("about %1 seconds left").arg(static_cast<int>(std::ceil(seconds / 5) * 5));
    if (seconds < hour) {
        const int minutes = static_cast<int>(std::lround(seconds / minute));
        return QStringLiteral("about %1 minute%2 left")
            .arg(minutes)
            .arg(minutes == 1 ? QString() : QStringLiteral("s"));
    }
    return QStringLiteral("about %1 hours left").arg(QLocale().toString(seconds / hour, 'f', 1));
}

} // namespace

ProgressStrip::ProgressStrip(AppModel& app, QWidget* parent)
    : QFrame(parent), app_(app), phase_(new QLabel(this)), amounts_(new QLabel(this)),
      bar_(new QProgressBar(this)), waiting_(new QToolButton(this)),
      escape_(new QShortcut(QKeySequence(Qt::Key_Escape), this)) {
    setObjectName(QStringLiteral("bar"));
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(Space::large, Space::small, Space::large, Space::small);
    grid->setHorizontalSpacing(Space::large);
    grid->setVerticalSpacing(Space::tiny);
    phase_->setTextFormat(Qt::PlainText);
    phase_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    amounts_->setObjectName(QStringLiteral("secondary"));
    bar_->setTextVisible(false);
    bar_->setAccessibleName(QStringLiteral("Progress"));
    waiting_->setObjectName(QStringLiteral("waitingOperations"));
    waiting_->setFocusPolicy(Qt::TabFocus);
    waiting_->setToolTip(QStringLiteral("Show what waits in Activity"));
    connect(waiting_, &QToolButton::clicked, &app_, &AppModel::showActivity);
    auto* cancel = new QPushButton(QStringLiteral("Cancel"), this);
    cancel->setObjectName(QStringLiteral("cancelOperation"));
    connect(cancel, &QPushButton::clicked, &app_, [this] {
        // What is shown is what is stopped.
        const bool isPlan =
            app_.progress() && app_.isPlanning() && app_.progress()->phase == OperationPhase::reading;
        if (isPlan)
            app_.cancelPlanning();
        else
            app_.cancelOperation();
    });
    grid->addWidget(phase_, 0, 0);
    grid->addWidget(amounts_, 0, 1);
    grid->addWidget(bar_, 1, 0, 1, 2);
    grid->addWidget(waiting_, 0, 2, 2, 1);
    grid->addWidget(cancel, 0, 3, 2, 1);
    grid->setColumnStretch(0, 1);
    connect(escape_, &QShortcut::activated, &app_, &AppModel::cancelPlanning);
    connect(&app_, &AppModel::progressChanged, this, &ProgressStrip::update);
    connect(&app_, &AppModel::receiptsChanged, this, &ProgressStrip::updateWaiting);
    connect(&app_, &AppModel::sheetChanged, this, &ProgressStrip::updateEscape);
    connect(&app_, &AppModel::reviewPlanChanged, this, &ProgressStrip::updateEscape);
    connect(qApp, &QApplication::focusChanged, this, &ProgressStrip::updateEscape);
    seconds_.setInterval(std::chrono::seconds(1));
    connect(&seconds_, &QTimer::timeout, this, &ProgressStrip::update);
    update();
    updateWaiting();
}

void ProgressStrip::update() {
    const auto& progress = app_.progress();
    setVisible(progress.has_value());
    updateEscape();
    if (!progress) {
        begun_.invalidate();
        return seconds_.stop();
    }
    if (!seconds_.isActive())
        seconds_.start();
    if (!begun_.isValid() || shownID_ != progress->id) {
        shownID_ = progress->id;
        begun_.start();
    }
    auto text = ours(displayName(progress->phase));
    if (!progress->name.empty())
        text += QStringLiteral(" “") + shownBriefly(progress->name) + QStringLiteral("”");
    phase_->setText(phase_->fontMetrics().elidedText(text, Qt::ElideMiddle, std::max(phase_->width(), 120)));
    auto told = amounts(*progress);
    // Where the end is not known, how long it has been going on is.
    if (const auto elapsed = static_cast<double>(begun_.elapsed()) / 1000;
        elapsed >= shortWait && !progress->timeLeft())
        told += QStringLiteral(" · ") + shownDuration(elapsed);
    amounts_->setText(told);
    fill(*bar_, &*progress);
}

void ProgressStrip::updateWaiting() {
    const auto count = static_cast<std::size_t>(
        std::ranges::count(app_.receipts(), OperationStatus::queued, &OperationReceipt::status));
    waiting_->setVisible(count > 0);
    waiting_->setText(shownCount(count, "waiting", "waiting"));
}

void ProgressStrip::updateEscape() {
    const auto* focus = QApplication::focusWidget();
    escape_->setEnabled(app_.isPlanning() && !app_.sheet() && !app_.reviewPlan() &&
                        !qobject_cast<const QLineEdit*>(focus));
}

void ProgressStrip::fill(QProgressBar& bar, const OperationProgress* progress) {
    if (!progress || progress->bytesTotal <= 0)
        return bar.setRange(0, 0);
    bar.setRange(0, barSteps);
    bar.setValue(static_cast<int>(static_cast<double>(progress->bytesDone) * barSteps /
                                  static_cast<double>(progress->bytesTotal)));
}

QString ProgressStrip::words(const OperationProgress& progress) {
    auto text = ours(displayName(progress.phase));
    if (!progress.name.empty())
        text += QStringLiteral(" “") + shownBriefly(progress.name) + QStringLiteral("”");
    const auto told = amounts(progress);
    return told.isEmpty() ? text : text + QStringLiteral(" · ") + told;
}

QString ProgressStrip::amounts(const OperationProgress& progress) {
    QStringList parts;
    // Of what is still being found only what was found can be told.
    if (progress.itemsTotal == 0 && progress.itemsDone > 1)
        parts << shownCount(static_cast<std::size_t>(progress.itemsDone));
    if (progress.bytesTotal > 0)
        parts << ours(formatByteCount(progress.bytesDone)) + QStringLiteral(" of ") +
                     ours(formatByteCount(progress.bytesTotal));
    else if (progress.bytesDone > 0)
        parts << ours(formatByteCount(progress.bytesDone));
    if (progress.itemsTotal > 1)
        parts << QStringLiteral("%1 of %2")
                     .arg(QLocale().toString(static_cast<qlonglong>(progress.itemsDone)),
                          shownCount(static_cast<std::size_t>(progress.itemsTotal)));
    if (progress.bytesPerSecond >= 1)
        parts << ours(formatByteCount(std::llround(progress.bytesPerSecond))) + QStringLiteral("/s");
    if (const auto left = progress.timeLeft())
        parts << timeInWords(*left);
    return parts.join(QStringLiteral(" · "));
}

} // namespace morv
