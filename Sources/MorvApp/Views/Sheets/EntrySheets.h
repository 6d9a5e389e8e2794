// Small sheets with one field. Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Sheets/Sheet.h"

namespace morv {

/// Asks for the name of a new folder.
class NewFolderSheet : public Sheet {
    Q_OBJECT

public:
    NewFolderSheet(AppModel& app, QWidget* window);
};

} // namespace morv
