#include "MorvApp/Views/Workspaces/ReferencePanel.h"

#include "MorvApp/Views/Sheets/FolderDialog.h"
#include "MorvCore/Platform/UserFolders.h"

#include <QFile>

namespace morv {

void ReferencePanel::choose(QWidget* owner, const FileURL& folder, TaskPools& pools, Chosen chosen) {
    auto* panel = new ReferencePanel(owner, std::move(chosen));
    panel->open();
    leadTo(*panel, folder, pools);
}

ReferencePanel::ReferencePanel(QWidget* owner, Chosen chosen)
    : QFileDialog(owner, QStringLiteral("Choose Files and Folders"),
                  QFile::decodeName(QByteArray::fromStdString(homeFolder().path()))),
      chosen_(std::move(chosen)) {
    setAttribute(Qt::WA_DeleteOnClose);
    // The system's own panels know no such choice.
    setOption(QFileDialog::DontUseNativeDialog);
    setFileMode(QFileDialog::ExistingFiles);
    setLabelText(QFileDialog::Accept, QStringLiteral("Add"));
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
