// Tabs, panes, the library and sessions: what a window holds beside its files.
#include "MorvCore/Platform/UserFolders.h"
#include "Tests/MorvApp/Support.h"

#include <filesystem>

namespace morv {
namespace {

using test::eventually;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class WindowStateTest : public test::ModelTest {
protected:
    static std::vector<std::string> locations(const AppModel& app) {
        std::vector<std::string> found;
        for (const auto& tab : app.tabs())
            found.emplace_back(tab.pane->location().lastComponent());
        return found;
    }
    static bool loaded(const PaneModel& pane) {
        return eventually([&] { return pane.loadedLocation().has_value(); });
    }
};

TEST_F(WindowStateTest, tabsAreOpenedChangedClosedAndBroughtBack) {
    MorvServices services(environment());
    AppModel app(services, board, folder("a"));
    int closing = 0;
    QObject::connect(&app, &AppModel::closeWindowRequested, [&] { ++closing; });
    app.closeTab();
    EXPECT_EQ(closing, 1) << "the last tab goes with its window";
    EXPECT_THAT(app.tabs(), SizeIs(1));

    app.addTab(folder("b"));
    app.addTab(folder("c"));
    EXPECT_THAT(locations(app), ElementsAre("a", "b", "c"));
    EXPECT_EQ(app.tabIndex(), 2U);
    app.changeTab(1);
    EXPECT_EQ(app.tabIndex(), 0U);
    app.changeTab(-1);
    EXPECT_EQ(app.tabIndex(), 2U);
    app.addTab();
    EXPECT_THAT(locations(app), ElementsAre("a", "b", "c", "c")) << "a new tab begins where the pane is";
    app.closeTab();
    app.closeTab(app.tabs()[0].id);
    EXPECT_EQ(app.tabIndex(), 1U) << "the active tab stays the active one";
    app.closeTab();
    EXPECT_THAT(locations(app), ElementsAre("b"));
    app.reopenTab();
    app.reopenTab();
    app.reopenTab();
    app.reopenTab();
    EXPECT_THAT(locations(app), ElementsAre("b", "c", "a", "c"));
    app.moveTab(3, 0);
    EXPECT_THAT(locations(app), ElementsAre("c", "b", "c", "a"));
    EXPECT_EQ(app.tabIndex(), 0U) << "the moved tab was the active one";
    app.moveTab(0, 9);
    EXPECT_THAT(locations(app), ElementsAre("c", "b", "c", "a"));
}

TEST_F(WindowStateTest, aSplitHasTwoPanesAndOneIsActive) {
    MorvServices services(environment());
    AppModel app(services, board, folder("a"));
    int focus = 0;
    int changes = 0;
    QObject::connect(&app, &AppModel::focusPaneRequested, [&] { ++focus; });
    QObject::connect(&app, &AppModel::activePaneChanged, [&] { ++changes; });
    app.switchPane();
    app.swapPanes();
    EXPECT_EQ(focus + changes, 0) << "without a split there is nothing to switch";
    app.toggleSplit();
    EXPECT_EQ(app.activeTab().second->location(), app.activeTab().pane->location());
    EXPECT_FALSE(app.secondaryActive());
    app.switchPane();
    EXPECT_EQ(&app.activePane(), app.activeTab().second.get());
    EXPECT_EQ(focus, 1);
    app.activePane().navigate(folder("b"), PaneModel::History::record);
    app.swapPanes();
    EXPECT_EQ(app.activeTab().pane->location().lastComponent(), "b");
    EXPECT_EQ(app.activePane().location().lastComponent(), "a") << "the place has the focus, not the folder";
    app.activate(*app.activeTab().pane);
    EXPECT_FALSE(app.secondaryActive());
    app.switchPane();
    app.toggleSplit();
    EXPECT_FALSE(app.isSplit());
    EXPECT_EQ(&app.activePane(), app.activeTab().pane.get());
    EXPECT_EQ(app.activePane().location().lastComponent(), "b");

    int updates = 0;
    QObject::connect(&app, &AppModel::activePaneUpdated, [&] { ++updates; });
    app.activePane().setKindFilter(FileKind::image);
    EXPECT_GT(updates, 0);
}

TEST_F(WindowStateTest, severalSelectedFoldersOpenInTabsAndOtherItemsInTheirApplications) {
    folder("work/x");
    folder("work/y");
    file("z.txt");
    std::mutex mutex;
    std::vector<FileURL> opened;
    MorvServices services(environment(), [&](const FileURL& url) {
        const std::lock_guard lock(mutex);
        opened.push_back(url);
    });
    AppModel app(services, board, work);
    ASSERT_TRUE(idle(app));
    select(app, {"x", "y", "z.txt"});
    app.perform(FileCommand::open);
    EXPECT_THAT(locations(app), ElementsAre("work", "x", "y"));
    EXPECT_TRUE(eventually([&] {
        const std::lock_guard lock(mutex);
        return opened == std::vector<FileURL>{work.child("z.txt")};
    }));

    for (int i = 0; i < 60; ++i)
        file("many" + std::to_string(i));
    app.showFolder(work);
    ASSERT_TRUE(idle(app));
    EntrySelection all;
    app.activePane().entries().forEach([&](const FileEntry& entry) { all.emplace(entry); });
    app.activePane().setSelection(std::move(all));
    app.perform(FileCommand::open);
    EXPECT_EQ(app.errorMessage(), "Select 50 items or fewer to open them together.");
    EXPECT_THAT(app.tabs(), SizeIs(3));

    app.open(work.child("x"));
    EXPECT_TRUE(eventually([&] { return app.activePane().location() == work.child("x"); }));
    app.open(work.child("gone"));
    EXPECT_TRUE(eventually([&] { return app.errorMessage().has_value(); }));
}

TEST_F(WindowStateTest, aFolderThatIsShownAlreadyIsNotReadAgain) {
    MorvServices services(environment());
    AppModel app(services, board, work);
    ASSERT_TRUE(idle(app));
    int readings = 0;
    QObject counting;
    QObject::connect(&app.activePane(), &PaneModel::isLoadingChanged, &counting, [&] { ++readings; });
    app.setSelectedWorkspaceID(UUID::random());
    app.showFolder(work);
    EXPECT_FALSE(app.selectedWorkspaceID());
    EXPECT_FALSE(app.activePane().isLoading());
    EXPECT_EQ(readings, 0);
    app.activePane().setQuery("a");
    app.activePane().runSearch();
    app.showFolder(work);
    EXPECT_EQ(app.activePane().query(), "") << "a search is no folder";
    EXPECT_TRUE(idle(app));
}

TEST_F(WindowStateTest, iconSizesStopAtTheirEnds) {
    MorvServices services(environment());
    AppModel app(services, board, work);
    ASSERT_TRUE(idle(app));
    for (int i = 0; i < 10; ++i)
        app.perform(FileCommand::increaseIconSize);
    EXPECT_EQ(app.activePane().preferences().iconSize, 160);
    for (int i = 0; i < 10; ++i)
        app.perform(FileCommand::decreaseIconSize);
    EXPECT_EQ(app.activePane().preferences().iconSize, 72);
}

// The library.

class LibraryTest : public WindowStateTest {
protected:
    /// Waits for the reading and for every save that was asked for.
    static bool settled(MorvServices& services) {
        bool done = false;
        TaskScope probe(services.pools);
        probe.run(
            TaskLane::records, [](const std::stop_token&) {}, [&] { done = true; },
            [](const std::exception_ptr&) {});
        return eventually([&] { return done && !services.library.favourites().empty(); });
    }
};

TEST_F(LibraryTest, theFirstRunOffersTheUsersFoldersAndWhatAnOlderVersionKept) {
    {
        MorvServices services(environment());
        ASSERT_TRUE(settled(services));
        EXPECT_EQ(services.library.favourites().front(), homeFolder());
        services.store.remove("sidebar.favourites.v2");
        services.store.saveBytes("[\"file:///older\",\"" + homeFolder().absoluteString() + "\"]",
                                 "sidebar.favourites");
    }
    {
        MorvServices services(environment());
        ASSERT_TRUE(settled(services));
        const auto found = services.library.favourites();
        EXPECT_EQ(found.front(), homeFolder());
        EXPECT_EQ(found.back(), FileURL::fromPath("/older"));
        EXPECT_EQ(std::ranges::count(found, homeFolder()), 1);
        EXPECT_TRUE(services.store.loadBytes("sidebar.favourites")) << "the older record stays";
        services.store.saveBytes("[]", "sidebar.favourites");
    }
    MorvServices services(environment());
    ASSERT_TRUE(settled(services));
    EXPECT_EQ(services.library.favourites().back(), FileURL::fromPath("/older"))
        << "the older record is read no more";
}

TEST_F(LibraryTest, favouritesAreKeptInTheOrderGiven) {
    const auto a = FileURL::fromPath("/a");
    const auto b = FileURL::fromPath("/b");
    {
        MorvServices services(environment());
        auto& library = services.library;
        library.addFavourite(a);
        EXPECT_THAT(library.favourites(), IsEmpty()) << "nothing replaces a list that was not read yet";
        ASSERT_TRUE(settled(services));
        library.addFavourite(a);
        library.addFavourite(b);
        const auto count = library.favourites().size();
        library.moveFavourite(b, 1);
        EXPECT_EQ(library.favourites().back(), b) << "there is no place behind the last one";
        library.moveFavourite(b, -static_cast<int>(count - 1));
        EXPECT_EQ(library.favourites().front(), b);
        EXPECT_EQ(library.favourites().back(), a);
        library.moveFavourite(b, -1);
        library.removeFavourite(homeFolder());
        ASSERT_TRUE(settled(services));
    }
    MorvServices services(environment());
    ASSERT_TRUE(settled(services));
    EXPECT_EQ(services.library.favourites().front(), b);
    EXPECT_EQ(std::ranges::count(services.library.favourites(), homeFolder()), 0);
}

TEST_F(LibraryTest, damagedRecordsCostOnlyThemselves) {
    {
        MorvServices services(environment());
        services.store.saveBytes("{", "sidebar.favourites.v2");
        services.store.saveBytes("[{\"id\":1}]", "search.saved");
        services.store.saveBytes("nonsense", "commands.keys");
        services.store.saveBytes("7", "session.window");
        services.store.saveBytes("{\"view\":3}", "folder.view." + work.path());
    }
    MorvServices services(environment());
    WorkspaceRepository(services.store).create("Plans", {}, "teal");
    AppModel app(services, board, work);
    ASSERT_TRUE(idle(app) && settled(services));
    EXPECT_EQ(services.library.favourites().front(), homeFolder());
    EXPECT_THAT(services.library.savedSearches(), IsEmpty());
    EXPECT_EQ(services.keys.keys(FileCommand::rename), std::vector<std::string>({"F2", "Return"}));
    EXPECT_EQ(app.activePane().preferences(), FolderViewPreferences());
    app.perform(FileCommand::restoreSession);
    EXPECT_TRUE(eventually([&] { return app.status() == "No saved session"; }));
    EXPECT_EQ(app.activePane().location(), work);
    services.library.refreshWorkspaces();
    EXPECT_TRUE(eventually([&] { return services.library.workspaceList().size() == 1; }));
}

TEST_F(LibraryTest, aSearchIsKeptAndFoundAgain) {
    folder("work/deep");
    std::filesystem::copy_file(file("needle.txt").path(), work.path() + "/deep/Needle 2.txt");
    file("other.txt");
    {
        MorvServices services(environment());
        AppModel app(services, board, work);
        ASSERT_TRUE(idle(app) && settled(services));
        app.saveSearch();
        EXPECT_THAT(app.library().savedSearches(), IsEmpty()) << "there is no query";
        app.activePane().setQuery("needle");
        app.saveSearch();
        ASSERT_TRUE(settled(services));
    }
    MorvServices services(environment());
    AppModel app(services, board, root);
    ASSERT_TRUE(idle(app) && settled(services));
    ASSERT_THAT(app.library().savedSearches(), SizeIs(1));
    const auto search = app.library().savedSearches().front();
    EXPECT_EQ(search.name, "needle");
    EXPECT_EQ(search.root, work);
    app.openSearch(search);
    ASSERT_TRUE(eventually([&] { return app.activePane().entries().size() == 2; }));
    EXPECT_EQ(app.activePane().location(), work);
    ASSERT_TRUE(idle(app));
    app.filterTag("Red");
    EXPECT_EQ(app.activePane().query(), "");
    EXPECT_TRUE(
        eventually([&] { return app.activePane().searchNote() && app.activePane().entries().empty(); }));
    app.library().removeSearch(search.id);
    EXPECT_THAT(app.library().savedSearches(), IsEmpty());
}

TEST_F(LibraryTest, aPasteIntoAWorkspaceAddsReferencesAndMovesNothing) {
    const auto source = file("a.txt");
    MorvServices services(environment());
    AppModel app(services, board, work);
    ASSERT_TRUE(idle(app));
    app.library().createWorkspace("  Plans ", {source}, "teal", {});
    ASSERT_TRUE(eventually([&] { return app.library().workspaceList().size() == 1; }));
    EXPECT_EQ(app.library().workspaceList().front().name, "Plans");
    app.library().createWorkspace("   ", {}, "teal", {});
    ASSERT_TRUE(eventually([&] { return app.errorMessage().has_value(); }));
    EXPECT_EQ(app.errorMessage(), "Give this workspace a name.");

    app.openWorkspace(7);
    EXPECT_FALSE(app.selectedWorkspaceID());
    app.openWorkspace(0);
    ASSERT_TRUE(app.selectedWorkspaceID());
    file("b.txt");
    app.clipboard().write({source, work.child("b.txt")}, FileClipboard::Mode::copy);
    app.perform(FileCommand::movePaste);
    EXPECT_EQ(app.errorMessage(),
              "A workspace contains references. Open a physical folder to move copied files.");
    app.perform(FileCommand::paste);
    EXPECT_TRUE(eventually([&] { return app.library().workspaceList().front().references.size() == 2; }));
    EXPECT_THAT(services.engine.history(), IsEmpty());
    app.library().removeReferences(*app.selectedWorkspaceID(), {source});
    EXPECT_TRUE(eventually([&] {
        return app.library().workspaceList().front().references == std::vector{work.child("b.txt")};
    }));
    EXPECT_TRUE(exists(source));
}

TEST_F(LibraryTest, twoChangesOfAWorkspaceAtOnceAreBothKept) {
    MorvServices services(environment());
    AppModel app(services, board, work);
    auto& library = app.library();
    library.createWorkspace("Plans", {work.child("a")}, "teal", {});
    ASSERT_TRUE(eventually([&] { return library.workspaceList().size() == 1; }));
    const auto id = library.workspaceList().front().id;
    library.appendReferences(id, {work.child("b")});
    library.appendReferences(id, {work.child("c")});
    library.removeReferences(id, {work.child("a")});
    EXPECT_TRUE(eventually([&] {
        return library.workspaceList().front().references == std::vector{work.child("b"), work.child("c")};
    }));
}

// Sessions.

class SessionTest : public WindowStateTest {};

TEST_F(SessionTest, aWindowComesBackAsItWas) {
    file("a.txt");
    const auto other = folder("other");
    const auto third = folder("third");
    MorvServices services(environment());
    std::string expected;
    {
        AppModel app(services, board, work);
        ASSERT_TRUE(idle(app));
        select(app, {"a.txt"});
        app.perform(FileCommand::viewAsList);
        app.addTab(other);
        app.activePane().navigate(third, PaneModel::History::record);
        app.toggleSplit();
        app.activeTab().second->navigate(work, PaneModel::History::record);
        app.switchPane();
        app.setShowInspector(true);
        ASSERT_TRUE(loaded(*app.activeTab().second) && loaded(*app.activeTab().pane));
        app.perform(FileCommand::saveSession);
        ASSERT_TRUE(eventually([&] { return app.status() == "Session saved"; }));
    }
    AppModel app(services, board, root);
    app.perform(FileCommand::restoreSession);
    ASSERT_TRUE(eventually([&] { return app.tabs().size() == 2; }));
    EXPECT_EQ(app.tabIndex(), 1U);
    EXPECT_TRUE(app.secondaryActive());
    EXPECT_TRUE(app.showInspector());
    EXPECT_EQ(app.layoutRestoreRevision(), 1U);
    EXPECT_EQ(app.activePane().location(), work);
    EXPECT_EQ(services.defaults.lastLocation(), work);
    EXPECT_EQ(app.activeTab().pane->location(), third);
    app.activeTab().pane->back();
    EXPECT_EQ(app.activeTab().pane->location(), other) << "the history came back";
    app.changeTab(1);
    ASSERT_TRUE(loaded(app.activePane()));
    EXPECT_EQ(app.activePane().preferences().view, BrowserViewMode::list);
    EXPECT_THAT(app.activePane().selectedURLs(), ElementsAre(work.child("a.txt")));
    for (const auto& tab : app.tabs())
        ASSERT_TRUE(loaded(*tab.pane));
}

TEST_F(SessionTest, whatIsMissingOrWrongInARecordCostsOnlyThat) {
    const auto url = work.absoluteString();
    const std::string view = R"({"view":"list","sort":"size","ascending":false,"grouping":"none",)"
                             R"("showHidden":false,"iconSize":100})";
    const auto tab = [&](const std::string& more) {
        return "{\"location\":\"" + url + "\",\"view\":" + view + more + "}";
    };
    const std::string id = UUID::random().text();
    struct Row {
        const char* name;
        std::string record;
        std::size_t tabs; ///< 0: nothing is restored
        std::size_t active;
        bool secondary;
    };
    const Row rows[] = {
        {"an older record", "{\"tabs\":[" + tab("") + "]}", 1, 0, false},
        {"an index past the end", "{\"activeIndex\":9,\"tabs\":[" + tab("") + "," + tab("") + "]}", 2, 1,
         false},
        {"an index before the first", "{\"activeIndex\":-3,\"tabs\":[" + tab("") + "," + tab("") + "]}", 2, 0,
         false},
        {"a focus without a split", "{\"secondaryActive\":true,\"tabs\":[" + tab("") + "]}", 1, 0, false},
        {"a second pane without a view",
         "{\"secondaryActive\":true,\"tabs\":[" + tab(",\"secondary\":\"file:///gone\"") + "]}", 1, 0, true},
        {"a history that does not fit",
         "{\"tabs\":[" + tab(R"(,"history":{"locations":["file:///x"],"position":4})") + "]}", 1, 0, false},
        {"one id twice",
         "{\"tabs\":[" + tab(",\"tabID\":\"" + id + "\"") + "," + tab(",\"tabID\":\"" + id + "\"") + "]}", 2,
         0, false},
        {"no tabs", R"({"tabs":[]})", 0, 0, false},
        {"a tab without a view", "{\"tabs\":[{\"location\":\"" + url + "\"}]}", 0, 0, false},
        {"no object", "[1]", 0, 0, false},
    };
    MorvServices services(environment());
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        services.store.saveBytes(row.record, "session.window");
        AppModel app(services, board, root);
        const auto before = app.activeTab().id;
        bool restored = false;
        QObject::connect(&app, &AppModel::layoutRestored, [&] { restored = true; });
        app.perform(FileCommand::restoreSession);
        ASSERT_TRUE(eventually([&] { return restored || app.status() == "No saved session"; }));
        EXPECT_EQ(restored, row.tabs > 0);
        if (row.tabs == 0) {
            EXPECT_EQ(app.activeTab().id, before);
            continue;
        }
        EXPECT_THAT(app.tabs(), SizeIs(row.tabs));
        EXPECT_EQ(app.tabIndex(), row.active);
        EXPECT_EQ(app.secondaryActive(), row.secondary);
        EXPECT_EQ(app.tabs().front().pane->preferences().sort, FileSort::size);
        EXPECT_FALSE(app.tabs().front().pane->canGoBack());
        if (row.secondary) {
            EXPECT_TRUE(eventually([&] { return app.activePane().error().has_value(); }));
        }
    }
}

TEST_F(SessionTest, aTabThatIsBroughtBackBesideItsRestoredSelfIsAnotherTab) {
    MorvServices services(environment());
    AppModel app(services, board, work);
    app.addTab(folder("other"));
    app.perform(FileCommand::saveSession);
    ASSERT_TRUE(eventually([&] { return app.status() == "Session saved"; }));
    app.closeTab();
    app.perform(FileCommand::restoreSession);
    ASSERT_TRUE(eventually([&] { return app.tabs().size() == 2; }));
    app.reopenTab();
    ASSERT_THAT(app.tabs(), SizeIs(3));
    EXPECT_EQ(app.tabIndex(), 2U);
    EXPECT_NE(app.tabs()[1].id, app.tabs()[2].id);
}

TEST_F(SessionTest, aRecordIsExactlyThis) {
    SavedFileSession session;
    SavedPaneSession tab;
    tab.location = FileURL::fromPath("/a b");
    tab.secondary = FileURL::fromPath("/c");
    tab.selection = std::set<std::string>{"1:2:/a b/x"};
    tab.history = PaneNavigationHistory{{FileURL::fromPath("/a b")}, 0};
    session.tabs = {tab};
    session.activeIndex = 0;
    session.splitRatios = SplitFractions{{"panes", {0.25}}};
    EXPECT_EQ(toJSON(session),
              R"({"activeIndex":0,"splitRatios":{"panes":[0.25]},"tabs":[{"history":{"locations":)"
              R"(["file:///a%20b"],"position":0},"location":"file:///a%20b","secondary":"file:///c",)"
              R"("selection":["1:2:/a b/x"],"view":{"ascending":true,"grouping":"none","iconSize":120.0,)"
              R"("showHidden":false,"sort":"name","view":"grid"}}]})");
    SavedFileSession read;
    fromJSON(toJSON(session), read);
    EXPECT_EQ(read, session);
}

} // namespace
} // namespace morv
