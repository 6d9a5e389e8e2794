// What belongs to the desktop: volumes that come and go, and who opens folders.
#include "MorvApp/Integration/DefaultFolderHandler.h"
#include "MorvApp/Integration/ServerMounts.h"
#include "MorvApp/Integration/SystemVolumes.h"
#include "MorvApp/Model/MorvRuntime.h"
#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Platform/UserFolders.h"
#include "Tests/MorvApp/Support.h"

#include <QProcess>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/mount.h>
#include <unistd.h>

namespace morv {
namespace {

using test::eventually;

class SystemVolumesTest : public test::FolderTest {
protected:
    static bool lists(const std::vector<Volume>& volumes, const FileURL& url) {
        return std::ranges::find(volumes, url, &Volume::url) != volumes.end();
    }
    static QString text(const std::string& bytes) { return QString::fromStdString(bytes); }
    static bool succeeds(const QString& program, const QStringList& arguments) {
        return QProcess::execute(program, arguments) == 0;
    }
    static std::filesystem::path home() { return std::getenv("HOME"); }

    TaskPools pools;
};

TEST_F(SystemVolumesTest, aMountIsListedWhileItStandsAndGoesWhenItIsEjected) {
    const auto place = FileURL::folder((home() / "stick").string());
    std::filesystem::create_directory(place.path());
    const auto image = (home() / "image").string();
    std::ofstream(image) << "";
    std::filesystem::resize_file(image, 4 << 20);
    if (geteuid() != 0 || !succeeds(QStringLiteral("mkfs.ext2"), {QStringLiteral("-q"), text(image)}))
        GTEST_SKIP() << "Only root can mount.";
    SystemVolumes volumes(pools);
    volumes.begin();
    int notices = 0;
    QObject::connect(&volumes, &VolumeSource::volumesChanged, [&] { ++notices; });
    ASSERT_TRUE(eventually([&] { return !volumes.mountedVolumes().empty(); }));
    EXPECT_EQ(volumes.mountedVolumes().front(), (Volume{FileURL::folder("/"), "File System", true, false}));
    EXPECT_FALSE(lists(volumes.mountedVolumes(), place));

    if (!succeeds(QStringLiteral("mount"),
                  {QStringLiteral("-o"), QStringLiteral("loop"), text(image), text(place.path())}))
        GTEST_SKIP() << "This machine has no loop devices.";
    EXPECT_TRUE(eventually([&] { return lists(volumes.mountedVolumes(), place); }));
    EXPECT_GT(notices, 0);
    std::optional<std::string> failure = "no answer";
    QObject context;
    {
        // Busy: the system refuses, in its own words, and the volume stays.
        const std::ofstream open(place.path() + "/open");
        volumes.eject(place, &context, [&](const auto& answer) { failure = answer; });
        EXPECT_TRUE(eventually([&] { return failure != "no answer"; }));
        EXPECT_TRUE(failure.has_value() && !failure->empty());
        EXPECT_TRUE(lists(volumes.mountedVolumes(), place));
    }
    notices = 0;
    failure = "no answer";
    volumes.eject(place, &context, [&](const auto& answer) { failure = answer; });
    EXPECT_TRUE(eventually([&] { return failure != "no answer"; }));
    EXPECT_EQ(failure, std::nullopt);
    EXPECT_TRUE(eventually([&] { return !lists(volumes.mountedVolumes(), place); }));
    ::umount2(place.path().c_str(), MNT_DETACH);

    volumes.eject(place, &context, [&](const auto& answer) { failure = answer; });
    EXPECT_TRUE(failure.has_value()) << "what is not there cannot be ejected";
}

TEST_F(SystemVolumesTest, syncFoldersAreCloudLocations) {
    std::filesystem::create_directory(home() / "Nextcloud");
    std::ofstream(home() / "Dropbox") << "a file, no folder";
    SystemVolumes volumes(pools);
    volumes.begin();
    ASSERT_TRUE(eventually([&] { return !volumes.cloudLocations().empty(); }));
    EXPECT_EQ(volumes.cloudLocations(), (std::vector{Volume{FileURL::folder((home() / "Nextcloud").string()),
                                                            "Nextcloud", true, false}}));
    std::filesystem::remove(home() / "Dropbox");
    std::filesystem::remove(home() / "Nextcloud");
    volumes.refresh();
    EXPECT_TRUE(eventually([&] { return volumes.cloudLocations().empty(); }));
}

TEST_F(SystemVolumesTest, aServerThatNothingCanMountIsToldInASentence) {
    ServerMounts servers(pools);
    std::vector<std::string> sentences;
    const ServerConnector::Listener listener{
        [](const ServerQuestion&) { ADD_FAILURE() << "nobody asks"; },
        [](const FileURL&) { ADD_FAILURE() << "nothing was mounted"; },
        [&](const std::string& sentence) { sentences.push_back(sentence); }};
    const auto first = servers.reach("no-such-kind://first/", listener);
    auto attempt = servers.reach("no-such-kind://second/", listener);
    servers.reach("no-such-kind://third/", listener).reset();
    EXPECT_TRUE(sentences.empty()) << "never within the call";
    EXPECT_TRUE(eventually([&] { return sentences.size() == 2; }));
    EXPECT_THAT(sentences, testing::Each(testing::HasSubstr("no support for addresses of this kind")));
    attempt.reset();
}

class DefaultFolderHandlerTest : public test::FolderTest {
protected:
    DefaultFolderHandlerTest() : data(std::getenv("XDG_DATA_HOME")) {
        std::filesystem::create_directories(data / "applications");
    }
    ~DefaultFolderHandlerTest() override {
        std::filesystem::remove_all(data / "applications");
        std::filesystem::remove_all(data / "dbus-1");
        std::filesystem::remove(std::filesystem::path(std::getenv("XDG_CONFIG_HOME")) / "mimeapps.list");
    }

