#include "MorvApp/Views/Collection/OpenWithMenu.h"

#include "MorvApp/Views/Theme/Text.h"

#include <QIcon>
#include <QPointer>

namespace morv {

OpenWithMenu::OpenWithMenu(AppModel& app, std::vector<FileURL> items, QWidget* parent)
    : QMenu(QStringLiteral("Open With"), parent), app_(app), items_(std::move(items)), icons_(app.services()),
      tasks_(app.services().pools) {
    setObjectName(QStringLiteral("openWith"));
    say(QStringLiteral("Looking for applications…"));
    connect(this, &QMenu::aboutToShow, this, &OpenWithMenu::lookUp);
}

void OpenWithMenu::lookUp() {
    if (std::exchange(isAsked_, true))
        return;
    tasks_.run(
        TaskLane::reading,
        [catalogue = app_.services().applications, items = items_](const std::stop_token&) {
            return catalogue->thatOpen(items);
        },
        [this](const std::vector<InstalledApplication>& found) { fill(found); },
        [this](const std::exception_ptr& failure) { say(shown(sentence(failure))); });
}

void OpenWithMenu::fill(const std::vector<InstalledApplication>& applications) {
    if (applications.empty())
        return say(items_.size() == 1 ? QStringLiteral("No application is known to open it")
                                      : QStringLiteral("No application is known to open all of them"));
    clear();
    for (const auto& application : applications) {
        auto* action = addAction(buttonText(shown(application.name)));
        icons_.give(application.icon, [item = QPointer(action)](const QIcon& icon) {
            if (item)
                item->setIcon(icon);
        });
        connect(action, &QAction::triggered, &app_,
                [app = &app_, application, items = items_] { app->openWith(application, items); });
    }
}

void OpenWithMenu::say(const QString& sentence) {
    clear();
    addAction(sentence)->setEnabled(false);
}

} // namespace morv
