#include "MorvApp/Views/Settings/GeneralPage.h"

#include "MorvApp/Model/MorvRuntime.h"
#include "MorvApp/Views/Sheets/FolderDialog.h"
#include "MorvApp/Views/Theme/Text.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QLabel>
#include <QPushButton>
#include <array>

namespace morv {

namespace {

constexpr std::array<std::pair<FirstFolder, const char*>, 4> places{
    {{FirstFolder::last, "Where I was last"},
     {FirstFolder::home, "In the home folder"},
     {FirstFolder::downloads, "In Downloads"},
     {FirstFolder::chosen, "In a folder of my choice…"}}};

constexpr std::array<std::pair<FileCommand, const char*>, 2> returnCommands{
    {{FileCommand::rename, "Renames it"}, {FileCommand::open, "Opens it"}}};

} // namespace

GeneralPage::GeneralPage(MorvServices& services, QWidget* parent)
    : SettingsPage(QStringLiteral("General"), parent), services_(services),
      handler_(services.pools, services.folderHandler) {
    buildWindows();
    if (handler_.isAvailable())
        buildHandler();
    finish();
    showFirstFolder();
    showReturnKey();
}

void GeneralPage::buildWindows() {
    firstFolder_ = new QComboBox(this);
    firstFolder_->setObjectName(QStringLiteral("firstFolder"));
    for (const auto& [place, title] : places)
        firstFolder_->addItem(QString::fromUtf8(title), static_cast<int>(place));
    connect(firstFolder_, &QComboBox::activated, this, &GeneralPage::chooseFirst);
    addRow(QStringLiteral("A new window begins"), {firstFolder_});
    chosenFolder_ = addNote(QString());

    returnKey_ = new QComboBox(this);
    returnKey_->setObjectName(QStringLiteral("returnKey"));
    for (const auto& [command, title] : returnCommands)
        returnKey_->addItem(QLatin1String(title), static_cast<int>(command));
    connect(returnKey_, &QComboBox::activated, this, [this](int index) {
        services_.keys.setReturnCommand(static_cast<FileCommand>(returnKey_->itemData(index).toInt()));
    });
    connect(&services_.keys, &KeyBindings::changed, this, &GeneralPage::showReturnKey);
    addRow(QStringLiteral("Return on a file"), {returnKey_});

    hidden_ = addCheck("hiddenFiles", QStringLiteral("Show hidden files"));
    addNote(QStringLiteral("In folders that have no view of their own, from the next time they are opened. "
                           "Show Hidden Files in the View menu changes it for one folder."));
    connect(hidden_, &QCheckBox::clicked, this,
            [this](bool on) { services_.defaults.setShowsHiddenFiles(on); });
}

void GeneralPage::buildHandler() {
    addHeading(QStringLiteral("Folders of other programs"));
    handlerState_ = addNote(QString(), "");
    makeDefault_ = new QPushButton(QStringLiteral("Make Morv the Default"), this);
    makeDefault_->setObjectName(QStringLiteral("makeDefault"));
    restore_ = new QPushButton(QStringLiteral("Restore Previous"), this);
    restore_->setObjectName(QStringLiteral("restoreDefault"));
    restore_->setToolTip(QStringLiteral("Folders open again with what opened them before Morv"));
    addRow(QString(), {makeDefault_, restore_});
    handlerFailure_ = addNote(QString(), "failure");
    connect(makeDefault_, &QPushButton::clicked, &handler_, &FolderHandlerModel::makeDefault);
    connect(restore_, &QPushButton::clicked, &handler_, &FolderHandlerModel::restore);
    connect(&handler_, &FolderHandlerModel::changed, this, &GeneralPage::showHandler);
    showHandler();
}

void GeneralPage::refresh() {
    showFirstFolder();
    hidden_->setChecked(services_.defaults.showsHiddenFiles());
    handler_.refresh();
}

void GeneralPage::chooseFirst(int index) {
    const auto place = static_cast<FirstFolder>(firstFolder_->itemData(index).toInt());
    if (place == FirstFolder::chosen)
        return chooseFolder();
    services_.defaults.setFirstFolder(place);
    showFirstFolder();
}

void GeneralPage::chooseFolder() {
    auto* dialog =
        askForFolder(*this, QStringLiteral("A New Window Begins In"), [this](const FileURL& folder) {
            services_.defaults.setChosenFirstFolder(folder);
            services_.defaults.setFirstFolder(FirstFolder::chosen);
        });
    // Without a folder the choice is what it was.
    connect(dialog, &QFileDialog::finished, this, &GeneralPage::showFirstFolder);
}

void GeneralPage::showFirstFolder() {
    const auto place = services_.defaults.firstFolder();
    firstFolder_->setCurrentIndex(firstFolder_->findData(static_cast<int>(place)));
    const auto chosen = services_.defaults.chosenFirstFolder();
    chosenFolder_->setVisible(place == FirstFolder::chosen && chosen.has_value());
    if (chosen)
        chosenFolder_->setText(shownPath(*chosen));
}

void GeneralPage::showReturnKey() {
    const auto command = services_.keys.returnCommand();
    // Where the user's own keys give Return to something else, neither is said.
    returnKey_->setCurrentIndex(command ? returnKey_->findData(static_cast<int>(*command)) : -1);
}

void GeneralPage::showHandler() {
    const auto& state = handler_.state();
    handlerState_->setText(
        !state          ? QStringLiteral("Looking up what opens folders…")
        : state->isMorv ? QStringLiteral("Other programs open folders with Morv.")
        : state->application.empty()
            ? QStringLiteral("No program is set to open folders.")
            : QStringLiteral("Other programs open folders with %1.").arg(shown(state->application)));
    makeDefault_->setEnabled(state && !state->isMorv && !handler_.isWorking());
    restore_->setEnabled(state && state->isMorv && !handler_.isWorking());
    handlerFailure_->setVisible(handler_.failure().has_value());
    handlerFailure_->setText(handler_.failure() ? shown(*handler_.failure()) : QString());
}

} // namespace morv
