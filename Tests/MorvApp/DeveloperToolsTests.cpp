// The model side of the developer tools: what would be started, and when Git is asked.
#include "MorvApp/Model/DeveloperToolsUI.h"
#include "MorvApp/Model/GitStatusModel.h"
#include "MorvApp/Model/PathCompletion.h"
#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Platform/UserFolders.h"
#include "Tests/MorvApp/Support.h"

#include <QCoreApplication>
#include <QTimer>
#include <atomic>
#include <filesystem>

namespace morv {
namespace {

using test::eventually;
using test::RecordingLauncher;
using testing::ElementsAre;
using testing::IsEmpty;

class DeveloperToolsTest : public test::ModelTest {
protected:
    void SetUp() override {
        services.emplace(environment());
        services->toolLauncher = launcher;
        app.emplace(*services, board, work);
        QObject::connect(&app->developerTools(), &DeveloperToolsUI::failed,
                         [this](const std::string& sentence) { failures.push_back(sentence); });
        ASSERT_TRUE(idle(*app));
    }
    bool opens(const FileURL& application, const FileURL& folder) {
        return eventually([&] { return !launcher->opened().empty() || !failures.empty(); }) &&
               launcher->opened() == RecordingLauncher::Opened{{application, folder}};
    }
    DeveloperToolsUI& tools() { return app->developerTools(); }

    std::shared_ptr<RecordingLauncher> launcher = std::make_shared<RecordingLauncher>();
    std::optional<MorvServices> services;
    std::optional<AppModel> app;
    std::vector<std::string> failures;
};

TEST_F(DeveloperToolsTest, typedCommandsOpenTheFolderAndOtherTextsArePaths) {
    const auto code = file("code");
    launcher->install("editor visualStudioCode", code);
    EXPECT_FALSE(tools().executePathInput("code", work));
    EXPECT_TRUE(tools().executePathInput(" code . ", work));
    EXPECT_TRUE(opens(code, work));
    const struct {
        const char* input;
        const char* sentence;
    } rows[] = {
        {"cursor .", "Cursor is not installed. Choose an installed editor or use Terminal."},
        {"xed .", "Xcode is not installed. Choose an installed editor or use Terminal."},
        {"zed .", "Zed is not installed. Choose an installed editor or use Terminal."},
        {"warp", "Warp is not installed. Choose an installed editor or use Terminal."},
        {"terminal", "Terminal is not installed. Choose an installed editor or use Terminal."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.input);
        failures.clear();
        EXPECT_TRUE(tools().executePathInput(row.input, work));
        EXPECT_TRUE(eventually([&] { return !failures.empty(); }));
        EXPECT_THAT(failures, ElementsAre(row.sentence));
    }
    EXPECT_EQ(launcher->opened().size(), 1U);
}

TEST_F(DeveloperToolsTest, theMenuOpensTheOneSelectedItemOrTheFolder) {
    const auto terminal = file("terminal");
    launcher->install("terminal", terminal);
    const auto sub = folder("work/sub");
    folder("work/Some.app");
    file("a.txt");
    std::filesystem::create_directory_symlink(root.path(), work.path() + "/link");
    app->activePane().refresh();
    ASSERT_TRUE(eventually([&] { return app->activePane().entries().size() == 5; }));
    const std::pair<std::vector<std::string>, FileURL> rows[] = {
        {{}, work},           {{"sub"}, sub},   {{"a.txt"}, work},
        {{"Some.app"}, work}, {{"link"}, work}, {{"a.txt", "sub"}, work},
    };
    for (const auto& [selected, expected] : rows) {
        SCOPED_TRACE(testing::PrintToString(selected));
        select(*app, selected);
        launcher->forget();
        app->perform(FileCommand::terminal);
        EXPECT_TRUE(opens(terminal, expected));
    }
    EXPECT_THAT(failures, IsEmpty());
}

TEST_F(DeveloperToolsTest, anEditorIsAskedForOnceAndStaysChosen) {
    const auto editor = file("editor");
    app->perform(FileCommand::editor);
    EXPECT_EQ(app->sheet(), AppSheet::chooseEditor);
    app->closeSheet();
    tools().cancelChoice();
    tools().chooseEditor(editor);
    EXPECT_THAT(launcher->opened(), IsEmpty()) << "what was given up is not opened afterwards";
    app->perform(FileCommand::editor);
    EXPECT_FALSE(app->sheet());
    EXPECT_TRUE(opens(editor, work));
    ASSERT_TRUE(services->defaults.save());
    EXPECT_EQ(UserDefaults(configurationHome().child("Morv").child("Morv.conf")).editorApplication(), editor)
        << "in the next process too";

    launcher->forget();
    std::filesystem::remove(editor.path());
    app->perform(FileCommand::editor);
    EXPECT_TRUE(eventually([&] { return !failures.empty(); }));
    EXPECT_THAT(failures,
                ElementsAre("The selected application is no longer available. Choose your editor again."));
    EXPECT_EQ(tools().editorURL(), editor);

    failures.clear();
    file("editor");
    tools().openEditor(work.child("missing"));
    EXPECT_TRUE(eventually([&] { return !failures.empty(); }));
    launcher->refuse("The system said no.");
    tools().openEditor(work);
    EXPECT_TRUE(eventually([&] { return failures.size() == 2; }));
    EXPECT_THAT(failures, ElementsAre("This location is no longer available.", "The system said no."));
    EXPECT_THAT(launcher->opened(), IsEmpty());
}

class GitStatusModelTest : public test::FolderTest {
protected:
    static constexpr int soon = 20;
    static constexpr int never = 1'000'000;

