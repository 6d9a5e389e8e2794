#include "MorvApp/Integration/ColourScheme.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace morv {

namespace {

constexpr auto service = "org.freedesktop.portal.Desktop";
constexpr auto path = "/org/freedesktop/portal/desktop";
constexpr auto interface = "org.freedesktop.portal.Settings";
constexpr auto appearanceGroup = "org.freedesktop.appearance";
constexpr auto schemeKey = "color-scheme";

} // namespace

ColourScheme::ColourScheme(QObject* parent) : QObject(parent) {
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    bus.connect(QLatin1String(service), QLatin1String(path), QLatin1String(interface),
                QStringLiteral("SettingChanged"), this, SLOT(settingChanged(QString, QString, QDBusVariant)));
    auto call = QDBusMessage::createMethodCall(QLatin1String(service), QLatin1String(path),
                                               QLatin1String(interface), QStringLiteral("Read"));
    call << QString::fromLatin1(appearanceGroup) << QString::fromLatin1(schemeKey);
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        const QDBusPendingReply<QDBusVariant> reply = *watcher;
        if (reply.isValid())
            announce(reply.value().variant());
        watcher->deleteLater();
    });
}

void ColourScheme::settingChanged(const QString& group, const QString& key, const QDBusVariant& value) {
    if (group == QLatin1String(appearanceGroup) && key == QLatin1String(schemeKey))
        announce(value.variant());
}

void ColourScheme::announce(const QVariant& value) {
    // Portals answer with a variant in a variant.
    QVariant inner = value;
    while (inner.canConvert<QDBusVariant>())
        inner = inner.value<QDBusVariant>().variant();
    if (inner.toUInt() == 1)
        Q_EMIT darkPreferred();
    else
        Q_EMIT lightPreferred();
}

} // namespace morv
