// What Morv keeps, where, and how much of it. Main thread.
#pragma once

#include "MorvApp/Model/StoredData.h"
#include "MorvApp/Views/Settings/SettingsPage.h"

namespace morv {

class MorvServices;

class DataPage : public SettingsPage {
    Q_OBJECT

public:
    DataPage(MorvServices& services, QWidget* parent);

protected:
    void refresh() override;

private:
    QLabel* addFact(const char* name, const QString& label);
    void show();

    MorvServices& services_;
    StoredData data_;
    QLabel* bytes_;
    QLabel* receipts_;
    QLabel* workspaces_;
    QLabel* records_;
    QLabel* failure_;
};

} // namespace morv
