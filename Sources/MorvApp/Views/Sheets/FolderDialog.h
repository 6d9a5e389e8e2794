// Asks for one folder in the desktop's own dialog. Main thread.
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <QFileDialog>
#include <functional>

namespace morv {

/// Opens over `parent` and deletes itself; `chosen` runs with the folder, and not at all without one or once `parent`
/// has gone.
QFileDialog* askForFolder(QWidget& parent, const QString& title, std::function<void(const FileURL&)> chosen);

} // namespace morv
