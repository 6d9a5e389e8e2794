// What a person should know before the first operation, in four panels: what is planned, what is confirmed, what is
// kept, and where. Ends as seen, by its last button or by Skip; Escape goes a panel back, and leaves from the first
// one only when the introduction was seen before. Main thread.
#pragma once

#include "MorvApp/Views/Sheets/Sheet.h"

#include <cstddef>

class QLabel;

namespace morv {

class AppModel;
class IntroductionArt;

class IntroductionSheet : public Sheet {
    Q_OBJECT

public:
    IntroductionSheet(AppModel& app, QWidget* window);

private:
    void forward();
    void back();
    void showPanel();
    void end();

    AppModel& app_;
    bool wasSeen_;
    std::size_t panel_ = 0;
    IntroductionArt* art_;
    QLabel* heading_;
    QLabel* text_;
    QLabel* place_;
    QPushButton* back_;
    QPushButton* skip_;
    QPushButton* next_;
};

} // namespace morv
