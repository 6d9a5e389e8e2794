#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Operations/SafeArchiveService.h"
#include "Tests/Support/ArchiveBuilder.h"
#include "Tests/Support/TemporaryFolder.h"

#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <set>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace morv;
using namespace morv::test;
using SafeArchiveService::Entry;

namespace {

const std::string passes;
const std::string kind =
    "unsupported: Choose a regular ZIP archive smaller than 2 GiB. ZIP64 archives are not "
    "supported yet.";
const std::string damage = "invalid: The ZIP directory is damaged or inconsistent. Nothing was extracted.";
const std::string multipart =
    "unsupported: Multipart and ZIP64 archives are not supported. The archive was not extracted.";
const std::string format = "unsupported: This ZIP uses encryption or an unsupported entry format.";
const std::string legacy = "unsupported: This ZIP uses legacy filename encoding. Extract it with an archive "
                           "utility that supports that encoding.";
const std::string unsafe = "invalid: This ZIP contains an unsafe or unsupported path. Nothing was extracted.";
const std::string special = "unsupported: ZIP archives containing symbolic links or special files cannot be "
                            "extracted by Morv.";
const std::string metadata =
    "unsupported: This ZIP includes unsupported link, ZIP64 or alternate-name metadata.";
const std::string localMetadata = "unsupported: Unsupported ZIP local-header metadata.";
const std::string duplicate = "invalid: This ZIP contains duplicate or case-colliding filenames.";
const std::string limit =
    "unsupported: This ZIP exceeds Morv's 20 GiB expanded-size or compression-ratio safety limit.";
const std::string parentConflict = "invalid: This ZIP uses the same path as a file and a parent folder.";
const std::string changed = "changed: The archive changed while it was being checked. Nothing was extracted.";

constexpr std::uint32_t mebibyte = 1 << 20, large = 104'857'600;

struct Row {
    std::string name;
    ArchivePlan plan;
    std::string verdict;
};

ArchivePlan plan(std::vector<ArchiveMember> members) {
    return {.members = std::move(members)};
}

std::string repeated(const std::string& text, int count) {
    std::string result;
    for (int i = 0; i < count; ++i)
        result += text;
    return result;
}

/// A member of `size` bytes that says it holds `expanded`.
ArchiveMember growing(std::uint32_t expanded, std::size_t size, const std::string& name = "grows") {
    return {.name = name, .data = std::string(size, 'x'), .method = 8, .uncompressedSize = expanded};
}

class SafeArchive : public testing::Test {
protected:
    /// The refusal with its kind, or nothing.
    static std::string verdict(const FileURL& url) {
        try {
            SafeArchiveService::validate(url, {});
        } catch (const FileOperationError& error) {
            const auto isInvalid = error.kind() == FileOperationError::Case::invalid;
            const auto isUnsupported = error.kind() == FileOperationError::Case::unsupported;
            return std::string(isInvalid       ? "invalid: "
                               : isUnsupported ? "unsupported: "
                                               : "changed: ") +
                   error.what();
        }
        return passes;
    }
    std::string verdict(const std::string& bytes) const {
        return verdict(folder.write("archive.zip", bytes));
    }

    void expectVerdicts(const std::vector<Row>& rows) const {
        for (const auto& row : rows)
            EXPECT_EQ(verdict(archiveBytes(row.plan)), row.verdict) << row.name;
    }

    static std::vector<Entry> entries(const FileURL& url) {
        std::vector<Entry> result;
        SafeArchiveService::entries(url, {}, [&](const Entry& entry) { result.push_back(entry); });
        return result;
    }

    TemporaryFolder folder{Disk::memory};
};

} // namespace

TEST_F(SafeArchive, listsWhatPassedInTheOrderOfTheDirectory) {
    const auto url = folder.write(
        "archive.zip", archiveBytes(plan({{.name = "z/", .data = "", .mode = 040755},
                                          {.name = "z/\u202Eline\n\x1B.txt", .data = "12345", .mode = 0},
                                          growing(large, 10, "z/a/grows"),
                                          {.name = "Caf\u00E9/", .data = "bytes of a folder"}})));
    const std::vector<Entry> expected = {{"z", 0, true},
                                         {"z/\u202Eline\n\x1B.txt", 5, false},
                                         {"z/a/grows", large, false},
                                         {"Caf\u00E9", 17, true}};
    EXPECT_EQ(entries(url), expected);
    EXPECT_EQ(toJSON(expected[1]), R"({"isDirectory":false,"name":"z/\u202eline\n\u001b.txt","size":5})");
    EXPECT_TRUE(entries(folder.write("empty.zip", archiveBytes({}))).empty());
}

