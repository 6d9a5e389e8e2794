// Asks for one folder in the desktop's own dialog. Main thread.
#pragma once

#include "MorvApp/Model/TaskScope.h"
#include "MorvCore/Foundation/FileURL.h"

#include <QFileDialog>
#include <functional>

namespace morv {

/// Opens over `parent` on the home folder and deletes itself; `chosen` runs with the folder, and not at all without one
/// or once `parent` has gone.
QFileDialog* askForFolder(QWidget& parent, const QString& title, std::function<void(const FileURL&)> chosen);

/// Goes to `folder` as soon as that has answered, unless the user has gone elsewhere by then: a panel asks the disk on
/// the main thread, and a folder on a server may never answer.
void leadTo(QFileDialog& panel, const FileURL& folder, TaskPools& pools);

} // namespace morv
