#include "MorvApp/Views/Sheets/FolderDialog.h"

#include <QFile>
#include <utility>

namespace morv {

QFileDialog* askForFolder(QWidget& parent, const QString& title, std::function<void(const FileURL&)> chosen) {
    auto* dialog = new QFileDialog(&parent, title);
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

} // namespace morv
