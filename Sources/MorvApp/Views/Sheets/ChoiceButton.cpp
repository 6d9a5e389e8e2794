#include "MorvApp/Views/Sheets/ChoiceButton.h"

#include "MorvApp/Views/Theme/Theme.h"

#include <QPainter>
#include <utility>

namespace morv {

namespace {

constexpr int side = 40;
constexpr double content = 24;

} // namespace

ChoiceButton::ChoiceButton(const QString& title, Shape shape, Draw draw, QWidget* parent)
    : QAbstractButton(parent), shape_(shape), draw_(std::move(draw)) {
    setCheckable(true);
    setToolTip(title);
    setAccessibleName(title);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_Hover);
    setFixedSize(sizeHint());
}

QSize ChoiceButton::sizeHint() const {
    return {side, side};
}

void ChoiceButton::paintEvent(QPaintEvent*) {
    const auto& colours = Theme::shared().colours();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const auto frame = QRectF(rect()).adjusted(2, 2, -2, -2);
    const double radius = shape_ == Shape::round ? frame.width() / 2 : Space::radius;
    // What is chosen carries a ring, what has the keyboard a stronger one.
    painter.setPen(isChecked()  ? QPen(colours.accent, hasFocus() ? 2.5 : 1.5)
                   : hasFocus() ? QPen(colours.secondaryText, 1.5)
                                : QPen(Qt::NoPen));
    painter.setBrush(isChecked() && shape_ == Shape::square ? colours.selection
                     : underMouse()                         ? colours.hover
                                                            : QColor(Qt::transparent));
    painter.drawRoundedRect(frame, radius, radius);
    QRectF inner(0, 0, content, content);
    inner.moveCenter(QRectF(rect()).center());
    painter.setPen(Qt::NoPen);
    draw_(painter, inner);
}

} // namespace morv
