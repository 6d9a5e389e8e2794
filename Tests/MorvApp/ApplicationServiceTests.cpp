// A real session bus: first the interfaces in this process, then whole programs.
#include "MorvApp/Integration/ApplicationService.h"
#include "MorvApp/Model/LaunchArguments.h"
#include "MorvCore/Foundation/FileURL.h"
#include "Tests/MorvApp/SessionBus.h"

#include <QDBusConnectionInterface>
#include <QSettings>
#include <csignal>
#include <filesystem>

namespace morv {
namespace {

using test::eventually;
using test::MorvProcess;
using testing::ElementsAre;
using testing::IsEmpty;
using Kind = OutsideRequest::Kind;
using Ownership = ApplicationService::Ownership;

constexpr const char* name = "org.morv.Morv";
constexpr const char* path = "/org/morv/Morv";
constexpr const char* application = "org.freedesktop.Application";
constexpr const char* fileManager = "org.freedesktop.FileManager1";
constexpr const char* fileManagerPath = "/org/freedesktop/FileManager1";

QString ownerOf(const char* service) {
    return QDBusConnection::sessionBus().interface()->serviceOwner(QLatin1String(service)).value();
}

std::string callManager(const char* method, const QStringList& urls, const char* startup = "") {
    return test::call(fileManager, fileManagerPath, fileManager, method, {urls, QLatin1String(startup)});
}

QString uri(const FileURL& url) {
    return QString::fromStdString(url.absoluteString());
}

class ApplicationServiceTest : public test::FolderTest {
protected:
    ~ApplicationServiceTest() override {
        auto* bus = QDBusConnection::sessionBus().interface();
        for (const auto* service : {name, fileManager})
            bus->unregisterService(QLatin1String(service));
        EXPECT_TRUE(eventually([] { return ownerOf(name).isEmpty() && ownerOf(fileManager).isEmpty(); }));
    }

    ApplicationService::Handler recorder() {
        return [this](const OutsideRequest& request) -> std::optional<std::string> {
            requests.push_back(request);
            return refusal;
        };
    }
    /// The folder that a real morv has gone to last.
    static std::string lastLocation() {
        const QSettings settings(
            QString::fromStdString(std::string(std::getenv("XDG_CONFIG_HOME")) + "/Morv/Morv.conf"),
            QSettings::IniFormat);
        return settings.value(QStringLiteral("lastLocation")).toByteArray().toStdString();
    }
    static bool goesTo(const FileURL& folder) {
        return eventually([&] { return lastLocation() == folder.path(); });
    }