    /// Answers with the folder's name for a branch, counts the questions, and throws for "broken".
    GitStatusModel::Reader reader() {
        return
            [calls = calls](const FileURL& folder, const std::stop_token&) -> std::optional<GitFolderStatus> {
                ++*calls;
                if (folder.lastComponent() == "plain")
                    return std::nullopt;
                if (folder.lastComponent() == "broken")
                    throw DeveloperToolError::timedOut();
                return GitFolderStatus{folder, std::string(folder.lastComponent()), 1, false};
            };
    }
    std::shared_ptr<std::atomic<int>> calls = std::make_shared<std::atomic<int>>(0);
    TaskPools pools;
};

TEST_F(GitStatusModelTest, asksAgainOnlyWhileTheWindowIsActive) {
    GitStatusModel model(pools, reader(), soon);
    model.setLocation(work);
    QCoreApplication::processEvents();
    EXPECT_EQ(*calls, 0) << "not before the window is active";
    model.setActive(true);
    ASSERT_TRUE(eventually([&] { return *calls >= 3; })) << "again and again";
    EXPECT_EQ(model.status()->branch, "work");
    model.setActive(false);
    // One question may be under way; a timer of ours that is started later ends later.
    const int asked = *calls + 1;
    bool isOver = false;
    QTimer::singleShot(10 * soon, [&] { isOver = true; });
    ASSERT_TRUE(eventually([&] { return isOver; }));
    EXPECT_LE(*calls, asked);
    EXPECT_TRUE(model.status()) << "what is known stays";
    model.setActive(true);
    EXPECT_TRUE(eventually([&] { return *calls > asked; }));
}

TEST_F(GitStatusModelTest, whatIsShownBelongsToTheFolder) {
    GitStatusModel model(pools, reader(), never);
    model.setActive(true);
    model.setLocation(work.child("one"));
    ASSERT_TRUE(eventually([&] { return model.status().has_value(); }));
    model.setActive(false);
    model.setActive(true);
    EXPECT_EQ(*calls, 1) << "coming back asks nothing before its time";
    model.setLocation(work.child("broken"));
    EXPECT_FALSE(model.status()) << "at once";
    ASSERT_TRUE(eventually([&] { return model.unavailable().has_value(); }));
    EXPECT_EQ(model.unavailable(), "Git status took too long. Try again when the folder is available.");
    model.setLocation(work.child("plain"));
    EXPECT_FALSE(model.unavailable());
    // An answer for a folder that was left is dropped: the last one asked for is what comes.
    model.setLocation(work.child("two"));
    model.setLocation(work.child("three"));
    ASSERT_TRUE(eventually([&] { return model.status().has_value(); }));
    EXPECT_EQ(model.status()->branch, "three");
}

TEST_F(GitStatusModelTest, nothingIsAskedOrShownWhileItIsNotWanted) {
    GitStatusModel model(pools, reader(), soon);
    model.setActive(true);
    model.setLocation(work);
    ASSERT_TRUE(eventually([&] { return model.status().has_value(); }));
    model.setWanted(false);
    EXPECT_FALSE(model.status());
    const int asked = *calls + 1;
    model.setLocation(work.child("one"));
    bool isOver = false;
    QTimer::singleShot(10 * soon, [&] { isOver = true; });
    ASSERT_TRUE(eventually([&] { return isOver; }));
    EXPECT_LE(*calls, asked);
    EXPECT_FALSE(model.status());
    model.setWanted(true);
    EXPECT_TRUE(eventually([&] { return model.status().has_value(); }));
}

class PathCompletionTest : public test::FolderTest {
protected:
    /// The text and the hint that came of completing `text` in the folder `base`.
    std::pair<std::string, std::string> complete(const std::string& text,
                                                 PathCompletion::Direction direction = forwards) {
        std::optional<std::pair<std::string, std::string>> answer;
        const auto connection = QObject::connect(
            &completion, &PathCompletion::completed,
            [&](const std::string& typed, const std::string& completed, const std::string& hint) {
                EXPECT_EQ(typed, text);
                answer = {completed, hint};
            });
        const auto cut = text.rfind('/') + 1;
        const auto prefix = text.substr(0, cut);
        completion.complete({prefix, text.substr(cut), completion.location(prefix).value_or(work)},
                            direction);
        EXPECT_TRUE(eventually([&] { return answer.has_value(); }));
        QObject::disconnect(connection);
        return answer.value_or(std::pair<std::string, std::string>());
    }

