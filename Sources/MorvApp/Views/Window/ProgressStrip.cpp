#include "MorvApp/Views/Window/ProgressStrip.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvCore/Foundation/ByteCount.h"

#include <QGridLayout>
#include <QLabel>
#include <QLocale>
#include <QProgressBar>
#include <QPushButton>
#include <cmath>

namespace morv {

namespace {

constexpr int barSteps = 1000;
constexpr double minute = 60;
constexpr double hour = 3600;

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

ProgressStrip::ProgressStrip(AppModel& app, QWidget* parent) : QFrame(parent), app_(app) {
    setObjectName(QStringLiteral("bar"));
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(Space::large, Space::small, Space::large, Space::small);
    grid->setHorizontalSpacing(Space::large);
    grid->setVerticalSpacing(Space::tiny);
    phase_ = new QLabel(this);
    phase_->setTextFormat(Qt::PlainText);
    phase_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    amounts_ = new QLabel(this);
    amounts_->setObjectName(QStringLiteral("secondary"));
    bar_ = new QProgressBar(this);
    bar_->setTextVisible(false);
    auto* cancel = new QPushButton(QStringLiteral("Cancel"), this);
    cancel->setObjectName(QStringLiteral("cancelOperation"));
    connect(cancel, &QPushButton::clicked, &app_, [this] { app_.cancelOperation(); });
    grid->addWidget(phase_, 0, 0);
    grid->addWidget(amounts_, 0, 1);
    grid->addWidget(bar_, 1, 0, 1, 2);
    grid->addWidget(cancel, 0, 2, 2, 1);
    grid->setColumnStretch(0, 1);
    connect(&app_, &AppModel::progressChanged, this, [this] {
        setVisible(app_.progress().has_value());
        if (app_.progress())
            show(*app_.progress());
    });
    setVisible(false);
}

void ProgressStrip::show(const OperationProgress& progress) {
    auto text = ours(displayName(progress.phase));
    if (!progress.name.empty())
        text += QStringLiteral(" “") + shown(progress.name) + QStringLiteral("”");
    phase_->setText(phase_->fontMetrics().elidedText(text, Qt::ElideMiddle, std::max(phase_->width(), 120)));
    amounts_->setText(amounts(progress));
    if (progress.bytesTotal > 0) {
        bar_->setRange(0, barSteps);
        bar_->setValue(static_cast<int>(static_cast<double>(progress.bytesDone) * barSteps /
                                        static_cast<double>(progress.bytesTotal)));
    } else {
        bar_->setRange(0, 0);
    }
}

QString ProgressStrip::amounts(const OperationProgress& progress) {
    QStringList parts;
    if (progress.bytesTotal > 0)
        parts << ours(formatByteCount(progress.bytesDone)) + QStringLiteral(" of ") +
                     ours(formatByteCount(progress.bytesTotal));
    else if (progress.bytesDone > 0)
        parts << ours(formatByteCount(progress.bytesDone));
    if (progress.itemsTotal > 1)
        parts << QStringLiteral("%1 of %2 items").arg(progress.itemsDone).arg(progress.itemsTotal);
    if (progress.bytesPerSecond >= 1)
        parts << ours(formatByteCount(std::llround(progress.bytesPerSecond))) + QStringLiteral("/s");
    if (const auto left = progress.timeLeft())
        parts << timeInWords(*left);
    return parts.join(QStringLiteral(" · "));
}

} // namespace morv
