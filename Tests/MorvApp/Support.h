// A private place for each test: home, data, configuration and Trash lie in a temporary folder, which is kept
// and named when the test fails.
#pragma once

#include "MorvApp/Model/AppModel.h"

#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace morv::test {

/// Points HOME and the XDG folders of this process at a new temporary folder; called before Qt starts.
void usePrivateHome();

/// Removes a folder in which a service may still be removing, or making, something: its own end comes first.
void removeWhole(const std::string& folder);

/// Runs the tests and, when none failed, removes the temporary folder.
int runTests();

class FolderTest : public testing::Test {
protected:
    FolderTest();
    ~FolderTest() override;

    FileURL folder(const std::string& name);
    FileURL file(const std::string& name, const std::string& content = "content");
    /// Names in a folder, sorted by bytes, Morv's own staging included.
    static std::vector<std::string> names(const FileURL& folder);
    static bool exists(const FileURL& url);
    Environment environment() const;

    FileURL root;
    FileURL work; ///< for files
};

/// Runs the event loop until `condition` holds; false after ten seconds.
bool eventually(const std::function<bool()>& condition);

/// A clipboard in memory.
class MemoryBoard : public ClipboardBoard {
public:
    bool write(const Contents& written) override;
    std::optional<std::string> read(const std::string& type) const override;
    std::uint64_t changeCount() const override { return changes; }

    Contents contents;
    std::uint64_t changes = 0;
};

/// Starts nothing and remembers what would have been started.
class RecordingLauncher : public DeveloperToolLauncher {
public:
    using Opened = std::vector<std::pair<FileURL, FileURL>>; ///< applications, and folders

    /// `what` is "terminal", "warp", or "editor" and the editor's raw value.
    void install(const std::string& what, const FileURL& application);
    void refuse(const std::string& sentence);
    Opened opened() const;
    void forget();

    std::optional<DeveloperTool> find(const DeveloperPathIntent& intent) const override;
    void open(const DeveloperTool& tool, const FileURL& folder) const override;
    /// "own" and the line, once that was installed.
    std::optional<DeveloperTool> terminal(const std::string& line) const override;
    std::vector<InstalledApplication> editors() const override;

private:
    mutable Mutex mutex_;
    std::map<std::string, FileURL> installed_ MORV_GUARDED_BY(mutex_);
    std::string refusal_ MORV_GUARDED_BY(mutex_);
    mutable Opened opened_ MORV_GUARDED_BY(mutex_);
};

/// One window's model on the folder `work`.
class ModelTest : public FolderTest {
protected:
    static bool idle(AppModel& app);
    /// In the active pane, by name.
    static void select(AppModel& app, const std::vector<std::string>& wanted);
    /// There are so many receipts, and the newest has ended.
    static bool ended(AppModel& app, std::size_t receipts);

    MemoryBoard board;
};

} // namespace morv::test