    static constexpr auto forwards = PathCompletion::Direction::forwards;
    static constexpr auto backwards = PathCompletion::Direction::backwards;
    TaskPools pools;
    PathCompletion completion{pools};
};

TEST_F(PathCompletionTest, cyclesThroughRealFoldersAndWrapsAround) {
    for (const auto* name : {"alpha", "alto", "altar", "beta", "Alps", ".alp", "al.app"})
        folder("work/" + std::string(name));
    file("almost");
    std::filesystem::create_directory_symlink(work.path(), work.path() + "/along");
    completion.begin("", work);
    const std::string three = "3 matching folders · Tab cycles completions";
    using Answer = std::pair<std::string, std::string>;
    EXPECT_EQ(complete("al"), Answer("alpha", three));
    EXPECT_EQ(complete("alpha"), Answer("altar", three));
    EXPECT_EQ(complete("altar"), Answer("alto", three));
    EXPECT_EQ(complete("alto"), Answer("alpha", three));
    EXPECT_EQ(complete("alpha", backwards), Answer("alto", three));
    EXPECT_EQ(complete("b"), Answer("beta/", ""));
    EXPECT_EQ(complete("beta/"), Answer("beta/", "No matching folders for this path"));
    EXPECT_EQ(complete("x"), Answer("x", "No matching folders for this path"));
    EXPECT_EQ(complete("x/y"), Answer("x/y", "No matching folders for this path"));
    EXPECT_EQ(complete("."), Answer(".alp/", "")) << "a dot asks for hidden folders";
}

TEST_F(PathCompletionTest, reachesANameThatIsNotText) {
    folder("work/odd\xff/inner");
    completion.begin(work.path(), work);
    const auto [text, hint] = complete(work.path() + "/o");
    EXPECT_EQ(text, work.path() + "/odd\xEF\xBF\xBD/");
    EXPECT_EQ(completion.location(text), work.child("odd\xff"));
    EXPECT_EQ(complete(text + "in").first, text + "inner/");
    EXPECT_EQ(completion.location(text + "inner/../inner/deep"),
              work.child("odd\xff").child("inner").child("deep"));
    EXPECT_EQ(completion.location("/elsewhere"), std::nullopt);
    EXPECT_EQ(completion.location("elsewhere"), std::nullopt);
}

} // namespace
} // namespace morv
