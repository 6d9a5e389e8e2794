// What lies behind an item of a view of ours, and the frame around it: the states of docs/design.md.
#pragma once

class QPainter;
class QRectF;

namespace morv {

struct ItemState {
    bool isSelected = false;
    bool isCurrent = false; ///< has the keyboard once its view has
    bool isHovered = false;
    bool isPressed = false;   ///< for the moment of a press
    bool isTarget = false;    ///< of a drop
    bool hasKeyboard = false; ///< its view has
};

/// Within `area`, which is the item's own. In high contrast every state but none has a full line, and no two
/// the same.
void paintItemBack(QPainter& painter, const QRectF& area, ItemState state);

} // namespace morv
