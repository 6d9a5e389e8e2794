#include "MorvApp/Views/Theme/ItemBack.h"

#include "MorvApp/Views/Theme/Theme.h"

#include <QPainter>
#include <algorithm>

namespace morv {

namespace {

constexpr double targetRing = 2;
constexpr double selectedFrame = 2;
constexpr double hoverFrame = 1;

QColor fillOf(ItemState state) {
    const auto& colours = Theme::shared().colours();
    if (state.isTarget)
        return colours.selection;
    if (state.isPressed)
        return colours.quietSelection;
    if (state.isSelected)
        return state.hasKeyboard ? colours.selection : colours.quietSelection;
    return state.isHovered ? colours.hover : QColor(Qt::transparent);
}

double ringOf(ItemState state) {
    const double focus = Theme::shared().focusWidth();
    if (state.isTarget)
        return std::max(targetRing, focus);
    return state.isCurrent && state.hasKeyboard ? focus : 0;
}

/// The line beside the ring that stands in for a colour.
double frameOf(ItemState state) {
    if (Theme::shared().look().contrast != Contrast::high)
        return 0;
    if (state.isSelected)
        return selectedFrame;
    return ringOf(state) == 0 && (state.isHovered || state.isPressed) ? hoverFrame : 0;
}

} // namespace

void paintItemBack(QPainter& painter, const QRectF& area, ItemState state) {
    const auto& colours = Theme::shared().colours();
    const auto rounded = [&](double inset) {
        painter.drawRoundedRect(area.adjusted(inset, inset, -inset, -inset), Space::radius, Space::radius);
    };
    const double ring = ringOf(state);
    painter.setBrush(fillOf(state));
    painter.setPen(ring > 0 ? QPen(colours.accent, ring) : QPen(Qt::NoPen));
    rounded(1 + ring / 2);
    if (const double frame = frameOf(state); frame > 0) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(colours.text, frame));
        rounded(1 + ring + frame / 2);
    }
}

} // namespace morv
