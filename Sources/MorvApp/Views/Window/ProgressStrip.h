// What is being done right now: phase, name, bytes, rate, time left, and a way to stop it. Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"

#include <QFrame>

class QLabel;
class QProgressBar;
class QPushButton;

namespace morv {

class ProgressStrip : public QFrame {
    Q_OBJECT

public:
    explicit ProgressStrip(AppModel& app, QWidget* parent = nullptr);

    /// "1.2 GB of 3.4 GB · 120 MB/s · about 2 minutes left", as far as it is known.
    static QString amounts(const OperationProgress& progress);

private:
    void show(const OperationProgress& progress);

    AppModel& app_;
    QLabel* phase_;
    QLabel* amounts_;
    QProgressBar* bar_;
};

} // namespace morv
