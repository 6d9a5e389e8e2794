#include "MorvApp/Views/Workspaces/ReferencePanel.h"

#include <QFile>

namespace morv {

void ReferencePanel::choose(QWidget* owner, const FileURL& folder, Chosen chosen) {
    auto* panel = new ReferencePanel(owner, folder, std::move(chosen));
    panel->open();
}

ReferencePanel::ReferencePanel(QWidget* owner, const FileURL& folder, Chosen chosen)
    : QFileDialog(owner, QStringLiteral("Choose Files and Folders")), chosen_(std::move(chosen)) {
    setAttribute(Qt::WA_DeleteOnClose);
    // The system's own panels know no such choice.
    setOption(QFileDialog::DontUseNativeDialog);
    setFileMode(QFileDialog::ExistingFiles);
    setLabelText(QFileDialog::Accept, QStringLiteral("Add"));
    setDirectory(QFile::decodeName(QByteArray::fromStdString(folder.path())));
}

void ReferencePanel::accept() {
    std::vector<FileURL> urls;
    for (const auto& path : selectedFiles())
        if (!path.isEmpty())
            urls.push_back(FileURL::fromPath(QFile::encodeName(path).toStdString()));
    // The panel's own answer to a marked folder would be to go into it.
    QDialog::accept();
    if (!urls.empty())
        chosen_(urls);
}

} // namespace morv
