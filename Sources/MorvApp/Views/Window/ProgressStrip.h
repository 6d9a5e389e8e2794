// What is being done right now: phase, name, amounts, rate, time; how much waits behind it; and a way to stop it.
// While a plan is made Escape stops that too, where nothing else has the key. Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"

#include <QElapsedTimer>
#include <QFrame>
#include <QTimer>

class QLabel;
class QProgressBar;
class QPushButton;
class QShortcut;
class QToolButton;

namespace morv {

class ProgressStrip : public QFrame {
    Q_OBJECT

public:
    explicit ProgressStrip(AppModel& app, QWidget* parent = nullptr);

    /// "1.2 GB of 3.4 GB · 120 MB/s · about 2 minutes left", "12,345 items · 3.2 GB", as far as it is known.
    static QString amounts(const OperationProgress& progress);
    /// "Copying “Pictures” · ", then the amounts.
    static QString words(const OperationProgress& progress);
    /// How far it is; without an end that is known, or without a progress, only that it goes on.
    static void fill(QProgressBar& bar, const OperationProgress* progress);

private:
    void update();
    void updateWaiting();
    void updateEscape();

    AppModel& app_;
    QLabel* phase_;
    QLabel* amounts_;
    QProgressBar* bar_;
    QToolButton* waiting_;
    QShortcut* escape_;
    UUID shownID_;
    QElapsedTimer begun_; ///< of what is shown
    QTimer seconds_;      ///< the time goes on also while nothing is told
};

} // namespace morv
