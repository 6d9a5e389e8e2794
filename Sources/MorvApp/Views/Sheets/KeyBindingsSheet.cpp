#include "MorvApp/Views/Sheets/KeyBindingsSheet.h"

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Sheets/KeyBindingsEditor.h"

#include <QPushButton>
#include <QVBoxLayout>

namespace morv {

namespace {

constexpr QSize card{640, 640};

} // namespace

KeyBindingsSheet::KeyBindingsSheet(AppModel& app, QWidget* window)
    : Sheet(QStringLiteral("Keyboard Shortcuts"), card, Height::full, window) {
    auto* editor = new KeyBindingsEditor(app.services().keys, this);
    body()->addWidget(editor, 1);
    auto* resetAll = addAction(QStringLiteral("All Standard Keys"));
    auto* done = addDefault(QStringLiteral("Done"));
    connect(resetAll, &QPushButton::clicked, editor, &KeyBindingsEditor::confirmResetAll);
    connect(done, &QPushButton::clicked, &app, &AppModel::closeSheet);
    connect(editor, &KeyBindingsEditor::left, this, &Sheet::cancelled);
    connect(this, &Sheet::cancelled, &app, &AppModel::closeSheet);
    present(editor);
}

} // namespace morv
