// The keys of every command, over the window. Main thread.
#pragma once

#include "MorvApp/Views/Sheets/Sheet.h"

namespace morv {

class AppModel;

class KeyBindingsSheet : public Sheet {
    Q_OBJECT

public:
    KeyBindingsSheet(AppModel& app, QWidget* window);
};

} // namespace morv
