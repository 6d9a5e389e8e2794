// What stands where the window would be when the record store could not be opened. Main thread.
#pragma once

#include <QWidget>
#include <string>

namespace morv {

class StartupFailureView : public QWidget {
    Q_OBJECT

public:
    explicit StartupFailureView(const std::string& reason, QWidget* parent = nullptr);
};

} // namespace morv
