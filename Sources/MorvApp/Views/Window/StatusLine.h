// The line under the files: how many there are, what is selected, and how the last operation went. Main
// thread.
#pragma once

#include "MorvApp/Model/AppModel.h"

#include <QBasicTimer>
#include <QFrame>

class QLabel;

namespace morv {

class StatusLine : public QFrame {
    Q_OBJECT

public:
    explicit StatusLine(AppModel& app, QWidget* parent = nullptr);

protected:
    void timerEvent(QTimerEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void schedule();
    void update();

    AppModel& app_;
    QLabel* counts_;
    QLabel* status_;
    QBasicTimer pending_;
};

} // namespace morv
