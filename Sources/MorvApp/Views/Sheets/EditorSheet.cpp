#include "MorvApp/Views/Sheets/EditorSheet.h"

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Theme/Text.h"

#include <QFile>
#include <QFileDialog>
#include <QIcon>
#include <QLabel>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

namespace morv {

namespace {

constexpr QSize card{480, 460};

} // namespace

EditorSheet::EditorSheet(AppModel& app, QWidget* window)
    : Sheet(QStringLiteral("Choose Your Editor"), card, Height::full, window), app_(app),
      icons_(app.services()) {
    addText(QStringLiteral("Morv opens the selected folder using this application."));
    list_ = new QListWidget(this);
    list_->setObjectName(QStringLiteral("editors"));
    list_->setAccessibleName(QStringLiteral("Applications"));
    body()->addWidget(list_, 1);
    none_ = addText(QStringLiteral("Looking for applications…"));
    auto* other = addAction(QStringLiteral("Other…"));
    other->setToolTip(QStringLiteral("Choose a program that is not in the list"));
    connect(other, &QPushButton::clicked, this, &EditorSheet::chooseProgram);
    addCancel(QStringLiteral("Cancel"));
    auto* confirm = addDefault(QStringLiteral("Choose"));
    confirm->setEnabled(false);
    const auto chooseCurrent = [this] {
        // Return in the list comes twice: from the list, and from the sheet when that has already ended.
        if (list_->currentRow() >= 0 && isVisible())
            choose(applications_[static_cast<std::size_t>(list_->currentRow())].file);
    };
    connect(confirm, &QPushButton::clicked, this, chooseCurrent);
    connect(list_, &QListWidget::itemActivated, this, chooseCurrent);
    connect(list_, &QListWidget::currentRowChanged, confirm,
            [confirm](int row) { confirm->setEnabled(row >= 0); });
    connect(this, &Sheet::cancelled, this, &EditorSheet::cancel);
    // The sheet may have gone when the applications are known.
    app_.developerTools().listEditors(
        [sheet = QPointer<EditorSheet>(this)](const std::vector<InstalledApplication>& applications) {
            if (sheet)
                sheet->fill(applications);
        });
    present(list_);
}

void EditorSheet::fill(const std::vector<InstalledApplication>& applications) {
    applications_ = applications;
    const auto chosen = app_.developerTools().editorURL();
    int current = 0;
    for (const auto& application : applications_) {
        if (application.file == chosen)
            current = list_->count();
        auto* row = new QListWidgetItem(shown(application.name), list_);
        icons_.give(application.icon, [row](const QIcon& icon) { row->setIcon(icon); });
    }
    none_->setText(QStringLiteral("No application for folders or text is installed."));
    none_->setVisible(applications_.empty());
    list_->setVisible(!applications_.empty());
    list_->setCurrentRow(applications_.empty() ? -1 : current);
}

void EditorSheet::chooseProgram() {
    auto* dialog = new QFileDialog(this, QStringLiteral("Choose Your Editor"), QStringLiteral("/usr/bin"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString& path) {
        if (!path.isEmpty())
            choose(FileURL::fromPath(QFile::encodeName(path).toStdString()));
    });
    dialog->open();
}

void EditorSheet::choose(const FileURL& application) {
    auto& app = app_;
    app.closeSheet();
    app.developerTools().chooseEditor(application);
}

void EditorSheet::cancel() {
    app_.developerTools().cancelChoice();
    app_.closeSheet();
}

} // namespace morv