TEST_F(SafeArchive, passesWhatIsHarmlessUpToEveryLimit) {
    auto swapped = plan({{.name = "first", .localName = "other"}, {.name = "other", .localName = "first"}});
    swapped.members[0].localOffset = static_cast<std::uint32_t>(localRecord(swapped.members[0]).size());
    swapped.members[1].localOffset = 0;
    std::vector<ArchiveMember> twentyGibibytes;
    for (int i = 0; i < 204; ++i)
        twentyGibibytes.push_back(growing(large, 0, std::to_string(i)));
    twentyGibibytes.push_back(growing(80 * mebibyte, 0));
    auto tooMuch = twentyGibibytes;
    ++*tooMuch.back().uncompressedSize;
    expectVerdicts({
        {"the longest comment", {.members = {{}}, .comment = std::string(65'535, 'c')}, passes},
        {"end records inside the comment",
         {.members = {{}}, .comment = archiveBytes({}) + archiveBytes({.comment = "1"}) + "PK\5\6"},
         passes},
        {"bytes between the members and the directory", {.members = {{}}, .gap = "gap"}, passes},
        {"another order of data than of names", swapped, passes},
        {"deflated, sizes after the data", plan({{.flags = 0x808, .method = 8}}), passes},
        {"UTF-8 that is not announced", plan({{.name = "Caf\u00E9", .flags = 0}}), passes},
        {"a folder with the mode of a file", plan({{.name = "a/", .mode = 0100644}}), passes},
        {"permissions without a type", plan({{.mode = 04755}}), passes},
        {"times and users",
         plan({{.centralExtra = extraField(0x5455, "12345") + extraField(0x7875, ""),
                .localExtra = extraField(0x5455, "123456789")}}),
         passes},
        {"a comment of a member", plan({{.comment = "PK\1\2"}, {.name = "b"}}), passes},
        {"names of dots", plan({{.name = "..."}, {.name = "..a/.b/c.."}}), passes},
        {"as deep as it may be", plan({{.name = repeated("d/", 127) + "e"}}), passes},
        {"one deeper", plan({{.name = repeated("d/", 128) + "e"}}), unsafe},
        {"a folder as deep as it may be", plan({{.name = repeated("d/", 128)}}), passes},
        {"the longest component", plan({{.name = repeated("\u00E9", 127) + "e/x"}}), passes},
        {"one byte longer", plan({{.name = repeated("\u00E9", 128) + "/x"}}), unsafe},
        {"folders before and after what is in them",
         plan({{.name = "a/"}, {.name = "a/b"}, {.name = "c/d"}, {.name = "c/"}}), passes},
        {"folders that only paths tell of, in two cases", plan({{.name = "A/x"}, {.name = "a/y"}}), passes},
        {"the same letters in another order", plan({{.name = "ab"}, {.name = "ba"}, {.name = "a"}}), passes},
        {"all that may be expanded", plan(twentyGibibytes), passes},
        {"one byte more", plan(tooMuch), limit},
        {"100 MiB of nothing", plan({growing(large, 0)}), passes},
        {"one byte more of nothing", plan({growing(large + 1, 0)}), limit},
        {"a thousand times", plan({growing(104'858'000, 104'858)}), passes},
        {"one byte more than that", plan({growing(104'858'001, 104'858)}), limit},
        {"999 MiB in one", plan({growing(999 * mebibyte, mebibyte)}), passes},
        {"1 GiB in one", plan({growing(1024 * mebibyte, mebibyte)}), limit},
    });
}

TEST_F(SafeArchive, refusesWhatIsNoSmallRegularFile) {
    EXPECT_EQ(verdict(archiveBytes({}).substr(0, 21)), kind);
    EXPECT_EQ(verdict(archiveBytes({})), passes);
    EXPECT_EQ(verdict(folder.makeFolder("folder")), kind);
    EXPECT_EQ(verdict(folder.link("link", "archive.zip")), kind);
    ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(verdict(folder.url("pipe")), kind) << "and nobody waits for a writer";
    EXPECT_THROW(SafeArchiveService::validate(folder.url("missing"), {}), PosixError);

    // One member that fills the largest archive, and the same with one byte more; its data are a hole.
    for (const std::int64_t size : {2'147'483'648, 2'147'483'649}) {
        auto whole = plan({{.name = "hole", .data = ""}});
        const auto small = archiveParts(whole);
        const auto room = size - static_cast<std::int64_t>(small.members.size() + small.directory.size());
        whole.members[0].compressedSize = static_cast<std::uint32_t>(room);
        whole.directoryOffset =
            static_cast<std::uint32_t>(room + static_cast<std::int64_t>(small.members.size()));
        const auto parts = archiveParts(whole);
        const auto url = folder.write("large.zip", parts.members);
        std::filesystem::resize_file(url.path(), static_cast<std::uintmax_t>(size) - parts.directory.size());
        std::ofstream(url.path(), std::ios::app | std::ios::binary) << parts.directory;
        EXPECT_EQ(verdict(url), size == 2'147'483'648 ? passes : kind);
    }
}

TEST_F(SafeArchive, refusesEndRecordsThatDoNotHold) {
    const auto sound = plan({{}});
    const auto directory = static_cast<std::uint32_t>(archiveParts(sound).members.size());
    const auto size = static_cast<std::uint32_t>(archiveParts(sound).directory.size()) - 22;
    const auto with = [&](auto change) {
        auto result = sound;
        change(result);
        return result;
    };
    expectVerdicts({
        {"no signature", with([](auto& p) { p.endSignature = 0x06054B51; }), damage},
        {"a byte after the comment", with([](auto& p) { p.comment = "c", p.trailer = "t"; }), damage},
        {"a byte after no comment", with([](auto& p) { p.trailer = "t"; }), damage},
        {"a comment that is missing", with([](auto& p) { p.commentLength = 1; }), damage},
        {"a comment beyond the window",
         with([](auto& p) { p.comment = std::string(65'535, 'c'), p.trailer = "t"; }), damage},
        {"a later disk", with([](auto& p) { p.disk = 1; }), multipart},
        {"the directory on a later disk", with([](auto& p) { p.directoryDisk = 1; }), multipart},
        {"entries elsewhere", with([](auto& p) { p.entriesOnDisk = 0; }), multipart},
        {"a ZIP64 count", with([](auto& p) { p.entries = p.entriesOnDisk = 0xFFFF; }), multipart},
        {"a ZIP64 size", with([](auto& p) { p.directorySize = 0xFFFFFFFF; }), multipart},
        {"a ZIP64 offset", with([](auto& p) { p.directoryOffset = 0xFFFFFFFF; }), multipart},
        {"a directory that ends early", with([&](auto& p) { p.directorySize = size - 1; }), multipart},
        {"a directory that begins late", with([&](auto& p) { p.directoryOffset = directory + 1; }),
         multipart},
        {"an end that only wraps round to the record",
         with([&](auto& p) { p.directoryOffset = directory + size + 16, p.directorySize = 0xFFFFFFF0; }),
         multipart},
        {"a self-extractor", with([](auto& p) { p.stub = "#!/bin/sh\n"; }), multipart},
        {"one entry too many", with([](auto& p) { p.entries = p.entriesOnDisk = 2; }), damage},
        {"one entry too few", with([](auto& p) { p.entries = p.entriesOnDisk = 0; }), damage},
        {"an entry beyond the file", {.entriesOnDisk = 1, .entries = 1}, damage},
        {"bytes after the last entry", with([](auto& p) { p.slack = "s"; }), damage},
    });
}

TEST_F(SafeArchive, refusesEntriesThatItDoesNotRead) {
    const std::uint32_t zip64 = 0xFFFFFFFF;
    std::vector<Row> rows = {
        {"another signature", plan({{.centralSignature = 0x02014B51}}), damage},
        {"no name", plan({{.name = ""}}), format},
        {"a name past the end", plan({{.nameLength = 9}}), format},
        {"extra fields past the end", plan({{.extraLength = 1}}), format},
        {"a comment past the end", plan({{.commentLength = 1}}), format},
        {"a ZIP64 compressed size", plan({{.compressedSize = zip64}}), format},
        {"a ZIP64 size", plan({{.uncompressedSize = zip64}}), format},
        {"a ZIP64 offset", plan({{.localOffset = zip64}}), format},
        {"a name in Latin-1", plan({{.name = "caf\xE9"}}), legacy},
        {"an overlong slash", plan({{.name = "..\xC0\xAF"}}), legacy},
        {"a surrogate", plan({{.name = "\xED\xA0\x80"}}), legacy},
        {"a folder that does not say so", plan({{.name = "a", .mode = 040755}}), special},
        {"central fields cut in the data", plan({{.centralExtra = extraField(5, "12").substr(0, 5)}}),
         damage},
        {"central fields cut in the head", plan({{.centralExtra = extraField(5, "") + "123"}}), damage},
        {"local fields cut in the data", plan({{.localExtra = extraField(5, "12").substr(0, 5)}}), damage},
        {"local fields cut in the head", plan({{.localExtra = extraField(5, "") + "123"}}), damage},
        {"a cut field of a refused kind", plan({{.centralExtra = extraField(1, "12").substr(0, 5)}}), damage},
    };
    for (const auto flags : std::vector<std::uint16_t>{0x0001, 0x0040, 0x2000})
        rows.push_back({"flags " + std::to_string(flags), plan({{.flags = flags}}), format});
    for (const auto method : std::vector<std::uint16_t>{1, 6, 9, 12, 14, 93, 95, 99, 0x0100, 0x8008})
        rows.push_back({"method " + std::to_string(method), plan({{.method = method}}), format});
    for (const auto mode :
         std::vector<std::uint32_t>{0120777, 0010644, 0020644, 0060644, 0140755, 0160000, 0170000}) {
        rows.push_back({"mode " + std::to_string(mode), plan({{.mode = mode}}), special});
        rows.push_back({"folder " + std::to_string(mode), plan({{.name = "a/", .mode = mode}}), special});
    }
    for (const auto id : std::vector<std::uint16_t>{1, 13, 28789, 30062}) {
        const auto field = extraField(0x5455, "12345") + extraField(id, "");
        rows.push_back({"central field " + std::to_string(id), plan({{.centralExtra = field}}), metadata});
        rows.push_back({"local field " + std::to_string(id), plan({{.localExtra = field}}), localMetadata});
    }
    for (const std::string name :
         {"/", "//", "/etc/passwd", "a\\b", "..\\b", "C:/a", "a:b", "a//b", "a//", ".", "./a", "a/.", "a/./b",
          "..", "../a", "a/..", "a/../b", "../", "a/../"})
        rows.push_back({"path " + name, plan({{.name = name}}), unsafe});
    rows.push_back({"path with a zero", plan({{.name = std::string("a\0b", 3)}}), unsafe});
    expectVerdicts(rows);
}

TEST_F(SafeArchive, refusesNamesThatMeetOnDisk) {
    const auto names = [](std::vector<std::string> list) {
        ArchivePlan result;
        for (const auto& name : list)
            result.members.push_back({.name = name});
        return result;
    };
    expectVerdicts({
        {"the same name", names({"a/b", "c", "a/b"}), duplicate},
        {"another case", names({"Read.me", "READ.ME"}), duplicate},
        {"another composition", names({"Caf\u00E9", "Cafe\u0301"}), duplicate},
        {"both", names({"CAF\u00C9/x", "cafe\u0301/X"}), duplicate},
        {"a case that is longer in lower case", names({"\u0130", "i\u0307"}), duplicate},
        {"a file and a folder", names({"a", "A/"}), duplicate},
        {"the same folder twice", names({"a/", "a/"}), duplicate},
        {"a file before what is in it", names({"a", "a/b"}), parentConflict},
        {"a file after what is in it", names({"a/b", "a"}), parentConflict},
        {"a file further up", names({"a/b/c/d/e", "a/b/"}), passes},
        {"a file further up that is none", names({"a/b/c/d/e", "a/b"}), parentConflict},
        {"a file in another case", names({"Stra\u00DFe/\u039F\u03A3/x", "stra\u00DFe/\u03BF\u03C2"}),
         parentConflict},
        {"a file in another composition", names({"e\u0301/x", "\u00C9"}), parentConflict},
        {"a folder in a file", names({"a/b/", "a"}), parentConflict},
        {"a name that only begins like a file", names({"ab/c", "a", "ab/cd"}), passes},
    });
}

TEST_F(SafeArchive, refusesLocalHeadersThatDisagreeAndDataThatAreShared) {
    const ArchiveMember sound;
    const auto length = static_cast<std::uint32_t>(localRecord(sound).size());
    // A quoted member: the outer one's data are another member's header, which can be repeated for ever.
    const ArchiveMember inner{.name = "inner", .data = "x"}, hollow{.name = "inner", .data = ""};
    const auto around = [](const ArchiveMember& quoted, std::uint32_t offset) {
        auto copy = quoted;
        copy.localOffset = offset;
        return plan({{.name = "outer", .data = localRecord(quoted) + "rest"}, copy});
    };
    expectVerdicts({
        {"a header in the directory", plan({{.localOffset = length}}), damage},
        {"a header beyond the file", plan({{.localOffset = 0xFFFFFFFE}}), damage},
        {"another place", plan({{.localOffset = 1}}), damage},
        {"another signature", plan({{.localSignature = 0x04034B51}}), damage},
        {"other flags", plan({{.localFlags = 0}}), damage},
        {"another method", plan({{.localMethod = 8}}), damage},
        {"a shorter name", plan({{.localNameLength = 7}}), damage},
        {"another name", plan({{.localName = "File.txt"}}), damage},
        {"data into the directory", plan({{.compressedSize = 8}}), damage},
        {"extra fields into the directory", plan({{.localExtraLength = 8}}), damage},
        {"data beyond the file", plan({{.compressedSize = 0xFFFFFFFE}}), damage},
        {"less data than stand there", plan({{.compressedSize = 6}}), passes},
        {"data into the next member", plan({{.compressedSize = 8}, {.name = "b"}}), damage},
        {"data over several members", plan({{.compressedSize = 70}, {.name = "b"}, {.name = "c"}}), damage},
        {"a member inside another", around(inner, 35), damage},
        {"an empty member inside another", around(hollow, 35), damage},
    });
}

TEST_F(SafeArchive, tellsTheFirstRuleThatIsBroken) {
    const auto field = extraField(1, "");
    const ArchiveMember sound, crowded{.localName = "other.md", .uncompressedSize = large + 1};
    expectVerdicts({
        {"encrypted, legacy", plan({{.name = "\xE9", .flags = 1}}), format},
        {"legacy, unsafe", plan({{.name = "../\xE9"}}), legacy},
        {"unsafe, a link", plan({{.name = "..", .mode = 0120777}}), unsafe},
        {"a link, metadata", plan({{.mode = 0120777, .centralExtra = field}}), special},
        {"metadata, a duplicate", plan({sound, {.centralExtra = field}}), metadata},
        {"a duplicate, too large", plan({sound, crowded}), duplicate},
        {"too large, a damaged header", plan({crowded}), limit},
        {"a damaged header, metadata", plan({{.localExtra = field, .localName = "other.md"}}), damage},
        {"local metadata, later entries", plan({{.localExtra = field}, {.flags = 1}}), localMetadata},
        {"shared data, parents", plan({{.name = "a", .compressedSize = 8}, {.name = "a/b"}}), damage},
        {"slack, shared data", {.members = {{.compressedSize = 8}, {.name = "b"}}, .slack = "s"}, damage},
    });
}

TEST_F(SafeArchive, survivesEveryCutAndEveryFlippedBit) {
    ArchivePlan small{
        .members = {{.name = "Folder/", .data = "", .mode = 040755},
                    {.name = "Folder/\u00E9", .data = "data", .centralExtra = extraField(9, "")}},
        .comment = "comment"};
    const auto whole = archiveBytes(small);
    ASSERT_EQ(verdict(whole), passes);
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_NE(verdict(whole.substr(0, length)), passes) << "cut to " << length;

    // What the check does not read, or may not refuse: by place in the file.
    std::set<std::size_t> free;
    const auto release = [&free](std::size_t start, std::size_t end) {
        for (; start < end; ++start)
            free.insert(start);
    };
    std::size_t at = 0;
    for (const auto& member : small.members) {
        release(at + 4, at + 6);   // version
        release(at + 10, at + 26); // time, checksum, sizes
        at += localRecord(member).size();
        release(at - member.data.size(), at);
    }
    for (const auto& member : small.members) {
        release(at + 4, at + 8);   // versions
        release(at + 12, at + 28); // time, checksum, sizes
        release(at + 34, at + 42); // disk, attributes
        at += 46 + member.name.size();
        release(at, at + member.centralExtra.size());
        at += member.centralExtra.size();
    }
    release(at + 22, whole.size()); // comment
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        auto flipped = whole;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ 1 << bit % 8);
        EXPECT_TRUE(verdict(flipped) != passes || free.contains(bit / 8)) << "bit " << bit;
    }
}

TEST_F(SafeArchive, neverGivesANameThatWasNotChecked) {
    // More directory than one reading holds, so that some of it is read after the change.
    ArchivePlan many;
    for (int i = 0; i < 3000; ++i)
        many.members.push_back({.name = "a name of some length " + std::to_string(10'000 + i), .data = ""});
    const auto before = archiveBytes(many);
    for (auto& member : many.members)
        member.name.replace(0, 3, "../");
    for (const auto& after : {archiveBytes(many), std::string()}) {
        const auto url = folder.write("archive.zip", before);
        std::size_t count = 0;
        const auto work = [&] {
            SafeArchiveService::entries(url, {}, [&](const Entry& entry) {
                EXPECT_TRUE(entry.name.starts_with("a name")) << entry.name;
                if (++count == 1)
                    folder.write("archive.zip", after);
            });
        };
        EXPECT_EQ("changed: " + sentenceOf<FileOperationError>(work), changed);
        EXPECT_LT(count, 3000U);
    }
}

TEST_F(SafeArchive, refusesWhatIsWrittenToMeanwhile) {
    ArchivePlan many;
    for (int i = 0; i < 1000; ++i)
        many.members.push_back({.name = std::to_string(i)});
    const auto url = folder.write("archive.zip", archiveBytes(many));
    const std::jthread writer([&url](const std::stop_token& stop) {
        for (long turn = 0; !stop.stop_requested(); ++turn) {
            const timespec times[] = {{turn, 0}, {turn, 0}};
            utimensat(AT_FDCWD, url.path().c_str(), times, 0);
        }
    });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    auto last = verdict(url);
    while (last != changed && std::chrono::steady_clock::now() < deadline)
        last = verdict(url);
    EXPECT_EQ(last, changed);
}

TEST_F(SafeArchive, stopsBeforeTheNextMember) {
    const auto url = folder.write("archive.zip", archiveBytes(plan({{.name = "a"}, {.name = "b"}})));
    std::stop_source source;
    std::size_t count = 0;
    const auto work = [&] {
        SafeArchiveService::entries(url, source.get_token(), [&](const Entry&) {
            ++count;
            source.request_stop();
        });
    };
    EXPECT_THROW(work(), CancellationError);
    EXPECT_EQ(count, 1U);
    EXPECT_THROW(SafeArchiveService::validate(url, source.get_token()), CancellationError);
}

TEST_F(SafeArchive, passesWhatOtherProgramsPackAndNamesWhatIsNotOfThisKind) {
    const std::set<std::string> tree = {
        "tree", "tree/empty", "tree/notes.txt", "tree/photos", "tree/photos/2026 harbour.jpg", "tree/run"};
    folder.makeFolder("tree/empty");
    folder.makeFolder("tree/photos");
    folder.write("tree/notes.txt", std::string(100'000, 'n'));
    folder.write("tree/photos/2026 harbour.jpg", "picture");
    folder.write("tree/run", "#!/bin/sh\n");
    ASSERT_EQ(chmod(folder.path("tree/run").c_str(), 0755), 0);
    folder.makeFolder("links");
    folder.link("links/link", "../tree");

    const struct {
        std::string program, arguments, verdict;
    } rows[] = {
        {"zip", "-q -r $out tree", passes},
        {"zip", "-q -r -0 $out tree", passes},
        {"zip", "-q -r -P secret $out tree", format},
        {"zip", "-q -r -y $out links", special},
        {"zip", "-q -r -fz $out tree", multipart},
        {"zip", "-q $out - <tree/notes.txt", multipart},
        {"zip", "-q - - <tree/notes.txt | cat >$out", localMetadata},
        {"bsdtar", "-a -cf $out tree", passes},
        {"7z", "a -bso0 -bsp0 $out tree", passes},
        {"7z", "a -bso0 -bsp0 -mm=bzip2 $out tree", format},
        {"python3", "-m zipfile -c $out tree", passes},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.program + " " + row.arguments);
        if (std::system(("command -v " + row.program + " >/dev/null 2>&1").c_str()) != 0)
            continue;
        const auto out = folder.url("made.zip");
        std::filesystem::remove(out.path());
        const auto command =
            "cd '" + folder.path() + "' && out=made.zip && " + row.program + " " + row.arguments;
        ASSERT_EQ(std::system(command.c_str()), 0);
        EXPECT_EQ(verdict(out), row.verdict);
        if (row.verdict != passes)
            continue;
        std::set<std::string> found;
        for (const auto& entry : entries(out)) {
            found.insert(entry.name);
            const auto path = folder.path(entry.name);
            EXPECT_EQ(entry.isDirectory, std::filesystem::is_directory(path)) << entry.name;
            EXPECT_EQ(entry.size, entry.isDirectory ? 0 : std::filesystem::file_size(path)) << entry.name;
        }
        EXPECT_EQ(found, tree);
    }
}
