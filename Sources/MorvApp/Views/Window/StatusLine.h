// The line under the files: how many there are, what is selected, how the last operation went, how much room
// there is, and how large the icons are. Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"

#include <QBasicTimer>
#include <QFrame>

class QLabel;
class QPushButton;
class QSlider;

namespace morv {

class StatusLine : public QFrame {
    Q_OBJECT

public:
    explicit StatusLine(AppModel& app, QWidget* parent = nullptr);

protected:
    void timerEvent(QTimerEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void build();
    QSlider* makeSizes();
    void schedule();
    void update();
    void showCounts();
    void showStatus();
    void showSpace();
    void showSize();
    void takeSize();

    AppModel& app_;
    QLabel* counts_;
    QPushButton* status_;
    QLabel* space_;
    QSlider* sizes_;
    QBasicTimer pending_;
    QBasicTimer resizing_;
};

} // namespace morv
