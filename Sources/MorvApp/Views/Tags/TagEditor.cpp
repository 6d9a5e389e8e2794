#include "MorvApp/Views/Tags/TagEditor.h"

#include "MorvApp/Views/Tags/FlowLayout.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QAbstractItemView>
#include <QCompleter>
#include <QKeyEvent>
#include <QLineEdit>
#include <QStringListModel>
#include <algorithm>

namespace morv {

TagEditor::TagEditor(QWidget* parent)
    : QWidget(parent), flow_(new FlowLayout(this, Space::tiny)), field_(new QLineEdit(this)),
      completer_(new QCompleter(this)), words_(new QStringListModel(this)) {
    field_->setObjectName(QStringLiteral("tagField"));
    field_->setPlaceholderText(QStringLiteral("Add a tag"));
    field_->setAccessibleName(QStringLiteral("Add a tag"));
    field_->installEventFilter(this);
    flow_->insertWidget(0, field_);
    completer_->setModel(words_);
    completer_->setCaseSensitivity(Qt::CaseInsensitive);
    completer_->setFilterMode(Qt::MatchContains);
    field_->setCompleter(completer_);
    completer_->popup()->setObjectName(QStringLiteral("completions"));
    // After the completer has put the word into the field.
    connect(completer_, qOverload<const QString&>(&QCompleter::activated), this, &TagEditor::commit,
            Qt::QueuedConnection);
    connect(field_, &QLineEdit::textEdited, this, [this](const QString& text) {
        if (text.endsWith(QLatin1Char(',')))
            commit();
    });
    auto policy = sizePolicy();
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

void TagEditor::setTags(const std::vector<EditedTag>& tags) {
    if (tags == tags_)
        return;
    const auto* focused = focusWidget();
    const auto at = std::ranges::find(chips_, focused) - chips_.begin();
    const bool chipHadFocus = focused && focused->hasFocus() && at < std::ssize(chips_);
    tags_ = tags;
    for (auto* chip : chips_) {
        // It may be in the middle of the key that removes it.
        flow_->removeWidget(chip);
        chip->hide();
        chip->deleteLater();
    }
    chips_.clear();
    for (const auto& tag : tags_) {
        auto* chip = new TagChip(tag.name, tag.colour, tag.presence, this);
        chip->setEnabled(field_->isEnabled());
        connect(chip, &TagChip::removed, this, [this, name = tag.name] { remove(name); });
        connect(chip, &TagChip::completed, this, [this, name = tag.name] { Q_EMIT added(name); });
        flow_->insertWidget(static_cast<int>(chips_.size()), chip);
        chip->show();
        setTabOrder(chips_.empty() ? previousInFocusChain() : chips_.back(), chip);
        chips_.push_back(chip);
    }
    if (!chips_.empty())
        setTabOrder(chips_.back(), field_);
    if (chipHadFocus) {
        auto* next = chips_.empty() ? static_cast<QWidget*>(field_)
                                    : chips_[static_cast<std::size_t>(std::min(at, std::ssize(chips_) - 1))];
        next->setFocus();
    }
    updateGeometry();
}

void TagEditor::remove(const std::string& name) {
    Q_EMIT removed(name);
}

void TagEditor::commit() {
    auto text = field_->text();
    while (text.endsWith(QLatin1Char(',')))
        text.chop(1);
    text = text.trimmed();
    field_->clear();
    if (!text.isEmpty())
        Q_EMIT added(typedBytes(text));
}

void TagEditor::offerKnown() {
    QStringList words;
    if (known_)
        for (const auto& tag : known_())
            if (std::ranges::find(tags_, tag, &EditedTag::name) == tags_.end())
                words << editableName(tag);
    words_->setStringList(words);
}

bool TagEditor::fieldKey(int key) {
    switch (key) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (field_->text().isEmpty() || completer_->popup()->isVisible())
            return false;
        commit();
        return true;
    case Qt::Key_Backspace:
    case Qt::Key_Left:
        if (!field_->text().isEmpty() || chips_.empty())
            return false;
        chips_.back()->setFocus(Qt::OtherFocusReason);
        return true;
    case Qt::Key_Down:
        // All that there is, without a letter typed.
        if (!field_->text().isEmpty())
            return false;
        completer_->setCompletionPrefix(QString());
        completer_->complete();
        return true;
    default:
        return false;
    }
}

bool TagEditor::eventFilter(QObject* watched, QEvent* event) {
    if (watched == field_ && event->type() == QEvent::FocusIn)
        offerKnown();
    if (watched == field_ && event->type() == QEvent::ShortcutOverride &&
        editsText(*static_cast<const QKeyEvent*>(event))) {
        event->accept();
        return true;
    }
    if (watched == field_ && event->type() == QEvent::KeyPress)
        return fieldKey(static_cast<QKeyEvent*>(event)->key());
    return QWidget::eventFilter(watched, event);
}

} // namespace morv
