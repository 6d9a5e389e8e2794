// The keys of every command: shown, changed, and set back; two commands that want one key are named.
// Main thread.
#pragma once

#include "MorvApp/Model/FileCommand.h"

#include <QWidget>
#include <optional>

class QKeySequenceEdit;
class QLabel;
class QLineEdit;
class QPushButton;
class QTreeWidget;

namespace morv {

class KeyBindings;

class KeyBindingsEditor : public QWidget {
    Q_OBJECT

public:
    /// `keys` outlive this.
    KeyBindingsEditor(KeyBindings& keys, QWidget* parent);

    /// Gives every command its standard keys back, when that is confirmed; without changed ones nothing happens.
    void confirmResetAll();

Q_SIGNALS:
    /// Escape, in the field that takes every other key for itself.
    void left();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QWidget* buildList();
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
