// Every test here runs on a session bus of its own, with a real Trash service whose home is the test's. The
// service works with the environment of the bus: it stands before the bus is started, or a test would empty
// the Trash of whoever runs it. Several things are seen to before anything is emptied (TrashServiceTests.cpp).
#include "MorvApp/Integration/SystemTrashService.h"
#include "MorvApp/Model/FinderTrashController.h"
#include "Tests/MorvApp/Support.h"

#include <QCoreApplication>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char* sessionMark = "MORV_TRASH_SESSION";

/// Starts this program again, within a bus and a home of its own.
int startSession(char** arguments) {
    morv::test::usePrivateHome();
    setenv("GVFS_DISABLE_FUSE", "1", 1);
    const char* outer = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    setenv(sessionMark, outer && *outer ? outer : "none", 1);
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
    unsetenv("GIO_USE_VFS");
    std::vector<char*> command{const_cast<char*>("dbus-run-session"), const_cast<char*>("--")};
    for (char** each = arguments; *each; ++each)
        command.push_back(*each);
    command.push_back(nullptr);
    execvp(command[0], command.data());
    std::perror("dbus-run-session");
    return 1;
}

/// The same call in a process of its own: what GIO has found once it keeps.
int probe() {
    try {
        morv::emptySystemTrash(std::chrono::seconds(20), {});
        std::puts("0");
    } catch (const morv::FinderTrashFailure& failure) {
        std::printf("%d\n", failure.code());
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (std::getenv("MORV_TRASH_PROBE"))
        return probe();
    bool lists = false;
    for (int i = 1; i < argc; ++i)
        lists = lists || std::string_view(argv[i]) == "--gtest_list_tests";
    if (!lists && !std::getenv(sessionMark))
        return startSession(argv);
    testing::InitGoogleTest(&argc, argv);
    const QCoreApplication application(argc, argv);
    return lists ? RUN_ALL_TESTS() : morv::test::runTests();
}
