#include "MorvApp/Integration/DesktopPreferences.h"

#include "MorvApp/Integration/DesktopSchemas.h"
#include "MorvCore/Platform/UserFolders.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <gio/gio.h>

namespace morv {

namespace {

constexpr auto service = "org.freedesktop.portal.Desktop";
constexpr auto path = "/org/freedesktop/portal/desktop";
constexpr auto interface = "org.freedesktop.portal.Settings";
constexpr auto appearanceGroup = "org.freedesktop.appearance";
constexpr auto schemeKey = "color-scheme";
constexpr auto contrastKey = "contrast";
constexpr auto motionKey = "reduced-motion";
constexpr auto interfaceGroup = "org.gnome.desktop.interface";
constexpr auto animationsKey = "enable-animations";

Motion motionOf(bool animations) {
    return animations ? Motion::full : Motion::reduced;
}

std::optional<Motion> motionOfSchema() {
    const auto settings = desktopSettings(interfaceGroup, animationsKey);
    if (!settings)
        return std::nullopt;
    // A schema's own default says nothing about a desktop that may not even use it.
    auto* value = g_settings_get_user_value(settings.get(), animationsKey);
    if (!value)
        return std::nullopt;
    const bool animations = g_variant_get_boolean(value) == TRUE;
    g_variant_unref(value);
    return motionOf(animations);
}

std::optional<Motion> motionOfToolkit() {
    std::optional<Motion> result;
    for (const auto* folder : {"gtk-3.0", "gtk-4.0"}) {
        const auto file = configurationHome().child(folder).child("settings.ini");
        GKeyFile* keys = g_key_file_new();
        GError* failure = nullptr;
        if (g_key_file_load_from_file(keys, file.path().c_str(), G_KEY_FILE_NONE, nullptr) == TRUE) {
            const bool animations =
                g_key_file_get_boolean(keys, "Settings", "gtk-enable-animations", &failure) == TRUE;
            if (!failure)
                result = motionOf(animations);
        }
        g_clear_error(&failure);
        g_key_file_free(keys);
    }
    return result;
}

} // namespace

DesktopPreferences::DesktopPreferences(TaskPools& pools, QObject* parent) : QObject(parent), tasks_(pools) {
    tasks_.run(
        TaskLane::reading,
        [](const std::stop_token&) {
            const auto schema = motionOfSchema();
            return schema ? schema : motionOfToolkit();
        },
        [this](std::optional<Motion> motion) {
            files_ = motion;
            if (motion)
                Q_EMIT changed();
        },
        [](const std::exception_ptr&) {});
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    bus.connect(QLatin1String(service), QLatin1String(path), QLatin1String(interface),
                QStringLiteral("SettingChanged"), this, SLOT(settingChanged(QString, QString, QDBusVariant)));
    ask(appearanceGroup, schemeKey);
    ask(appearanceGroup, contrastKey);
    ask(appearanceGroup, motionKey);
    ask(interfaceGroup, animationsKey);
}

DesktopLook DesktopPreferences::look() const {
    auto look = portal_;
    if (!look.motion)
        look.motion = interface_ ? interface_ : files_;
    return look;
}

void DesktopPreferences::ask(const char* group, const char* key) {
    auto call = QDBusMessage::createMethodCall(QLatin1String(service), QLatin1String(path),
                                               QLatin1String(interface), QStringLiteral("Read"));
    call << QString::fromLatin1(group) << QString::fromLatin1(key);
    auto* watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, group, key] {
        const QDBusPendingReply<QDBusVariant> reply = *watcher;
        if (reply.isValid())
            take(QString::fromLatin1(group), QString::fromLatin1(key), reply.value().variant());
        watcher->deleteLater();
    });
}

void DesktopPreferences::settingChanged(const QString& group, const QString& key, const QDBusVariant& value) {
    take(group, key, value.variant());
}

void DesktopPreferences::take(const QString& group, const QString& key, const QVariant& value) {
    // Portals answer with a variant in a variant.
    QVariant inner = value;
    while (inner.canConvert<QDBusVariant>())
        inner = inner.value<QDBusVariant>().variant();
    const auto before = look();
    const bool isOfAppearance = group == QLatin1String(appearanceGroup);
    // 0 is no preference, and a window without one is light; so is everything that is not known yet.
    if (isOfAppearance && key == QLatin1String(schemeKey))
        portal_.appearance = inner.toUInt() == 1 ? Appearance::dark : Appearance::light;
    else if (isOfAppearance && key == QLatin1String(contrastKey))
        portal_.contrast = inner.toUInt() == 1 ? Contrast::high : Contrast::standard;
    else if (isOfAppearance && key == QLatin1String(motionKey))
        portal_.motion = inner.toUInt() == 1 ? Motion::reduced : Motion::full;
    else if (group == QLatin1String(interfaceGroup) && key == QLatin1String(animationsKey))
        interface_ = motionOf(inner.toBool());
    if (look() != before)
        Q_EMIT changed();
}

} // namespace morv
