// "Open With": the applications that can open all of some files, looked up when the menu is shown. Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Model/ApplicationCatalogue.h"
#include "MorvApp/Views/Theme/ApplicationIcons.h"

#include <QMenu>

namespace morv {

class OpenWithMenu : public QMenu {
    Q_OBJECT

public:
    /// `app` outlives it.
    OpenWithMenu(AppModel& app, std::vector<FileURL> items, QWidget* parent);

private:
    void lookUp();
    void fill(const std::vector<InstalledApplication>& applications);
    void say(const QString& sentence);

    AppModel& app_;
    std::vector<FileURL> items_;
    bool isAsked_ = false;
    ApplicationIcons icons_;
    TaskScope tasks_;
};

} // namespace morv