    std::vector<OutsideRequest> requests;
    std::optional<std::string> refusal;
};

TEST_F(ApplicationServiceTest, whatTheDesktopAsksArrivesAsOneRequest) {
    ApplicationService service(recorder());
    ASSERT_EQ(service.own(), Ownership::owned);
    const QVariantMap startup = {{QStringLiteral("desktop-startup-id"), QStringLiteral("id")}};
    const QStringList urls = {QStringLiteral("file:///a/%FF"), QStringLiteral("nonsense")};
    const std::vector<std::string> same = {"file:///a/%FF", "nonsense"};
    EXPECT_EQ(test::call(name, path, application, "Activate", {startup}), "");
    EXPECT_EQ(test::call(name, path, application, "Open", {urls, startup}), "");
    EXPECT_EQ(test::call(name, path, application, "ActivateAction",
                         {QStringLiteral("new-window"), QVariantList(), startup}),
              "");
    EXPECT_EQ(test::call(name, path, application, "ActivateAction",
                         {QStringLiteral("explode"), QVariantList(), startup}),
              "");
    EXPECT_EQ(callManager("ShowFolders", urls, "id"), "");
    EXPECT_EQ(callManager("ShowItems", urls, "id"), "");
    EXPECT_EQ(callManager("ShowItemProperties", urls, "id"), "");
    EXPECT_THAT(requests,
                ElementsAre(OutsideRequest{Kind::activate, {}, "id"}, OutsideRequest{Kind::open, same, "id"},
                            OutsideRequest{Kind::newWindow, {}, "id"}, OutsideRequest{Kind::open, same, "id"},
                            OutsideRequest{Kind::showItems, same, "id"},
                            OutsideRequest{Kind::showProperties, same, "id"}));
    EXPECT_NE(test::call(name, path, application, "Quit", {}), "");
    EXPECT_NE(test::call(name, path, application, "Open", {QStringLiteral("no list")}), "");
    refusal = "Not now.";
    EXPECT_EQ(test::call(name, path, application, "Activate", {QVariantMap()}),
              "org.morv.Morv.Error.Refused");
}

TEST_F(ApplicationServiceTest, theFileManagersNameIsTakenOnlyWhileNobodyHasIt) {
    QString theirs;
    {
        auto another =
            QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("another manager"));
        ASSERT_TRUE(another.registerService(QLatin1String(fileManager)));
        theirs = another.baseService();
    }
    ApplicationService service(recorder());
    EXPECT_EQ(service.own(), Ownership::owned);
    EXPECT_EQ(ownerOf(fileManager), theirs);
    QDBusConnection::disconnectFromBus(QStringLiteral("another manager"));
    EXPECT_TRUE(eventually([] { return ownerOf(fileManager) == ownerOf(name); }))
        << "it is taken over when the other one ends";
}

TEST_F(ApplicationServiceTest, aSecondStartHandsItsRequestOver) {
    folder("work/b");
    MorvProcess first({work.path()});
    ASSERT_TRUE(goesTo(work)) << first.errors();

    struct Row {
        const char* what;
        std::vector<std::string> arguments;
        FileURL place;
    };
    const auto a = file("odd \xff name");
    const Row rows[] = {
        {"a relative path is the caller's", {"b"}, work.child("b")},
        {"the one command", {"morv://open?path=" + root.path()}, root},
        {"a file", {"--", "odd \xff name"}, work},
        {"a new window", {"--new-window", "b"}, work.child("b")},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        // What names no file comes first, and must leave no trace.
        MorvProcess nothing({"morv://elsewhere?path=/tmp", "morv://open?path=tmp", "https://example.org/"});
        EXPECT_EQ(nothing.ended(), 0);
        MorvProcess second(row.arguments, QString::fromStdString(work.path()), {{"QT_QPA_PLATFORM", "none"}});
        EXPECT_EQ(second.ended(), 0) << second.errors();
        EXPECT_EQ(second.output() + second.errors(), "");
        EXPECT_TRUE(goesTo(row.place)) << lastLocation();
        EXPECT_TRUE(first.isRunning());
    }
    EXPECT_EQ(callManager("ShowItems", {uri(a)}), "");
    EXPECT_TRUE(goesTo(work));
    EXPECT_EQ(callManager("ShowFolders", {uri(root)}), "");
    EXPECT_TRUE(goesTo(root));

    ASSERT_EQ(::kill(static_cast<pid_t>(first.id()), SIGKILL), 0);
    EXPECT_EQ(first.ended(), -1);
    MorvProcess next({work.path()});
    EXPECT_TRUE(goesTo(work)) << next.errors();
    ASSERT_EQ(::kill(static_cast<pid_t>(next.id()), SIGTERM), 0);
    EXPECT_EQ(next.ended(), 0) << "nothing is under way: it ends at once";
}

TEST_F(ApplicationServiceTest, ofManyStartsAtOnceOneStays) {
    std::vector<std::unique_ptr<MorvProcess>> starts;
    for (int i = 0; i < 4; ++i)
        starts.push_back(std::make_unique<MorvProcess>(std::vector{work.path()}));
    const auto running = [&] {
        return std::ranges::count_if(starts, [](const auto& each) { return each->isRunning(); });
    };
    EXPECT_TRUE(eventually([&] { return running() == 1; })) << running();
    EXPECT_TRUE(goesTo(work));
    for (auto& each : starts)
        if (!each->isRunning()) {
            EXPECT_EQ(each->ended(), 0) << each->errors();
        }
    EXPECT_EQ(running(), 1);
}

TEST_F(ApplicationServiceTest, aSessionWithPlacesOfItsOwnRunsByItself) {
    MorvProcess first({work.path()});
    ASSERT_TRUE(goesTo(work)) << first.errors();
    const auto owner = ownerOf(name);
    MorvProcess fixture({root.path()}, {}, {{"MORV_DATA_DIRECTORY", root.path() + "/other data"}});
    EXPECT_TRUE(goesTo(root)) << fixture.errors();
    EXPECT_TRUE(fixture.isRunning() && first.isRunning());
    EXPECT_EQ(ownerOf(name), owner);

    const auto taken = std::string(std::getenv("XDG_DATA_HOME")) + "/Morv";
    MorvProcess same({}, {}, {{"MORV_DATA_DIRECTORY", taken}});
    std::string sentence;
    EXPECT_TRUE(eventually([&] { return !(sentence += same.errors()).empty(); }));
    EXPECT_THAT(sentence, testing::HasSubstr("Morv is already running with this data directory.\n"));
}

TEST_F(ApplicationServiceTest, aRunningMorvThatRefusesOrHasNoBusIsToldApart) {
    ApplicationService service(recorder());
    ASSERT_EQ(service.own(), Ownership::owned);
    refusal = "Not now.";
    MorvProcess refused({"--new-window", work.path()});
    EXPECT_EQ(refused.ended(), 3);
    EXPECT_EQ(refused.errors(), "Not now.\n");
    EXPECT_THAT(requests, ElementsAre(OutsideRequest{
                              Kind::newWindow, {FileURL::fromPath(work.path()).absoluteString()}, ""}));
    MorvProcess needless({"--service"});
    EXPECT_EQ(needless.ended(), 0) << "one that waits is enough";

    MorvProcess alone({work.path()}, {}, {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere"}});
    EXPECT_TRUE(goesTo(work)) << alone.errors();
    EXPECT_TRUE(alone.isRunning());
}

TEST_F(ApplicationServiceTest, theBusStartsItForTheFirstRequest) {
    test::SessionBus::addService(name, "/usr/bin/env -u MORV_DATA_DIRECTORY " MORV_PROGRAM " --service");
    ASSERT_EQ(test::call(name, path, application, "Open", {QStringList{uri(work)}, QVariantMap()}), "");
    const auto process = QDBusConnection::sessionBus().interface()->servicePid(QLatin1String(name)).value();
    EXPECT_TRUE(goesTo(work));
    EXPECT_EQ(ownerOf(fileManager), ownerOf(name));
    ASSERT_GT(process, 1U);
    ::kill(static_cast<pid_t>(process), SIGTERM);
}

TEST_F(ApplicationServiceTest, theArgumentsSayWhatIsWanted) {
    const auto parsed = [](const std::vector<std::string>& arguments) {
        return parseLaunchArguments(arguments).request;
    };
    EXPECT_EQ(parsed({}), (OutsideRequest{Kind::activate, {}, ""}));
    EXPECT_EQ(parsed({"/a/../b \xff", "morv://open?path=/x", "--", "--help"}).urls,
              (std::vector<std::string>{"file:///b%20%FF", "morv://open?path=/x",
                                        FileURL::fromArgument("--help").absoluteString()}));
    EXPECT_EQ(parsed({"--new-window"}).kind, Kind::newWindow);
    EXPECT_EQ(parsed({"-reverse", "-session", "a_b", "--style=fusion", "-qwindowtitle", "-x", "/c"}).urls,
              (std::vector<std::string>{"file:///c"}))
        << "the toolkit's own";
    for (const std::vector<std::string>& bad : {std::vector<std::string>{"--loud"},
                                                {"-x"},
                                                {"-reversed"},
                                                {"-session"},
                                                {""},
                                                {"--service", "/tmp"},
                                                {"--service", "--new-window"}})
        EXPECT_THROW(parseLaunchArguments(bad), LaunchError) << testing::PrintToString(bad);
    MorvProcess usage({"--loud"});
    EXPECT_EQ(usage.ended(), 2);
    EXPECT_EQ(usage.errors(), "“--loud” is not an option of morv.\n");
    MorvProcess help({"--help"});
    EXPECT_EQ(help.ended(), 0);
    EXPECT_THAT(help.output(), testing::HasSubstr("--new-window"));
}

} // namespace
} // namespace morv
