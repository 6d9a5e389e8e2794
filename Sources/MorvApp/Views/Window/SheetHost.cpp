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
    // They refer to the model, which may go before the window does.
    delete review_;
    delete sheet_;
}

Sheet* SheetHost::sheet() const {
    return review_ ? review_.data() : sheet_.data();
}

void SheetHost::update() {
    if (sheet_ && app_.sheet() != shown_)
        end(sheet_);
    // What was unchecked in a review stands, whatever is to be shown after it.
    if (review_ && (!app_.reviewPlan() || review_->planID() != app_.reviewPlan()->id))
        end(review_);
    actions_.setAsleep(app_.reviewPlan() || app_.sheet());
    if (app_.reviewPlan())
        showReview();
    else if (app_.sheet())
        showSheet();
}

template <class Kind>
void SheetHost::end(QPointer<Kind>& sheet) {
    const bool wasSeen = !sheet->isHidden();
    if (wasSeen)
        Q_EMIT leaving();
    std::exchange(sheet, nullptr)->leave();
}

void SheetHost::showReview() {
    if (review_)
        return;
    if (sheet_) {
        sheet_->stepAside();
        Q_EMIT leaving();
    }
    review_ = new ReviewSheet(app_, *app_.reviewPlan(), window_);
    review_->guardKeys();
}

void SheetHost::showSheet() {
    if (sheet_) {
        if (sheet_->isHidden())
            sheet_->comeBack();
        return;
    }
    shown_ = app_.sheet();
    sheet_ = make(*shown_);
    if (!sheet_)
        app_.closeSheet();
    else if (app_.sheetCameByItself())
        sheet_->guardKeys();
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
