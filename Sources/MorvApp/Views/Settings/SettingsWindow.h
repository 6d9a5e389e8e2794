// The settings: a list of pages at the left, and the chosen one beside it. What is changed applies at once. Every
// page stands on the models; what a session cannot offer is not shown. Main thread.
#pragma once

#include <QWidget>
#include <string>
#include <vector>

class QListWidget;
class QStackedWidget;

namespace morv {

class MorvServices;

class SettingsWindow : public QWidget {
    Q_OBJECT

public:
    /// Shows the page that the services' windows name. `services` outlive this.
    explicit SettingsWindow(MorvServices& services);

private:
    /// `symbol` is one of placeSymbols().
    void addPage(const char* id, const QString& title, std::string_view symbol, QWidget* page);
    QWidget* keysPage();
    void showSelection();
    void tint();

    MorvServices& services_;
    QListWidget* list_;
    QStackedWidget* pages_;
    std::vector<std::string> ids_;
    std::vector<std::string_view> symbols_;
};

} // namespace morv
