// Which Morv this is, and what it is made with. Main thread.
#pragma once

#include "MorvApp/Views/Sheets/Sheet.h"

namespace morv {

class AppModel;

class AboutSheet : public Sheet {
    Q_OBJECT

public:
    AboutSheet(AppModel& app, QWidget* window);
};

} // namespace morv