    void install(const std::string& id) {
        std::ofstream(data / "applications" / id) << "[Desktop Entry]\nType=Application\nName=" << id
                                                  << "\nExec=/bin/true %U\nMimeType=inode/directory;\n";
    }
    static std::string content(const std::filesystem::path& file) {
        std::ostringstream text;
        text << std::ifstream(file, std::ios::binary).rdbuf();
        return std::move(text).str();
    }

    std::filesystem::path data;
    std::filesystem::path service() const {
        return data / "dbus-1/services/org.freedesktop.FileManager1.service";
    }
    UserDefaults defaults{FileURL::fromPath(std::string(std::getenv("XDG_CONFIG_HOME")) + "/Morv/Morv.conf")};
    DefaultFolderHandler handler{FileURL::fromPath("/opt/my apps/morv"), defaults};
    TaskPools pools;
};

TEST_F(DefaultFolderHandlerTest, itIsRememberedWhatWasThereAndPutBack) {
    install("other.desktop");
    install("org.morv.Morv.desktop");
    std::ofstream(std::filesystem::path(std::getenv("XDG_CONFIG_HOME")) / "mimeapps.list")
        << "[Default Applications]\ninode/directory=other.desktop\n";
    ASSERT_FALSE(handler.isDefault());
    handler.makeDefault();
    EXPECT_EQ(defaults.replacedFolderHandler(), "other.desktop");
    EXPECT_TRUE(handler.isDefault());
    EXPECT_EQ(content(service()), "[D-BUS Service]\nName=org.freedesktop.FileManager1\n"
                                  "Exec='/opt/my apps/morv' --service\n");
    handler.makeDefault();
    handler.restore();
    EXPECT_FALSE(handler.isDefault());
    EXPECT_FALSE(std::filesystem::exists(service()));

    std::ofstream(service()) << "another manager's";
    handler.makeDefault();
    handler.restore();
    EXPECT_EQ(content(service()), "another manager's");
    handler.makeDefault();
    std::ofstream(service()) << "changed since";
    handler.restore();
    EXPECT_EQ(content(service()), "changed since") << "what someone else wrote meanwhile stays";

    std::filesystem::remove(data / "applications/org.morv.Morv.desktop");
    EXPECT_TRUE(eventually([&] {
        try {
            handler.makeDefault();
        } catch (const FileOperationError& error) {
            return std::string(error.what()) ==
                   "Morv is not installed for this user, so folders cannot be opened with it.";
        }
        handler.restore(); // GIO still knows the entry
        return false;
    }));
}

TEST_F(DefaultFolderHandlerTest, fromAnyThreadTheSameIsRemembered) {
    install("other.desktop");
    install("org.morv.Morv.desktop");
    std::ofstream(std::filesystem::path(std::getenv("XDG_CONFIG_HOME")) / "mimeapps.list")
        << "[Default Applications]\ninode/directory=other.desktop\n";
    FolderHandlerModel model(pools,
                             std::make_shared<DesktopFolderHandler>(FileURL::fromPath("/opt/my apps/morv"),
                                                                    MorvServices::defaultsFile()));
    model.refresh();
    ASSERT_TRUE(eventually([&] { return model.state() == FolderHandler::State{false, "other.desktop"}; }));
    model.makeDefault();
    ASSERT_TRUE(eventually([&] { return model.state() && model.state()->isMorv; }));
    const auto kept = [] { return UserDefaults(MorvServices::defaultsFile()).replacedFolderHandler(); };
    EXPECT_EQ(kept(), "other.desktop");
    model.restore();
    EXPECT_TRUE(eventually([&] { return model.state() == FolderHandler::State{false, "other.desktop"}; }));
    EXPECT_EQ(kept(), "");
}

} // namespace
} // namespace morv
