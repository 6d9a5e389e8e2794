#include "MorvApp/Views/Settings/DataPage.h"

#include "MorvApp/Model/MorvRuntime.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvCore/Foundation/ByteCount.h"

#include <QLabel>
#include <QLocale>
#include <QPushButton>

namespace morv {

DataPage::DataPage(MorvServices& services, QWidget* parent)
    : SettingsPage(QStringLiteral("Data"), parent), services_(services),
      data_(services.directory, services.store, services.pools) {
    auto* folder = new QLabel(shownPath(data_.directory()), this);
    folder->setTextFormat(Qt::PlainText);
    folder->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    folder->setWordWrap(true);
    folder->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    auto* reveal = new QPushButton(QStringLiteral("Show in Morv"), this);
    reveal->setObjectName(QStringLiteral("showData"));
    addRow(QStringLiteral("Folder"), {folder, reveal});
    addNote(QStringLiteral(
        "Receipts, workspaces, views of folders and what is remembered stand in one database here. "
        "Your files are elsewhere, and none of this leaves the computer."));
    bytes_ = addFact("databaseSize", QStringLiteral("Database"));
    receipts_ = addFact("receiptCount", QStringLiteral("Receipts"));
    workspaces_ = addFact("workspaceCount", QStringLiteral("Workspaces"));
    records_ = addFact("recordCount", QStringLiteral("Suggestion records"));
    failure_ = addNote(QString(), "failure");
    finish();
    connect(reveal, &QPushButton::clicked, this,
            [this] { services_.windows.open(data_.directory().absoluteString()); });
    connect(&data_, &StoredData::changed, this, &DataPage::show);
    show();
}

QLabel* DataPage::addFact(const char* name, const QString& label) {
    auto* value = new QLabel(QStringLiteral("…"), this);
    value->setObjectName(QLatin1String(name));
    addRow(label, {value});
    return value;
}

void DataPage::refresh() {
    data_.refresh();
}

void DataPage::show() {
    failure_->setVisible(data_.failure().has_value());
    failure_->setText(data_.failure() ? shown(*data_.failure()) : QString());
    const auto& summary = data_.summary();
    if (!summary)
        return;
    const QLocale locale;
    const auto number = [&locale](std::size_t count) {
        return locale.toString(static_cast<qulonglong>(count));
    };
    bytes_->setText(ours(formatByteCount(summary->databaseBytes)));
    receipts_->setText(number(summary->receipts));
    workspaces_->setText(number(summary->workspaces));
    records_->setText(number(summary->suggestionRecords));
}

} // namespace morv
