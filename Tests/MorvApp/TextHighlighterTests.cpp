// The words of source texts, by the helper itself; what a hostile text or a helper that lies can do.
#include "MorvCore/Foundation/Errors.h"
#include "Tests/MorvApp/DecoderFixture.h"

#include <linux/landlock.h>
#include <ostream>
#include <sys/syscall.h>
#include <unistd.h>

namespace morv {

/// For the messages of the tests.
inline void PrintTo(const TextHighlight& highlight, std::ostream* out) {
    *out << highlight.start << '+' << highlight.length << ':' << static_cast<int>(highlight.style);
}

namespace {

using test::children;
using test::sentenceOf;
using namespace std::chrono_literals;

class TextHighlighterTest : public test::DecoderTest {
protected:
    /// Without it the helper reads no definitions of languages, and every text stays plain.
    static bool placesCanBeConfined() {
        return ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION) >= 1;
    }
    static DecoderLimits one(DecoderLimits limits) {
        limits.helpers = 1;
        return limits;
    }
};

/// The style in which the first occurrence of `word` stands, or "plain".
std::string around(const std::string& word, const HighlightRequest& request,
                   const std::vector<TextHighlight>& highlights) {
    static const char* const names[] = {"comment", "string",   "keyword",  "type",     "number",
                                        "preproc", "function", "variable", "inserted", "removed"};
    const auto at = request.text.find(word);
    EXPECT_NE(at, std::string::npos) << word;
    for (const auto& each : highlights)
        if (each.start <= at && at + word.size() <= each.start + each.length)
            return names[static_cast<std::size_t>(each.style)];
    return "plain";
}

TEST_F(TextHighlighterTest, tellsTheWordsOfLanguagesByNameAndByFirstLine) {
    if (!placesCanBeConfined())
        GTEST_SKIP() << "This kernel has no Landlock.";
    const DecoderProcess decoder(one(limits()));
    const struct {
        HighlightRequest request;
        std::vector<std::pair<const char*, const char*>> words;
    } rows[] = {
        {{"harbour.cpp", "#include <vector>\n"
                         "/* the quay\n   and été */ class Quay {};\n"
                         "int depth() { return 12; } // metres\n"
                         "auto name = \"é\\é\";\n"},
         {{"#include", "preproc"},
          {"and été", "comment"},
          {"class", "keyword"},
          {"Quay {", "plain"},
          {"Quay", "type"},
          {"int", "type"},
          {"depth", "function"},
          {"12", "number"},
          {"// metres", "comment"},
          {"\"é", "string"},
          {"auto", "keyword"}}},
        {{"tide.PY", "def tide(day):\n    return 'high' # or low\n"},
         {{"def", "keyword"}, {"tide", "function"}, {"'high'", "string"}, {"# or low", "comment"}}},
        {{"survey.json", "{\n  \"depth\": 12,\n  \"place\": \"quay\"\n}\n"},
         {{"depth", "variable"}, {"12", "number"}, {"quay", "string"}}},
        {{"backup", "#!/bin/bash\nfor each in \"$HOME\"; do # all\n  ls\ndone"},
         {{"for", "keyword"}, {"# all", "comment"}, {"done", "keyword"}}},
        {{"tool.pl", "#!/usr/bin/env perl\nmy $name = 'x';\n"}, {{"my", "keyword"}, {"'x'", "string"}}},
        {{"tool", "#!/usr/bin/python3\nimport os\n"}, {{"import", "preproc"}}},
        {{"change.diff", "--- a/x\n+++ b/x\n@@ -1 +1 @@\n-old\n+new\n"},
         {{"-old", "removed"}, {"+new", "inserted"}}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.request.name);
        const auto highlights = decoder.highlight(row.request, {});
        for (const auto& [word, style] : row.words)
            EXPECT_EQ(around(word, row.request, highlights), style) << word;
    }
    for (const auto* name : {"notes.txt", "notes", ".", "a/b.cpp/", "../../etc/passwd", ""}) {
        SCOPED_TRACE(name);
        EXPECT_THROW(decoder.highlight({name, "int depth() { return 12; }\n"}, {}), MediaError);
    }
    EXPECT_TRUE(decoder.highlight({"empty.cpp", ""}, {}).empty());
    EXPECT_EQ(children().size(), 1U) << "one helper has answered all of it";
}

TEST_F(TextHighlighterTest, aTextThatTakesForEverEndsAndTheHelperWorksOn) {
    if (!placesCanBeConfined())
        GTEST_SKIP() << "This kernel has no Landlock.";
    const DecoderProcess decoder(one(limits()));
    // Each line takes the library about a second: 130 of them fill what is sent.
    HighlightRequest hard{"hard.perl", "my $first;\n"};
    std::string line;
    while (line.size() < 1980)
        line += "a-";
    while (hard.text.size() + line.size() + 20 < highlightedTextLimit)
        hard.text += line + "\n";
    hard.text += "my $last;\n";
    const auto begin = std::chrono::steady_clock::now();
    const auto highlights = decoder.highlight(hard, {});
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 30s);
    EXPECT_EQ(around("$first", hard, highlights), "variable");
    EXPECT_EQ(around("$last", hard, highlights), "plain");
    const auto before = children();

    // One that the library refuses to go on with costs its own line.
    HighlightRequest refused{"refused.json", "\""};
    for (int i = 0; i < 100; ++i)
        refused.text += "\\\"";
    refused.text += "x\n{ \"depth\": 12 }\n";
    EXPECT_EQ(around("12", refused, decoder.highlight(refused, {})), "number");
    hard.text.resize(highlightedTextLimit + 1);
    EXPECT_THROW(decoder.highlight(hard, {}), MediaError) << "longer than is ever asked";
    EXPECT_EQ(children(), before);
}

TEST_F(TextHighlighterTest, aHelperThatLiesOrHangsIsReplaced) {
    auto few = one(partner());
    const auto request = [](const char* name) { return HighlightRequest{name, "a\xC3\xA9 b\n"}; };
    const std::vector<TextHighlight> honest{{0, 3, TextStyle::keyword}, {4, 1, TextStyle::string}};
    for (const auto* name :
         {"two behind the end", "a start behind the end", "a length that wraps around", "one over another",
          "out of order", "an empty one", "half a character", "an unknown style", "a plain one",
          "more than there is room for", "words behind the answer", "dies", "hangs"}) {
        SCOPED_TRACE(name);
        few.highlightPatience = std::string_view(name) == "hangs" ? 100ms : 60s;
        const DecoderProcess decoder(few);
        EXPECT_THROW(decoder.highlight(request(name), {}), MediaError);
        EXPECT_TRUE(children().empty());
        few.highlightPatience = 60s;
        EXPECT_EQ(DecoderProcess(few).highlight(request("honest"), {}), honest);
    }
}

} // namespace
} // namespace morv
