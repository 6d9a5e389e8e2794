#include "MorvApp/Integration/GObjects.h"
#include "MorvApp/Integration/SystemTrashService.h"
#include "MorvApp/Model/FinderTrashController.h"
#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Platform/SystemTrash.h"
#include "Tests/MorvApp/Support.h"
#include "Tests/Support/TemporaryFolder.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <sstream>
#include <sys/mount.h>
#include <thread>

namespace morv {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

std::string content(const fs::path& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return std::move(text).str();
}

/// On the test's own bus, with nothing in Trash that is not the test's.
class TrashService : public test::FolderTest {
protected:
    TrashService() {
        const auto session = variable("MORV_TEST_ROOT") + "/";
        for (const auto* name : {"HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR", "XDG_CACHE_HOME"})
            if (!variable(name).starts_with(session))
                abandon(name);
        const auto bus = variable("DBUS_SESSION_BUS_ADDRESS");
        if (session == "/" || bus.empty() || bus == variable("MORV_TRASH_SESSION"))
            abandon("the session bus");
        // Trash is on every drive: an earlier run's, or the user's own, must not be emptied by a test.
        for (const auto& [name, place] : listed())
            if (!place.starts_with("file://" + session))
                abandon(place.c_str());
    }

    [[noreturn]] static void abandon(const char* what) {
        std::fprintf(stderr, "This test would empty a Trash that is not its own: %s\n", what);
        std::abort();
    }

    /// What the service shows: names and where they really lie.
    static std::map<std::string, std::string> listed() {
        std::map<std::string, std::string> result;
        const GHandle<GFile> trash(g_file_new_for_uri("trash:///"));
        const GHandle<GFileEnumerator> all(g_file_enumerate_children(
            trash.get(), "standard::name,standard::target-uri", G_FILE_QUERY_INFO_NONE, nullptr, nullptr));
        GFileInfo* info = nullptr;
        while (all && g_file_enumerator_iterate(all.get(), &info, nullptr, nullptr, nullptr) && info) {
            const char* place = g_file_info_get_attribute_string(info, G_FILE_ATTRIBUTE_STANDARD_TARGET_URI);
            result[g_file_info_get_name(info)] = place ? place : "unknown";
        }
        return result;
    }
    bool lists(std::size_t count) {
        return test::eventually([&] { return listed().size() == count; });
    }
    static fs::path trash() { return variable("XDG_DATA_HOME") + "/Trash"; }
    static std::vector<std::string> kept() { return names(FileURL::folder((trash() / "files").string())); }

    void trashThree() {
        file("a.txt");
        file("b\n\u202e.txt");
        fs::create_directories(work.path() + "/folder/deep");
        std::ofstream(work.path() + "/folder/deep/file") << "content";
        for (const auto& name : names(work))
            SystemTrash::trash(work.child(name));
        ASSERT_TRUE(lists(3));
    }
    static int codeOf(std::chrono::milliseconds limit, const std::stop_token& stop = {}) {
        try {
            emptySystemTrash(limit, stop);
        } catch (const FinderTrashFailure& failure) {
            return failure.code();
        }
        return 0;
    }
    /// Of this session, and of no other.
    static pid_t service() {
        for (const auto& entry : fs::directory_iterator("/proc")) {
            if (content(entry.path() / "cmdline").find("gvfsd-trash") != std::string::npos &&
                content(entry.path() / "environ").find("HOME=" + variable("HOME")) != std::string::npos)
                return std::stoi(entry.path().filename().string());
        }
        return 0;
    }
};

TEST_F(TrashService, deletesAllThatIsInTrashAndNothingElse) {
    const auto stays = file("stays.txt");
    fs::rename(stays.path(), root.path() + "/stays.txt");
    trashThree();
    emptySystemTrash(emptyTrashLimit, {});
    EXPECT_TRUE(kept().empty());
    EXPECT_TRUE(names(FileURL::folder((trash() / "info").string())).empty());
    EXPECT_EQ(content(root.path() + "/stays.txt"), "content");
    emptySystemTrash(emptyTrashLimit, {});
}

TEST_F(TrashService, anItemThatIsRefusedDoesNotStopTheOthers) {
    trashThree();
    const auto sentence = [] {
        return test::sentenceOf<FinderTrashFailure>([] { emptySystemTrash(emptyTrashLimit, {}); });
    };
    const std::string refusal = "The Trash service did not confirm Empty Trash (error 0). ";
    // The service moves an item aside before it deletes it, and never to another volume.
    const test::TemporaryFolder elsewhere(test::Disk::memory);
    test::removeWhole(trash() / "expunged");
    fs::create_directory_symlink(elsewhere.path(), trash() / "expunged");
    const auto all = sentence();
    EXPECT_TRUE(all.starts_with(refusal + "3 of 3 items were refused, first “")) << all;
    EXPECT_EQ(kept().size(), 3U);
    fs::remove(trash() / "expunged");

    const auto mounted = trash() / "files/folder";
    if (mount("morv-test", mounted.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, nullptr) != 0)
        GTEST_SKIP() << "Only root can mount.";
    const auto one = sentence();
    EXPECT_EQ(umount2(mounted.c_str(), MNT_DETACH), 0);
    EXPECT_TRUE(one.starts_with(refusal + "1 of 3 items were refused, first “folder”: ")) << one;
    EXPECT_TRUE(one.ends_with(".")) << one;
    EXPECT_EQ(kept(), std::vector<std::string>{"folder"});
    EXPECT_TRUE(fs::exists(trash() / "files/folder/deep/file"));
    emptySystemTrash(emptyTrashLimit, {});
    EXPECT_TRUE(kept().empty());
}

TEST_F(TrashService, aServiceThatDoesNotAnswerIsLeftWhenTheTimeHasPassed) {
    trashThree();
    const auto process = service();
    ASSERT_GT(process, 0);
    ASSERT_EQ(kill(process, SIGSTOP), 0);
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(codeOf(300ms), FinderTrashFailure::timedOut);
    EXPECT_GE(std::chrono::steady_clock::now() - begun, 300ms);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, 20s);

