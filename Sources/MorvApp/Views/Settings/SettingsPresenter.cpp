#include "MorvApp/Views/Settings/SettingsPresenter.h"

#include "MorvApp/Model/MorvRuntime.h"
#include "MorvApp/Views/Settings/SettingsWindow.h"

namespace morv {

SettingsPresenter::SettingsPresenter(MorvServices& services) : services_(services) {
    services.windows.setSettingsAction([this] { open(); });
    services.windows.addAnchor(
        [self = QPointer(this)] { return self && self->window_ && self->window_->isVisible(); });
}

SettingsPresenter::~SettingsPresenter() {
    services_.windows.setSettingsAction({});
    delete window_;
}

void SettingsPresenter::open() {
    if (!window_)
        window_ = new SettingsWindow(services_);
    window_->setWindowState(window_->windowState() & ~Qt::WindowMinimized);
    window_->show();
    window_->raise();
    window_->activateWindow();
}

void SettingsPresenter::close() {
    if (window_)
        window_->close();
}

SettingsWindow* SettingsPresenter::window() const {
    return window_;
}

} // namespace morv
