#include "MorvCore/Foundation/ContentHash.h"
#include "MorvCore/Operations/ContentDigestCache.h"
#include "MorvCore/Operations/RenameProof.h"
#include "MorvCore/Operations/TreePass.h"
#include "MorvCore/Platform/FileStat.h"
#include "MorvCore/Platform/VolumeNumber.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/TreeSnapshot.h"

#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <thread>
#include <unistd.h>

namespace morv::test {
namespace {

/// What one item's three texts must be, written down a second time and fed one after the other.
struct ExpectedDigests {
    ContentHash content, state, metadata;
    std::int64_t bytes = 0;

    static std::string attributesOf(const std::vector<std::pair<std::string, std::string>>& attributes) {
        ContentHash outer;
        for (const auto& [name, value] : attributes) {
            ContentHash inner;
            inner.update(value);
            const auto digest = inner.finish();
            outer.append(name);
            outer.append({reinterpret_cast<const char*>(digest.data()), digest.size()});
        }
        return hexText(outer.finish());
    }
    void add(const FileURL& url, const std::string& relative, const std::string& kind,
             const std::vector<std::pair<std::string, std::string>>& attributes = {}) {
        const auto info = statItem(url);
        const auto text = [](auto value) { return std::to_string(value); };
        content.append(relative);
        content.append(kind);
        state.append(relative + ":" + text(info.volume) + ":" + text(info.inode) + ":" + text(info.mode) +
                     ":" + text(info.modified.seconds) + ":" + text(info.modified.nanoseconds) + ":" +
                     text(info.changed.seconds) + ":" + text(info.changed.nanoseconds));
        state.append("");
        state.append(attributesOf(attributes));
        metadata.append(relative + ":" + text(info.mode & 07777) + ":" + text(info.modified.seconds) + ":" +
                        text(info.modified.nanoseconds));
        metadata.append("");
        metadata.append(attributesOf(attributes));
    }
    void addFile(const FileURL& url, const std::string& relative, const std::string& text,
                 const std::vector<std::pair<std::string, std::string>>& attributes = {}) {
        add(url, relative, "file", attributes);
        ContentHash hash;
        hash.update(text);
        content.append(hexText(hash.finish()));
        content.append(std::to_string(text.size()));
        bytes += static_cast<std::int64_t>(text.size());
    }
    FileFingerprint finish(const FileURL& top) {
        FileFingerprint result;
        result.contentDigest = hexText(content.finish());
        state.append(result.contentDigest);
        result.stateDigest = hexText(state.finish());
        result.metadataDigest = hexText(metadata.finish());
        result.identity = statItem(top).identity();
        result.byteCount = bytes;
        result.kind = "directory";
        return result;
    }
};

TEST(Fingerprint, followsTheStatedFormatInTreeOrder) {
    const TemporaryFolder folder;
    const auto top = folder.makeFolder("top");
    folder.makeFolder("top/b");
    folder.makeFolder("top/empty");
    const auto a = folder.write("top/a", "first");
    const auto inner = folder.write("top/b/x\xFF", std::string(200'000, 'x'));
    const auto later = folder.write("top/c", "");
    const auto link = folder.link("top/b/dangling", "../nowhere");
    ASSERT_EQ(setxattr(a.path().c_str(), "user.note", "v", 1, 0), 0);
    ASSERT_EQ(setxattr(a.path().c_str(), "user.com.apple.lastuseddate#PS", "v", 1, 0), 0);

    ExpectedDigests expected;
    expected.add(top, "", "directory");
    expected.addFile(a, "/a", "first", {{"user.note", "v"}});
    expected.add(folder.url("top/b"), "/b", "directory");
    expected.add(link, "/b/dangling", "symbolicLink");
    expected.content.append("../nowhere");
    expected.addFile(inner, "/b/x\xFF", std::string(200'000, 'x'));
    expected.addFile(later, "/c", "");
    expected.add(folder.url("top/empty"), "/empty", "directory");

    const auto reference = expected.finish(top);
    ContentDigestCache cache;
    EXPECT_EQ(readFingerprint(top, {}), reference);
    EXPECT_EQ(readFingerprint(top, {.stop = {}, .cache = &cache}), reference) << "filling the cache";
    EXPECT_EQ(readFingerprint(top, {.stop = {}, .cache = &cache}), reference) << "using the cache";
}

TEST(Fingerprint, tellsWhatChangedByTheDigestThatCoversIt) {
    const TemporaryFolder folder;
    const auto file = folder.write("file", "content");
    ContentDigestCache cache;
    const auto read = [&] { return readFingerprint(file, {.stop = {}, .cache = &cache}); };
    const auto before = read();

    ASSERT_EQ(chmod(file.path().c_str(), 0600), 0);
    const auto mode = read();
    EXPECT_EQ(mode.contentDigest, before.contentDigest);
    EXPECT_NE(mode.metadataDigest, before.metadataDigest);
    EXPECT_NE(mode.stateDigest, before.stateDigest);

    ASSERT_EQ(setxattr(file.path().c_str(), "user.note", "v", 1, 0), 0);
    const auto attribute = read();
    EXPECT_NE(attribute.metadataDigest, mode.metadataDigest);

    // The same size, and the modification time put back: only the change time and the bytes tell.
    const auto times = statItem(file).modified;
    folder.write("file", "CONTENT");
    const timespec restored[2] = {{0, UTIME_OMIT}, {times.seconds, times.nanoseconds}};
    ASSERT_EQ(utimensat(AT_FDCWD, file.path().c_str(), restored, 0), 0);
    const auto forged = read();
    EXPECT_NE(forged.contentDigest, before.contentDigest);
    EXPECT_EQ(forged.metadataDigest, attribute.metadataDigest);
}

/// Returns when the change time of `url` lies so far back that a digest may be kept.
void waitUntilSettled(const FileURL& url) {
    while (!isSettled(statItem(url).changed))
        std::this_thread::yield();
}

bool timesShowEveryChange(const FileURL& url) {
    return volumeTraits(statItem(url).device, AT_FDCWD, url.path().c_str()).timesShowEveryChange;
}

TEST(Fingerprint, neverRemembersAFileThatSomebodyCouldBeWriting) {
    const TemporaryFolder folder;
    const auto file = folder.write("file", "content");
    const timespec old[2] = {{1, 0}, {1, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, file.path().c_str(), old, 0), 0);
    if (!timesShowEveryChange(file))
        GTEST_SKIP() << "Nothing is remembered of this volume.";
    const auto isKept = [&] {
        waitUntilSettled(file);
        ContentDigestCache cache;
        readFingerprint(file, {.stop = {}, .cache = &cache});
        return cache.find(statItem(file)).has_value();
    };
    EXPECT_TRUE(isKept()) << "nobody writes";
    const int writer = open(file.path().c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_GE(writer, 0);
    EXPECT_FALSE(isKept()) << "open for writing";
    close(writer);
    EXPECT_TRUE(isKept()) << "closed again";
}

TEST(Fingerprint, believesNoTimesThatAMappingCanLeaveBehind) {
    const TemporaryFolder folder(Disk::memory);
    const auto top = folder.makeFolder("top");
    const auto file = folder.write("top/file", "content");
    waitUntilSettled(file);
    ContentDigestCache cache;
    const auto read = [&](const FileURL& url) { return readFingerprint(url, {.stop = {}, .cache = &cache}); };
    const auto before = read(file), tree = read(top);
    const int writer = open(file.path().c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(writer, 0);
    void* mapped = mmap(nullptr, 7, PROT_READ | PROT_WRITE, MAP_SHARED, writer, 0);
    ASSERT_NE(mapped, MAP_FAILED);
    // Reading maps the page writable, so that the kernel does not see the write.
    auto* bytes = static_cast<volatile char*>(mapped);
    bytes[0] = static_cast<char>(bytes[0] - 'a' + 'A');
    munmap(mapped, 7);
    close(writer);
    EXPECT_NE(read(file).contentDigest, before.contentDigest);
    EXPECT_NE(read(top).contentDigest, tree.contentDigest);
}

TEST(Fingerprint, isCarriedAcrossARenameOnlyWithEverythingThatWasRead) {
    const TemporaryFolder folder;
    if (!timesShowEveryChange(folder.url()))
        GTEST_SKIP() << "Nothing is proved on this volume.";
    for (const bool isTagged : {false, true}) {
        SCOPED_TRACE(isTagged);
        const auto file = folder.write("file", std::string(5'000'000, 'x'));
        const auto proof = RenameProof::of(file);
        std::optional<ReadFile> known;
        ReadingContext context;
        context.topFile = &known;
        readFingerprint(file, context);
        if (isTagged) {
            ASSERT_EQ(setxattr(file.path().c_str(), "user.note", "v", 1, 0), 0);
        }
        ASSERT_EQ(rename(file.path().c_str(), folder.path("renamed").c_str()), 0);
        const auto proved = proof.afterRename(known);
        EXPECT_EQ(proved.has_value(), !isTagged);
        if (!proved)
            continue;
        ContentDigestCache cache;
        ASSERT_EQ(setxattr(folder.path("renamed").c_str(), "user.note", "v", 1, 0), 0);
        proof.keep(*proved, cache);
        EXPECT_FALSE(cache.find(proved->info));
        EXPECT_FALSE(cache.find(statItem(folder.url("renamed"))));
    }
}

TEST(Fingerprint, tellsTheFirstFailureInOrder) {
    const TemporaryFolder folder;
    const auto top = folder.makeFolder("top");
    folder.write("top/a.nextcloud", "");
    for (int i = 10; i < 90; ++i) {
        const auto inner = "top/f" + std::to_string(i);
        folder.makeFolder(inner);
        folder.write(inner + "/x");
    }
    ASSERT_EQ(mkfifo(folder.path("top/f15/pipe").c_str(), 0600), 0);
    EXPECT_EQ(sentenceOf<FileOperationError>([&] { readFingerprint(top, {}); }),
              "a.nextcloud is a cloud placeholder. Download it before this operation.");
}

TEST(Fingerprint, refusesWhatItCannotVouchFor) {
    const TemporaryFolder folder;
    folder.makeFolder("top");
    folder.write("top/a", "x");
    ASSERT_EQ(mkfifo(folder.path("top/pipe").c_str(), 0600), 0);
    const auto top = folder.url("top");
    EXPECT_EQ(sentenceOf<FileOperationError>([&] { readFingerprint(top, {}); }),
              "Morv cannot copy sockets, devices or other special filesystem entries.");
    unlink(folder.path("top/pipe").c_str());

    folder.write("top/report.pdf.nextcloud", "");
    EXPECT_EQ(sentenceOf<FileOperationError>([&] { readFingerprint(top, {}); }),
              "report.pdf.nextcloud is a cloud placeholder. Download it before this operation.");
    unlink(folder.path("top/report.pdf.nextcloud").c_str());

    std::stop_source stop;
    stop.request_stop();
    EXPECT_THROW(readFingerprint(top, {.stop = stop.get_token()}), CancellationError);
    try {
        readFingerprint(folder.url("missing"), {});
        FAIL();
    } catch (const PosixError& error) {
        EXPECT_EQ(error.code(), ENOENT);
        EXPECT_EQ(error.path(), folder.path("missing"));
    }
}

TEST(TreeCopy, keepsEverythingThatACopyMustKeep) {
    for (const auto disk : {Disk::temporary, Disk::memory}) {
        SCOPED_TRACE(disk == Disk::memory ? "another volume" : "the same volume");
        const TemporaryFolder folder;
        const TemporaryFolder elsewhere(disk);
        const auto top = folder.makeFolder("top");
        folder.makeFolder("top/sub/empty");
        folder.write("top/zero", "");
        folder.write("top/large", std::string(9'000'001, 'L'));
        folder.write("top/new\nline", "n");
        folder.write("top/b\xFFyte", "b");
        folder.write("top/" + std::string(255, 'n'), "long");
        folder.write("top/caf\u00e9", "composed");
        folder.write("top/cafe\u0301", "decomposed");
        folder.link("top/loop", "loop");
        folder.link("top/absolute", "/nowhere/at/all");
        ASSERT_EQ(link(folder.path("top/zero").c_str(), folder.path("top/sub/second name").c_str()), 0);
        ASSERT_EQ(chmod(folder.path("top/b\xFFyte").c_str(), 04751), 0);
        ASSERT_EQ(setxattr(folder.path("top/zero").c_str(), "user.empty", "", 0, 0), 0);
        ASSERT_EQ(setxattr(folder.path("top/sub").c_str(), "user.on.folder", "\0x", 2, 0), 0);
        {
            const int sparse = open(folder.path("top/sparse").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0640);
            ASSERT_EQ(pwrite(sparse, "middle", 6, 4'000'000), 6);
            ASSERT_EQ(ftruncate(sparse, 8'000'000), 0);
            close(sparse);
        }
        const timespec old[2] = {{1'000'000'000, 123'456'789}, {1'000'000'000, 123'456'789}};
        utimensat(AT_FDCWD, folder.path("top/zero").c_str(), old, 0);
        utimensat(AT_FDCWD, folder.path("top/loop").c_str(), old, AT_SYMLINK_NOFOLLOW);
        utimensat(AT_FDCWD, folder.path("top/sub").c_str(), old, 0);
        ASSERT_EQ(chmod(folder.path("top/sub").c_str(), 0555), 0);

        const auto before = snapshot(top.path());
        const auto source = readFingerprint(top, {});
        const int target = open(elsewhere.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        const auto copied = copyTree({top, elsewhere.url("copy"), target, CopyFidelity::everything}, {});
        close(target);
        EXPECT_EQ(copied.source, source);
        EXPECT_EQ(snapshot(elsewhere.url("copy").path()), before);
        EXPECT_EQ(snapshot(top.path()), before) << "the source is as it was";
        const auto copy = readFingerprint(elsewhere.url("copy"), {});
        EXPECT_TRUE(copy.hasSameContent(source));
        EXPECT_EQ(copy.metadataDigest, source.metadataDigest);
        struct stat sparse {};
        ASSERT_EQ(stat(elsewhere.path("copy/sparse").c_str(), &sparse), 0);
        EXPECT_LT(sparse.st_blocks * 512, 1'000'000) << "holes stay holes";
        chmod(folder.path("top/sub").c_str(), 0755);
        chmod(elsewhere.path("copy/sub").c_str(), 0755);
    }
}

TEST(TreeCopy, needsNeitherStackNorDescriptorsForDepth) {
    const TemporaryFolder folder;
    constexpr int depth = 4000;
    int at = open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(mkdirat(at, "top", 0755), 0);
    const auto descend = [&](const char* name) {
        const int next = openat(at, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        close(at);
        at = next;
        return at >= 0;
    };
    ASSERT_TRUE(descend("top"));
    for (int i = 0; i < depth; ++i) {
        ASSERT_EQ(mkdirat(at, "d", 0755), 0);
        ASSERT_TRUE(descend("d"));
    }
    const int leaf = openat(at, "leaf", O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    ASSERT_EQ(::write(leaf, "deep", 4), 4);
    close(leaf);
    close(at);

    const int target = open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const auto copied =
        copyTree({folder.url("top"), folder.url("copy"), target, CopyFidelity::everything}, {});
    close(target);
    const auto copy = readFingerprint(folder.url("copy"), {});
    EXPECT_TRUE(copy.hasSameContent(copied.source));
    EXPECT_EQ(copy.metadataDigest, copied.source.metadataDigest);
    EXPECT_EQ(copy.byteCount, 4);
}

TEST(TreeCopy, aChangedSourceNeverReadsAsUnchanged) {
    const TemporaryFolder folder;
    const auto top = folder.makeFolder("top");
    for (int i = 0; i < 300; ++i)
        folder.write("top/" + std::to_string(i), "x");
    const auto before = readFingerprint(top, {});
    struct Case {
        const char* name;
        std::function<void()> change;
    };
    const std::vector<Case> cases = {
        {"a file appears", [&] { folder.write("top/new", ""); }},
        {"a file is renamed",
         [&] { rename(folder.path("top/new").c_str(), folder.path("top/newer").c_str()); }},
        {"a file becomes a link",
         [&] {
             unlink(folder.path("top/7").c_str());
             folder.link("top/7", "8");
         }},
        {"a file goes", [&] { unlink(folder.path("top/9").c_str()); }},
    };
    auto last = before;
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        row.change();
        const auto now = readFingerprint(top, {});
        EXPECT_NE(now.contentDigest, last.contentDigest);
        EXPECT_NE(now.stateDigest, last.stateDigest);
        last = now;
    }
}

} // namespace
} // namespace morv::test
