// Keys that a sheet which has come by itself does not take: a Return or Space within half a second of its
// coming, or of the last key that came so, was meant for something else. It ends with the pause, and when the
// keyboard is moved within the sheet: who does that has seen it. Main thread.
#pragma once

#include <QObject>
#include <QPointer>
#include <chrono>
#include <functional>

class QWidget;

namespace morv {

class KeyGuard : public QObject {
    Q_OBJECT

public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;
    static constexpr std::chrono::milliseconds pause{500};

    /// Begins now, by `clock`; `sheet` has the keyboard, and owns the guard.
    KeyGuard(QWidget& sheet, Clock clock);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool isOver() const;

    QWidget& sheet_;
    Clock clock_;
    std::chrono::steady_clock::time_point last_;
    QPointer<QWidget> first_; ///< that had the keyboard when the sheet came
};

} // namespace morv
