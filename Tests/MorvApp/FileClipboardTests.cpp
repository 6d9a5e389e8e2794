#include "MorvApp/Model/FileClipboard.h"
#include "Tests/MorvApp/Support.h"

namespace morv {
namespace {

using Mode = FileClipboard::Mode;
using testing::ElementsAre;
using testing::Pair;

const auto plain = FileURL::fromPath("/a/one file.txt");
const auto bytes = FileURL::fromPath("/a/\xff");

TEST(FileClipboard, writesTheBytesThatOtherFileManagersRead) {
    test::MemoryBoard board;
    FileClipboard clipboard(board);
    ASSERT_TRUE(clipboard.write({plain, bytes}, Mode::move));
    EXPECT_THAT(
        board.contents,
        ElementsAre(Pair("text/uri-list", "file:///a/one%20file.txt\r\nfile:///a/%FF\r\n"),
                    Pair("x-special/gnome-copied-files", "cut\nfile:///a/one%20file.txt\nfile:///a/%FF"),
                    Pair("application/x-kde-cutselection", "1"),
                    Pair("text/plain;charset=utf-8", "/a/one file.txt\n/a/\xef\xbf\xbd")));
    ASSERT_TRUE(clipboard.write({plain}, Mode::copy));
    EXPECT_EQ(board.read("x-special/gnome-copied-files"), "copy\nfile:///a/one%20file.txt");
    EXPECT_EQ(board.read("application/x-kde-cutselection"), "0");
    EXPECT_THAT(clipboard.read().urls, ElementsAre(plain));
}

TEST(FileClipboard, readsWhatOthersWrite) {
    struct Row {
        const char* name;
        ClipboardBoard::Contents contents;
        Mode mode;
        std::vector<FileURL> urls;
    };
    using namespace std::string_literals;
    const Row rows[] = {
        {"cut", {{"x-special/gnome-copied-files", "cut\nfile:///a/%FF"}}, Mode::move, {bytes}},
        {"line ends and NUL",
         {{"x-special/gnome-copied-files", "copy\r\nfile:///a/%FF\r\n\0"s}},
         Mode::copy,
         {bytes}},
        {"the first type wins",
         {{"text/uri-list", "file:///other\r\n"}, {"x-special/gnome-copied-files", "cut\nfile:///a/%FF"}},
         Mode::move,
         {bytes}},
        {"a cut mark beside a list",
         {{"text/uri-list", "# comment\r\nfile:///a/%FF\r\n"}, {"application/x-kde-cutselection", "1"}},
         Mode::move,
         {bytes}},
        {"no local file", {{"text/uri-list", "https://example.org/x\r\n"}}, Mode::copy, {}},
        {"paths as text", {{"text/plain;charset=utf-8", "/a/one file.txt\nhello\n"}}, Mode::copy, {plain}},
        {"nothing", {}, Mode::copy, {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        test::MemoryBoard board;
        board.contents = row.contents;
        FileClipboard clipboard(board);
        const auto offer = clipboard.read();
        EXPECT_EQ(offer.urls, row.urls);
        EXPECT_EQ(offer.mode, row.mode);
    }
}

TEST(FileClipboard, aCutEndsWithItsMoveOrWithAnyChange) {
    test::MemoryBoard board;
    FileClipboard clipboard(board);
    clipboard.write({plain, bytes}, Mode::move);
    EXPECT_EQ(clipboard.read().mode, Mode::move);
    EXPECT_EQ(clipboard.read().mode, Mode::move) << "reading does not end it";

    // The same change count with other content: read back in another order it is a copy.
    board.contents[1].second = "cut\nfile:///a/%FF\nfile:///a/one%20file.txt";
    EXPECT_EQ(clipboard.read().mode, Mode::copy);

    clipboard.write({plain, bytes}, Mode::move);
    clipboard.completedMove({{FileURL::fromPath("/unrelated"), plain}});
    EXPECT_EQ(clipboard.read().mode, Mode::move);
    const auto moved = FileURL::fromPath("/b/moved");
    clipboard.completedMove({{plain, moved}});
    const auto offer = clipboard.read();
    EXPECT_EQ(offer.mode, Mode::copy);
    EXPECT_THAT(offer.urls, ElementsAre(moved, bytes)) << "what did not move keeps its place";

    clipboard.write({plain}, Mode::move);
    board.write({{"text/uri-list", "file:///a/one%20file.txt\r\n"}});
    EXPECT_EQ(clipboard.read().mode, Mode::copy);
    const auto changes = board.changes;
    clipboard.completedMove({{plain, moved}});
    EXPECT_EQ(board.changes, changes) << "another application's clipboard is left alone";

    board.write({{"x-special/gnome-copied-files", "cut\nfile:///a/one%20file.txt"}});
    EXPECT_EQ(clipboard.read().mode, Mode::move);
    clipboard.completedMove({{plain, moved}});
    EXPECT_EQ(clipboard.read().mode, Mode::copy)
        << "another application's cut was moved, and moves only once";
    EXPECT_THAT(clipboard.read().urls, ElementsAre(moved));
}

} // namespace
} // namespace morv
