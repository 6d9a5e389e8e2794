#include "MorvApp/Views/Sheets/EntrySheets.h"

#include "MorvApp/Views/Theme/Text.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>

namespace morv {

namespace {

constexpr QSize smallCard{440, 320};

/// Those that every selected item has, in the order of the first.
QString commonTags(const std::vector<const FileEntry*>& entries) {
    QStringList common;
    for (const auto& tag : entries.front()->tags())
        if (std::ranges::all_of(
                entries, [&](const FileEntry* entry) { return std::ranges::count(entry->tags(), tag) > 0; }))
            common << editableName(tag);
    return common.join(QStringLiteral(", "));
}

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

TagsSheet::TagsSheet(AppModel& app, QWidget* window)
    : Sheet(QStringLiteral("Tags"), smallCard, Height::fitting, window) {
    const auto selected = app.currentPane().selectedEntries();
    addText(selected.size() == 1 ? QStringLiteral("Of “") + shown(selected.front()->name) +
                                       QStringLiteral("”, separated by commas")
                                 : QStringLiteral("Replaces the tags of %1. Separate them by commas.")
                                       .arg(shownCount(selected.size())));
    auto* field = new QLineEdit(selected.empty() ? QString() : commonTags(selected), this);
    field->setObjectName(QStringLiteral("tagNames"));
    field->setAccessibleName(QStringLiteral("Tags"));
    field->setPlaceholderText(QStringLiteral("Red, Invoices, 2026"));
    body()->addWidget(field);
    addCancel(QStringLiteral("Cancel"));
    auto* apply = addDefault(QStringLiteral("Update Tags"));
    connect(this, &Sheet::cancelled, &app, &AppModel::closeSheet);
    connect(apply, &QPushButton::clicked, &app, [&app, field, items = app.currentPane().selectedURLs()] {
        std::vector<std::string> tags;
        for (const auto& part : field->text().split(QLatin1Char(',')))
            if (const auto tag = part.trimmed(); !tag.isEmpty())
                tags.push_back(typedBytes(tag));
        app.closeSheet();
        app.setTags(items, std::move(tags));
    });
    field->selectAll();
    present(field);
}

} // namespace morv
