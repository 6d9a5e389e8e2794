#include "MorvApp/Views/Settings/SettingsPage.h"

#include "MorvApp/Views/Theme/Theme.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace morv {

namespace {

constexpr int labelWidth = 150;

QLabel* label(const QString& text, const char* role, QWidget* parent) {
    auto* result = new QLabel(text, parent);
    result->setObjectName(QLatin1String(role));
    result->setTextFormat(Qt::PlainText);
    return result;
}

} // namespace

SettingsPage::SettingsPage(const QString& title, QWidget* parent) : QWidget(parent) {
    column_ = new QVBoxLayout(this);
    column_->setContentsMargins(Space::huge, Space::huge, Space::huge, Space::huge);
    column_->setSpacing(Space::large);
    column_->addWidget(label(title, "title", this));
    rows_ = new QGridLayout;
    rows_->setHorizontalSpacing(Space::large);
    rows_->setVerticalSpacing(Space::small);
    rows_->setColumnMinimumWidth(0, labelWidth);
    rows_->setColumnStretch(1, 1);
    column_->addLayout(rows_);
}

void SettingsPage::addHeading(const QString& text) {
    const int row = rows_->rowCount();
    rows_->setRowMinimumHeight(row, row == 1 ? 0 : Space::small);
    rows_->addWidget(label(text, "heading", this), row + 1, 0, 1, 2);
}

void SettingsPage::addRow(const QString& text, std::initializer_list<QWidget*> controls) {
    const int row = rows_->rowCount();
    auto* name = label(text, "", this);
    auto* first = *controls.begin();
    name->setBuddy(first);
    // A label's own text is what it tells, and not its name.
    if (first->accessibleName().isEmpty() && !qobject_cast<QLabel*>(first))
        first->setAccessibleName(text);
    rows_->addWidget(name, row, 0);
    auto* line = new QHBoxLayout;
    line->setSpacing(Space::small);
    bool fills = false;
    for (auto* control : controls) {
        if (control->focusPolicy() == Qt::WheelFocus) {
            control->setFocusPolicy(Qt::StrongFocus);
            control->installEventFilter(this);
        }
        const bool isWide = control->sizePolicy().horizontalPolicy() == QSizePolicy::Expanding;
        line->addWidget(control, isWide ? 1 : 0);
        fills = fills || isWide;
    }
    if (!fills)
        line->addStretch(1);
    rows_->addLayout(line, row, 1);
}

QCheckBox* SettingsPage::addCheck(const char* name, const QString& text) {
    auto* check = new QCheckBox(text, this);
    check->setObjectName(QLatin1String(name));
    rows_->addWidget(check, rows_->rowCount(), 0, 1, 2);
    return check;
}

QLabel* SettingsPage::addNote(const QString& text, const char* role) {
    auto* note = label(text, role, this);
    note->setWordWrap(true);
    // Beneath a check box it begins where its text does, beneath a control where that stands.
    const auto* above = rows_->itemAtPosition(rows_->rowCount() - 1, 0);
    const bool isUnderCheck = above && qobject_cast<QCheckBox*>(above->widget());
    if (isUnderCheck)
        note->setContentsMargins(Space::huge, 0, 0, 0);
    rows_->addWidget(note, rows_->rowCount(), isUnderCheck ? 0 : 1, 1, isUnderCheck ? 2 : 1);
    return note;
}

void SettingsPage::addWhole(QWidget* widget) {
    column_->addWidget(widget, 1);
}

void SettingsPage::addEnd(QWidget* widget) {
    column_->addWidget(widget, 0, Qt::AlignLeft);
}

void SettingsPage::finish() {
    column_->addStretch(1);
}

bool SettingsPage::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Wheel && !static_cast<QWidget*>(watched)->hasFocus()) {
        // The page takes it instead.
        event->ignore();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

void SettingsPage::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    refresh();
}

} // namespace morv
