#include "MorvApp/Views/Window/GitBadge.h"

#include "MorvApp/Model/GitStatusModel.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QLocale>
#include <QPainter>
#include <QPainterPath>
#include <QStyle>
#include <algorithm>

namespace morv {

namespace {

constexpr int badgeHeight = 22;
constexpr int symbolWidth = 12;
constexpr int widestBranch = 160;
/// The advance of a text is rounded, its elision is not.
constexpr int roundingRoom = 2;
/// Less of a name says nothing.
constexpr int narrowestBranch = 40;

/// A line with a second one that leaves it, in a square of 12.
void drawBranch(QPainter& painter, QPointF origin, const QColor& colour) {
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(origin);
    painter.setPen(QPen(colour, 1.3, Qt::SolidLine, Qt::RoundCap));
    painter.setBrush(Qt::NoBrush);
    constexpr double radius = 1.6;
    painter.drawEllipse(QPointF(3, 2.4), radius, radius);
    painter.drawEllipse(QPointF(3, 9.6), radius, radius);
    painter.drawEllipse(QPointF(9, 3.4), radius, radius);
    painter.drawLine(QPointF(3, 4), QPointF(3, 8));
    QPainterPath branch(QPointF(9, 5));
    branch.cubicTo(QPointF(9, 7), QPointF(3.4, 6), QPointF(3, 8));
    painter.drawPath(branch);
    painter.translate(-origin);
}

/// What a pointer that rests on it, or a screen reader, is told.
QString helpOf(const GitFolderStatus& status) {
    auto text = status.isDetached ? QStringLiteral("Detached HEAD")
                                  : QStringLiteral("Branch ") + shown(status.branch);
    return text + QStringLiteral(". ") + QLocale().toString(static_cast<qlonglong>(status.changedCount)) +
           QStringLiteral(" changed entries. Read-only local status; no fetch or pull. ");
}

} // namespace

GitBadge::GitBadge(const GitStatusModel& model, QWidget* parent) : QWidget(parent), model_(model) {
    setObjectName(QStringLiteral("gitBadge"));
    setFixedHeight(badgeHeight);
    setCursor(Qt::ArrowCursor);
    connect(&model_, &GitStatusModel::changed, this, &GitBadge::readModel);
    connect(&Theme::shared(), &Theme::changed, this, qOverload<>(&QWidget::update));
    hide();
    readModel();
}

void GitBadge::readModel() {
    const auto& status = model_.status();
    hasContent_ = status || model_.unavailable();
    branch_ = status ? shown(status->branch) : QString();
    count_ = status && status->changedCount > 0
                 ? QLocale().toString(static_cast<qlonglong>(status->changedCount))
                 : QString();
    if (status) {
        setAccessibleName(QStringLiteral("Git ") +
                          (status->isDetached ? QStringLiteral("detached revision") : branch_));
        setToolTip(helpOf(*status));
    } else {
        setAccessibleName(QStringLiteral("Git"));
        setToolTip(model_.unavailable() ? shown(*model_.unavailable()) : QString());
    }
    setAccessibleDescription(toolTip().trimmed());
    fitInto(room_);
    update();
}

void GitBadge::fitInto(int width) {
    room_ = width;
    constexpr int bare = 2 * Space::tiny + symbolWidth;
    const auto metrics = fontMetrics();
    const int count = count_.isEmpty() ? 0 : Space::small + metrics.horizontalAdvance(count_);
    const int wanted = std::min(metrics.horizontalAdvance(branch_) + roundingRoom, widestBranch);
    const int given = std::min(wanted, width - bare - Space::tiny - count);
    nameWidth_ = branch_.isEmpty() || given < std::min(wanted, narrowestBranch) ? 0 : given;
    showsCount_ = count > 0 && bare + count <= width;
    setFixedWidth(bare + (nameWidth_ > 0 ? Space::tiny + nameWidth_ : 0) + (showsCount_ ? count : 0));
}

void GitBadge::paintEvent(QPaintEvent*) {
    const auto& colours = Theme::shared().colours();
    QPainter painter(this);
    const bool isQuiet = branch_.isEmpty();
    auto colour = colours.secondaryText;
    if (isQuiet) {
        colour.setAlphaF(0.55F);
    } else {
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(colours.hover);
        painter.drawRoundedRect(rect(), Space::radius, Space::radius);
    }
    const auto placed = [this](const QRect& place) {
        return QStyle::visualRect(layoutDirection(), rect(), place);
    };
    const QRect symbol(Space::tiny, (badgeHeight - symbolWidth) / 2, symbolWidth, symbolWidth);
    drawBranch(painter, placed(symbol).topLeft(), colour);
    if (nameWidth_ > 0) {
        painter.setPen(colours.secondaryText);
        painter.drawText(placed(QRect(2 * Space::tiny + symbolWidth, 0, nameWidth_, badgeHeight)),
                         Qt::AlignVCenter | Qt::AlignLeft,
                         fontMetrics().elidedText(branch_, Qt::ElideMiddle, nameWidth_));
    }
    if (showsCount_) {
        painter.setPen(colours.text);
        painter.drawText(placed(rect().adjusted(0, 0, -Space::tiny, 0)), Qt::AlignVCenter | Qt::AlignRight,
                         count_);
    }
}

} // namespace morv
