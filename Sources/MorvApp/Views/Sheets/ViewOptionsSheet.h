// How the current folder is shown: every choice takes effect at once and is kept for this folder. Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Sheets/Sheet.h"

#include <functional>

class QAbstractButton;
class QButtonGroup;
class QCheckBox;
class QComboBox;
class QLabel;
class QSlider;

namespace morv {

class WindowActions;

class ViewOptionsSheet : public Sheet {
    Q_OBJECT

public:
    ViewOptionsSheet(AppModel& app, QWidget* window);

private:
    QWidget* buildViews();
    QComboBox* addChoice(const QString& title, const char* name);
    void change(const std::function<void(FolderViewPreferences&)>& apply);
    void showPresent();

    AppModel& app_;
    QLabel* folder_;
    QButtonGroup* views_;
    QComboBox* sort_ = nullptr;
    QComboBox* direction_ = nullptr;
    QComboBox* grouping_ = nullptr;
    QSlider* size_ = nullptr;
    QLabel* sizeText_ = nullptr;
    QCheckBox* hidden_ = nullptr;
};

} // namespace morv
