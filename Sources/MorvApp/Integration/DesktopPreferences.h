// How the desktop asks programs to look, and when it changes its mind: dark or light, more contrast, less motion.
//
// Sources     the settings portal (org.freedesktop.appearance: color-scheme, contrast, reduced-motion, and
//             org.gnome.desktop.interface: enable-animations) where there is one; for motion also, once at the
//             start and after the portal, the GSettings key of that name and GTK's settings.ini. Of the portal's
//             two words on motion its own key counts. What nobody says stays absent
// Threading   confined to the main thread; never waits for the bus or a disk
#pragma once

#include "MorvApp/Model/LookPreferences.h"
#include "MorvApp/Model/TaskScope.h"

#include <QDBusVariant>
#include <QObject>
#include <optional>

namespace morv {

class DesktopPreferences : public QObject {
    Q_OBJECT

public:
    explicit DesktopPreferences(TaskPools& pools, QObject* parent = nullptr);

    DesktopLook look() const;

Q_SIGNALS:
    void changed();

private Q_SLOTS:
    void settingChanged(const QString& group, const QString& key, const QDBusVariant& value);

private:
    void ask(const char* group, const char* key);
    void take(const QString& group, const QString& key, const QVariant& value);

    DesktopLook portal_;
    std::optional<Motion> interface_; ///< the animations of the desktop's own interface
    std::optional<Motion> files_;     ///< what the configuration files say
    TaskScope tasks_;
};

} // namespace morv
