#include "MorvCore/Operations/AppleDouble.h"
#include "MorvCore/Operations/OperationProgress.h"
#include "MorvCore/Operations/SafeArchiveService.h"
#include "MorvCore/Platform/FileStat.h"
#include "Tests/MorvCore/Operations/EngineFixture.h"

#include <array>
#include <fcntl.h>
#include <fmt/format.h>
#include <random>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>

namespace morv::test {
namespace {

namespace fs = std::filesystem;
constexpr std::size_t mebibyte = 1'048'576;

std::string randomBytes(std::size_t count) {
    std::mt19937 next(static_cast<unsigned>(count));
    std::string bytes(count, '\0');
    std::ranges::generate(bytes, [&] { return static_cast<char>(next()); });
    return bytes;
}

std::string words(std::size_t count) {
    std::mt19937 next(static_cast<unsigned>(count));
    std::string text;
    while (text.size() < count)
        text += fmt::format("{} lines of {} words\n", next() % 1000, next() % 100);
    text.resize(count);
    return text;
}

class Packing : public testing::Test {
protected:
    FileURL archive(const std::string& name = "archive.zip") const { return to_.url(name); }

    void pack(const FileURL& source, std::stop_token stop = {}, ProgressMeter* progress = nullptr) const {
        const Descriptor folder(open(to_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        const auto staging = archive();
        SafeArchiveService::compress({source, staging, folder.get(), std::move(stop), progress});
    }

    std::vector<std::string> members() const {
        std::vector<std::string> names;
        SafeArchiveService::entries(archive(), {}, [&](const SafeArchiveService::Entry& entry) {
            names.push_back(entry.name + (entry.isDirectory ? "/" : ""));
        });
        return names;
    }

    /// What a shell command says, both streams together; fails the test unless it succeeds.
    std::string output(const std::string& command) const {
        std::string text;
        FILE* pipe = popen((command + " 2>&1").c_str(), "r");
        std::array<char, 4096> piece{};
        for (std::size_t count = 0; (count = std::fread(piece.data(), 1, piece.size(), pipe)) > 0;)
            text.append(piece.data(), count);
        EXPECT_EQ(pclose(pipe), 0) << command << "\n" << text;
        return text;
    }

    /// What others do with an archive: small and large, deflated and stored, empty, hidden, old and private.
    FileURL makeTree() const {
        const auto tree = from_.makeFolder("Größe & Gewicht");
        const struct {
            const char* name;
            std::string bytes;
            mode_t mode;
            time_t modified;
        } files[] = {
            {"leer.txt", "", 0644, 1'000'000'001},
            {"words.txt", words(5000), 0640, 1'700'000'003},
            {"noise", randomBytes(5000), 0755, 1'700'000'005},
            {"日本/\u00E9t\u00E9 \u202E.txt", words(70'000), 0600, 331'516'801},
            {"日本/a whole piece", words(mebibyte), 0644, 1'700'000'001},
            {"pieces of words", words(3 * mebibyte + 17), 0444, 1'700'000'001},
            {"pieces of noise", randomBytes(2 * mebibyte + 1), 0644, 1'700'000'001},
            {"both", randomBytes(mebibyte) + words(2 * mebibyte) + randomBytes(mebibyte), 0644,
             2'000'000'001},
            {"-rf *", "a name like options", 0644, 1'700'000'001},
        };
        from_.makeFolder("Größe & Gewicht/empty");
        from_.makeFolder("Größe & Gewicht/日本");
        for (const auto& file : files) {
            const auto path = from_.write("Größe & Gewicht/" + std::string(file.name), file.bytes).path();
            chmod(path.c_str(), file.mode);
            setTime(path, file.modified);
        }
        chmod((tree.path() + "/empty").c_str(), 0700);
        for (const auto* folder : {"/empty", "/日本", ""})
            setTime(tree.path() + folder, 1'600'000'001);
        return tree;
    }

    static void setTime(const std::string& path, time_t seconds) {
        const std::array<timespec, 2> times = {timespec{seconds, 0}, timespec{seconds, 0}};
        utimensat(AT_FDCWD, path.c_str(), times.data(), 0);
    }

    TemporaryFolder from_, to_;
};

TEST_F(Packing, othersReadTheSameTreeWithoutAWarning) {
    const auto tree = makeTree();
    const auto before = snapshot(tree.path());
    pack(tree);
    const auto zip = "'" + archive().path() + "'";
    EXPECT_EQ(output("LC_ALL=C.UTF-8 unzip -tqq " + zip), "");
    const struct {
        const char* name;
        std::string command;
        bool isSilent;
        bool keepsTimes; ///< to the second; of files and folders
        bool keepsModes;
    } tools[] = {
        {"unzip", "LC_ALL=C.UTF-8 unzip -qq {} -d {}", true, true, true},
        {"bsdtar", "LC_ALL=C.UTF-8 bsdtar -xpf {} -C {}", true, true, true},
        {"7z", "LC_ALL=C.UTF-8 7z x -y {} -o{}", false, true, true},
        {"python",
         "python3 -W error -c 'import sys, zipfile; z = zipfile.ZipFile(sys.argv[1]); "
         "assert z.testzip() is None; z.extractall(sys.argv[2])' {} {}",
         true, false, false},
    };
    for (const auto& tool : tools) {
        SCOPED_TRACE(tool.name);
        to_.makeFolder(tool.name);
        const auto text =
            output(fmt::format(fmt::runtime(tool.command), zip, "'" + to_.path(tool.name) + "'"));
        EXPECT_EQ(text.find("arning"), std::string::npos) << text;
        EXPECT_TRUE(text.empty() || !tool.isSilent) << text;
        auto expected = before;
        auto extracted = snapshot(to_.path(tool.name) + "/Größe & Gewicht");
        for (auto* items : {&expected, &extracted}) {
            for (auto& [path, item] : *items) {
                item.modified = tool.keepsTimes ? item.modified : 0;
                item.mode = tool.keepsModes ? item.mode : 0;
            }
        }
        EXPECT_EQ(difference(expected, extracted), "");
    }
    EXPECT_EQ(difference(before, snapshot(tree.path())), "");
}

TEST_F(Packing, membersStandInOrderAndWhatDoesNotShrinkIsStored) {
    pack(makeTree());
    // "both" begins and ends as noise.
    EXPECT_EQ(output("python3 -c 'import sys, zipfile\nfor i in zipfile.ZipFile(sys.argv[1]).infolist(): "
                     "sys.stdout.buffer.write(f\"{i.compress_type} {i.filename}\\n\".encode())' '" +
                     archive().path() + "'"),
              "0 Größe & Gewicht/\n"
              "0 Größe & Gewicht/-rf *\n"
              "8 Größe & Gewicht/both\n"
              "0 Größe & Gewicht/empty/\n"
              "0 Größe & Gewicht/leer.txt\n"
              "0 Größe & Gewicht/noise\n"
              "0 Größe & Gewicht/pieces of noise\n"
              "8 Größe & Gewicht/pieces of words\n"
              "8 Größe & Gewicht/words.txt\n"
              "0 Größe & Gewicht/日本/\n"
              "8 Größe & Gewicht/日本/a whole piece\n"
              "8 Größe & Gewicht/日本/\u00E9t\u00E9 \u202E.txt\n");
}

TEST_F(Packing, aFileOrAnEmptyFolderAloneIsAnArchive) {
    pack(from_.write("alone.txt", "text"));
    EXPECT_EQ(members(), std::vector<std::string>{"alone.txt"});
    fs::remove(archive().path());
    pack(from_.makeFolder("empty"));
    EXPECT_EQ(members(), std::vector<std::string>{"empty/"});
    EXPECT_EQ(sentenceOf<FileOperationError>([&] { pack(from_.url("empty")); }),
              "The ZIP staging path is occupied.");
}

TEST_F(Packing, attributesTravelBesideTheirItems) {
    from_.makeFolder("tree/folder");
    const std::string large = words(2 * mebibyte);
    for (const auto& [name, bytes] :
         {std::pair<const char*, std::string>("tree/plain", "1"), {"tree/small", "2"}, {"tree/large", large}})
        from_.write(name, bytes);
    const struct {
        const char* item;
        const char* name;
        std::string value;
    } rows[] = {{"tree/folder", "user.xdg.comment", "a folder"},
                {"tree/large", "user.com.apple.ResourceFork", "fork"},
                {"tree/small", "user.xdg.origin.url", "https://example.org/"}};
    for (const auto& row : rows)
        ASSERT_EQ(setxattr(from_.path(row.item).c_str(), row.name, row.value.data(), row.value.size(), 0), 0);
    pack(from_.url("tree"));
    EXPECT_EQ(members(), (std::vector<std::string>{"tree/", "tree/folder/", "__MACOSX/tree/._folder",
                                                   "tree/large", "__MACOSX/tree/._large", "tree/plain",
                                                   "tree/small", "__MACOSX/tree/._small"}));
    EXPECT_EQ(output("unzip -qq '" + archive().path() + "' -d '" + to_.path("out") + "'"), "");
    EXPECT_EQ(readFile(to_.url("out/tree/large")), large);
    for (const auto& row : rows) {
        const auto sidecar = readFile(to_.url("out/" + AppleDouble::sidecarName(row.item)));
        EXPECT_EQ(AppleDouble::decode(sidecar), (AppleDouble::Attributes{{row.name, row.value}}));
    }
}

TEST_F(Packing, timesComeBackOrAreTheNearestThatTheFormatHas) {
    const TemporaryFolder folder(Disk::memory); // which keeps all of these
    constexpr std::int64_t first = -2'147'483'648, last = 4'294'967'295;
    const struct {
        const char* name;
        std::int64_t modified;
        std::int64_t expected;
    } rows[] = {{"1901", first - 1, first},
                {"first", first, first},
                {"1969", -1, -1},
                {"1970", 0, 0},
                {"2050", 2'524'608'001, 2'524'608'001},
                {"last", last, last},
                {"2106", last + 1, last},
                {"2200", 7'258'118'400, last}};
    folder.makeFolder("tree");
    for (const auto& row : rows)
        setTime(folder.write("tree/" + std::string(row.name)).path(), row.modified);
    pack(folder.url("tree"));
    const Descriptor around(open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const auto source = archive(), staging = folder.url("out");
    SafeArchiveService::extract({source, staging, around.get()});
    for (const auto& row : rows)
        EXPECT_EQ(statItem(folder.url("out/tree/" + std::string(row.name))).modified.seconds, row.expected)
            << row.name;
}

TEST_F(Packing, whatCouldNotBeExtractedIsRefusedBeforeAnythingIsWritten) {
    const std::string deep = [] {
        std::string path = "tree";
        for (int depth = 1; depth < 128; ++depth)
            path += "/d";
        return path;
    }();
    const std::string longName(254, 'n');
    const auto tag = [this](const std::string& name) {
        ASSERT_EQ(setxattr(from_.path(name).c_str(), "user.tag", "x", 1, 0), 0);
    };
    const struct {
        const char* name;
        std::function<void()> make;
        std::string item;
        std::string reason;
    } rows[] = {
        {"not UTF-8", [&] { from_.write("tree/a\xFF"); }, "tree/a\uFFFD", "its name is not UTF-8"},
        {"backslash", [&] { from_.write("tree/a\\b"); }, "tree/a\\b", "its name contains a backslash"},
        {"colon", [&] { from_.makeFolder("tree/a:b"); }, "tree/a:b", "its name contains a colon"},
        {"link", [&] { from_.link("tree/link", "file"); }, "tree/link", "Morv does not pack symbolic links"},
        {"pipe", [&] { mkfifo(from_.path("tree/pipe").c_str(), 0600); }, "tree/pipe",
         "it is neither a file nor a folder"},
        {"case",
         [&] {
             from_.write("tree/README");
             from_.write("tree/ReadMe");
         },
         "tree/ReadMe", "another name in its folder differs only in case or composition"},
        {"composition",
         [&] {
             from_.makeFolder("tree/\u00E9");
             from_.write("tree/e\u0301");
         },
         "tree/\u00E9", "another name in its folder differs only in case or composition"},
        {"too deep", [&] { from_.makeFolder(deep + "/d"); }, deep + "/d", "it lies deeper than 128 folders"},
        {"no room for attributes below",
         [&] {
             from_.makeFolder(deep);
             tag(deep);
         },
         deep, "it has tags or other attributes and lies deeper than 127 folders"},
        {"no room for attributes beside",
         [&] {
             from_.write("tree/" + longName);
             tag("tree/" + longName);
         },
         "tree/" + longName, "it has tags or other attributes and a name of more than 253 bytes"},
        {"attributes in the place of another's",
         [&] {
             from_.makeFolder("tree/._a");
             from_.write("tree/._a/b");
             from_.write("tree/a");
             tag("tree/._a/b");
             tag("tree/a");
         },
         "tree/._a/b",
         "its folder’s name is the one under which ZIP archives keep another item’s attributes"},
        {"a file of 4 GiB",
         [&] {
             from_.write("tree/huge");
             fs::resize_file(from_.path("tree/huge"), 4'294'967'295);
         },
         "tree/huge", "a file in a ZIP archive must be smaller than 4 GiB"},
        {"more than 20 GiB",
         [&] {
             for (int i = 0; i < 6; ++i) {
                 from_.write("tree/" + std::to_string(i));
                 fs::resize_file(from_.path("tree/" + std::to_string(i)), 4'294'967'294);
             }
         },
         "tree", "it holds more than 20 GiB"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        fs::remove_all(from_.path("tree"));
        from_.makeFolder("tree");
        from_.write("tree/0 sound");
        row.make();
        const auto sentence = fmt::format("“{}” cannot be put into a ZIP archive: {}.", row.item, row.reason);
        EXPECT_EQ(sentenceOf<FileOperationError>([&] { pack(from_.url("tree")); }), sentence);
        EXPECT_EQ(
            sentenceOf<FileOperationError>([&] { SafeArchiveService::checkCanPack(from_.url("tree"), {}); }),
            sentence);
        EXPECT_EQ(namesIn(to_.path()), std::vector<std::string>());
    }
    from_.makeFolder("__macosx");
    EXPECT_EQ(
        sentenceOf<FileOperationError>([&] { pack(from_.url("__macosx")); }),
        "“__macosx” cannot be put into a ZIP archive: ZIP archives keep tags and other attributes under "
        "this name.");
}

TEST(PackingLimits, asManyMembersAsTheFormatCounts) {
    const TemporaryFolder folder(Disk::memory);
    const auto tree = folder.makeFolder("tree");
    const Descriptor opened(open(tree.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const auto add = [&](int number) {
        const Descriptor file(
            openat(opened.get(), std::to_string(number).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
        ASSERT_TRUE(file);
    };
    for (int i = 1; i < 65'534; ++i)
        add(i);
    SafeArchiveService::checkCanPack(tree, {});
    add(65'534);
    EXPECT_EQ(
        sentenceOf<FileOperationError>([&] { SafeArchiveService::checkCanPack(tree, {}); }),
        "“tree” cannot be put into a ZIP archive: its files, folders and attributes are more than 65534.");
}

TEST_F(Packing, theLastDepthThatIsAllowedIsPacked) {
    std::string path = "tree";
    for (int depth = 1; depth < 127; ++depth)
        path += "/" + std::string(20, 'd');
    from_.makeFolder(path);
    from_.write(path + "/file", "deep");
    pack(from_.url("tree"));
    EXPECT_EQ(members().size(), 128U);
    EXPECT_EQ(members().back(), path + "/file");
}

/// Holes take no time to make, and as zeros they are what the ratio rule is about.
class PackingHoles : public Packing {
protected:
    PackingHoles() : source_(from_.write("holes", "")) {
        fs::resize_file(source_.path(), 300 * mebibyte + 1);
    }
    const FileURL source_;
};

TEST_F(PackingHoles, zerosPassTheRatioRule) {
    pack(source_);
    EXPECT_GE(fs::file_size(archive().path()) * 1000, 300 * mebibyte);
    EXPECT_EQ(output("unzip -tqq '" + archive().path() + "'"), "");
}

TEST_F(PackingHoles, aStopIsSeenWithinAPiece) {
    std::stop_source stop;
    std::int64_t atStop = 0, last = 0;
    ProgressMeter progress(UUID::random(), ProgressMeter::Items::planned, [&](const OperationProgress& now) {
        last = now.bytesDone;
        if (now.bytesDone > 0 && atStop == 0) {
            atStop = now.bytesDone;
            stop.request_stop();
        }
    });
    EXPECT_THROW(pack(source_, stop.get_token(), &progress), CancellationError);
    progress.report();
    EXPECT_GT(atStop, 0);
    // Each thread ends the piece that it has begun.
    EXPECT_LE(last - atStop, static_cast<std::int64_t>(8 * mebibyte));
    EXPECT_TRUE(fs::exists(archive().path()));
}

TEST_F(PackingHoles, aFileThatChangesMeanwhileIsNamed) {
    bool wasChanged = false;
    ProgressMeter progress(UUID::random(), ProgressMeter::Items::planned, [&](const OperationProgress& now) {
        if (now.bytesDone > 0 && !std::exchange(wasChanged, true)) {
            const Descriptor file(open(source_.path().c_str(), O_WRONLY | O_CLOEXEC));
            EXPECT_EQ(pwrite(file.get(), "x", 1, 0), 1);
        }
    });
    EXPECT_EQ(sentenceOf<FileOperationError>([&] { pack(source_, {}, &progress); }),
              "holes changed while it was being packed. Try again after its writer has finished.");
    EXPECT_TRUE(wasChanged);
}

TEST_F(Packing, theArchiveIsPublicOnlyWhenAllOfItIs) {
    from_.makeFolder("tree/folder");
    const auto file = from_.write("tree/folder/file").path();
    const auto folder = from_.path("tree/folder");
    const struct {
        mode_t file, folder, archive;
    } rows[] = {{0644, 0755, 0644}, {0666, 0777, 0644}, {0640, 0755, 0600},
                {0604, 0755, 0600}, {0644, 0750, 0600}, {0644, 0744, 0600}};
    for (const auto& row : rows) {
        SCOPED_TRACE(fmt::format("{:o} {:o}", row.file, row.folder));
        chmod(file.c_str(), row.file);
        chmod(folder.c_str(), row.folder);
        chmod(from_.path("tree").c_str(), 0755);
        pack(from_.url("tree"));
        EXPECT_EQ(statItem(archive()).mode & 07777U, row.archive);
        fs::remove(archive().path());
    }
}

class PackingOperation : public EngineFixture {};

TEST_F(PackingOperation, compressesBesideTheSourceAndIsUndone) {
    makeFolder("work/tree/empty");
    write("work/tree/file.txt", words(10'000));
    const auto before = snapshot(at("work/tree").path());
    for (const std::string name : {"tree.zip", "tree 2.zip"}) {
        const auto receipt = run({.kind = OperationKind::compressZIP, .sources = {at("work/tree")}});
        ASSERT_EQ(receipt.status, OperationStatus::completed) << receipt.message.value_or("");
        EXPECT_EQ(receipt.items[0].destination, at("work/" + name));
        SafeArchiveService::validate(at("work/" + name), {});
        if (name == "tree.zip")
            continue;
        EXPECT_EQ(undo(receipt).status, OperationStatus::undone);
        EXPECT_EQ(namesIn(at("work").path()), (std::vector<std::string>{"tree", "tree.zip"}));
    }
    EXPECT_EQ(difference(before, snapshot(at("work/tree").path())), "");
}

TEST_F(PackingOperation, thePreviewRefusesWhatNoArchiveCanHold) {
    makeFolder("work/a:b");
    EXPECT_EQ(sentenceOf<FileOperationError>(
                  [&] { plan({.kind = OperationKind::compressZIP, .sources = {at("work/a:b")}}); }),
              "“a:b” cannot be put into a ZIP archive: its name contains a colon.");
}

} // namespace
} // namespace morv::test
