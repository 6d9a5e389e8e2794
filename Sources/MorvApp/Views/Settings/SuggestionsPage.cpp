#include "MorvApp/Views/Settings/SuggestionsPage.h"

#include "MorvApp/Views/Sheets/ConfirmBox.h"
#include "MorvApp/Views/Sheets/FolderDialog.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvCore/Platform/UserFolders.h"

#include <QCheckBox>
#include <QFile>
#include <QFileDialog>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QSpinBox>
#include <QStyle>
#include <algorithm>

namespace morv {

namespace {

constexpr int longestRetention = 365;
constexpr int rootsHeight = 96;
constexpr int fieldHeight = 32;

QString local(const FileURL& url) {
    return QFile::decodeName(QByteArray::fromStdString(url.path()));
}

void nameUnit(QSpinBox& days) {
    days.setSuffix(days.value() == 1 ? QStringLiteral(" day") : QStringLiteral(" days"));
}

} // namespace

SuggestionsPage::SuggestionsPage(SQLiteStore& store, TaskPools& pools, QWidget* parent)
    : SettingsPage(QStringLiteral("Suggestions"), parent), memory_(store, pools) {
    buildPolicy();
    buildRoots();
    buildRecords();
    finish();
    connect(&memory_, &SuggestionMemoryModel::changed, this, &SuggestionsPage::show);
    show();
}

void SuggestionsPage::buildPolicy() {
    enabled_ = addCheck("rememberFiling", QStringLiteral("Remember where I file things"));
    addNote(QStringLiteral(
        "Paths and dates of finished moves, on this computer alone; never what is in a file."));
    suggests_ = addCheck("suggestFolders", QStringLiteral("Suggest folders from what is remembered"));
    days_ = new QSpinBox(this);
    days_->setObjectName(QStringLiteral("retentionDays"));
    days_->setRange(0, longestRetention);
    days_->setSpecialValueText(QStringLiteral("without limit"));
    days_->setMinimumHeight(fieldHeight);
    nameUnit(*days_);
    addRow(QStringLiteral("Keep records"), {days_});
    connect(enabled_, &QCheckBox::clicked, this,
            [this](bool on) { change([on](auto& policy) { policy.enabled = on; }); });
    connect(suggests_, &QCheckBox::clicked, this,
            [this](bool on) { change([on](auto& policy) { policy.suggestionsEnabled = on; }); });
    connect(days_, &QSpinBox::valueChanged, this, [this] { nameUnit(*days_); });
    // A number on the way to another is not the number that is meant: a shorter time removes records.
    connect(days_, &QSpinBox::editingFinished, this, &SuggestionsPage::takeDays);
}

void SuggestionsPage::buildRoots() {
    excluded_ = new QListWidget(this);
    excluded_->setObjectName(QStringLiteral("excludedFolders"));
    excluded_->setFixedHeight(rootsHeight);
    excluded_->setTextElideMode(Qt::ElideMiddle);
    addRow(QStringLiteral("Never in"), {excluded_});
    auto* add = new QPushButton(QStringLiteral("Add Folder…"), this);
    removeRoot_ = new QPushButton(QStringLiteral("Remove"), this);
    removeRoot_->setObjectName(QStringLiteral("removeExcluded"));
    removeRoot_->setAccessibleName(QStringLiteral("Remove the folder from the list"));
    addRow(QString(), {add, removeRoot_});
    addNote(QStringLiteral("What was remembered of such a folder is forgotten."));
    connect(add, &QPushButton::clicked, this, &SuggestionsPage::addExcluded);
    connect(removeRoot_, &QPushButton::clicked, this, &SuggestionsPage::removeExcluded);
    connect(excluded_, &QListWidget::currentRowChanged, removeRoot_,
            [this](int row) { removeRoot_->setEnabled(row >= 0); });
}

void SuggestionsPage::buildRecords() {
    addHeading(QStringLiteral("What is remembered"));
    count_ = new QLabel(this);
    export_ = new QPushButton(QStringLiteral("Export…"), this);
    export_->setObjectName(QStringLiteral("exportSuggestions"));
    clear_ = new QPushButton(QStringLiteral("Clear…"), this);
    clear_->setObjectName(QStringLiteral("clearSuggestions"));
    addRow(QStringLiteral("Records"), {count_, export_, clear_});
    message_ = addNote(QString(), "secondary");
    connect(export_, &QPushButton::clicked, this, &SuggestionsPage::exportRecords);
    connect(clear_, &QPushButton::clicked, this, &SuggestionsPage::confirmClearing);
}

void SuggestionsPage::refresh() {
    memory_.refresh();
}

void SuggestionsPage::change(const std::function<void(SuggestionMemoryPreferences&)>& apply) {
    if (!memory_.preferences())
        return;
    auto policy = *memory_.preferences();
    apply(policy);
    memory_.setPreferences(std::move(policy));
}

void SuggestionsPage::addExcluded() {
    askForFolder(*this, QStringLiteral("Never Remember Anything In"), [this](const FileURL& folder) {
        change([&folder](auto& policy) {
            if (std::ranges::find(policy.excludedRoots, folder) == policy.excludedRoots.end())
                policy.excludedRoots.push_back(folder);
        });
    });
}

void SuggestionsPage::removeExcluded() {
    const auto row = static_cast<std::size_t>(std::max(excluded_->currentRow(), 0));
    change([row](auto& policy) {
        if (row < policy.excludedRoots.size())
            policy.excludedRoots.erase(policy.excludedRoots.begin() + static_cast<std::ptrdiff_t>(row));
    });
}

void SuggestionsPage::exportRecords() {
    auto* dialog = new QFileDialog(this, QStringLiteral("Export What Is Remembered"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    // Nothing is ever replaced, so nothing is to be asked.
    dialog->setOption(QFileDialog::DontConfirmOverwrite);
    dialog->setDirectory(local(userFolder(UserFolder::documents).value_or(homeFolder())));
    dialog->selectFile(ours(SuggestionMemoryStore::exportName));
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString& path) {
        if (!path.isEmpty())
            memory_.exportTo(FileURL::fromPath(QFile::encodeName(path).toStdString()));
    });
    dialog->open();
}

void SuggestionsPage::confirmClearing() {
    askBefore(*this,
              {"confirmClearing", QStringLiteral("Forget where you have filed things?"),
               QStringLiteral("%1 will be removed, and cannot be brought back. No file is touched.")
                   .arg(memory_.preferences() ? shownCount(memory_.recordCount(), "record", "records")
                                              : QStringLiteral("All records")),
               QStringLiteral("Keep"), QStringLiteral("Forget All")},
              [this] { memory_.clear(); });
}

void SuggestionsPage::takeDays() {
    const auto& policy = memory_.preferences();
    const int days = days_->value();
    if (!policy || days == policy->retentionDays || isAskingDays_)
        return;
    const auto apply = [this, days] { change([days](auto& wanted) { wanted.retentionDays = days; }); };
    const bool isShorter = days != 0 && (policy->retentionDays == 0 || days < policy->retentionDays);
    if (!isShorter || memory_.recordCount() == 0)
        return apply();
    if (!isVisible())
        return restoreDays();
    // The box takes the keyboard, which ends the editing once more.
    isAskingDays_ = true;
    askBefore(
        *this,
        {"confirmRetention",
         QStringLiteral("Keep records for only %1?")
             .arg(shownCount(static_cast<std::size_t>(days), "day", "days")),
         QStringLiteral("Records that are older will be removed, and cannot be brought back. No file is "
                        "touched."),
         QStringLiteral("Keep Them"), QStringLiteral("Remove Older Records")},
        [this, apply] {
            isAskingDays_ = false;
            apply();
        },
        [this] {
            isAskingDays_ = false;
            restoreDays();
        });
}

void SuggestionsPage::restoreDays() {
    const QSignalBlocker quiet(days_);
    days_->setValue(static_cast<int>(memory_.preferences()->retentionDays));
    nameUnit(*days_);
}

void SuggestionsPage::show() {
    const auto& policy = memory_.preferences();
    for (QWidget* control : {static_cast<QWidget*>(enabled_), static_cast<QWidget*>(suggests_),
                             static_cast<QWidget*>(days_), static_cast<QWidget*>(excluded_)})
        control->setEnabled(policy.has_value());
    count_->setText(shownCount(memory_.recordCount(), "record", "records"));
    // What cannot be read can still be got rid of.
    clear_->setEnabled(policy ? memory_.recordCount() > 0 : memory_.hasFailed());
    export_->setEnabled(policy.has_value());
    message_->setText(shown(memory_.message()));
    message_->setObjectName(memory_.hasFailed() ? QStringLiteral("failure") : QStringLiteral("secondary"));
    message_->style()->polish(message_);
    if (!policy)
        return;
    enabled_->setChecked(policy->enabled);
    suggests_->setChecked(policy->suggestionsEnabled);
    suggests_->setEnabled(policy->enabled);
    // What is being typed is not overtaken by an answer to something earlier.
    if (!days_->hasFocus() && !isAskingDays_)
        restoreDays();
    const int row = excluded_->currentRow();
    excluded_->clear();
    for (const auto& root : policy->excludedRoots)
        excluded_->addItem(shownPath(root));
    excluded_->setCurrentRow(std::min(row, excluded_->count() - 1));
    removeRoot_->setEnabled(excluded_->currentRow() >= 0);
}

} // namespace morv
