// What can be done with the selected items outside of Morv. Main thread.
#pragma once

class QMenu;
class QWidget;

namespace morv {

class AppModel;

/// Deletes itself when it is closed.
QMenu* makeShareMenu(AppModel& app, QWidget* parent);

} // namespace morv
