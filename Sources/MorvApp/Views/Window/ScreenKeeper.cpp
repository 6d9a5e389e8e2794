#include "MorvApp/Views/Window/ScreenKeeper.h"

#include <QGuiApplication>
#include <QScreen>
#include <QTimerEvent>
#include <QWidget>
#include <algorithm>

namespace morv {

namespace {

/// Milliseconds: a window manager that moves windows itself does so first.
constexpr int settlingTime = 500;
/// Of the title, so much is enough to drag the window by.
constexpr int titleHeight = 24;
constexpr int titleWidth = 120;

} // namespace

ScreenKeeper::ScreenKeeper(QWidget& window) : QObject(&window), window_(window) {
    // There a window does not know where it is, and the compositor places it.
    if (QGuiApplication::platformName().startsWith(QLatin1String("wayland")))
        return;
    for (auto* screen : QGuiApplication::screens())
        follow(screen);
    connect(qGuiApp, &QGuiApplication::screenAdded, this, &ScreenKeeper::follow);
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, [this] { settling_.start(settlingTime, this); });
}

void ScreenKeeper::follow(QScreen* screen) {
    connect(screen, &QScreen::availableGeometryChanged, this,
            [this] { settling_.start(settlingTime, this); });
}

void ScreenKeeper::timerEvent(QTimerEvent* event) {
    if (event->timerId() != settling_.timerId())
        return QObject::timerEvent(event);
    settling_.stop();
    bringBack();
}

QRect ScreenKeeper::place(const QRect& frame, const QList<QRect>& screens) {
    const QRect title(frame.topLeft(), QSize(frame.width(), titleHeight));
    const auto holds = [&title](const QRect& screen) {
        const auto seen = screen & title;
        return seen.width() >= std::min(titleWidth, title.width()) && seen.height() == title.height();
    };
    if (screens.isEmpty() || std::ranges::any_of(screens, holds))
        return frame;
    const auto& room = screens.front();
    QRect placed(frame.topLeft(), frame.size().boundedTo(room.size()));
    placed.moveLeft(std::clamp(placed.left(), room.left(), room.right() + 1 - placed.width()));
    placed.moveTop(std::clamp(placed.top(), room.top(), room.bottom() + 1 - placed.height()));
    return placed;
}

void ScreenKeeper::bringBack() {
    if (!window_.isVisible() ||
        (window_.windowState() & (Qt::WindowMaximized | Qt::WindowFullScreen | Qt::WindowMinimized)) != 0)
        return;
    const auto* primary = QGuiApplication::primaryScreen();
    QList<QRect> screens;
    for (const auto* screen : QGuiApplication::screens()) {
        if (screen == primary)
            screens.prepend(screen->availableGeometry());
        else
            screens.append(screen->availableGeometry());
    }
    const auto frame = window_.frameGeometry();
    const auto placed = place(frame, screens);
    if (placed == frame)
        return;
    window_.resize(window_.size() - (frame.size() - placed.size()));
    window_.move(placed.topLeft());
}

} // namespace morv
