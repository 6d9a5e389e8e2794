#include "MorvApp/Views/Workspaces/WorkspaceSheet.h"

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Workspaces/ReferencePanel.h"
#include "MorvApp/Views/Workspaces/WorkspaceColours.h"
#include "MorvCore/Foundation/TextSearch.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

namespace morv {

namespace {

constexpr QSize card{640, 600};

QString capitalised(std::string_view name) {
    auto text = ours(name);
    text[0] = text[0].toUpper();
    return text;
}

} // namespace

WorkspaceSheet::WorkspaceSheet(AppModel& app, QWidget* window)
    : Sheet(app.editingWorkspace() ? QStringLiteral("Edit Workspace") : QStringLiteral("New Workspace"), card,
            Height::full, window),
      app_(app), isNew_(!app.editingWorkspace()) {
    if (isNew_) {
        workspace_.references = app.workspaceDraft();
        workspace_.color = Workspace::colors.front();
    } else {
        workspace_ = *app.editingWorkspace();
    }
    addText(QStringLiteral("Keep useful file and folder references together. Adding or removing a reference "
                           "leaves the original file exactly where it is."));
    auto* row = new QHBoxLayout;
    row->setSpacing(Space::small);
    name_ = new QLineEdit(editableName(workspace_.name), this);
    name_->setObjectName(QStringLiteral("workspaceName"));
    name_->setPlaceholderText(QStringLiteral("Name"));
    name_->setAccessibleName(QStringLiteral("Name of the workspace"));
    row->addWidget(name_, 1);
    color_ = new QComboBox(this);
    color_->setAccessibleName(QStringLiteral("Colour of the workspace"));
    for (const auto color : Workspace::colors)
        color_->addItem(workspaceMark(color), capitalised(color), ours(color));
    // A colour of a newer version stays as it is.
    if (color_->findData(ours(workspace_.color)) < 0)
        color_->addItem(workspaceMark(workspace_.color), shown(workspace_.color), shown(workspace_.color));
    color_->setCurrentIndex(color_->findData(ours(workspace_.color)));
    row->addWidget(color_);
    body()->addLayout(row);
    references_ = new QListWidget(this);
    references_->setAccessibleName(QStringLiteral("References"));
    references_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    references_->setTextElideMode(Qt::ElideMiddle);
    body()->addWidget(references_, 1);
    problem_ = addText(QString(), "warning");
    problem_->hide();
    auto* tools = new QHBoxLayout;
    tools->setSpacing(Space::small);
    auto* add = new QPushButton(QStringLiteral("Choose Files and Folders…"), this);
    auto* remove = new QPushButton(QStringLiteral("Remove Reference"), this);
    tools->addWidget(add);
    tools->addWidget(remove);
    tools->addStretch(1);
    body()->addLayout(tools);
    addCancel(QStringLiteral("Cancel"));
    confirm_ = addDefault(isNew_ ? QStringLiteral("Create Workspace") : QStringLiteral("Save Changes"));
    connect(add, &QPushButton::clicked, this, &WorkspaceSheet::addReferences);
    connect(remove, &QPushButton::clicked, this, [this] {
        std::vector<FileURL> gone;
        for (const auto* item : references_->selectedItems())
            gone.push_back(workspace_.references[static_cast<std::size_t>(references_->row(item))]);
        workspace_ = workspace_.removing(gone);
        showReferences();
    });
    connect(references_, &QListWidget::itemSelectionChanged, remove,
            [this, remove] { remove->setEnabled(!references_->selectedItems().isEmpty()); });
    remove->setEnabled(false);
    connect(confirm_, &QPushButton::clicked, this, &WorkspaceSheet::save);
    connect(this, &Sheet::cancelled, &app_, &AppModel::closeSheet);
    showReferences();
    present(name_);
}

void WorkspaceSheet::showReferences() {
    references_->clear();
    for (const auto& reference : workspace_.references)
        references_->addItem(shownPathBriefly(reference));
}

void WorkspaceSheet::addReferences() {
    ReferencePanel::choose(this, app_.activePane().location(), app_.services().pools,
                           [this](const std::vector<FileURL>& chosen) {
                               workspace_ = workspace_.adding(chosen);
                               showReferences();
                           });
}

void WorkspaceSheet::save() {
    workspace_.name = typedBytes(name_->text());
    workspace_.color = typedBytes(color_->currentData().toString());
    if (trimmed(workspace_.name).empty()) {
        showProblem(QStringLiteral("Give this workspace a name."));
        return name_->setFocus();
    }
    // What was typed stands until it is in the record.
    confirm_->setEnabled(false);
    const auto answered = [sheet =
                               QPointer<WorkspaceSheet>(this)](const std::optional<std::string>& failure) {
        if (!sheet)
            return;
        sheet->confirm_->setEnabled(true);
        if (failure)
            sheet->showProblem(shownBriefly(*failure));
        else
            sheet->app_.closeSheet();
    };
    if (isNew_)
        app_.library().createWorkspace(workspace_.name, workspace_.references, workspace_.color, answered);
    else
        app_.library().saveWorkspace(workspace_, answered);
}

void WorkspaceSheet::showProblem(const QString& sentence) {
    problem_->setText(sentence);
    problem_->show();
}

} // namespace morv
