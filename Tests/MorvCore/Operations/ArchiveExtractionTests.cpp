// Unpacking against archives that lie and folders that change: whatever happens, it happens in staging.
#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Operations/AppleDouble.h"
#include "MorvCore/Operations/OperationProgress.h"
#include "MorvCore/Operations/SafeArchiveService.h"
#include "Tests/Support/ArchiveBuilder.h"
#include "Tests/Support/PrivateHome.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/TreeSnapshot.h"

#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

using namespace morv;
using namespace morv::test;

namespace {

const std::string occupied = "collision: The extraction staging folder is occupied.";
const std::string special =
    "unsupported: The archive extracted a link or special file. Its staging folder was "
    "retained for inspection.";
const std::string changed =
    "changed: The archive changed during extraction. The staged files were retained for inspection.";
const std::string limit = "unsupported: The extracted archive exceeded Morv's safety limits.";

std::string damaged(const std::string& name) {
    return "invalid: “" + name + "” in this ZIP is damaged. Extracted files remain in staging.";
}

std::string inTheWay(const std::string& name) {
    return "collision: Another item stands where “" + name +
           "” of this ZIP belongs. Extracted files remain in staging.";
}

class ArchiveExtraction : public testing::Test {
protected:
    ArchiveExtraction() {
        folder.makeFolder("around/place");
        folder.write("around/precious", "precious");
        folder.write("around/place/neighbour", "neighbour");
    }

    FileURL archive() const { return folder.url("archive.zip"); }
    FileURL staging() const { return folder.url("around/place/staging"); }

