#include "MorvApp/Views/Window/SearchField.h"

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Theme/Text.h"

#include <QKeyEvent>

namespace morv {

SearchField::SearchField(AppModel& app, QWidget* parent) : QLineEdit(parent), app_(app) {
    setObjectName(QStringLiteral("searchField"));
    setPlaceholderText(QStringLiteral("Search this folder"));
    setAccessibleName(QStringLiteral("Search this folder and everything below it"));
    setClearButtonEnabled(true);
    connect(this, &QLineEdit::textEdited, this, &SearchField::search);
    // The clear button edits without saying so.
    connect(this, &QLineEdit::textChanged, this, [this](const QString& text) {
        if (text.isEmpty() && !app_.activePane().query().empty())
            search(text);
    });
    connect(&app_, &AppModel::activePaneChanged, this, &SearchField::followPane);
    connect(&app_, &AppModel::activePaneUpdated, this, &SearchField::followPane);
}

void SearchField::search(const QString& text) {
    // Of the column that is worked in, like everything else.
    app_.goToColumn();
    auto& pane = app_.activePane();
    pane.setQuery(typedBytes(text));
    if (text.isEmpty())
        pane.refresh();
    else
        pane.runSearch();
}

void SearchField::followPane() {
    const auto text = editableName(app_.activePane().query());
    if (text == this->text())
        return;
    const QSignalBlocker quiet(this);
    setText(text);
}

bool SearchField::event(QEvent* event) {
    if (event->type() == QEvent::ShortcutOverride && editsText(*static_cast<const QKeyEvent*>(event))) {
        event->accept();
        return true;
    }
    return QLineEdit::event(event);
}

void SearchField::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
    case Qt::Key_Escape:
        if (!text().isEmpty()) {
            clear();
            return;
        }
        return Q_EMIT ended();
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Down:
        return Q_EMIT ended();
    default:
        QLineEdit::keyPressEvent(event);
    }
}

} // namespace morv
