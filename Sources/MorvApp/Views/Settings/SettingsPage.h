// One page of the settings: a title, and rows of a label and what it names. Main thread.
#pragma once

#include <QWidget>
#include <initializer_list>

class QCheckBox;
class QGridLayout;
class QLabel;
class QVBoxLayout;

namespace morv {

class SettingsPage : public QWidget {
    Q_OBJECT

public:
    SettingsPage(const QString& title, QWidget* parent);

protected:
    void addHeading(const QString& text);
    /// `controls` stand beside one another. The first of them is what the label names.
    void addRow(const QString& label, std::initializer_list<QWidget*> controls);
    /// The whole row. `name` is the object's.
    QCheckBox* addCheck(const char* name, const QString& text);
    /// Beneath the row before it, under its control.
    QLabel* addNote(const QString& text, const char* role = "caption");
    /// Takes the height that is left.
    void addWhole(QWidget* widget);
    /// At the end, at its own width.
    void addEnd(QWidget* widget);
    /// Nothing follows: what stands keeps to the top.
    void finish();

    /// The page has come into sight: what it shows may be out of date.
    virtual void refresh() {}
    void showEvent(QShowEvent* event) override;
    /// A wheel that turns over a control on its way through the page changes nothing.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QVBoxLayout* column_;
    QGridLayout* rows_;
};

} // namespace morv
