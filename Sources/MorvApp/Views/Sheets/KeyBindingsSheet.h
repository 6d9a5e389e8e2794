// The keys of every command: shown, changed, and set back; two commands that want one key are named.
// Main thread.
#pragma once

#include "MorvApp/Model/FileCommand.h"
#include "MorvApp/Views/Sheets/Sheet.h"

#include <optional>

class QKeySequenceEdit;
class QLabel;
class QLineEdit;
class QPushButton;
class QTreeWidget;

namespace morv {

class AppModel;
class KeyBindings;

class KeyBindingsSheet : public Sheet {
    Q_OBJECT

public:
    KeyBindingsSheet(AppModel& app, QWidget* window);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    std::optional<FileCommand> current() const;
    void fill();
    void showCurrent();
    void changeKey();
    void clearKeys();
    void apply(const QString& filter);

    KeyBindings& keys_;
    QLineEdit* filter_;
    QTreeWidget* list_;
    QKeySequenceEdit* editor_;
    QLabel* conflict_;
    QPushButton* clear_;
    QPushButton* reset_;
};

} // namespace morv
