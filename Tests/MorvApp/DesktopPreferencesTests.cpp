// What the desktop's settings say of the look, from a portal of the test's own and from files.
#include "MorvApp/Integration/DesktopPreferences.h"
#include "Tests/MorvApp/SessionBus.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace morv {
namespace {

using test::eventually;

constexpr const char* service = "org.freedesktop.portal.Desktop";
constexpr const char* path = "/org/freedesktop/portal/desktop";
constexpr const char* interface = "org.freedesktop.portal.Settings";

/// Knows the values that it is given, and says so when they change.
class Portal : public QDBusVirtualObject {
public:
    Portal() : bus_(QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("portal"))) {
        bus_.registerVirtualObject(QLatin1String(path), this);
        bus_.registerService(QLatin1String(service));
    }
    ~Portal() override {
        bus_.unregisterService(QLatin1String(service));
        QDBusConnection::disconnectFromBus(QStringLiteral("portal"));
    }
    void set(const char* group, const char* key, const QVariant& value) {
        values_[QLatin1String(group) + QLatin1Char('/') + QLatin1String(key)] = value;
        auto signal = QDBusMessage::createSignal(QLatin1String(path), QLatin1String(interface),
                                                 QStringLiteral("SettingChanged"));
        signal << QLatin1String(group) << QLatin1String(key) << QVariant::fromValue(QDBusVariant(value));
        bus_.send(signal);
    }
    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        const auto asked = message.arguments();
        const auto found =
            values_.find(asked.value(0).toString() + QLatin1Char('/') + asked.value(1).toString());
        if (found == values_.end())
            return connection.send(message.createErrorReply(
                QStringLiteral("org.freedesktop.portal.Error.NotFound"), QStringLiteral("unknown")));
        // As real ones do: a variant in a variant.
        const QDBusVariant inner(*found);
        return connection.send(
            message.createReply(QVariant::fromValue(QDBusVariant(QVariant::fromValue(inner)))));
    }

private:
    QDBusConnection bus_;
    QMap<QString, QVariant> values_;
};

class DesktopPreferencesTest : public test::FolderTest {
protected:
    ~DesktopPreferencesTest() override { std::filesystem::remove_all(configuration() / "gtk-3.0"); }
    static std::filesystem::path configuration() { return std::getenv("XDG_CONFIG_HOME"); }

    TaskPools pools;
};

TEST_F(DesktopPreferencesTest, thePortalIsAskedAndFollowed) {
    Portal portal;
    portal.set("org.freedesktop.appearance", "color-scheme", 1U);
    portal.set("org.freedesktop.appearance", "contrast", 1U);
    portal.set("org.gnome.desktop.interface", "enable-animations", false);
    DesktopPreferences desktop(pools);
    EXPECT_EQ(desktop.look(), DesktopLook{}) << "nothing is waited for";
    const DesktopLook all{Appearance::dark, Contrast::high, Motion::reduced};
    ASSERT_TRUE(eventually([&] { return desktop.look() == all; }));
    int changes = 0;
    QObject::connect(&desktop, &DesktopPreferences::changed, [&] { ++changes; });
    portal.set("org.freedesktop.appearance", "color-scheme", 0U);
    ASSERT_TRUE(eventually([&] { return desktop.look().appearance == Appearance::light; }));
    portal.set("org.freedesktop.appearance", "accent-color", 1U);
    portal.set("org.freedesktop.appearance", "reduced-motion", 0U);
    ASSERT_TRUE(eventually([&] { return desktop.look().motion == Motion::full; }))
        << "the key that says it beats the one that means it";
    portal.set("org.freedesktop.appearance", "contrast", 0U);
    ASSERT_TRUE(eventually([&] { return desktop.look().contrast == Contrast::standard; }));
    EXPECT_EQ(changes, 3);
}

TEST_F(DesktopPreferencesTest, withoutAPortalTheToolkitsFileSpeaksOfMotion) {
    std::filesystem::create_directories(configuration() / "gtk-3.0");
    std::ofstream(configuration() / "gtk-3.0/settings.ini") << "[Settings]\ngtk-enable-animations=0\n";
    const DesktopPreferences desktop(pools);
    EXPECT_TRUE(eventually([&] { return desktop.look().motion == Motion::reduced; }));
    EXPECT_FALSE(desktop.look().appearance);
}

} // namespace
} // namespace morv
