// What the services have to know of a window: nothing of widgets. Confined to the main thread.
#pragma once

#include <memory>

namespace morv {

class AppModel;

class FileWindow {
public:
    FileWindow() = default;
    virtual ~FileWindow() = default;
    FileWindow(const FileWindow&) = delete;
    FileWindow& operator=(const FileWindow&) = delete;

    /// Lives exactly as long as the window.
    virtual AppModel& model() = 0;
    virtual bool isVisible() const = 0;
    /// Shows the window above the others and gives it the keyboard, as far as the desktop allows.
    virtual void bringForward() = 0;

    /// Empty once the window has gone; whoever locks it does not keep it.
    std::weak_ptr<FileWindow> weak() const { return self_; }

private:
    std::shared_ptr<FileWindow> self_{this, [](FileWindow*) {}};
};

} // namespace morv
