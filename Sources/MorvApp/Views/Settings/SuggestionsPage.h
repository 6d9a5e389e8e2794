// What Morv remembers of where the user files things, how long, where, and how to be rid of it. Main thread.
#pragma once

#include "MorvApp/Model/SuggestionMemoryModel.h"
#include "MorvApp/Views/Settings/SettingsPage.h"

#include <functional>

class QListWidget;
class QPushButton;
class QSpinBox;

namespace morv {

class SuggestionsPage : public SettingsPage {
    Q_OBJECT

public:
    SuggestionsPage(SQLiteStore& store, TaskPools& pools, QWidget* parent);

    /// As the button does, at a place that is already known.
    SuggestionMemoryModel& memory() { return memory_; }

protected:
    void refresh() override;

private:
    void buildPolicy();
    void buildRoots();
    void buildRecords();
    void change(const std::function<void(SuggestionMemoryPreferences&)>& apply);
    void addExcluded();
    void removeExcluded();
    void exportRecords();
    void confirmClearing();
    /// Asks first when records may go.
    void takeDays();
    void restoreDays();
    void show();

    SuggestionMemoryModel memory_;
    QCheckBox* enabled_ = nullptr;
    QCheckBox* suggests_ = nullptr;
    QSpinBox* days_ = nullptr;
    bool isAskingDays_ = false;
    QListWidget* excluded_ = nullptr;
    QPushButton* removeRoot_ = nullptr;
    QLabel* count_ = nullptr;
    QPushButton* export_ = nullptr;
    QPushButton* clear_ = nullptr;
    QLabel* message_ = nullptr;
};

} // namespace morv
