// The table of commands, and the keys that the user makes of it.
#include "MorvApp/Model/FileManagerCommands.h"
#include "Tests/MorvApp/Support.h"

#include <set>

namespace morv {
namespace {

using test::eventually;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using CommandTest = test::ModelTest;

TEST_F(CommandTest, everyCommandHasOneRowAndAKeyOfItsOwn) {
    std::set<FileCommand> commands;
    std::set<std::string_view> names;
    std::map<std::string, std::vector<std::string_view>> byKey;
    for (const auto& row : FileManagerCommands::rows()) {
        EXPECT_TRUE(commands.insert(row.command).second) << row.name;
        EXPECT_TRUE(names.insert(row.name).second) << row.name;
        EXPECT_EQ(FileManagerCommands::commandNamed(row.name), row.command);
        for (const auto& key : row.keys)
            byKey[key].push_back(row.name);
    }
    EXPECT_THAT(commands, SizeIs(static_cast<std::size_t>(FileCommand::about)))
        << "all of the enumeration but reviewOperation";
    for (const auto& [key, holders] : byKey)
        if (holders.size() > 1) {
            EXPECT_THAT(holders, ElementsAre("crossPaneCopy", "refresh")) << key;
        }
}

TEST_F(CommandTest, onlyAnArchiveIsOfferedForExtraction) {
    for (const auto* name : {"a.ZIP", "b.zip", "c.zip.txt"})
        file(name);
    folder("work/d.zip");
    MorvServices services(environment());
    AppModel app(services, board, work);
    ASSERT_TRUE(idle(app));
    const auto offers = [&](const std::vector<std::string>& names) {
        select(app, names);
        return std::ranges::any_of(FileManagerCommands::itemMenu(app.activePane()), [](const auto& group) {
            return std::ranges::find(group, FileCommand::extract) != group.end();
        });
    };
    EXPECT_TRUE(offers({"a.ZIP"}) && offers({"b.zip"}));
    EXPECT_FALSE(offers({"c.zip.txt"}) || offers({"d.zip"}) || offers({"a.ZIP", "b.zip"}));
}

TEST_F(CommandTest, whatCanRunFollowsTheWindow) {
    file("a.txt");
    using enum FileCommand;
    EXPECT_TRUE(FileManagerCommands::isEnabled(goHome, nullptr)) << "it brings up a window";
    EXPECT_FALSE(FileManagerCommands::isEnabled(open, nullptr));
    MorvServices services(environment());
    AppModel app(services, board, work);
    ASSERT_TRUE(idle(app));
    const auto enabled = [&](FileCommand command) { return FileManagerCommands::isEnabled(command, &app); };
    EXPECT_FALSE(enabled(open) || enabled(crossPaneCopy) || enabled(back) || enabled(swapPanes));
    select(app, {"a.txt"});
    EXPECT_TRUE(enabled(open));
    EXPECT_FALSE(enabled(crossPaneCopy)) << "there is no other pane";
    app.perform(toggleSplit);
    EXPECT_TRUE(enabled(crossPaneCopy) && enabled(swapPanes));
    app.showFolder(root);
    EXPECT_TRUE(enabled(back));
    EXPECT_FALSE(enabled(forward) || enabled(open));

    EXPECT_EQ(FileManagerCommands::titleNow(toggleSidebar, &app), "Compact Sidebar");
    app.perform(toggleSidebar);
    EXPECT_EQ(FileManagerCommands::titleNow(toggleSidebar, &app), "Expand Sidebar");
    EXPECT_TRUE(services.defaults.sidebarIsCompact());
    app.perform(toggleSidebar);
    EXPECT_EQ(FileManagerCommands::isChecked(toggleHidden, app), false);
    app.perform(toggleHidden);
    EXPECT_EQ(FileManagerCommands::isChecked(toggleHidden, app), true);
    idle(app);
}

TEST_F(CommandTest, thePaletteFindsActionsByTheirTitles) {
    EXPECT_THAT(FileManagerCommands::quickActions(), SizeIs(11));
    EXPECT_THAT(FileManagerCommands::quickActions(""), SizeIs(11));
    const auto found = FileManagerCommands::quickActions("sMart");
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found.front().command, FileCommand::smartClean);
    EXPECT_THAT(FileManagerCommands::quickActions("xyz"), IsEmpty());
}

TEST_F(CommandTest, commandsWithoutASelectionDoNothing) {
    MorvServices services(environment());
    AppModel app(services, board, work);
    ASSERT_TRUE(idle(app));
    std::vector<FileCommand> requests;
    QObject::connect(&app, &AppModel::requested, [&](FileCommand command) { requests.push_back(command); });
    for (const auto command :
         {FileCommand::open, FileCommand::rename, FileCommand::copy, FileCommand::cut, FileCommand::duplicate,
          FileCommand::trash, FileCommand::alias, FileCommand::tags, FileCommand::compress,
          FileCommand::extract, FileCommand::appearance, FileCommand::reviewOperation})
        app.perform(command);
    EXPECT_FALSE(app.sheet() || app.errorMessage() || app.status() || app.isOperating());
    EXPECT_THAT(requests, IsEmpty());
    EXPECT_EQ(board.changes, 0U) << "the clipboard is left alone";
    app.perform(FileCommand::editPath);
    EXPECT_THAT(requests, ElementsAre(FileCommand::editPath));
}

class KeyBindingsTest : public CommandTest {
protected:
    static bool read(MorvServices& services) {
        bool done = false;
        TaskScope probe(services.pools);
        probe.run(
            TaskLane::records, [](const std::stop_token&) {}, [&] { done = true; },
            [](const std::exception_ptr&) {});
        return eventually([&] { return done; });
    }
};

TEST_F(KeyBindingsTest, aChangedKeyIsKeptAndAConflictNamed) {
    using enum FileCommand;
    {
        MorvServices services(environment());
        auto& keys = services.keys;
        ASSERT_TRUE(read(services));
        EXPECT_THAT(keys.conflicts(crossPaneCopy), IsEmpty()) << "F5 is shared by design";
        keys.setKeys(rename, {"F4"});
        EXPECT_TRUE(keys.isChanged(rename));
        keys.setKeys(trash, {"F4", "Delete"});
        EXPECT_THAT(keys.conflicts(rename), ElementsAre(trash));
        EXPECT_THAT(keys.conflicts(trash), ElementsAre(rename));
        keys.setKeys(refresh, {"F5"});
        EXPECT_THAT(keys.conflicts(refresh), ElementsAre(crossPaneCopy))
            << "the user's doing, not the table's";
        keys.reset(refresh);
        keys.setKeys(duplicate, {});
        keys.setKeys(copy, {"Ctrl+C"});
        EXPECT_FALSE(keys.isChanged(copy)) << "the table's own keys are no change";
        ASSERT_TRUE(read(services));
    }
    {
        MorvServices services(environment());
        ASSERT_TRUE(read(services));
        EXPECT_THAT(services.keys.keys(rename), ElementsAre("F4"));
        EXPECT_THAT(services.keys.keys(duplicate), IsEmpty());
        EXPECT_THAT(services.keys.keys(copy), ElementsAre("Ctrl+C"));
        services.keys.resetAll();
        EXPECT_THAT(services.keys.keys(rename), ElementsAre("F2", "Return"));
        ASSERT_TRUE(read(services));
        services.store.saveBytes(R"({"rename":["F7"],"unknown":["F8"],"trash":7,"open":[1],"copy":{}})",
                                 KeyBindings::recordKey);
    }
    MorvServices services(environment());
    ASSERT_TRUE(read(services));
    EXPECT_THAT(services.keys.keys(rename), ElementsAre("F7"));
    EXPECT_FALSE(services.keys.isChanged(trash) || services.keys.isChanged(open) ||
                 services.keys.isChanged(copy));
}

TEST_F(KeyBindingsTest, aChangeThatCouldNotBeSavedIsToldByTheWindow) {
    MorvServices services(environment());
    AppModel app(services, board, work);
    Q_EMIT services.keys.saveFailed(QStringLiteral("The keyboard shortcuts couldn’t be saved: no room"));
    EXPECT_EQ(app.errorMessage(), "The keyboard shortcuts couldn’t be saved: no room");
}

TEST_F(KeyBindingsTest, aChangeBeforeTheRecordWasReadWins) {
    {
        MorvServices services(environment());
        services.store.saveBytes(R"({"rename":["F7"]})", KeyBindings::recordKey);
    }
    MorvServices services(environment());
    services.keys.setKeys(FileCommand::rename, {"F9"});
    ASSERT_TRUE(read(services));
    EXPECT_THAT(services.keys.keys(FileCommand::rename), ElementsAre("F9"));
}

} // namespace
} // namespace morv
