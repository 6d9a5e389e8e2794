// Real programs and desktop entries, in places of the test's own.
#include "MorvApp/Integration/DesktopToolLauncher.h"
#include "MorvCore/Foundation/Errors.h"
#include "Tests/MorvApp/Support.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace morv {
namespace {

using test::eventually;
using Tool = DeveloperPathIntent::Tool;

class DesktopToolLauncherTest : public test::FolderTest {
protected:
    DesktopToolLauncherTest()
        : applications(std::string(std::getenv("XDG_DATA_HOME")) + "/applications"),
          path(std::getenv("PATH")) {
        std::filesystem::create_directories(applications);
        folder("bin");
        setenv("PATH", (root.path() + "/bin").c_str(), 1);
        unsetenv("TERMINAL");
        unsetenv("XDG_CURRENT_DESKTOP");
    }
    ~DesktopToolLauncherTest() override {
        setenv("PATH", path.c_str(), 1);
        unsetenv("TERMINAL");
        unsetenv("XDG_CURRENT_DESKTOP");
        std::filesystem::remove_all(applications);
    }

    /// A program on PATH that writes its working folder and its arguments, a line each, and then goes on.
    FileURL program(const std::string& name) {
        const auto url = FileURL::fromPath(root.path() + "/bin/" + name);
        std::ofstream(url.path()) << "#!/bin/sh\n{ pwd; for word; do echo \"$word\"; done; } > '"
                                  << root.path() << "/started.part'\n/bin/mv '" << root.path()
                                  << "/started.part' '" << started() << "'\n";
        std::filesystem::permissions(url.path(), std::filesystem::perms::owner_all);
        return url;
    }
    void entry(const std::string& id, const std::string& exec, const std::string& more = {}) {
        std::ofstream(applications + "/" + id) << "[Desktop Entry]\nType=Application\nName=" << id
                                               << "\nExec=" << exec << "\nMimeType=text/plain;\n"
                                               << more;
    }
    std::string started() const { return root.path() + "/started"; }
    /// What a program that was started has written.
    std::string report() {
        EXPECT_TRUE(eventually([&] { return std::filesystem::exists(started()); }));
        std::ostringstream text;
        text << std::ifstream(started()).rdbuf();
        std::filesystem::remove(started());
        return std::move(text).str();
    }
    std::string found(Tool tool, std::optional<DeveloperEditor> editor = {}) const {
        const auto result = launcher.find({tool, editor});
        return result ? result->application.path() : "";
    }

    std::string applications;
    std::string path;
    DesktopToolLauncher launcher;
};

TEST_F(DesktopToolLauncherTest, theTerminalIsTheFirstThatIsThere) {
    EXPECT_EQ(found(Tool::terminal), "");
    const auto bin = root.path() + "/bin/";
    // From the last to the first: each one that is added goes before those that were there.
    for (const auto* name : {"xterm", "x-terminal-emulator", "konsole", "gnome-terminal"}) {
        program(name);
        EXPECT_EQ(found(Tool::terminal), bin + name);
    }
    setenv("XDG_CURRENT_DESKTOP", "KDE", 1);
    EXPECT_EQ(found(Tool::terminal), bin + "konsole");
    program("xdg-terminal-exec");
    EXPECT_EQ(found(Tool::terminal), bin + "xdg-terminal-exec");
    program("mine");
    setenv("TERMINAL", "gone", 1);
    EXPECT_EQ(found(Tool::terminal), bin + "xdg-terminal-exec") << "a setting that names nothing";
    setenv("TERMINAL", "mine --title 'two words; $(id)'", 1);
    const auto terminal = launcher.find({Tool::terminal, {}});
    ASSERT_TRUE(terminal);
    const auto odd = folder("work/an odd; $name");
    launcher.open(*terminal, odd);
    EXPECT_EQ(report(), odd.path() + "\n--title\ntwo words; $(id)\n") << "begins there, through no shell";
}

TEST_F(DesktopToolLauncherTest, editorsAreEntriesOrElseCommands) {
    EXPECT_EQ(found(Tool::editor, DeveloperEditor::cursor), "");
    const auto command = program("code");
    program("warp-terminal");
    EXPECT_EQ(found(Tool::editor, DeveloperEditor::visualStudioCode), command.path());
    const auto odd = folder("work/an odd; $name");
    launcher.open(*launcher.find({Tool::editor, DeveloperEditor::visualStudioCode}), odd);
    EXPECT_EQ(report(), odd.path() + "\n" + odd.path() + "\n");
    launcher.open(*launcher.find({Tool::warp, {}}), odd);
    EXPECT_EQ(report(), odd.path() + "\n");

    entry("codium.desktop", command.path() + " --new-window %F");
    entry("dev.zed.Zed.desktop", command.path() + " %U");
    ASSERT_TRUE(eventually([&] {
        return found(Tool::editor, DeveloperEditor::visualStudioCode) == applications + "/codium.desktop" &&
               found(Tool::editor, DeveloperEditor::zed) == applications + "/dev.zed.Zed.desktop";
    }));
    launcher.open(*launcher.find({Tool::editor, DeveloperEditor::visualStudioCode}), odd);
    EXPECT_EQ(report(), odd.path() + "\n--new-window\n" + odd.path() + "\n");
    launcher.open(*launcher.find({Tool::editor, DeveloperEditor::zed}), odd);
    EXPECT_EQ(report(), odd.path() + "\n" + odd.path() + "\n");

    const auto refusal = [&](const FileURL& application, const FileURL& at) -> std::string {
        try {
            launcher.open(DeveloperTool{application}, at);
        } catch (const FileOperationError& error) {
            return error.what();
        }
        return "";
    };
    EXPECT_NE(refusal(FileURL::fromPath(applications + "/gone.desktop"), work), "");
    EXPECT_NE(refusal(file("no program"), work), "");
    EXPECT_NE(refusal(command, work.child("missing")), "");
}

TEST_F(DesktopToolLauncherTest, theChoiceHoldsWhatOpensFoldersOrText) {
    const auto command = program("any").path();
    entry("b.desktop", command, "Icon=accessories-text-editor\n");
    entry("A.desktop", command);
    entry("hidden.desktop", command, "NoDisplay=true\n");
    entry("org.morv.Morv.desktop", command);
    std::ofstream(applications + "/picture.desktop")
        << "[Desktop Entry]\nType=Application\nName=Picture\nExec=" << command << "\nMimeType=image/png;\n";
    std::ofstream(applications + "/mimeinfo.cache")
        << "[MIME Cache]\ntext/plain=b.desktop;hidden.desktop;org.morv.Morv.desktop;\n"
           "inode/directory=A.desktop;b.desktop;\nimage/png=picture.desktop;\n";
    std::vector<InstalledApplication> mine;
    EXPECT_TRUE(eventually([&] {
        mine = launcher.editors();
        std::erase_if(mine, [&](const auto& each) { return each.file.parent().path() != applications; });
        return mine.size() == 2;
    }));
    ASSERT_EQ(mine.size(), 2U);
    EXPECT_EQ(mine[0].name, "A.desktop");
    EXPECT_EQ(mine[1].icon, "accessories-text-editor");
    EXPECT_EQ(mine[1].file.path(), applications + "/b.desktop");
}

} // namespace
} // namespace morv