    std::stop_source stop;
    auto stopped = std::async(std::launch::async, [&] {
        EXPECT_THROW(emptySystemTrash(emptyTrashLimit, stop.get_token()), CancellationError);
    });
    stop.request_stop();
    EXPECT_EQ(stopped.wait_for(20s), std::future_status::ready);
    EXPECT_EQ(kept().size(), 3U);
    ASSERT_EQ(kill(process, SIGCONT), 0);
    EXPECT_EQ(codeOf(emptyTrashLimit), 0);
    EXPECT_TRUE(kept().empty());
}

TEST_F(TrashService, withoutAServiceNothingIsReached) {
    trashThree();
    for (const auto* missing : {"GIO_USE_VFS=local", "DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent"}) {
        SCOPED_TRACE(missing);
        const auto command =
            std::string("MORV_TRASH_PROBE=1 ") + missing + " /proc/" + std::to_string(getpid()) + "/exe";
        FILE* answer = popen(command.c_str(), "r");
        ASSERT_TRUE(answer);
        char line[64] = {};
        EXPECT_TRUE(std::fgets(line, sizeof line, answer));
        EXPECT_EQ(pclose(answer), 0);
        EXPECT_EQ(std::atoi(line), FinderTrashFailure::notReached) << line;
    }
    EXPECT_EQ(kept().size(), 3U);
    emptySystemTrash(emptyTrashLimit, {});
}

/// The whole way, with the real engine and the real service.
TEST_F(TrashService, theControllerEmptiesTrashUnderALease) {
    trashThree();
    MorvServices services(environment());
    auto& controller = services.trash;
    const auto accept = [](const auto& answer) { answer(true); };
    controller.setOperations(
        {accept, accept, [](const auto& stop) { emptySystemTrash(emptyTrashLimit, stop); }, {}});
    services.emptyTrash();
    ASSERT_TRUE(test::eventually([&] { return controller.awaitingFinderCompletion(); }));
    EXPECT_FALSE(controller.hasError()) << controller.message().value_or("");
    EXPECT_TRUE(kept().empty());
    EXPECT_TRUE(services.engine.hasActiveOperation()) << "a reply by itself releases nothing";
    controller.acknowledgeFinderFinished();
    ASSERT_TRUE(test::eventually([&] { return !controller.awaitingFinderCompletion(); }));
    EXPECT_FALSE(services.engine.hasActiveOperation());
}

/// Opening Trash starts what shows it, and never Morv, which would show nothing.
TEST_F(TrashService, trashIsShownByTheDefaultFileManagerButNeverByMorv) {
    const fs::path applications = variable("XDG_DATA_HOME") + "/applications";
    fs::create_directories(applications);
    const auto install = [&](const std::string& id, const std::string& mark) {
        std::ofstream(applications / id)
            << "[Desktop Entry]\nType=Application\nName=" << id << "\nExec=sh -c 'printf %%s \"$1\" > "
            << root.path() << "/" << mark << ".new && mv " << root.path() << "/" << mark << ".new "
            << root.path() << "/" << mark << "' sh %U\nMimeType=inode/directory;\n";
    };
    install("org.morv.Morv.desktop", "morv");
    install("other.desktop", "other");
    std::ofstream(applications / "mimeinfo.cache")
        << "[MIME Cache]\ninode/directory=org.morv.Morv.desktop;other.desktop;\n";
    std::ofstream(variable("XDG_CONFIG_HOME") + "/mimeapps.list")
        << "[Default Applications]\ninode/directory=org.morv.Morv.desktop\n";
    openSystemTrash();
    EXPECT_TRUE(test::eventually([&] { return content(root.path() + "/other") == "trash:///"; }));
    EXPECT_FALSE(fs::exists(root.path() + "/morv"));
}

} // namespace
} // namespace morv
