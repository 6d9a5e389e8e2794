#include "MorvApp/Views/Sheets/AboutSheet.h"

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Sheets/RowDelegate.h"

#include <QApplication>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <array>

namespace morv {

namespace {

constexpr QSize card{600, 560};
constexpr int nameWidth = 180;
constexpr int packageWidth = 220;

struct Library {
    const char* name;
    const char* package; ///< of Debian; its copyright file has the whole licence
    const char* licence;
};

constexpr std::array libraries = {
    Library{"Qt 6", "libqt6widgets6, libqt6svg6, libqt6dbus6", "LGPL-3"},
    Library{"GLib and GIO", "libglib2.0-0", "LGPL-2.1+"},
    Library{"SQLite", "libsqlite3-0", "public domain"},
    Library{"OpenSSL", "libssl3", "Apache-2.0"},
    Library{"ICU", "libicu72", "Unicode"},
    Library{"zlib", "zlib1g", "zlib"},
    Library{"libplist", "libplist3", "LGPL-2.1+"},
    Library{"libuuid", "libuuid1", "BSD-3-clause"},
    Library{"{fmt}", "libfmt9", "MIT"},
    Library{"JSON for Modern C++", "nlohmann-json3-dev", "MIT"},
    Library{"libvips", "libvips42", "LGPL-2.1"},
    Library{"Little CMS", "liblcms2-2", "MIT"},
    Library{"librsvg", "librsvg2-2", "LGPL-2+"},
    Library{"cairo", "libcairo2", "LGPL-2.1 or MPL-1.1"},
    Library{"Poppler", "libpoppler-glib8", "GPL-2 or GPL-3"},
    Library{"GNU Source-highlight", "libsource-highlight4v5", "GPL-3+"},
    Library{"FFmpeg", "libavformat59, libavcodec59", "LGPL-2.1+, GPL-2+"},
    Library{"Breeze icons", "breeze-icon-theme", "LGPL-3+"},
    Library{"Inter", "fonts-inter", "OFL-1.1"},
};

} // namespace

AboutSheet::AboutSheet(AppModel& app, QWidget* window)
    : Sheet(QStringLiteral("About Morv"), card, Height::full, window) {
    const auto version = QApplication::applicationVersion();
    addText(version.isEmpty() ? QStringLiteral("A file manager") : QStringLiteral("Version ") + version,
            "heading");
    addText(QStringLiteral(
        "A file manager that plans before it acts, verifies what it writes, and keeps a receipt. "
        "It stands on the work of others, as packaged by Debian:"));
    auto* list = new QTreeWidget(this);
    list->setObjectName(QStringLiteral("libraries"));
    list->setAccessibleName(QStringLiteral("Libraries and their licences"));
    list->setHeaderLabels(
        {QStringLiteral("Library"), QStringLiteral("Debian package"), QStringLiteral("Licence")});
    list->setRootIsDecorated(false);
    list->setUniformRowHeights(true);
    list->setItemDelegate(new RowDelegate(list));
    list->setSelectionMode(QAbstractItemView::SingleSelection);
    for (const auto& library : libraries)
        new QTreeWidgetItem(list, {QString::fromUtf8(library.name), QLatin1String(library.package),
                                   QLatin1String(library.licence)});
    list->header()->setStretchLastSection(true);
    list->setColumnWidth(0, nameWidth);
    list->setColumnWidth(1, packageWidth);
    body()->addWidget(list, 1);
    addText(
        QStringLiteral("The whole licence of a package stands in /usr/share/doc under its name, in the file "
                       "“copyright”."),
        "caption");
    auto* done = addDefault(QStringLiteral("Done"));
    connect(done, &QPushButton::clicked, &app, &AppModel::closeSheet);
    connect(this, &Sheet::cancelled, &app, &AppModel::closeSheet);
    present(done);
}

} // namespace morv
