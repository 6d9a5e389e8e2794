// Folder at a Glance: how much a folder holds, of which kinds, and the names of two levels. Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Sheets/Sheet.h"

namespace morv {

class FolderGlanceSheet : public Sheet {
    Q_OBJECT

public:
    FolderGlanceSheet(AppModel& app, const FileEntry& folder, QWidget* window);

private:
    QWidget* buildHead();

    AppModel& app_;
    const FileEntry folder_;
};

} // namespace morv
