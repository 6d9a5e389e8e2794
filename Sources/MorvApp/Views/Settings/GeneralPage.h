// Where windows begin, what Return does, what is shown, and who opens folders. Main thread.
#pragma once

#include "MorvApp/Model/FolderHandlerModel.h"
#include "MorvApp/Views/Settings/SettingsPage.h"

class QComboBox;
class QPushButton;

namespace morv {

class MorvServices;

class GeneralPage : public SettingsPage {
    Q_OBJECT

public:
    GeneralPage(MorvServices& services, QWidget* parent);

protected:
    void refresh() override;

private:
    void buildWindows();
    void buildHandler();
    void chooseFirst(int index);
    void chooseFolder();
    void showFirstFolder();
    void showReturnKey();
    void showHandler();

    MorvServices& services_;
    FolderHandlerModel handler_;
    QComboBox* firstFolder_ = nullptr;
    QLabel* chosenFolder_ = nullptr;
    QComboBox* returnKey_ = nullptr;
    QCheckBox* hidden_ = nullptr;
    QLabel* handlerState_ = nullptr;
    QLabel* handlerFailure_ = nullptr;
    QPushButton* makeDefault_ = nullptr;
    QPushButton* restore_ = nullptr;
};

} // namespace morv
