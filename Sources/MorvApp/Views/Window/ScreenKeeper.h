// Brings a window back that a screen has left behind when it went away or became smaller. The toolkit hands such
// a window to another screen, but leaves it at coordinates that nothing shows, and not every window manager
// moves it. Main thread.
#pragma once

#include <QBasicTimer>
#include <QList>
#include <QObject>
#include <QRect>

class QScreen;
class QWidget;

namespace morv {

class ScreenKeeper : public QObject {
    Q_OBJECT

public:
    /// `window` owns it.
    explicit ScreenKeeper(QWidget& window);

    /// Where a window's frame belongs on `screens` (the first is that of a new window): where it is, as long as
    /// there is enough of its title to hold it by.
    static QRect place(const QRect& frame, const QList<QRect>& screens);

protected:
    void timerEvent(QTimerEvent* event) override;

private:
    void follow(QScreen* screen);
    void bringBack();

    QWidget& window_;
    QBasicTimer settling_;
};

} // namespace morv
