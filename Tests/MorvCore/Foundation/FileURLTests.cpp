#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Foundation/FileURL.h"
#include "Tests/Support/TemporaryFolder.h"

#include <cerrno>

using namespace morv;
using namespace morv::test;

TEST(FileURL, standardisesByTheTextAlone) {
    const struct {
        const char* given;
        const char* path;
    } rows[] = {{"", "/"},        {"//", "/"},          {"/a//b/", "/a/b"},   {"a/./b/.", "/a/b"},
                {"/../..", "/"},  {"/a/../../b", "/b"}, {"/a/..b", "/a/..b"}, {"/.a/...", "/.a/..."},
                {"/a/b/..", "/a"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.given);
        EXPECT_EQ(FileURL::fromPath(row.given).path(), row.path);
    }
    EXPECT_TRUE(FileURL::fromPath("/a/b").isWithin(FileURL::fromPath("/a")));
    EXPECT_FALSE(FileURL::fromPath("/ab").isWithin(FileURL::fromPath("/a")));
}

TEST(FileURL, everyByteSurvivesItsText) {
    std::string name;
    for (int byte = 1; byte < 256; ++byte) {
        if (byte != '/')
            name.push_back(static_cast<char>(byte));
    }
    for (const auto& url :
         {FileURL::fromPath("/" + name), FileURL::folder("/a b/" + name), FileURL(), FileURL::folder("/")}) {
        const auto back = FileURL::parse(url.absoluteString());
        ASSERT_TRUE(back);
        EXPECT_EQ(*back, url);
        EXPECT_EQ(back->absoluteString(), url.absoluteString());
    }
    EXPECT_EQ(FileURL::folder("/a b/\xE9~").absoluteString(), "file:///a%20b/%E9~/");
}

TEST(FileURL, refusesTextThatNamesNoFile) {
    EXPECT_EQ(FileURL::parse("file://localhost/a%2fb"), FileURL::fromPath("/a/b"));
    for (const std::string text :
         {"", "/a", "file:", "file://", "file:/a", "file://host/a", "http:///a", "file:///a?b", "file:///a#b",
          "file:///a%", "file:///a%4", "file:///a%G0", "file:///safe%00/../secret", "file:///%00"}) {
        SCOPED_TRACE(text);
        EXPECT_FALSE(FileURL::parse(text));
    }
    EXPECT_FALSE(FileURL::parse(std::string("file:///a\0b", 11)));
}

TEST(FileURL, anArgumentWithoutItsFolderIsNotTakenFromAnother) {
    const TemporaryFolder folder;
    const auto gone = folder.makeFolder("gone");
    const auto child = ::fork();
    if (child == 0) {
        const bool isGone = ::chdir(gone.path().c_str()) == 0 &&
                            FileURL::fromArgument("a/../b") == gone.child("b") &&
                            FileURL::fromArgument("") == gone && ::rmdir(gone.path().c_str()) == 0;
        int code = 0;
        try {
            FileURL::fromArgument("etc");
        } catch (const PosixError& error) {
            code = error.code();
        }
        ::_exit(isGone && code == ENOENT && FileURL::fromArgument("/etc").path() == "/etc" ? 0 : 1);
    }
    int status = 1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}
