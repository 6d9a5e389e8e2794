#include "MorvApp/Views/Window/ShareMenu.h"

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Theme/Text.h"

#include <QIcon>
#include <QMenu>

namespace morv {

namespace {

constexpr int nameWidth = 240;

QString menuName(std::string_view name, const QMenu* menu) {
    return buttonText(menu->fontMetrics().elidedText(shown(name), Qt::ElideMiddle, nameWidth));
}

} // namespace

QMenu* makeShareMenu(AppModel& app, QWidget* parent) {
    auto* menu = new QMenu(parent);
    menu->setObjectName(QStringLiteral("shareMenu"));
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->setToolTipsVisible(true);
    const auto selected = app.currentPane().selectedEntries();
    auto* title = menu->addAction(
        selected.size() == 1 ? QStringLiteral("Share “%1”").arg(menuName(selected.front()->name, menu))
                             : QStringLiteral("Share %1").arg(shownCount(selected.size())));
    title->setEnabled(false);
    menu->addSeparator();
    auto* mail =
        menu->addAction(QIcon::fromTheme(QStringLiteral("mail-send")), QStringLiteral("Send by E-mail…"));
    if (const auto reason = whyNotSendable(selected)) {
        mail->setEnabled(false);
        mail->setToolTip(ours(*reason));
        // A tooltip is found by few; the sentence stands in the menu, too.
        menu->addAction(ours(*reason))->setEnabled(false);
    }
    auto* copy =
        menu->addAction(QIcon::fromTheme(QStringLiteral("edit-copy")), QStringLiteral("Copy Location"));
    const auto urls = app.currentPane().selectedURLs();
    QObject::connect(mail, &QAction::triggered, &app, [&app, urls] { app.sendByMail(urls); });
    QObject::connect(copy, &QAction::triggered, &app, [&app, urls] { app.copyLocations(urls); });
    return menu;
}

} // namespace morv
