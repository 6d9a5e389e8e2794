// What a preview reads of texts and archives, and what it never opens.
#include "MorvApp/Model/MediaDecoder.h"
#include "MorvApp/Model/PreviewReading.h"
#include "MorvApp/Model/TextHighlighter.h"
#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Foundation/Errors.h"
#include "Tests/MorvApp/Support.h"
#include "Tests/Support/ArchiveBuilder.h"

#include <sys/stat.h>
#include <unistd.h>

namespace morv {
namespace {

class PreviewReading : public test::FolderTest {};

TEST(PreviewText, theBytesSayHowTheyAreRead) {
    using namespace std::string_literals;
    const struct {
        const char* name;
        std::string bytes;
        bool isWhole;
        const char* encoding; ///< null: no text
        QString text;
    } rows[] = {
        {"plain", "a\nb\n", true, "UTF-8", QStringLiteral("a\nb\n")},
        {"line ends of others", "a\r\nb\rc\n\rd", true, "UTF-8", QStringLiteral("a\nb\nc\n\nd")},
        {"UTF-8", "na\xC3\xAFve \xE2\x82\xAC", true, "UTF-8", QStringLiteral("naïve €")},
        {"marked UTF-8", "\xEF\xBB\xBFna\xC3\xAFve", true, "UTF-8", QStringLiteral("naïve")},
        {"Latin-1", "na\xEFve", true, "Latin-1", QStringLiteral("naïve")},
        {"UTF-16, little end first", "\xFF\xFEn\0\xEF\0\n\0"s, true, "UTF-16", QStringLiteral("nï\n")},
        {"UTF-16, big end first, an odd byte", "\xFE\xFF\0n\0\xEF\0"s, true, "UTF-16", QStringLiteral("nï")},
        {"a character cut by the end of the piece", "caf\xC3", false, "UTF-8", QStringLiteral("caf")},
        {"four bytes, three of them there", "x\xF0\x9F\x98", false, "UTF-8", QStringLiteral("x")},
        {"a broken character at the very end", "caf\xC3", true, "Latin-1", QStringLiteral("cafÃ")},
        {"continuations without a beginning", "abcd\x80\x80\x80\x80\x80", false, "Latin-1",
         QStringLiteral("abcd") + QString(5, QChar(0x2426))},
        {"a zero byte", "text\0text"s, true, nullptr, {}},
        {"controls", std::string(30, '\x01') + "text", true, nullptr, {}},
        {"colours for a terminal", "\x1B[31merror: no such file or directory\x1B[0m", true, "UTF-8",
         QStringLiteral("␛[31merror: no such file or directory␛[0m")},
        {"right to left",
         "a\xE2\x80\xAE"
         "b\xE2\x80\xA8"
         "c\td",
         true, "UTF-8", QStringLiteral("a␦b␦c\td")},
        {"empty", "", true, "UTF-8", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto preview = judgeText(row.bytes, row.isWhole);
        EXPECT_STREQ(preview.encoding, row.encoding);
        EXPECT_EQ(preview.text, row.text);
        EXPECT_EQ(preview.isWhole, row.isWhole);
    }
}

TEST_F(PreviewReading, isBoundedAndOpensOnlyPlainFiles) {
    std::string text;
    while (text.size() <= previewTextLimit)
        text += "å line\n";
    const auto exactly = text.substr(0, previewTextLimit);
    EXPECT_TRUE(readPreviewText(file("whole", exactly), {}).isWhole);
    const auto more = readPreviewText(file("more", text + "the end"), {});
    EXPECT_FALSE(more.isWhole);
    EXPECT_STREQ(more.encoding, "UTF-8");
    EXPECT_FALSE(more.text.contains(QStringLiteral("the end")));
    // What is no text at its beginning is not read on.
    EXPECT_FALSE(readPreviewText(file("late text", std::string(10, '\0') + text), {}).encoding);

    ASSERT_EQ(mkfifo((work.path() + "/pipe").c_str(), 0600), 0);
    ASSERT_EQ(symlink("whole", (work.path() + "/link").c_str()), 0);
    for (const auto* name : {"pipe", "link", "missing", "."}) {
        SCOPED_TRACE(name);
        EXPECT_ANY_THROW(readPreviewText(work.child(name), {}));
    }
    EXPECT_EQ(previewOriginal(work.child("link"), {}).name, "whole");
    ASSERT_EQ(symlink("loop", (work.path() + "/loop").c_str()), 0);
    EXPECT_THROW(previewOriginal(work.child("loop"), {}), FileOperationError);
    std::stop_source stopped;
    stopped.request_stop();
    EXPECT_THROW(readPreviewText(work.child("more"), stopped.get_token()), CancellationError);
}

/// Finds each "x" and what follows it up to a blank, and remembers what it was given.
class WordsWithX : public TextHighlighter {
public:
    std::vector<TextHighlight> highlight(const HighlightRequest& request,
                                         const std::stop_token&) const override {
        last = request;
        std::vector<TextHighlight> found;
        for (auto at = request.text.find('x'); at != std::string::npos; at = request.text.find('x', at)) {
            const auto end = std::min(request.text.find(' ', at), request.text.size());
            found.push_back({at, end - at, TextStyle::keyword});
            at = end;
        }
        return found;
    }
    mutable HighlightRequest last;
};

TEST(PreviewHighlights, areOfWholeShortLinesAndInTheUnitsOfTheText) {
    const WordsWithX words;
    const auto of = [&](const QString& text) { return previewHighlights(words, "a.c", text, {}); };
    const auto text = QStringLiteral("é€😀 xé€😀y \n😀x");
    const std::vector<TextHighlight> found{{5, 6, TextStyle::keyword}, {15, 1, TextStyle::keyword}};
    EXPECT_EQ(of(text), found);
    EXPECT_EQ(words.last.name, "a.c");
    EXPECT_EQ(words.last.text, text.toStdString());

    const auto asked = [&](const QString& given) {
        words.last.text = "nothing";
        (void)of(given);
        return words.last.text;
    };
    const QString longest(highlightedLineLimit, QLatin1Char('a'));
    const auto lines = longest + QStringLiteral("\n") + longest;
    EXPECT_EQ(asked(lines), lines.toStdString());
    EXPECT_EQ(asked(lines + QStringLiteral("a")), longest.toStdString() + "\n");
    EXPECT_EQ(asked(lines + QStringLiteral("a\nb\n")), longest.toStdString() + "\n") << "up to there";
    EXPECT_EQ(asked(longest + QStringLiteral("a")), "nothing");
    EXPECT_EQ(asked({}), "nothing");
    const auto line = QStringLiteral("€23456789012345\n"); // 18 bytes
    const auto room = static_cast<qsizetype>(highlightedTextLimit) / 18;
    EXPECT_EQ(asked(line.repeated(room + 100)).size(), static_cast<std::size_t>(room) * 18);
}

TEST_F(PreviewReading, keepsTheBeginningOfAnArchiveAndCountsAllOfIt) {
    test::ArchivePlan plan;
    plan.members = {{.name = "notes/", .data = "", .mode = 040755},
                    {.name = "notes/a.txt", .data = "12345"},
                    {.name = "b.txt", .data = "123"}};
    const auto small = readPreviewArchive(file("small.zip", test::archiveBytes(plan)), {});
    ASSERT_EQ(small.members.size(), 3U);
    EXPECT_EQ(small.members[1].name, "notes/a.txt");
    EXPECT_EQ(small.members[1].size, 5U);
    EXPECT_TRUE(small.isWhole());
    EXPECT_EQ(small.files, 2U);
    EXPECT_EQ(small.bytes, 8U);

    plan.members.clear();
    for (std::size_t i = 0; i <= previewArchiveMembers; ++i)
        plan.members.push_back({.name = std::to_string(i), .data = "x"});
    const auto many = readPreviewArchive(file("many.zip", test::archiveBytes(plan)), {});
    EXPECT_EQ(many.members.size(), previewArchiveMembers);
    EXPECT_EQ(many.files, previewArchiveMembers + 1);
    EXPECT_FALSE(many.isWhole());

    for (auto& member : plan.members)
        member.name += std::string(240, '_');
    const auto wide = readPreviewArchive(file("wide.zip", test::archiveBytes(plan)), {});
    EXPECT_LE(wide.members.size() * 241, previewArchiveNames);
    EXPECT_GE(wide.members.size() * 250, previewArchiveNames);
    EXPECT_EQ(wide.files, previewArchiveMembers + 1);

    plan.members = {{.name = "../outside", .data = ""}};
    EXPECT_THROW(readPreviewArchive(file("evil.zip", test::archiveBytes(plan)), {}), FileOperationError);
}

class PictureNames : public MediaDecoder {
public:
    DecodedMedia decode(const MediaRequest&, const std::stop_token&) const override { return {}; }
    bool understands(const FileURL& file) const override { return file.extension() == "png"; }
};

TEST_F(PreviewReading, whatCannotOrMustNotBeReadIsTold) {
    const PictureNames decoder;
    const auto of = [&](const std::string& name, const std::function<void(FileEntry&)>& change = {}) {
        auto entry = DirectoryService::entry(file(name));
        if (change)
            change(entry);
        return previewSubject(entry, &decoder);
    };
    EXPECT_EQ(of("a.png"), PreviewSubject::media);
    EXPECT_EQ(of("a.ZIP"), PreviewSubject::archive);
    EXPECT_EQ(of("a.txt"), PreviewSubject::text);
    EXPECT_EQ(of("README"), PreviewSubject::text);
    EXPECT_EQ(of("a.dmg"), PreviewSubject::plain);
    EXPECT_EQ(of("a.png.part"), PreviewSubject::downloading);
    for (const auto* name : {"cloud.png", "cloud.txt", "cloud.zip"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(of(name, [](FileEntry& entry) { entry.availability = FileAvailability::notDownloaded; }),
                  PreviewSubject::cloud);
        EXPECT_EQ(of(name, [](FileEntry& entry) { entry.availability = FileAvailability::unavailable; }),
                  PreviewSubject::unreadable);
        EXPECT_EQ(of(name, [](FileEntry& entry) { entry.isDownloading = true; }),
                  PreviewSubject::downloading);
        EXPECT_EQ(of(name, [](FileEntry& entry) { entry.isSymbolicLink = true; }), PreviewSubject::plain);
    }
    EXPECT_EQ(previewSubject(DirectoryService::entry(folder("work/sub")), &decoder), PreviewSubject::folder);
    EXPECT_EQ(previewSubject(DirectoryService::entry(folder("work/some.app")), &decoder),
              PreviewSubject::plain);
    EXPECT_EQ(previewSubject(DirectoryService::entry(work.child("a.png")), nullptr), PreviewSubject::plain);
}

} // namespace
} // namespace morv
