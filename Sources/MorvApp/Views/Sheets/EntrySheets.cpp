#include "MorvApp/Views/Sheets/EntrySheets.h"

#include "MorvApp/Views/Theme/Text.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace morv {

namespace {

constexpr QSize smallCard{440, 320};

} // namespace

NewFolderSheet::NewFolderSheet(AppModel& app, QWidget* window)
    : Sheet(QStringLiteral("New Folder"), smallCard, Height::fitting, window) {
    // The window may be sent elsewhere while the sheet is up.
    const auto parent = app.currentPane().location();
    addText(QStringLiteral("In ") + shownPath(parent));
    auto* name = new QLineEdit(QStringLiteral("Untitled Folder"), this);
    name->setObjectName(QStringLiteral("newFolderName"));
    name->setAccessibleName(QStringLiteral("Name"));
    body()->addWidget(name);
    addCancel(QStringLiteral("Cancel"));
    auto* create = addDefault(QStringLiteral("Create"));
    connect(name, &QLineEdit::textChanged, create,
            [create](const QString& text) { create->setEnabled(!text.isEmpty()); });
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
