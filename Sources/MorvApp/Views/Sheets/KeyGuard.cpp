#include "MorvApp/Views/Sheets/KeyGuard.h"

#include <QApplication>
#include <QKeyEvent>
#include <QWidget>

namespace morv {

KeyGuard::KeyGuard(QWidget& sheet, Clock clock)
    : QObject(&sheet), sheet_(sheet), clock_(std::move(clock)), last_(clock_()),
      first_(QApplication::focusWidget()) {
    // Whatever in the sheet has the keyboard would take the key before the sheet does.
    qApp->installEventFilter(this);
}

bool KeyGuard::isOver() const {
    return clock_() - last_ >= pause || QApplication::focusWidget() != first_;
}

bool KeyGuard::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress)
        return false;
    const auto* widget = qobject_cast<QWidget*>(watched);
    if (!widget || (widget != &sheet_ && !sheet_.isAncestorOf(widget)))
        return false;
    if (isOver()) {
        qApp->removeEventFilter(this);
        deleteLater();
        return false;
    }
    last_ = clock_();
    const int key = static_cast<QKeyEvent*>(event)->key();
    return key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_Space;
}

} // namespace morv
