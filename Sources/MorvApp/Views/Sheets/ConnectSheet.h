// Where a server's address is typed, and what the server asks is answered. Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Model/ServerConnection.h"
#include "MorvApp/Views/Sheets/Sheet.h"

class QCheckBox;
class QFormLayout;
class QLineEdit;
class QListWidget;

namespace morv {

class ConnectSheet : public Sheet {
    Q_OBJECT

public:
    ConnectSheet(AppModel& app, QWidget* window);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QWidget* buildAddress();
    QWidget* buildQuestion();
    void follow();
    void showRecent();
    void showQuestion();
    void showChoices();
    void showHint();
    void act();
    void back();
    ServerAnswer answerOf(int choice) const;

    AppModel& app_;
    ServerConnection connection_;
    QWidget* addressPage_;
    QWidget* questionPage_;
    QLineEdit* address_;
    QLabel* hint_;
    QLabel* recentTitle_;
    QListWidget* recent_;
    QLabel* message_;
    QFormLayout* form_;
    QLineEdit* user_;
    QLineEdit* domain_;
    QLineEdit* password_;
    QCheckBox* guest_;
    QCheckBox* remember_;
    QVBoxLayout* choices_;
    QLabel* note_;
    QPushButton* cancel_;
    QPushButton* act_;
};

} // namespace morv
