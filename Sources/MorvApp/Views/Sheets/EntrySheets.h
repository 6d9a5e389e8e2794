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

/// Asks for the tags that the selected items shall have in place of theirs.
class TagsSheet : public Sheet {
    Q_OBJECT

public:
    TagsSheet(AppModel& app, QWidget* window);
};

} // namespace morv
