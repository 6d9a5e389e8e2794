#include "MorvApp/Views/Sheets/KeyBindingsEditor.h"

#include "MorvApp/Model/KeyBindings.h"
#include "MorvApp/Views/Sheets/ConfirmBox.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Window/WindowActions.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QKeySequenceEdit>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <algorithm>

namespace morv {

namespace {

constexpr int rowHeight = 28;
constexpr int commandRole = Qt::UserRole;

QString nativeKeys(const std::vector<std::string>& keys) {
    QStringList texts;
    for (const auto& key : keys)
        texts << QKeySequence(ours(key), QKeySequence::PortableText).toString(QKeySequence::NativeText);
    return texts.join(QStringLiteral(", "));
}

QString titleOf(FileCommand command) {
    auto title = ours(FileManagerCommands::row(command).title);
    return title.remove(QStringLiteral("…"));
}

} // namespace

KeyBindingsEditor::KeyBindingsEditor(KeyBindings& keys, QWidget* parent) : QWidget(parent), keys_(keys) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(Space::medium);
    filter_ = new QLineEdit(this);
    filter_->setPlaceholderText(QStringLiteral("Find a command or a key…"));
    filter_->setAccessibleName(QStringLiteral("Find a command or a key"));
    column->addWidget(filter_);
    setFocusProxy(filter_);
    column->addWidget(buildList(), 1);
    auto* row = new QHBoxLayout;
    row->setSpacing(Space::small);
    editor_ = new QKeySequenceEdit(this);
    editor_->setAccessibleName(QStringLiteral("New key of the command"));
    editor_->installEventFilter(this);
    row->addWidget(editor_, 1);
    clear_ = new QPushButton(QStringLiteral("No Key"), this);
    row->addWidget(clear_);
    reset_ = new QPushButton(QStringLiteral("Standard Key"), this);
    row->addWidget(reset_);
    column->addLayout(row);
    conflict_ = new QLabel(this);
    conflict_->setObjectName(QStringLiteral("warning"));
    conflict_->setTextFormat(Qt::PlainText);
    conflict_->setWordWrap(true);
    column->addWidget(conflict_);

    connect(filter_, &QLineEdit::textChanged, this, &KeyBindingsEditor::apply);
    connect(list_, &QTreeWidget::currentItemChanged, this, &KeyBindingsEditor::showCurrent);
    connect(editor_, &QKeySequenceEdit::editingFinished, this, &KeyBindingsEditor::changeKey);
    connect(clear_, &QPushButton::clicked, this, &KeyBindingsEditor::clearKeys);
    connect(reset_, &QPushButton::clicked, this, [this] {
        if (const auto command = current())
            keys_.reset(*command);
    });
    connect(&keys_, &KeyBindings::changed, this, &KeyBindingsEditor::fill);
    fill();
}

QWidget* KeyBindingsEditor::buildList() {
    list_ = new QTreeWidget(this);
    list_->setAccessibleName(QStringLiteral("Commands and their keys"));
    list_->setHeaderLabels({QStringLiteral("Command"), QStringLiteral("Keys"), QString()});
    list_->setRootIsDecorated(false);
    list_->setUniformRowHeights(true);
    list_->header()->setStretchLastSection(false);
    list_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    list_->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    list_->header()->setSectionResizeMode(2, QHeaderView::ResizeToContents);
    return list_;
}

void KeyBindingsEditor::confirmResetAll() {
    const auto rows = FileManagerCommands::rows();
    const auto changed =
        std::ranges::count_if(rows, [this](const CommandRow& row) { return keys_.isChanged(row.command); });
    if (changed == 0)
        return;
    askBefore(*this,
              {"confirmStandardKeys", QStringLiteral("Give every command its standard keys back?"),
               QStringLiteral("The keys that you gave to %1 will be lost.")
                   .arg(shownCount(static_cast<std::size_t>(changed), "command", "commands")),
               QStringLiteral("Keep My Keys"), QStringLiteral("Use Standard Keys")},
              [this] { keys_.resetAll(); });
}

bool KeyBindingsEditor::eventFilter(QObject* watched, QEvent* event) {
    // Escape leaves from here too: nobody wants it as the key of a command.
    if (watched == editor_ && event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
        Q_EMIT left();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

std::optional<FileCommand> KeyBindingsEditor::current() const {
    const auto* item = list_->currentItem();
    return item ? std::optional(static_cast<FileCommand>(item->data(0, commandRole).toInt())) : std::nullopt;
}

void KeyBindingsEditor::fill() {
    const auto kept = current();
    const QSignalBlocker quiet(list_);
    list_->clear();
    for (const auto& row : FileManagerCommands::rows()) {
        if (!WindowActions::isOffered(row.command))
            continue;
        auto* item = new QTreeWidgetItem(list_, {titleOf(row.command), nativeKeys(keys_.keys(row.command))});
        item->setSizeHint(0, QSize(0, rowHeight));
        item->setData(0, commandRole, static_cast<int>(row.command));
        if (!keys_.conflicts(row.command).empty())
            item->setText(2, QStringLiteral("Conflict"));
        else if (keys_.isChanged(row.command))
            item->setText(2, QStringLiteral("Changed"));
        if (kept == row.command)
            list_->setCurrentItem(item);
    }
    if (!list_->currentItem())
        list_->setCurrentItem(list_->topLevelItem(0));
    apply(filter_->text());
    showCurrent();
}

void KeyBindingsEditor::apply(const QString& filter) {
    for (int i = 0; i < list_->topLevelItemCount(); ++i) {
        auto* item = list_->topLevelItem(i);
        item->setHidden(!item->text(0).contains(filter, Qt::CaseInsensitive) &&
                        !item->text(1).contains(filter, Qt::CaseInsensitive));
    }
}

void KeyBindingsEditor::showCurrent() {
    const auto command = current();
    editor_->setEnabled(command.has_value());
    clear_->setEnabled(command && !keys_.keys(*command).empty());
    reset_->setEnabled(command && keys_.isChanged(*command));
    const QSignalBlocker quiet(editor_);
    editor_->clear();
    conflict_->clear();
    if (!command)
        return;
    if (const auto& keys = keys_.keys(*command); !keys.empty())
        editor_->setKeySequence(QKeySequence(ours(keys.front()), QKeySequence::PortableText));
    QStringList others;
    for (const auto other : keys_.conflicts(*command))
        others << QStringLiteral("“%1”").arg(titleOf(other));
    if (!others.isEmpty())
        conflict_->setText(QStringLiteral("The same key is also set for %1. The first that can run takes it.")
                               .arg(others.join(QStringLiteral(", "))));
}

void KeyBindingsEditor::changeKey() {
    const auto command = current();
    const auto sequence = editor_->keySequence();
    if (!command || sequence.isEmpty())
        return;
    const auto key = typedBytes(sequence.toString(QKeySequence::PortableText));
    auto keys = keys_.keys(*command);
    if (!keys.empty() && keys.front() == key)
        return;
    // The key that a menu shows is replaced; the others of the command stay.
    std::erase(keys, key);
    if (keys.empty())
        keys.push_back(key);
    else
        keys.front() = key;
    keys_.setKeys(*command, std::move(keys));
}

void KeyBindingsEditor::clearKeys() {
    if (const auto command = current())
        keys_.setKeys(*command, {});
}

} // namespace morv
