// What appears without the keyboard going there is told to those who hear the window. Main thread.
#pragma once

class QWidget;

namespace morv {

/// `widget` has something to say, by its accessible name or its text.
void announce(QWidget& widget);

} // namespace morv
