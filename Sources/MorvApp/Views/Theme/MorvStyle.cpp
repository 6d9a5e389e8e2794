#include "MorvApp/Views/Theme/MorvStyle.h"

#include "MorvApp/Views/Theme/Theme.h"

#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QStyleOption>

namespace morv {

namespace {

constexpr int indicator = 16;
constexpr double corner = 4;
constexpr double dot = 3;

struct Outline {
    QColor line;
    QColor fill;
    double width;
};

Outline outlineOf(QStyle::State state, bool isMarked) {
    const auto& theme = Theme::shared();
    const auto& colours = theme.colours();
    const bool isHigh = theme.look().contrast == Contrast::high;
    Outline outline{colours.secondaryText, colours.raised, isHigh ? 2.0 : 1.0};
    if (isMarked)
        outline = {isHigh ? colours.text : colours.accent, colours.accent, outline.width};
    if (!state.testFlag(QStyle::State_Enabled))
        outline.fill = isMarked ? colours.secondaryText : colours.window;
    if (!state.testFlag(QStyle::State_Enabled) && !isHigh)
        outline.line = colours.separator;
    return outline;
}

void drawCheckBox(QPainter& painter, const QRectF& box, QStyle::State state) {
    const bool isPartial = state.testFlag(QStyle::State_NoChange);
    const bool isMarked = isPartial || state.testFlag(QStyle::State_On);
    const auto [line, fill, width] = outlineOf(state, isMarked);
    const double inset = width / 2;
    painter.setPen(QPen(line, width));
    painter.setBrush(fill);
    painter.drawRoundedRect(box.adjusted(inset, inset, -inset, -inset), corner, corner);
    if (!isMarked)
        return;
    painter.setPen(QPen(Theme::shared().colours().accentText, 2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    const auto at = [&](double x, double y) { return box.topLeft() + QPointF(x, y); };
    QPainterPath mark(isPartial ? at(4.5, 8) : at(4, 8.4));
    if (!isPartial)
        mark.lineTo(at(6.8, 11.2));
    mark.lineTo(isPartial ? at(11.5, 8) : at(12, 5.4));
    painter.drawPath(mark);
}

void drawRadioButton(QPainter& painter, const QRectF& box, QStyle::State state) {
    const bool isMarked = state.testFlag(QStyle::State_On);
    const auto [line, fill, width] = outlineOf(state, isMarked);
    const double inset = width / 2;
    painter.setPen(QPen(line, width));
    painter.setBrush(fill);
    painter.drawEllipse(box.adjusted(inset, inset, -inset, -inset));
    if (!isMarked)
        return;
    painter.setPen(Qt::NoPen);
    painter.setBrush(Theme::shared().colours().accentText);
    painter.drawEllipse(box.center(), dot, dot);
}

} // namespace

MorvStyle::MorvStyle() : QProxyStyle(QStringLiteral("Fusion")) {}

void MorvStyle::polish(QWidget* widget) {
    QProxyStyle::polish(widget);
    // Tooltips, messages and lines of status tell names of files. One that looks like HTML would be taken for it,
    // and could have other files read in whole for a picture.
    if (auto* label = qobject_cast<QLabel*>(widget); label && label->textFormat() == Qt::AutoText)
        label->setTextFormat(Qt::PlainText);
}

int MorvStyle::styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                         QStyleHintReturn* answer) const {
    if (hint == SH_Widget_Animation_Duration || hint == SH_Widget_Animate)
        return Theme::shared().motion().press;
    return QProxyStyle::styleHint(hint, option, widget, answer);
}

int MorvStyle::pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const {
    switch (metric) {
    case PM_IndicatorWidth:
    case PM_IndicatorHeight:
    case PM_ExclusiveIndicatorWidth:
    case PM_ExclusiveIndicatorHeight:
        return indicator;
    default:
        return QProxyStyle::pixelMetric(metric, option, widget);
    }
}

void MorvStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                              const QWidget* widget) const {
    const bool isCheck = element == PE_IndicatorCheckBox || element == PE_IndicatorItemViewItemCheck;
    if (!isCheck && element != PE_IndicatorRadioButton)
        return QProxyStyle::drawPrimitive(element, option, painter, widget);
    QRectF box(0, 0, indicator, indicator);
    box.moveCenter(QRectF(option->rect).center());
    // On whole pixels, so that its lines are sharp.
    box.moveTopLeft(QPointF(box.topLeft().toPoint()));
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    isCheck ? drawCheckBox(*painter, box, option->state) : drawRadioButton(*painter, box, option->state);
    painter->restore();
}

} // namespace morv
