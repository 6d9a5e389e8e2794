// The one settings window of the process: opened when something asks for it, brought forward when it is there.
// Main thread.
#pragma once

#include <QObject>
#include <QPointer>

namespace morv {

class MorvServices;
class SettingsWindow;

class SettingsPresenter : public QObject {
    Q_OBJECT

public:
    /// Answers the services' windows from now on; the process stays while the settings are in sight. `services`
    /// outlive this.
    explicit SettingsPresenter(MorvServices& services);
    ~SettingsPresenter() override;

    void open();
    void close();
    /// Null while it is not open.
    SettingsWindow* window() const;

private:
    MorvServices& services_;
    QPointer<SettingsWindow> window_;
};

} // namespace morv
