// Requests from outside over real folders, a real store and a real engine; only the windows are stand-ins.
#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Model/VolumeSource.h"
#include "Tests/MorvApp/Support.h"

#include <filesystem>
#include <fstream>
#include <latch>

namespace morv {
namespace {

using test::eventually;
using testing::ElementsAre;
using testing::IsEmpty;
using Placement = FileWindows::Placement;
using Verdict = QuitAnswer::Verdict;

class StandInWindow : public FileWindow {
public:
    StandInWindow(MorvServices& services, ClipboardBoard& board, const std::optional<FileURL>& at)
        : app(services, board, at) {}

    AppModel& model() override { return app; }
    bool isVisible() const override { return visible; }
    void bringForward() override {
        visible = true;
        ++forward;
        if (onForward)
            onForward();
    }

    AppModel app;
    bool visible = false;
    int forward = 0;
    std::function<void()> onForward;
};

class CountedVolumes : public VolumeSource {
public:
    const std::vector<Volume>& mountedVolumes() const override { return none; }
    const std::vector<Volume>& cloudLocations() const override { return none; }
    void refresh() override { ++refreshed; }
    void eject(const FileURL&, QObject*, Ejected) override {}

    std::vector<Volume> none;
    int refreshed = 0;
};

class FileWindowsTest : public test::FolderTest {
protected:
    FileWindowsTest() {
        services.emplace(environment());
        windows().setFactory([this](const std::optional<FileURL>& at) {
            made.push_back(std::make_unique<StandInWindow>(*services, board, at));
            return made.back().get();
        });
    }

    FileWindows& windows() { return services->windows; }
    static std::vector<std::string> selected(StandInWindow& window) {
        std::vector<std::string> names;
        for (const auto* entry : window.app.activePane().selectedEntries())
            names.push_back(entry->name);
        return names;
    }
    static bool shows(StandInWindow& window, const FileURL& folder) {
        return eventually([&] { return window.app.activePane().loadedLocation() == folder; });
    }
    static std::string uri(const FileURL& url) { return url.absoluteString(); }
    static std::string idOf(const FileURL& url) { return DirectoryService::entry(url).id(); }

