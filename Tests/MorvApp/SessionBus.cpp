#include "Tests/MorvApp/SessionBus.h"

#include <QDBusPendingCall>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace morv::test {

namespace {

std::string servicesFolder() {
    return std::string(std::getenv("MORV_TEST_ROOT")) + "/services";
}

} // namespace

SessionBus::SessionBus() {
    std::filesystem::create_directories(servicesFolder());
    const auto configuration = std::string(std::getenv("MORV_TEST_ROOT")) + "/bus.conf";
    std::ofstream(configuration) << "<busconfig><type>session</type><listen>unix:tmpdir=" << servicesFolder()
                                 << "</listen><auth>EXTERNAL</auth><servicedir>" << servicesFolder()
                                 << "</servicedir><policy context=\"default\"><allow send_destination=\"*\"/>"
                                    "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>";
    daemon_.start(QStringLiteral("dbus-daemon"),
                  {QStringLiteral("--nofork"), QStringLiteral("--print-address"),
                   QStringLiteral("--config-file=") + QString::fromStdString(configuration)});
    if (!daemon_.waitForReadyRead(10'000))
        std::abort();
    setenv("DBUS_SESSION_BUS_ADDRESS", daemon_.readLine().trimmed().constData(), 1);
}

SessionBus::~SessionBus() {
    daemon_.kill();
    daemon_.waitForFinished();
}

void SessionBus::addService(const std::string& name, const std::string& command) {
    std::ofstream(servicesFolder() + "/" + name + ".service")
        << "[D-BUS Service]\nName=" << name << "\nExec=" << command << "\n";
    call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "ReloadConfig", {});
}

MorvProcess::MorvProcess(const std::vector<std::string>& arguments, const QString& folder,
                         const std::vector<std::pair<std::string, std::string>>& extra) {
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("MORV_DATA_DIRECTORY"));
    for (const auto& [name, value] : extra)
        environment.insert(QString::fromStdString(name), QString::fromStdString(value));
    process_.setProcessEnvironment(environment);
    if (!folder.isEmpty())
        process_.setWorkingDirectory(folder);
    QStringList words;
    for (const auto& argument : arguments)
        words << QString::fromStdString(argument);
    process_.start(QStringLiteral(MORV_PROGRAM), words);
    EXPECT_TRUE(process_.waitForStarted());
}

MorvProcess::~MorvProcess() {
    process_.kill();
    process_.waitForFinished();
}

int MorvProcess::ended() {
    // The event loop goes on: it answers what the program asks of the test's own services.
    for (int i = 0; i < 6 && isRunning(); ++i)
        eventually([this] { return !isRunning(); });
    return isRunning() || process_.exitStatus() == QProcess::CrashExit ? -1 : process_.exitCode();
}

std::string MorvProcess::output() {
    return process_.readAllStandardOutput().toStdString();
}

std::string MorvProcess::errors() {
    return process_.readAllStandardError().toStdString();
}

std::string call(const char* service, const char* path, const char* interface, const char* method,
                 const QVariantList& arguments) {
    auto message = QDBusMessage::createMethodCall(QLatin1String(service), QLatin1String(path),
                                                  QLatin1String(interface), QLatin1String(method));
    message.setArguments(arguments);
    // A connection of its own, as another program has: Qt answers its own objects without the bus.
    static auto bus =
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("another program"));
    auto pending = bus.asyncCall(message, 10'000);
    EXPECT_TRUE(eventually([&] { return pending.isFinished(); }));
    return pending.reply().errorName().toStdString();
}

} // namespace morv::test
