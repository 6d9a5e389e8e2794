#include "MorvApp/Views/Sheets/EntrySheets.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvCore/Operations/OperationFiles.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace morv {

namespace {

constexpr QSize smallCard{440, 320};

/// The engine's own sentence; empty for a name that a file may have.
QString whyForbidden(const std::string& name) {
    try {
        OperationFiles::validateName(name);
        return {};
    } catch (const FileOperationError& error) {
        return ours(error.what());
    }
}

} // namespace

NewFolderSheet::NewFolderSheet(AppModel& app, QWidget* window)
    : Sheet(QStringLiteral("New Folder"), smallCard, Height::fitting, window) {
    // The window may be sent elsewhere while the sheet is up.
    const auto parent = app.currentPane().location();
    addText(QStringLiteral("In ") + shownPathBriefly(parent));
    auto* name = new QLineEdit(QStringLiteral("Untitled Folder"), this);
    name->setObjectName(QStringLiteral("newFolderName"));
    name->setAccessibleName(QStringLiteral("Name"));
    body()->addWidget(name);
    auto* refusal = addText(QString(), "warning");
    refusal->hide();
    addCancel(QStringLiteral("Cancel"));
    auto* create = addDefault(QStringLiteral("Create"));
    connect(name, &QLineEdit::textChanged, create, [create, refusal](const QString& text) {
        const auto why = whyForbidden(typedBytes(text));
        create->setEnabled(why.isEmpty());
        // That a name is missing is plain.
        refusal->setText(why);
        refusal->setVisible(!why.isEmpty() && !text.isEmpty());
    });
    connect(this, &Sheet::cancelled, &app, &AppModel::closeSheet);
    connect(create, &QPushButton::clicked, &app, [&app, name, parent] {
        const auto typed = typedBytes(name->text());
        app.closeSheet();
        app.createFolder(parent, typed);
    });
    name->selectAll();
    present(name);
}

} // namespace morv