    test::MemoryBoard board;
    std::optional<MorvServices> services;
    std::vector<std::unique_ptr<StandInWindow>> made;
};

TEST_F(FileWindowsTest, onlyAFileURLAndTheOneCommandNameAFile) {
    const auto path = [](const char* url) {
        const auto file = FileWindows::fileURL(url);
        return file ? file->path() : std::string("nothing");
    };
    EXPECT_EQ(path("file:///a/../b%20c/%FF"), "/b c/\xff");
    EXPECT_EQ(path("FILE://localhost/a"), "/a");
    EXPECT_EQ(path("morv://open?path=/tmp/a%26b%FF+c"), "/tmp/a&b\xff+c");
    EXPECT_EQ(path("MORV://Open/x?mode=1&path=%2Fa/./b&path=/second#path=/third"), "/a/b");
    for (const auto* bad : {"",
                            ":",
                            "/tmp",
                            "file:",
                            "file://other.host/a",
                            "morv:",
                            "morv://open",
                            "morv://open?",
                            "morv://open?path",
                            "morv://open?path=",
                            "morv://open?path=relative/x",
                            "morv://elsewhere?path=/tmp",
                            "morv:open?path=/tmp",
                            "morv://open#?path=/tmp",
                            "morv://open?path=/%zz",
                            "morv://open?path=/a%0",
                            "morv://open?path=/a%00b",
                            "morv://open?path=bad&path=/good",
                            "https://open?path=/tmp",
                            "xmorv://open?path=/tmp"})
        EXPECT_EQ(path(bad), "nothing") << bad;
    windows().open("morv://elsewhere?path=/tmp");
    windows().openAll({"https://example.org", "morv://open?path=x"}, Placement::reveal);
    EXPECT_THAT(made, IsEmpty());
}

TEST_F(FileWindowsTest, aFolderIsShownAndAnythingElseIsSelectedInItsFolder) {
    folder("work/inner");
    folder("work/Tool.app");
    file("a.txt");
    file("odd \xff");
    windows().open(uri(work.child("inner")));
    ASSERT_TRUE(eventually([&] { return made.size() == 1; })) << "without a window one is made";
    auto& window = *made.front();
    ASSERT_TRUE(shows(window, work.child("inner")));
    EXPECT_THAT(selected(window), IsEmpty());

    const auto expectSelected = [&](const std::string& name) {
        SCOPED_TRACE(name);
        windows().open(uri(work.child(name)));
        EXPECT_TRUE(eventually([&] { return selected(window) == std::vector{name}; }));
        EXPECT_EQ(window.app.activePane().location(), work);
    };
    expectSelected("a.txt");
    EXPECT_TRUE(window.app.activePane().canGoBack());
    expectSelected("odd \xff");
    expectSelected("Tool.app");
    file("made a moment ago");
    expectSelected("made a moment ago");
    window.app.activePane().back();
    EXPECT_EQ(window.app.activePane().location(), work.child("inner"))
        << "a folder that is shown is not gone to";
    EXPECT_EQ(window.app.errorMessage(), std::nullopt);
    EXPECT_EQ(made.size(), 1U);

    windows().open(uri(work.child("gone.txt")));
    EXPECT_TRUE(shows(window, work)) << "what cannot be read is looked for in its folder";
    EXPECT_THAT(selected(window), IsEmpty());
    EXPECT_EQ(window.app.errorMessage(), std::nullopt);
}

TEST_F(FileWindowsTest, aRequestGoesToTheWindowThatTheUserSees) {
    CountedVolumes volumes;
    windows().setVolumes(&volumes);
    auto* first = windows().newWindow(work);
    auto* second = windows().newWindow(work);
    EXPECT_EQ(windows().activeModel(), &second->model());
    windows().becameKey(*first);
    EXPECT_EQ(volumes.refreshed, 1);
    EXPECT_EQ(windows().visibleManager(work), &first->model());
    made[0]->visible = false;
    EXPECT_EQ(windows().visibleManager(work), &second->model()) << "a minimised or hidden one is passed over";
    made.pop_back();
    EXPECT_EQ(windows().activeModel(), nullptr) << "a closed window takes its model with it";
    EXPECT_FALSE(windows().anyVisible());
    ASSERT_NE(windows().visibleManager(work), nullptr);
    EXPECT_EQ(made.size(), 2U) << "a new one beside the hidden one";
    EXPECT_TRUE(windows().keepsProcess());

    Q_EMIT made.back()->app.requested(FileCommand::newWindow);
    EXPECT_EQ(made.size(), 3U);
    windows().showActivity();
    EXPECT_EQ(made.back()->app.sheet(), AppSheet::activity);
    made.clear();
    EXPECT_FALSE(windows().keepsProcess());
    bool tray = true;
    windows().addAnchor([&] { return tray; });
    EXPECT_TRUE(windows().keepsProcess());
    tray = false;
    windows().setVolumes(nullptr);
}

TEST_F(FileWindowsTest, severalItemsAreShownByTheirFolders) {
    const auto a = file("a"), b = file("b");
    const auto inner = folder("work/inner");
    const auto other = folder("other");
    windows().openAll({uri(a), uri(inner), uri(b), "https://example.org"}, Placement::reveal);
    ASSERT_TRUE(eventually([&] { return made.size() == 1 && selected(*made[0]).size() == 3; }));
    EXPECT_THAT(selected(*made[0]), testing::UnorderedElementsAre("a", "b", "inner"));
    windows().openAll({uri(inner), uri(other), uri(b)}, Placement::open);
    ASSERT_TRUE(eventually([&] { return made.size() == 3; })) << "each further folder has its own window";
    EXPECT_TRUE(shows(*made[0], inner));
    EXPECT_TRUE(shows(*made[1], other));
    EXPECT_TRUE(eventually([&] { return selected(*made[2]) == std::vector<std::string>{"b"}; }));

    std::vector<std::string> many;
    for (int i = 0; i < 40; ++i)
        many.push_back(uri(folder("many/" + std::to_string(i))));
    made.clear();
    windows().openAll(many, Placement::open);
    ASSERT_TRUE(eventually([&] { return made.size() == FileWindows::mostWindowsAtOnce; }));
}

TEST_F(FileWindowsTest, aCommandRunsOnlyOnACompleteSelection) {
    const auto a = file("a"), b = file("b");
    auto& window = *static_cast<StandInWindow*>(windows().newWindow(folder("elsewhere")));
    windows().open(uri(work), {idOf(a), idOf(b)}, FileCommand::copy);
    ASSERT_TRUE(eventually([&] { return window.app.status() == "Copied 2 items"; }));
    EXPECT_EQ(window.app.errorMessage(), std::nullopt);

    const auto stale = idOf(b);
    std::filesystem::remove(b.path());
    window.app.perform(FileCommand::back);
    windows().open(uri(work), {idOf(a), stale}, FileCommand::trash);
    ASSERT_TRUE(eventually([&] { return window.app.errorMessage().has_value(); }));
    EXPECT_EQ(window.app.errorMessage(), "The selected files changed or are no longer available. Select them "
                                         "again before continuing.");
    EXPECT_THAT(selected(window), ElementsAre("a"));
    EXPECT_TRUE(exists(a)) << "a part of a selection is never acted on";
    EXPECT_FALSE(window.app.reviewPlan() || window.app.isOperating());
}

TEST_F(FileWindowsTest, aDestinationThatDoesNotArriveRunsNothing) {
    const std::string sentence =
        "The destination view couldn’t finish loading. No file action was performed. ";
    auto& window = *static_cast<StandInWindow*>(windows().newWindow(work));
    windows().open(uri(work.child("gone").child("file")), {"1:2:/x"}, FileCommand::trash);
    ASSERT_TRUE(eventually([&] { return window.app.errorMessage().has_value(); }));
    EXPECT_EQ(window.app.errorMessage(), sentence + window.app.activePane().error().value_or("no error"));

    // No thread is left for the folder. Some tasks begin only after the test has ended.
    windows().setPatience({std::chrono::milliseconds(1), 5});
    const auto release = std::make_shared<std::latch>(1);
    TaskScope scope(services->pools);
    window.onForward = [&] {
        for (int i = 0; i < 64; ++i)
            scope.run(
                TaskLane::reading, [release](const std::stop_token&) { release->wait(); }, [] {},
                [](const std::exception_ptr&) {});
    };
    window.app.setErrorMessage(std::nullopt);
    const auto a = file("a");
    windows().open(uri(a));
    EXPECT_TRUE(eventually([&] { return window.app.errorMessage().has_value(); }));
    EXPECT_EQ(window.app.errorMessage(), sentence + "Try opening the folder again.");
    window.onForward = nullptr;
    release->count_down();
    ASSERT_TRUE(shows(window, work));
    EXPECT_THAT(selected(window), IsEmpty()) << "what came too late is not selected behind the user’s back";
}

TEST_F(FileWindowsTest, theLaterRequestWins) {
    const auto inner = folder("work/inner");
    const auto a = file("a");
    auto& window = *static_cast<StandInWindow*>(windows().newWindow(folder("elsewhere")));
    for (int i = 0; i < 20; ++i) {
        windows().open(uri(a), {}, FileCommand::trash);
        windows().open(uri(inner));
        ASSERT_TRUE(shows(window, inner));
        ASSERT_TRUE(exists(a)) << "a command does not follow the user into another folder";
        window.app.activePane().back();
    }
    // A window that closes takes the wait for its pane with it.
    windows().setPatience({std::chrono::milliseconds(1), 200});
    windows().open(uri(a));
    window.onForward = [&] {
        QMetaObject::invokeMethod(
            &windows(), [&] { made.clear(); }, Qt::QueuedConnection);
    };
    EXPECT_TRUE(eventually([&] { return made.empty(); }));
    EXPECT_TRUE(eventually([&] { return windows().findChildren<QObject*>().isEmpty(); }));
}

TEST_F(FileWindowsTest, aWindowOfItsOwnIsNotLostToALaterRequest) {
    std::vector<std::string> many;
    for (int i = 0; i < 2000; ++i)
        many.push_back(uri(file(std::to_string(i))));
    windows().handle({OutsideRequest::Kind::newWindow, many, {}});
    windows().handle({OutsideRequest::Kind::newWindow, {uri(folder("other"))}, {}});
    EXPECT_TRUE(windows().keepsProcess()) << "a request that is still being read";
    ASSERT_TRUE(eventually([&] { return made.size() == 2; }));
    for (const auto& window : made) {
        EXPECT_TRUE(eventually([&] { return window->app.activePane().loadedLocation().has_value(); }));
        window->visible = false;
    }
    EXPECT_FALSE(windows().keepsProcess());
}

TEST_F(FileWindowsTest, quittingIsRefusedWhileFilesAreProcessedAndAskedAboutWithShelves) {
    EXPECT_EQ(windows().applicationShouldTerminate().verdict, Verdict::quit);
    bool shelves = true;
    windows().setShelvesEnabled([&] { return shelves; });
    const auto asked = windows().applicationShouldTerminate();
    EXPECT_EQ(asked.verdict, Verdict::ask);
    EXPECT_EQ(asked.title, "Quit Morv’s desktop shelves?");
    EXPECT_THAT(asked.buttons, ElementsAre("Keep Morv Open", "Quit Morv"));

    OperationRequest request;
    request.kind = OperationKind::duplicate;
    request.sources = {file("a")};
    {
        const auto turn = services->engine.admit(services->engine.plan(request, {}));
        const auto refused = windows().applicationShouldTerminate();
        EXPECT_EQ(refused.verdict, Verdict::refuse);
        EXPECT_EQ(refused.title, "Files are still being processed");
        EXPECT_EQ(refused.text,
                  "Keep Morv open until the current operation finishes, or cancel it in Activity "
                  "before quitting.");
        EXPECT_THAT(refused.buttons, ElementsAre("Keep Morv Open"));
        EXPECT_TRUE(windows().keepsProcess());
    }
    shelves = false;
    EXPECT_EQ(windows().applicationShouldTerminate().verdict, Verdict::quit);
    EXPECT_FALSE(windows().keepsProcess());
}

TEST_F(FileWindowsTest, theIntroductionIsOfferedOnceAndInOneWindow) {
    services->defaults.setIntroductionCompleted(false);
    auto* first = windows().newWindow(work);
    auto* second = windows().newWindow(work);
    windows().offerIntroduction(first->model());
    windows().offerIntroduction(second->model());
    EXPECT_EQ(windows().introductionTarget(), &first->model());
    windows().introductionEnded(second->model());
    EXPECT_EQ(windows().introductionTarget(), &first->model());
    services->defaults.setIntroductionCompleted(true);
    windows().introductionEnded(first->model());
    windows().offerIntroduction(first->model());
    EXPECT_EQ(windows().introductionTarget(), nullptr);
    windows().becameKey(*first);
    windows().showIntroduction();
    EXPECT_EQ(windows().introductionTarget(), &first->model()) << "asked for, it comes again";
}

} // namespace
} // namespace morv