    /// The refusal with its kind, or nothing.
    std::string verdict(ProgressMeter* progress = nullptr, const std::stop_token& stop = {}) const {
        const Descriptor place(
            ::open(folder.path("around/place").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        try {
            SafeArchiveService::extract({archive(), staging(), place.get(), stop, progress, mostItems});
        } catch (const FileOperationError& error) {
            using Case = FileOperationError::Case;
            const std::string kind = error.kind() == Case::invalid       ? "invalid: "
                                     : error.kind() == Case::unsupported ? "unsupported: "
                                     : error.kind() == Case::collision   ? "collision: "
                                     : error.kind() == Case::changed     ? "changed: "
                                                                         : "unavailable: ";
            return kind + error.what();
        }
        return {};
    }
    /// As verdict(), and whatever it is, all but staging must be as it was.
    std::string extract(ProgressMeter* progress = nullptr, const std::stop_token& stop = {}) const {
        const auto before = around();
        auto result = verdict(progress, stop);
        EXPECT_EQ(difference(before, around()), "") << "outside staging, after: " << result;
        return result;
    }
    std::string extract(const std::string& bytes) const {
        std::filesystem::remove_all(staging().path());
        folder.write("archive.zip", bytes);
        return extract();
    }
    std::string extract(std::vector<ArchiveMember> members) const {
        return extract(archiveBytes({.members = std::move(members)}));
    }
    /// Calls `act` once, when the first bytes of the archive have been used, and goes on.
    std::string extractWhile(const std::function<void()>& act, const std::stop_token& stop = {}) const {
        bool acted = false;
        ProgressMeter meter(UUID(), ProgressMeter::Items::planned, [&](const OperationProgress&) {
            if (!std::exchange(acted, true))
                act();
        });
        const auto verdict = extract(&meter, stop);
        EXPECT_TRUE(acted);
        return verdict;
    }

    std::map<std::string, std::string> files() const {
        std::map<std::string, std::string> result;
        for (const auto& [path, item] : snapshot(staging().path())) {
            if (!path.empty())
                result[path] = item.type == 'f' ? item.content : std::string("a folder");
        }
        return result;
    }

    TemporaryFolder folder{Disk::memory};
    std::int64_t mostItems = ArchiveLimits::mostExtractedItems;

private:
    TreeSnapshot around() const {
        auto tree = snapshot(folder.path("around"));
        std::erase_if(tree, [](const auto& entry) { return entry.first.starts_with("place/staging"); });
        tree["place"].modified = 0;
        return tree;
    }
};

bool keepsAttributes(const std::string& path) {
    return ::setxattr(path.c_str(), "user.probe", "", 0, 0) == 0 &&
           ::removexattr(path.c_str(), "user.probe") == 0;
}

void setMark(const FileURL& url, const std::string& name, const std::string& value) {
    ASSERT_EQ(::setxattr(url.path().c_str(), name.c_str(), value.data(), value.size(), 0), 0);
}

} // namespace

TEST_F(ArchiveExtraction, tellsDamagedMembersFromSoundOnes) {
    const std::string prose = std::string(300'000, 'a') + std::string(300'000, 'b');
    const auto stored = [](auto change) {
        ArchiveMember member{.name = "m", .data = "content"};
        change(member);
        return member;
    };
    const auto packed = [&prose](auto change) {
        auto member = deflated("m", prose);
        change(member);
        return member;
    };
    const struct {
        std::string name;
        ArchiveMember member;
        std::string verdict;
    } rows[] = {
        {"stored", stored([](auto&) {}), ""},
        {"deflated", packed([](auto&) {}), ""},
        {"nothing, stored", stored([](auto& m) { m.data = ""; }), ""},
        {"nothing, deflated", deflated("m", ""), ""},
        {"stored, a byte less is there", stored([](auto& m) { m.uncompressedSize = 8; }), damaged("m")},
        {"stored, a byte more is there", stored([](auto& m) { m.uncompressedSize = 6; }), damaged("m")},
        {"stored, another checksum", stored([](auto& m) { m.checksum = 1; }), damaged("m")},
        {"deflated, says a byte more", packed([](auto& m) { ++*m.uncompressedSize; }), damaged("m")},
        {"deflated, says a byte less", packed([](auto& m) { --*m.uncompressedSize; }), damaged("m")},
        {"deflated, says nothing is in it", packed([](auto& m) { m.uncompressedSize = 0; }), damaged("m")},
        {"deflated, says 100 MiB", packed([](auto& m) { m.uncompressedSize = 104'857'600; }), damaged("m")},
        {"deflated, another checksum", packed([](auto& m) { m.checksum = 1; }), damaged("m")},
        {"deflated, cut", packed([](auto& m) { m.data.pop_back(); }), damaged("m")},
        {"deflated, of which nothing is there", packed([](auto& m) { m.data = ""; }), damaged("m")},
        {"deflated, and a byte behind", packed([](auto& m) { m.data += 'x'; }), damaged("m")},
        {"deflated, and much behind", packed([](auto& m) { m.data += std::string(100'000, 'x'); }),
         damaged("m")},
        {"not deflated at all", packed([](auto& m) { m.data = "plain text"; }), damaged("m")},
        {"a reference to before the beginning", packed([](auto& m) { m.data = "\x03\x12\x00"; }),
         damaged("m")},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(extract({row.member}), row.verdict);
        const auto made = files();
        ASSERT_TRUE(made.contains("m"));
        EXPECT_LE(made.at("m").size(), row.member.uncompressedSize.value_or(row.member.data.size()));
        if (row.verdict.empty()) {
            EXPECT_EQ(made.at("m"), row.member.method == 0         ? row.member.data
                                    : *row.member.uncompressedSize ? prose
                                                                   : "");
        }
    }
}

TEST_F(ArchiveExtraction, expandsWhatEndsJustBehindAChunk) {
    ArchivePlan plan;
    for (std::size_t size = 262'140; size < 262'700; size += 7)
        plan.members.push_back(deflated(std::to_string(size), std::string(size, 'x')));
    EXPECT_EQ(extract(archiveBytes(plan)), "");
}

TEST_F(ArchiveExtraction, makesWhatTheDirectorySaysAndNothingElse) {
    std::string deep;
    for (int i = 0; i < 127; ++i)
        deep += "d/";
    const std::string longName(255, 'n');
    const ArchivePlan other{.members = {{.name = "other"}, {.name = "b", .data = "other"}}};
    ArchivePlan plan{.members = {{.name = "empty/", .data = "", .mode = 040755},
                                 {.name = "folder/", .data = "bytes of a folder", .mode = 040755},
                                 {.name = deep + "e", .data = "deep"},
                                 {.name = longName + "/" + longName},
                                 {.name = "\u202E\n\x1B"},
                                 {.name = "A/x", .data = "upper"},
                                 {.name = "a/y", .data = "lower"},
                                 deflated("b", "text")},
                     .gap = archiveBytes(other),
                     .comment = archiveBytes(other) + "end"};
    ASSERT_EQ(extract(archiveBytes(plan)), "");
    auto made = files();
    EXPECT_EQ(made[deep + "e"], "deep");
    std::erase_if(made, [](const auto& item) { return item.first.starts_with("d"); });
    const std::map<std::string, std::string> expected = {{"empty", "a folder"},
                                                         {"folder", "a folder"},
                                                         {longName, "a folder"},
                                                         {longName + "/" + longName, "content"},
                                                         {"\u202E\n\x1B", "content"},
                                                         {"A", "a folder"},
                                                         {"A/x", "upper"},
                                                         {"a", "a folder"},
                                                         {"a/y", "lower"},
                                                         {"b", "text"}};
    EXPECT_EQ(made, expected);

    for (const std::vector<ArchiveMember>& refused :
         std::vector<std::vector<ArchiveMember>>{{{}, {.name = "../../precious"}},
                                                 {{}, {.name = "/precious"}},
                                                 {{}, {.name = "link", .data = "/", .mode = 0120777}},
                                                 {{.name = "a"}, {.name = "a/b"}},
                                                 {{.name = "a"}, {.name = "A"}},
                                                 {{.name = "Caf\u00E9"}, {.name = "Cafe\u0301"}},
                                                 {{.name = deep + "d/e"}},
                                                 {{.compressedSize = 8}, {.name = "b"}}}) {
        EXPECT_NE(extract(refused), "");
        EXPECT_TRUE(files().empty());
        EXPECT_FALSE(std::filesystem::exists(staging().path())) << "not even staging is made";
    }
}

TEST_F(ArchiveExtraction, namesTheFirstDamagedMemberWhoeverFindsIt) {
    ArchivePlan plan;
    for (int i = 0; i < 200; ++i) {
        plan.members.push_back(deflated("f" + std::to_string(i), std::string(1000, 'x')));
        if (i % 7 == 3)
            plan.members.back().checksum = 1;
    }
    plan.members[3] = deflated("\u202Ebig\n", std::string(20'000'000, 'x'));
    plan.members[3].checksum = 1;
    for (int turn = 0; turn < 10; ++turn)
        EXPECT_EQ(extract(archiveBytes(plan)), damaged(displayText("\u202Ebig\n")));
}

TEST_F(ArchiveExtraction, countsItemsBeforeItMakesThem) {
    // Chains of 127 folders and a file, into folders that the workers meet in, and folders of their own.
    std::string chain;
    for (int i = 0; i < 125; ++i)
        chain += "/d";
    ArchivePlan plan;
    for (int i = 0; i < 20; ++i)
        plan.members.push_back({.name = "shared/" + std::to_string(i) + chain + "/f", .data = ""});
    for (int i = 0; i < 300; ++i)
        plan.members.push_back({.name = "folder " + std::to_string(i) + "/", .data = "", .mode = 040755});
    folder.write("archive.zip", archiveBytes(plan));
    mostItems = 1 + 20 * 127 + 300;
    EXPECT_EQ(verdict(), "");

    --mostItems;
    std::filesystem::remove_all(staging().path());
    EXPECT_EQ(verdict(), limit);
    std::int64_t count = 0;
    for (auto item = std::filesystem::recursive_directory_iterator(staging().path());
         item != std::filesystem::recursive_directory_iterator(); ++item)
        ++count;
    EXPECT_EQ(count, mostItems) << "all that may be, and not one more";

    mostItems = 1;
    std::filesystem::remove_all(staging().path());
    folder.write("archive.zip", archiveBytes({.members = {{}}}));
    EXPECT_EQ(extractWhile([this] { folder.makeFolder("around/place/staging/another"); }), limit);
}

TEST_F(ArchiveExtraction, leavesWhatStandsInItsPlace) {
    folder.write("archive.zip", archiveBytes({.members = {{}}}));
    for (const auto& make :
         std::vector<std::function<void()>>{[&] { folder.makeFolder("around/place/staging"); },
                                            [&] { folder.write("around/place/staging", "mine"); },
                                            [&] { folder.link("around/place/staging", "/nowhere"); },
                                            [&] { folder.link("around/place/staging", ".."); }}) {
        make();
        const auto before = snapshot(staging().path());
        EXPECT_EQ(extract(), occupied);
        EXPECT_EQ(difference(before, snapshot(staging().path())), "");
        std::filesystem::remove_all(staging().path());
    }
}

TEST_F(ArchiveExtraction, followsNoLinkThatSomebodyPutsIntoStaging) {
    ArchivePlan plan;
    for (int i = 0; i < 2000; ++i)
        plan.members.push_back({.name = "many/" + std::to_string(i), .data = "x"});
    plan.members.push_back({.name = "last/precious", .data = "overwritten"});
    const auto inStaging = [this](const std::string& name) { return staging().path() + "/" + name; };
    const auto outside = folder.path("around");
    const struct {
        std::string name;
        std::function<void()> plant;
        std::string verdict;
    } rows[] = {
        {"a link for a folder", [&] { std::filesystem::create_symlink(outside, inStaging("last")); },
         inTheWay("last")},
        {"a link to nowhere for a folder",
         [&] { std::filesystem::create_symlink("nowhere", inStaging("last")); }, inTheWay("last")},
        {"a file for a folder", [&] { folder.write("around/place/staging/last", ""); }, inTheWay("last")},
        {"a link for a file",
         [&] {
             std::filesystem::create_directory(inStaging("last"));
             std::filesystem::create_symlink(outside + "/precious", inStaging("last/precious"));
         },
         inTheWay("last/precious")},
        {"another name of a file outside",
         [&] {
             std::filesystem::create_directory(inStaging("last"));
             std::filesystem::create_hard_link(outside + "/precious", inStaging("last/precious"));
         },
         inTheWay("last/precious")},
        {"a link beside", [&] { std::filesystem::create_symlink(outside, inStaging("beside")); }, special},
        {"a pipe beside", [&] { ASSERT_EQ(mkfifo(inStaging("pipe").c_str(), 0600), 0); }, special},
        {"another name beside",
         [&] { std::filesystem::create_hard_link(outside + "/precious", inStaging("beside")); }, special},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::filesystem::remove_all(staging().path());
        folder.write("archive.zip", archiveBytes(plan));
        EXPECT_EQ(extractWhile(row.plant), row.verdict);
    }
}

TEST_F(ArchiveExtraction, noticesAnArchiveThatChangesUnderIt) {
    ArchivePlan plan;
    for (int i = 0; i < 2000; ++i)
        plan.members.push_back({.name = std::to_string(i), .data = std::string(3000, 'x')});
    const auto before = archiveBytes(plan);
    auto longer = plan;
    for (auto& member : longer.members)
        member.data = std::string(3000, 'y');
    for (const auto& after : {archiveBytes(longer), before.substr(0, before.size() / 2), std::string()}) {
        std::filesystem::remove_all(staging().path());
        folder.write("archive.zip", before);
        EXPECT_EQ(extractWhile([&] { folder.write("archive.zip", after); }), changed);
    }
}

TEST_F(ArchiveExtraction, stopsWithinAChunkAndCountsEveryByteOtherwise) {
    folder.write("archive.zip", archiveBytes({.members = {deflated("large", std::string(64 << 20, 'x')),
                                                          {.name = "folder/", .data = "bytes"},
                                                          {.name = "small"}},
                                              .comment = "comment"}));
    std::stop_source source;
    EXPECT_THROW(extractWhile([&] { source.request_stop(); }, source.get_token()), CancellationError);
    std::error_code ignored;
    const auto written = std::filesystem::file_size(staging().path() + "/large", ignored);
    EXPECT_TRUE(ignored || written <= 1U << 20U) << written;

    std::filesystem::remove_all(staging().path());
    std::int64_t done = 0;
    ProgressMeter meter(UUID(), ProgressMeter::Items::planned,
                        [&done](const OperationProgress& progress) { done = progress.bytesDone; });
    EXPECT_EQ(extract(&meter), "");
    meter.report();
    EXPECT_EQ(done, static_cast<std::int64_t>(std::filesystem::file_size(archive().path())));
}

TEST_F(ArchiveExtraction, survivesEveryCutAndEveryFlippedBit) {
    const auto whole = archiveBytes({.members = {{.name = "F/", .data = "", .mode = 040755},
                                                 deflated("F/\u00E9", "text text text"),
                                                 {.name = "g", .data = "data"}}});
    ASSERT_EQ(extract(whole), "");
    const auto sound = files();
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_NE(extract(whole.substr(0, length)), "") << "cut to " << length;
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        auto flipped = whole;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ 1 << bit % 8);
        if (extract(flipped).empty()) {
            EXPECT_EQ(files(), sound) << "bit " << bit;
        }
    }
}

TEST_F(ArchiveExtraction, keepsWhatIsSafeOfModesAndTakesTheRestFromTheProcess) {
    const auto before = ::umask(027);
    const auto verdict = extract({{.name = "plain", .mode = 0},
                                  {.name = "made/plain", .mode = 0},
                                  {.name = "explicit/", .data = "", .mode = 0},
                                  {.name = "setid", .mode = 0107755},
                                  {.name = "closed", .mode = 0100000},
                                  {.name = "open", .mode = 0100666},
                                  {.name = "sticky/", .data = "", .mode = 041777},
                                  {.name = "shut/", .data = "", .mode = 040000},
                                  {.name = "shut/in", .mode = 0100400}});
    ::umask(before);
    EXPECT_EQ(verdict, "");
    const auto tree = snapshot(staging().path());
    const std::map<std::string, unsigned> expected = {
        {"", 0700},         {"plain", 0640}, {"made", 0750},   {"made/plain", 0640},
        {"explicit", 0750}, {"setid", 0755}, {"closed", 0600}, {"open", 0666},
        {"sticky", 0777},   {"shut", 0700},  {"shut/in", 0600}};
    for (const auto& [path, mode] : expected)
        EXPECT_EQ(tree.at(path).mode, mode) << path;
}

TEST_F(ArchiveExtraction, givesAttributesBackAndKeepsSidecarsThatItCannotUse) {
    if (!keepsAttributes(folder.path()))
        GTEST_SKIP() << "This memory volume keeps no attributes.";
    const std::string large(70'000, 'l'); // more than the kernel takes
    const auto sidecar = [](const std::string& name, const std::string& value) {
        return AppleDouble::encode({{"user.note", value}, {"user.of", name}});
    };
    const std::vector<ArchiveMember> members = {
        {.name = "__MACOSX/", .data = "", .mode = 040755},
        {.name = "__MACOSX/a/._b", .data = sidecar("b", "1")},
        {.name = "__MACOSX/._a", .data = sidecar("a", "2")},
        deflated("__MACOSX/._e", sidecar("e", "3")),
        {.name = "a/b", .data = "B", .mode = 0100444, .time = 0x4A210000},
        {.name = "e/", .data = "", .mode = 040555, .time = 0x4A210000},
        {.name = "large", .data = "L"},
        {.name = "__MACOSX/._large", .data = sidecar("large", large)},
        {.name = "__MACOSX/._nobody", .data = sidecar("nobody", "4")},
        {.name = "__MACOSX/._a2", .data = "no attributes at all"},
        {.name = "__MACOSX/a/._..", .data = sidecar("staging", "5")},
        {.name = "__MACOSX/._..", .data = sidecar("outside", "6")},
        {.name = "__MACOSX/._.", .data = sidecar("staging", "7")},
        {.name = "__MACOSX/note", .data = "kept"},
        {.name = "._b", .data = sidecar("b", "8")},
    };
    ASSERT_EQ(extract(members), "");
    const auto tree = snapshot(staging().path());
    using Attributes = std::map<std::string, std::string>;
    EXPECT_EQ(tree.at("a/b").attributes, (Attributes{{"user.note", "1"}, {"user.of", "b"}}));
    EXPECT_EQ(tree.at("a").attributes, (Attributes{{"user.note", "2"}, {"user.of", "a"}}));
    EXPECT_EQ(tree.at("e").attributes, (Attributes{{"user.note", "3"}, {"user.of", "e"}}));
    EXPECT_EQ(tree.at("").attributes, Attributes{});
    for (const std::string path : {"a/b", "e"})
        EXPECT_LT(tree.at(path).modified, tree.at("large").modified) << "the member's own time stays";
    std::set<std::string> kept;
    for (const auto& [path, item] : tree) {
        if (item.type == 'f' && (path.starts_with("__MACOSX") || path.starts_with("._")))
            kept.insert(path);
    }
    const std::set<std::string> expected = {
        "__MACOSX/._large", "__MACOSX/._nobody", "__MACOSX/._a2", "__MACOSX/a/._..",
        "__MACOSX/._..",    "__MACOSX/._.",      "__MACOSX/note", "._b"};
    EXPECT_EQ(kept, expected);
    EXPECT_EQ(tree.at("__MACOSX/._large").content, sidecar("large", large));

    auto broken = members;
    broken[1].checksum = 1;
    EXPECT_EQ(extract(broken), damaged("__MACOSX/a/._b"));
    ASSERT_EQ(extract({members[1], members[4], members[0]}), "");
    EXPECT_FALSE(files().contains("__MACOSX")) << "nothing is left of sidecars that were all given back";
}

TEST_F(ArchiveExtraction, marksEverythingThatComesFromAMarkedArchive) {
    if (!keepsAttributes(folder.path()))
        GTEST_SKIP() << "This memory volume keeps no attributes.";
    const std::map<std::string, std::string> marks = {{"user.com.apple.quarantine", "0081;;browser;"},
                                                      {"user.xdg.origin.url", "https://example.org/a.zip"},
                                                      {"user.xdg.referrer.url", std::string(16'384, 'r')}};
    const auto bytes = archiveBytes(
        {.members = {{.name = "a/b/c"},
                     {.name = "__MACOSX/a/b/._c",
                      .data = AppleDouble::encode({{"user.xdg.origin.url", "https://harmless.example"}})},
                     {.name = "__MACOSX/note"}}});
    ASSERT_EQ(extract(bytes), "");
    EXPECT_EQ(snapshot(staging().path()).at("a").attributes.size(), 0U) << "without marks nothing is set";

    const auto marked = [&](const std::map<std::string, std::string>& values) {
        std::filesystem::remove(archive().path());
        std::filesystem::remove_all(staging().path());
        folder.write("archive.zip", bytes);
        for (const auto& [name, value] : values)
            setMark(archive(), name, value);
        return extract();
    };
    ASSERT_EQ(marked(marks), "");
    const auto tree = snapshot(staging().path());
    EXPECT_EQ(tree.size(), 6U);
    for (const auto& [path, item] : tree)
        EXPECT_EQ(item.attributes, marks) << path;
    for (const auto& [name, value] : marks)
        EXPECT_EQ(marked({{name, std::string(16'385, 'x')}}),
                  "unsupported: The archive has unusually large quarantine metadata.");
    EXPECT_EQ(marked({{"user.com.apple.quarantine", ""}}), "");
    EXPECT_TRUE(snapshot(staging().path()).at("a/b/c").attributes.contains("user.com.apple.quarantine"));
}

TEST_F(ArchiveExtraction, comesOutAsOtherProgramsUnpackIt) {
    folder.makeFolder("tree/empty");
    folder.makeFolder("tree/Größe/inner");
    folder.write("tree/Größe/inner/né.txt", std::string(300'000, 'n'));
    folder.write("tree/nothing", "");
    std::string noise;
    for (unsigned i = 0, x = 1; i < 100'000; ++i, x = x * 1'664'525 + 1'013'904'223)
        noise += static_cast<char>(x >> 24U);
    folder.write("tree/noise", noise);
    folder.write("tree/run", "#!/bin/sh\n");
    ASSERT_EQ(chmod(folder.path("tree/run").c_str(), 04755), 0);
    ASSERT_EQ(chmod(folder.path("tree/noise").c_str(), 0640), 0);
    ASSERT_EQ(chmod(folder.path("tree/empty").c_str(), 0711), 0);
    const std::map<std::string, time_t> times = {
        {"tree/nothing", 962'000'001}, {"tree/noise", 2'209'082'645}, {"tree/empty", 1'000'000'001}};
    for (const auto& [path, seconds] : times) {
        const timespec both[] = {{seconds, 0}, {seconds, 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, folder.path(path).c_str(), both, 0), 0);
    }
    const struct {
        std::string program, arguments;
    } rows[] = {
        {"zip", "-q -r $out tree"},
        {"zip", "-q -r -0 $out tree"},
        {"zip", "-q -r -X $out tree"},
        {"zip", "-q -r -D $out tree"},
        {"zip", "-q -r -fd $out tree"},
        {"bsdtar", "-a -cf $out tree"},
        {"7z", "a -bso0 -bsp0 $out tree"},
        {"7z", "a -bso0 -bsp0 -mx0 $out tree"},
        {"python3", "-m zipfile -c $out tree"},
    };
    for (const std::string zone : {"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3"}) {
        ::setenv("TZ", zone.c_str(), 1);
        ::tzset();
        for (const auto& row : rows) {
            SCOPED_TRACE(zone + " " + row.program + " " + row.arguments);
            if (std::system(("command -v unzip " + row.program + " >/dev/null 2>&1").c_str()) != 0)
                continue;
            std::filesystem::remove(archive().path());
            std::filesystem::remove_all(staging().path());
            std::filesystem::remove_all(folder.path("reference"));
            const auto command = "cd '" + folder.path() + "' && out=archive.zip && " + row.program + " " +
                                 row.arguments + " && unzip -q -d reference archive.zip";
            ASSERT_EQ(std::system(command.c_str()), 0);
            EXPECT_EQ(extract(), "");
            auto expected = snapshot(folder.path("reference")), made = snapshot(staging().path());
            // The folder around is not the archive's, nor are the times of folders that it does not name.
            expected.erase("");
            made.erase("");
            if (row.arguments.find("-D") != std::string::npos) {
                expected = withoutFolderTimes(expected);
                made = withoutFolderTimes(made);
            }
            EXPECT_GE(made.size(), 7U);
            EXPECT_EQ(difference(expected, made), "");
        }
    }
    ::unsetenv("TZ");
    ::tzset();
}

TEST_F(ArchiveExtraction, readsEveryKindOfTimeAsUnzipDoes) {
    if (std::system("command -v unzip >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "There is no unzip to compare with.";
    const auto seconds = [](std::uint32_t value) {
        std::string bytes;
        for (int shift = 0; shift < 32; shift += 8)
            bytes += static_cast<char>(value >> shift & 0xFF);
        return bytes;
    };
    const auto stamp = [&](std::uint32_t value) { return extraField(0x5455, "\1" + seconds(value)); };
    const auto older = [&](std::uint32_t value) { return extraField(0x5855, seconds(7) + seconds(value)); };
    constexpr std::uint32_t in2050 = 0x8C210000;
    const std::vector<ArchiveMember> members = {
        {.name = "dos"},
        {.name = "dos, summer", .time = 0x5AE16C5F},
        {.name = "dos, 2099", .time = 0xEF9FBF7D},
        {.name = "dos, nothing", .time = 0},
        {.name = "dos, no such day", .time = 0x5A5F0000},
        {.name = "stamp", .localExtra = stamp(1'000'000'001)},
        {.name = "stamp, 1969 or 2106", .localExtra = stamp(0xFFFFFF00)},
        {.name = "stamp, 2050", .time = in2050, .localExtra = stamp(0x96CB5000)},
        {.name = "stamp, in the directory alone", .centralExtra = stamp(1'000'000'001)},
        {.name = "stamp without a time of modification",
         .localExtra = extraField(0x5455, "\2" + seconds(1'000'000'001))},
        {.name = "stamp that is cut", .localExtra = extraField(0x5455, "\1ab")},
        {.name = "older", .localExtra = older(1'000'000'001)},
        {.name = "older, then stamp", .localExtra = older(5) + stamp(1'000'000'001)},
        {.name = "stamp, then older", .localExtra = stamp(1'000'000'001) + older(5)},
    };
    ::setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    ::tzset();
    EXPECT_EQ(extract(members), "");
    const auto command = "cd '" + folder.path() + "' && unzip -q -d reference archive.zip";
    EXPECT_EQ(std::system(command.c_str()), 0);
    ::unsetenv("TZ");
    ::tzset();
    const auto expected = snapshot(folder.path("reference")), made = snapshot(staging().path());
    for (const auto& member : members)
        EXPECT_EQ(made.at(member.name).modified, expected.at(member.name).modified) << member.name;

    // unzip has no time before 1970. What zip wrote of one comes back all the same.
    EXPECT_EQ(extract({{.name = "1969", .time = 0x00210000, .localExtra = stamp(0xFFFFFF00)}}), "");
    EXPECT_EQ(snapshot(staging().path()).at("1969").modified, -256'000'000'000);
}
