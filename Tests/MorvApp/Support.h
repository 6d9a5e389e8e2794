// A private place for each test: home, data, configuration and Trash lie in a temporary folder, which is kept
// and named when the test fails.
#pragma once

#include "MorvApp/Model/FileClipboard.h"
#include "MorvApp/Model/MorvRuntime.h"

#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace morv::test {

/// Points HOME and the XDG folders of this process at a new temporary folder; called before Qt starts.
void usePrivateHome();

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

} // namespace morv::test
