// Above files that may no longer be what the folder holds: why they could not be read again, or that the folder
// does not answer, and what can be done. What a pane without any files has to say stands in their place
// (CollectionNotice).
//
// While a folder that could not be read is being read again, what was said of it stays: nothing moves before
// there is news. Main thread.
#pragma once

#include "MorvApp/Model/PaneModel.h"

#include <QBasicTimer>
#include <QFrame>
#include <QPointer>
#include <chrono>

class QLabel;
class QToolButton;

namespace morv {

class ReadingLine : public QFrame {
    Q_OBJECT

public:
    explicit ReadingLine(QWidget* parent = nullptr);

    /// Speaks of this pane from now on.
    void follow(PaneModel& pane);
    /// How long a folder may be silent before that is said.
    void setAnswerPatience(std::chrono::milliseconds patience) { patience_ = patience; }

Q_SIGNALS:
    void goUp();

protected:
    void timerEvent(QTimerEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    enum class State : std::uint8_t { nothing, failed, silent };

    void awaitAnswer();
    void leaveFolder();
    void tell();
    void say(State state);
    void elide();

    QPointer<PaneModel> pane_;
    State state_ = State::nothing;
    bool isSilent_ = false;
    std::chrono::milliseconds patience_ = std::chrono::seconds(10);
    QBasicTimer silence_;
    QString doubt_;
    QString sentence_;
    QLabel* title_;
    QLabel* detail_;
    QToolButton* goUp_;
    QToolButton* tryAgain_;
    QToolButton* cancel_;
};

} // namespace morv
