// What a drop will do, beside the pointer of the drag. One for each window, over everything but sheets. Main
// thread.
#pragma once

#include <QPoint>
#include <QString>

class QWidget;

namespace morv::DropLabel {

/// At a point of `surface`; an empty text hides it.
void show(QWidget& surface, QPoint point, const QString& text);
void hide(QWidget& surface);

} // namespace morv::DropLabel
