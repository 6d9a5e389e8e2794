#include "MorvApp/Views/Sheets/FolderDialog.h"

#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Platform/UserFolders.h"

#include <QFile>
#include <utility>

namespace morv {

namespace {

QString local(const FileURL& url) {
    return QFile::decodeName(QByteArray::fromStdString(url.path()));
}

} // namespace

QFileDialog* askForFolder(QWidget& parent, const QString& title, std::function<void(const FileURL&)> chosen) {
    auto* dialog = new QFileDialog(&parent, title, local(homeFolder()));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    QObject::connect(dialog, &QFileDialog::fileSelected, &parent,
                     [chosen = std::move(chosen)](const QString& path) {
                         if (!path.isEmpty())
                             chosen(FileURL::fromPath(QFile::encodeName(path).toStdString()).asFolder());
                     });
    dialog->open();
    return dialog;
}

void leadTo(QFileDialog& panel, const FileURL& folder, TaskPools& pools) {
    /// Goes with the panel.
    struct Lead : QObject {
        Lead(QObject* parent, TaskPools& pools) : QObject(parent), tasks(pools) {}
        TaskScope tasks;
    };
    auto* lead = new Lead(&panel, pools);
    lead->tasks.run(
        TaskLane::reading, [folder](const std::stop_token&) { return DirectoryService::entry(folder); },
        [&panel, begun = panel.directory(), wanted = local(folder)](const FileEntry& entry) {
            if (entry.isDirectory && panel.directory() == begun)
                panel.setDirectory(wanted);
        },
        [](const std::exception_ptr&) {});
}

} // namespace morv
