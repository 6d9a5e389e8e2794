#include "MorvApp/Views/Sheets/FolderGlanceSheet.h"

#include "MorvApp/Views/Sheets/FolderGlance.h"
#include "MorvApp/Views/Theme/FolderArt.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace morv {

namespace {

constexpr QSize card{480, 580};
constexpr int headPicture = 48;

} // namespace

FolderGlanceSheet::FolderGlanceSheet(AppModel& app, const FileEntry& folder, QWidget* window)
    : Sheet(QStringLiteral("Folder at a Glance"), card, Height::full, window), app_(app), folder_(folder) {
    body()->addWidget(buildHead());
    auto* glance = new FolderGlance(app_, this);
    glance->setFolder(folder_);
    body()->addWidget(glance, 1);
    auto* open = addAction(QStringLiteral("Open Folder"));
    auto* done = addDefault(QStringLiteral("Done"));
    connect(open, &QPushButton::clicked, &app_, [&app, url = folder.url()] {
        app.closeSheet();
        app.showFolder(url);
    });
    connect(done, &QPushButton::clicked, &app_, &AppModel::closeSheet);
    connect(this, &Sheet::cancelled, &app_, &AppModel::closeSheet);
    present(done);
}

QWidget* FolderGlanceSheet::buildHead() {
    auto* head = new QWidget(this);
    auto* row = new QHBoxLayout(head);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(Space::medium);
    auto* picture = new QLabel(head);
    picture->setPixmap(FolderArt::render(app_.services().appearances.appearance(folder_.url()),
                                         Theme::shared().appearance(), headPicture, devicePixelRatioF()));
    row->addWidget(picture);
    auto* name = new QLabel(head);
    name->setObjectName(QStringLiteral("heading"));
    name->setTextFormat(Qt::PlainText);
    name->setText(name->fontMetrics().elidedText(shown(folder_.name), Qt::ElideMiddle,
                                                 card.width() - headPicture - 5 * Space::huge));
    row->addWidget(name, 1);
    return head;
}

} // namespace morv
