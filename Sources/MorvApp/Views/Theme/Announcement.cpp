#include "MorvApp/Views/Theme/Announcement.h"

#include <QAccessible>
#include <QWidget>

namespace morv {

void announce(QWidget& widget) {
    QAccessibleEvent event(&widget, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

} // namespace morv
