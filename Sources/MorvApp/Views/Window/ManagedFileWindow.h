// A file window as the services know it: it tells when it has the keyboard, comes forward when asked, keeps
// its frame for the next one, goes with its model when it is closed, and quits the application when nothing
// speaks against it. Main thread.
#pragma once

#include "MorvApp/Model/FileWindow.h"
#include "MorvApp/Views/Window/MainWindow.h"

#include <functional>

namespace morv {

class ManagedFileWindow : public MainWindow, public FileWindow {
    Q_OBJECT

public:
    /// `services` and `board` outlive the window, which deletes itself when it is closed.
    ManagedFileWindow(MorvServices& services, ClipboardBoard& board,
                      const std::optional<FileURL>& location = {});

    AppModel& model() override { return MainWindow::model(); }
    bool isVisible() const override { return MainWindow::isVisible(); }
    void bringForward() override;
    /// Ends the application, unless it refuses or the user takes it back.
    void quit();

Q_SIGNALS:
    void closed();

protected:
    /// The first window of a user who has not seen it offers the introduction.
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;
    /// The last window of a process that could not be reached without it does not close while files are being
    /// processed; any other does, and the operation goes on.
    void closeEvent(QCloseEvent* event) override;

private:
    MorvServices& services_;
};

} // namespace morv
