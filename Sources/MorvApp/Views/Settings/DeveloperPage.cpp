#include "MorvApp/Views/Settings/DeveloperPage.h"

#include "MorvApp/Model/MorvRuntime.h"
#include "MorvApp/Views/Theme/Text.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QFileDialog>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <algorithm>

namespace morv {

namespace {

constexpr int narrowestEditor = 220;
constexpr int otherProgram = -1;
constexpr int noEditor = -2;

} // namespace

DeveloperPage::DeveloperPage(MorvServices& services, QWidget* parent)
    : SettingsPage(QStringLiteral("Developer Tools"), parent), services_(services),
      tools_(services.pools, services.defaults, services.toolLauncher), icons_(services) {
    terminal_ = new QLineEdit(this);
    terminal_->setObjectName(QStringLiteral("terminalCommand"));
    terminal_->setPlaceholderText(QStringLiteral("The terminal of the desktop"));
    addRow(QStringLiteral("Terminal"), {terminal_});
    terminalState_ = addNote(QString());
    editor_ = new QComboBox(this);
    editor_->setObjectName(QStringLiteral("editorChoice"));
    editor_->setMinimumWidth(narrowestEditor);
    addRow(QStringLiteral("Editor"), {editor_});
    editorState_ = addNote(QString());
    editorState_->hide();
    git_ = addCheck("gitStatus", QStringLiteral("Show the Git branch and changes beside the path"));
    addNote(QStringLiteral(
        "Git is only asked, every few seconds, about the folder that is shown. Nothing is fetched."));
    finish();
    // Nothing is opened from here: it is the looking for editors or a terminal that has failed.
    connect(&tools_, &DeveloperToolsUI::failed, this, [this](const std::string& sentence) {
        editorState_->setText(shown(sentence));
        editorState_->show();
    });
    connect(terminal_, &QLineEdit::textEdited, this, &DeveloperPage::changeTerminal);
    connect(editor_, &QComboBox::activated, this, &DeveloperPage::chooseEditor);
    connect(git_, &QCheckBox::clicked, this, [this](bool on) { services_.defaults.setShowsGitStatus(on); });
}

void DeveloperPage::refresh() {
    terminal_->setText(ours(services_.defaults.terminalCommand()));
    git_->setChecked(services_.defaults.showsGitStatus());
    findTerminal();
    editorState_->hide();
    tools_.listEditors([this](const auto& applications) { fillEditors(applications); });
}

void DeveloperPage::changeTerminal(const QString& line) {
    services_.defaults.setTerminalCommand(typedBytes(line.trimmed()));
    findTerminal();
}

void DeveloperPage::findTerminal() {
    // Each letter asks, and answers need not come in the order of the questions.
    tools_.findTerminal([this, question = ++questions_](const std::optional<DeveloperTool>& tool) {
        if (question == questions_)
            showTerminal(tool);
    });
}

void DeveloperPage::showTerminal(const std::optional<DeveloperTool>& tool) {
    const bool isOwn = !services_.defaults.terminalCommand().empty();
    if (tool)
        terminalState_->setText(QStringLiteral("Opens %1. It begins in the folder; no shell reads the line.")
                                    .arg(shownPath(tool->application)));
    else if (isOwn)
        terminalState_->setText(QStringLiteral("There is no such program. A name on PATH or a whole path is "
                                               "needed, followed by its arguments."));
    else
        terminalState_->setText(QStringLiteral("No terminal was found. Name one here."));
}

void DeveloperPage::fillEditors(const std::vector<InstalledApplication>& applications) {
    editors_ = applications;
    const auto chosen = tools_.editorURL();
    editor_->clear();
    if (!chosen)
        editor_->addItem(QStringLiteral("Ask the first time"), noEditor);
    for (std::size_t i = 0; i < editors_.size(); ++i) {
        editor_->addItem(shown(editors_[i].name), static_cast<int>(i));
        icons_.give(editors_[i].icon, [this, i, file = editors_[i].file](const QIcon& icon) {
            // The list may have been filled with others since.
            if (i < editors_.size() && editors_[i].file == file)
                editor_->setItemIcon(editor_->findData(static_cast<int>(i)), icon);
        });
        if (editors_[i].file == chosen)
            editor_->setCurrentIndex(editor_->count() - 1);
    }
    // One that was chosen stays chosen, in the list or not.
    if (chosen && std::ranges::find(editors_, *chosen, &InstalledApplication::file) == editors_.end()) {
        editor_->addItem(shownPath(*chosen), noEditor);
        editor_->setCurrentIndex(editor_->count() - 1);
    }
    editor_->insertSeparator(editor_->count());
    editor_->addItem(QStringLiteral("Other…"), otherProgram);
}

void DeveloperPage::chooseEditor(int index) {
    const int chosen = editor_->itemData(index).toInt();
    if (chosen == otherProgram)
        return chooseProgram();
    if (chosen < 0)
        return;
    tools_.chooseEditor(editors_[static_cast<std::size_t>(chosen)].file);
    const auto kept = editors_;
    fillEditors(kept);
}

void DeveloperPage::chooseProgram() {
    auto* dialog = new QFileDialog(this, QStringLiteral("Choose Your Editor"), QStringLiteral("/usr/bin"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString& path) {
        if (!path.isEmpty())
            tools_.chooseEditor(FileURL::fromPath(QFile::encodeName(path).toStdString()));
    });
    connect(dialog, &QFileDialog::finished, this, [this] {
        const auto kept = editors_;
        fillEditors(kept);
    });
    dialog->open();
}

} // namespace morv
