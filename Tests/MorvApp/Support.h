// A private place for each test: home, data, configuration and Trash lie in a temporary folder, which is kept
// and named when the test fails.
#pragma once

#include "MorvApp/Model/AppModel.h"

#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace morv::test {

/// Points HOME and the XDG folders of this process at a new temporary folder; called before Qt starts.
void usePrivateHome();

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
