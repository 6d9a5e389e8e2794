#include "MorvApp/Views/Drag/DropLabel.h"

#include "MorvApp/Views/Theme/Theme.h"

#include <QLabel>
#include <QWidget>
#include <algorithm>

namespace morv {

namespace {

/// Clear of the pointer and of the sign that the system draws beside it.
constexpr QPoint besidePointer{Space::large, Space::huge};
constexpr int widest = 360;
constexpr auto labelName = "dropLabel";

QLabel* labelOf(QWidget& surface) {
    return surface.window()->findChild<QLabel*>(QLatin1String(labelName), Qt::FindDirectChildrenOnly);
}

} // namespace

void DropLabel::show(QWidget& surface, QPoint point, const QString& text) {
    auto* label = labelOf(surface);
    if (text.isEmpty())
        return label ? label->hide() : void();
    auto* window = surface.window();
    if (!label) {
        label = new QLabel(window);
        label->setObjectName(QLatin1String(labelName));
        label->setTextFormat(Qt::PlainText);
        label->setAttribute(Qt::WA_TransparentForMouseEvents);
    }
    label->setText(label->fontMetrics().elidedText(text, Qt::ElideMiddle, widest));
    label->adjustSize();
    const auto room = window->rect().adjusted(Space::tiny, Space::tiny, -Space::tiny, -Space::tiny);
    auto place = surface.mapTo(window, point) + besidePointer;
    place.setX(std::max(room.left(), std::min(place.x(), room.right() - label->width())));
    if (place.y() + label->height() > room.bottom())
        place.setY(surface.mapTo(window, point).y() - label->height() - Space::small);
    label->move(place);
    label->raise();
    label->show();
}

void DropLabel::hide(QWidget& surface) {
    if (auto* label = labelOf(surface))
        label->hide();
}

} // namespace morv
