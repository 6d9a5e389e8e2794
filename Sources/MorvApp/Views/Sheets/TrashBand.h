// How an Empty Trash goes, and what it waits for: a band over the files and over Activity, there while the
// system works, while its end is to be acknowledged, and with the last message until that is put away. Main
// thread.
#pragma once

#include "MorvApp/Model/MorvRuntime.h"

#include <QFrame>

class QLabel;
class QProgressBar;
class QPushButton;
class QToolButton;

namespace morv {

class TrashBand : public QFrame {
    Q_OBJECT

public:
    /// `services` outlive it.
    explicit TrashBand(MorvServices& services, QWidget* parent = nullptr);

private:
    void update();

    FinderTrashController& trash_;
    QLabel* message_;
    QProgressBar* progress_;
    QPushButton* open_;
    QPushButton* finished_;
    QToolButton* close_;
    bool isPutAway_ = false;
};

/// Both alerts, over the window that is in front. Cancel is the first button and the one of Return; an alert
/// that goes with its window counts as cancelled.
TrashOperations::Confirmation emptyTrashAlert();
TrashOperations::Confirmation trashFinishedAlert();

} // namespace morv
