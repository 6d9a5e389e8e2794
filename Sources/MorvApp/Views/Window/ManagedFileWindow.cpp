#include "MorvApp/Views/Window/ManagedFileWindow.h"

#include "MorvApp/Views/Window/ScreenKeeper.h"

#include <QAbstractButton>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QMessageBox>
#include <QWindow>

namespace morv {

namespace {

/// Of a window beside others, before any frame was kept.
constexpr QSize furtherSize{1280, 840};
/// Between a window and the next one, in both directions.
constexpr QPoint cascade{28, 28};
/// So many stand beside one another before the next begins at the front again.
constexpr std::size_t cascadeLength = 8;

} // namespace

ManagedFileWindow::ManagedFileWindow(MorvServices& services, ClipboardBoard& board,
                                     const std::optional<FileURL>& location)
    : MainWindow(services, board, location), services_(services) {
    setAttribute(Qt::WA_DeleteOnClose);
    new ScreenKeeper(*this);
    if (const auto frame = services.defaults.windowFrame(); !frame.empty())
        restoreGeometry(QByteArray::fromStdString(frame));
    else if (services.windows.anyVisible())
        resize(furtherSize.boundedTo(size()));
    if (services.windows.anyVisible())
        move(pos() + cascade * static_cast<int>(1 + (services.windows.visibleCount() - 1) % cascadeLength));
    connect(&MainWindow::model(), &AppModel::requested, this, [this](FileCommand command) {
        if (command == FileCommand::quit)
            quit();
    });
}

void ManagedFileWindow::bringForward() {
    // What was maximised before it was minimised is so again.
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
}

void ManagedFileWindow::quit() {
    const auto answer = services_.windows.applicationShouldTerminate();
    if (answer.verdict == QuitAnswer::Verdict::quit)
        return QCoreApplication::quit();
    auto* box = messageOf(answer);
    if (answer.verdict == QuitAnswer::Verdict::ask)
        connect(box->buttons().back(), &QAbstractButton::clicked, this, [this] {
            // What the user has read stands, but an operation may have begun since.
            if (services_.windows.applicationShouldTerminate().verdict == QuitAnswer::Verdict::refuse)
                return quit();
            QCoreApplication::quit();
        });
    box->open();
}

void ManagedFileWindow::showEvent(QShowEvent* event) {
    MainWindow::showEvent(event);
    // Whoever starts Morv on a folder of its own, a test or a demonstration, is not its new user.
    if (services_.remembersLocation())
        services_.windows.offerIntroduction(model());
}

void ManagedFileWindow::changeEvent(QEvent* event) {
    MainWindow::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        services_.windows.becameKey(*this);
}

void ManagedFileWindow::closeEvent(QCloseEvent* event) {
    if (services_.windows.mayCloseWindow())
        event->accept();
    else
        MainWindow::closeEvent(event);
    if (!event->isAccepted())
        return;
    services_.defaults.setWindowFrame(saveGeometry().toStdString());
    // Hidden first: whoever counts windows finds this one gone.
    hide();
    Q_EMIT closed();
}

} // namespace morv
