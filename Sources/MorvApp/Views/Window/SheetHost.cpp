#include "MorvApp/Views/Window/SheetHost.h"

#include "MorvApp/Views/Sheets/AboutSheet.h"
#include "MorvApp/Views/Sheets/ActivitySheet.h"
#include "MorvApp/Views/Sheets/ConnectSheet.h"
#include "MorvApp/Views/Sheets/EditorSheet.h"
#include "MorvApp/Views/Sheets/EntrySheets.h"
#include "MorvApp/Views/Sheets/FolderAppearanceSheet.h"
#include "MorvApp/Views/Sheets/FolderGlanceSheet.h"
#include "MorvApp/Views/Sheets/IntroductionSheet.h"
#include "MorvApp/Views/Sheets/KeyBindingsSheet.h"
#include "MorvApp/Views/Sheets/QuickActionsSheet.h"
#include "MorvApp/Views/Sheets/RenameSheet.h"
#include "MorvApp/Views/Sheets/ReviewSheet.h"
#include "MorvApp/Views/Sheets/TagsSheet.h"
#include "MorvApp/Views/Sheets/ViewOptionsSheet.h"
#include "MorvApp/Views/Window/WindowActions.h"
#include "MorvApp/Views/Workspaces/WorkspaceSheet.h"

#include <utility>

namespace morv {

SheetHost::SheetHost(AppModel& app, WindowActions& actions, QWidget* window)
    : app_(app), actions_(actions), window_(window) {
    connect(&app_, &AppModel::reviewPlanChanged, this, &SheetHost::update);
    connect(&app_, &AppModel::sheetChanged, this, &SheetHost::update);
    auto& windows = app_.services().windows;
    connect(&windows, &FileWindows::introductionTargetChanged, this, [this, &windows] {
        if (windows.introductionTarget() == &app_)
            app_.showSheet(AppSheet::introduction);
    });
    connect(&app_, &AppModel::sheetChanged, this, [this, &windows] {
        if (app_.sheet() != AppSheet::introduction)
            windows.introductionEnded(app_);
    });
}

SheetHost::~SheetHost() {
    // It refers to the model, which may go before the window does.
    delete sheet_;
}

void SheetHost::update() {
    // What was unchecked in a review stands, whatever is to be shown after it.
    const auto* review = qobject_cast<ReviewSheet*>(sheet_.data());
    if (review && app_.reviewPlan() && review->planID() == app_.reviewPlan()->id)
        return;
    if (sheet_) {
        Q_EMIT leaving();
        std::exchange(sheet_, nullptr)->leave();
    }
    const bool isWanted = app_.reviewPlan() || app_.sheet();
    actions_.setAsleep(isWanted);
    if (!isWanted)
        return;
    if (app_.reviewPlan())
        sheet_ = new ReviewSheet(app_, *app_.reviewPlan(), window_);
    else
        sheet_ = make(*app_.sheet());
    if (!sheet_)
        app_.closeSheet();
}

Sheet* SheetHost::make(AppSheet wanted) {
    switch (wanted) {
    case AppSheet::activity:
        return new ActivitySheet(app_, window_);
    case AppSheet::newFolder:
        return new NewFolderSheet(app_, window_);
    case AppSheet::rename:
        return new RenameSheet(app_, window_);
    case AppSheet::tags:
        return new TagsSheet(app_, window_);
    case AppSheet::workspace:
    case AppSheet::editWorkspace:
        return new WorkspaceSheet(app_, window_);
    case AppSheet::connect:
        return new ConnectSheet(app_, window_);
    case AppSheet::commands:
        return new QuickActionsSheet(app_, window_);
    case AppSheet::chooseEditor:
        return new EditorSheet(app_, window_);
    case AppSheet::keyBindings:
        return new KeyBindingsSheet(app_, window_);
    case AppSheet::introduction:
        return new IntroductionSheet(app_, window_);
    case AppSheet::about:
        return new AboutSheet(app_, window_);
    case AppSheet::viewOptions:
        return new ViewOptionsSheet(app_, window_);
    case AppSheet::appearance:
        // The command needs the one folder; that it is still there nobody has promised.
        if (const auto selected = app_.currentPane().selectedEntries(); selected.size() == 1)
            return new FolderAppearanceSheet(app_, selected.front()->url(), window_);
        return nullptr;
    case AppSheet::glance:
        if (const auto selected = app_.currentPane().selectedEntries(); selected.size() == 1)
            return new FolderGlanceSheet(app_, *selected.front(), window_);
        return nullptr;
    default:
        return nullptr;
    }
}

} // namespace morv
