// The field that searches the active pane's folder by name, as it is typed. Main thread.
#pragma once

#include <QLineEdit>

namespace morv {

class AppModel;

class SearchField : public QLineEdit {
    Q_OBJECT

public:
    explicit SearchField(AppModel& app, QWidget* parent = nullptr);

Q_SIGNALS:
    /// The keyboard is wanted no more here.
    void ended();

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void search(const QString& text);
    void followPane();

    AppModel& app_;
};

} // namespace morv
