// Light or dark, contrast and motion; everything follows at once. Main thread.
#pragma once

#include "MorvApp/Views/Settings/SettingsPage.h"

class QButtonGroup;

namespace morv {

class LookPreferences;

class AppearancePage : public SettingsPage {
    Q_OBJECT

public:
    AppearancePage(LookPreferences& look, QWidget* parent);

protected:
    void refresh() override;

private:
    LookPreferences& look_;
    QButtonGroup* appearances_;
    QCheckBox* contrast_;
    QCheckBox* motion_;
};

} // namespace morv
