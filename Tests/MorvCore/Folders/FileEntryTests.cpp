#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Folders/FileEntry.h"
#include "MorvCore/Folders/FileTagMetadata.h"
#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Platform/PropertyList.h"
#include "Tests/Support/SystemCalls.h"
#include "Tests/Support/TemporaryFolder.h"

#include <nlohmann/json.hpp>
#include <random>

using namespace morv;
using namespace morv::test;

namespace {

FileEntry sample() {
    FileEntry entry;
    entry.folder = std::make_shared<const FileURL>(FileURL::folder("/Users/me/A b"));
    entry.name = "Photo 1.JPG";
    entry.volume = 7;
    entry.inode = 18446744073709551615U;
    entry.size = 1234;
    entry.modifiedAt = Date{1.5};
    entry.kind = FileKind::image;
    entry.isWritable = true;
    entry.tagList = std::make_shared<const std::vector<std::string>>(std::vector<std::string>{"Red", "B"});
    return entry;
}

constexpr char sampleJSON[] =
    R"({"id":"7:18446744073709551615:/Users/me/A b/Photo 1.JPG","resourceIdentity":"7:18446744073709551615",)"
    R"("url":"file:///Users/me/A%20b/Photo%201.JPG","name":"Photo 1.JPG","isDirectory":false,"isPackage":false,)"
    R"("isSymbolicLink":false,"size":1234,"modifiedAt":1.5,"kind":"image","availability":"local",)"
    R"("tags":["Red","B"],"isWritable":true,"isDownloading":false})";

constexpr char preferencesJSON[] =
    R"({"view":"gallery","sort":"modified","ascending":false,"grouping":"date",)"
    R"("showHidden":true,"iconSize":64.5})";

void setTagBytes(const FileURL& file, const std::string& bytes) {
    AttributeTarget::path(file).set(std::string(FileTagMetadata::attribute), bytes);
}

} // namespace

TEST(FileEntryJSON, isTheStoredForm) {
    EXPECT_EQ(nlohmann::json::parse(toJSON(sample())), nlohmann::json::parse(sampleJSON));
    FileEntry read;
    fromJSON(sampleJSON, read);
    EXPECT_EQ(read, sample());
    FolderViewPreferences preferences{
        BrowserViewMode::gallery, FileSort::modified, false, FileGrouping::date, true, 64.5};
    EXPECT_EQ(nlohmann::json::parse(toJSON(preferences)), nlohmann::json::parse(preferencesJSON));
    FolderViewPreferences readPreferences;
    fromJSON(preferencesJSON, readPreferences);
    EXPECT_EQ(readPreferences, preferences);
}

TEST(FileEntryJSON, carriesANameThatIsNotUTF8InItsURL) {
    auto entry = sample();
    entry.name = "caf\xE9";
    const auto text = toJSON(entry);
    const auto object = nlohmann::json::parse(text);
    EXPECT_EQ(object["name"], "caf\uFFFD");
    EXPECT_EQ(object["url"], "file:///Users/me/A%20b/caf%E9");
    FileEntry read;
    fromJSON(text, read);
    EXPECT_EQ(read.name, "caf\xE9");
}

TEST(FileEntryJSON, refusesWhatIsMissingOrUnknownAndKeepsTheOldValue) {
    const auto refuses = [](auto& value, const nlohmann::json& object) {
        const auto before = value;
        EXPECT_THROW(fromJSON(object.dump(), value), DecodingError) << object;
        EXPECT_EQ(value, before);
    };
    FolderViewPreferences preferences;
    const auto complete = nlohmann::json::parse(preferencesJSON);
    for (const auto& [key, ignored] : complete.items()) {
        auto object = complete;
        object.erase(key);
        refuses(preferences, object);
        object[key] = "unknown";
        refuses(preferences, object);
    }
    auto entry = sample();
    for (const auto& [key, value] : {std::pair<std::string, nlohmann::json>{"resourceIdentity", "7"},
                                     {"resourceIdentity", "unavailable:/x"},
                                     {"resourceIdentity", "7:99999999999999999999999"},
                                     {"kind", "Image"},
                                     {"size", 9223372036854775808U},
                                     {"url", "http://host/x"}}) {
        auto object = nlohmann::json::parse(sampleJSON);
        object[key] = value;
        refuses(entry, object);
    }
}

TEST(FileKindRule, isTheNamesAlone) {
    const struct {
        const char* name;
        bool isDirectory, isPackage;
        FileKind kind;
    } rows[] = {
        {"PHOTO.JPG", false, false, FileKind::image},    {"x.zip", true, false, FileKind::folder},
        {"Tool.app", true, true, FileKind::installer},   {"Shoot.photoslibrary", true, true, FileKind::other},
        {"a.tar.gz", false, false, FileKind::archive},   {".zip", false, false, FileKind::other},
        {"noextension", false, false, FileKind::other},  {"dot.", false, false, FileKind::other},
        {"disk.ISO", false, false, FileKind::installer}, {"x.\xFF\xFE", false, false, FileKind::other},
        {"song.flac", false, false, FileKind::audio},    {"clip.webm", false, false, FileKind::video},
        {"notes.md", false, false, FileKind::document}};
    for (const auto& row : rows)
        EXPECT_EQ(classifyName(row.name, row.isDirectory, row.isPackage), row.kind) << row.name;
    EXPECT_TRUE(isPackageName("Morv.APP") && !isPackageName(".app") && !isPackageName("app"));
}

TEST(NameOrder, putsFoldersFirstAndSortingAgrees) {
    const auto make = [](const std::string& name, bool isDirectory) {
        auto entry = sample();
        entry.name = name;
        entry.isDirectory = isDirectory;
        entry.isPackage = isDirectory && isPackageName(name);
        return entry;
    };
    const std::vector<FileEntry> expected = {make("z folder", true),     make("aa.app", true),
                                             make("ab", false),          make("b.app", true),
                                             make("Photo 2.png", false), make("Photo 10.png", false)};
    auto shuffled = expected;
    // More than the number from which two threads share the work.
    for (int i = 0; i < 3000; ++i)
        shuffled.push_back(make("row " + std::to_string(i * 7919 % 3000), i % 5 == 0));
    shuffled.push_back(make("caf\xE9", false));
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(1));
    auto sorted = shuffled;
    DirectoryService::sortByName(sorted);
    EXPECT_TRUE(std::is_sorted(sorted.begin(), sorted.end(), DirectoryService::nameOrder));
    EXPECT_TRUE(std::is_permutation(sorted.begin(), sorted.begin() + 100, sorted.begin()));
    ASSERT_EQ(sorted.size(), shuffled.size());
    std::vector<FileEntry> kept;
    std::copy_if(sorted.begin(), sorted.end(), std::back_inserter(kept), [](const FileEntry& entry) {
        return !entry.name.starts_with("row") && !entry.name.starts_with("caf");
    });
    EXPECT_EQ(kept, expected);
    auto twin = expected[2];
    twin.folder = std::make_shared<const FileURL>(FileURL::folder("/Z"));
    EXPECT_TRUE(DirectoryService::nameOrder(expected[2], twin)) << "equal names: the paths decide";
    EXPECT_FALSE(DirectoryService::nameOrder(twin, twin));
}

TEST(FileTags, dropOnlyATrueColour) {
    const TemporaryFolder folder;
    const auto file = folder.write("file");
    EXPECT_EQ(FileTagMetadata::names(file), std::vector<std::string>());
    setTagBytes(file,
                binaryPropertyList({"Red\n6", "Red\n8", "A\nB\n2", "Plain", "X\n12", "\n3", "Y\n", "Z\n0"}));
    EXPECT_EQ(FileTagMetadata::names(file),
              (std::vector<std::string>{"Red", "Red\n8", "A\nB", "Plain", "X\n12", "", "Y\n", "Z"}));
    EXPECT_EQ(DirectoryService::entry(file).tags().size(), 8U);
}

TEST(FileTags, areKeptOrRefusedWhole) {
    // The memory disk of newer kernels takes values of this size; others answer with an error of their own.
    const TemporaryFolder folder(Disk::memory);
    const auto file = folder.write("file");
    setTagBytes(file, "<plist version=\"1.0\"><array><string>A</string><integer>1</integer></array></plist>");
    EXPECT_EQ(sentenceOf<FileOperationError>([&] { FileTagMetadata::names(file); }),
              "The file’s named tag metadata is invalid.");
    EXPECT_TRUE(DirectoryService::entry(file).tags().empty()) << "the entry does not fail";
    setTagBytes(file, "");
    EXPECT_THROW(FileTagMetadata::names(file), DecodingError);
    setTagBytes(file, "no list");
    EXPECT_THROW(FileTagMetadata::names(file), DecodingError);
    FileTagMetadata::setNames(file, {"New"});
    EXPECT_EQ(FileTagMetadata::names(file), std::vector<std::string>{"New"})
        << "damage does not block a new value";

    std::string list = "<plist version=\"1.0\"><array><string>A</string></array></plist>";
    list.resize(65536, '\n');
    setTagBytes(file, list);
    EXPECT_EQ(FileTagMetadata::names(file), std::vector<std::string>{"A"}) << "65,536 bytes are read";
}

TEST(FileTags, aTooLargeOrRestlessAttributeFails) {
    const TemporaryFolder folder;
    const auto file = folder.write("file");
    FileTagMetadata::setNames(file, {"A"});
    int calls = 0;
    {
        // The value is away at each first question's follow-up: size, read, size, read, size, read.
        const Hooked hook(attributeHook, {[&](std::size_t capacity) {
                              ++calls;
                              return capacity > 0 ? std::optional(calls == 2 ? ENODATA : ERANGE)
                                                  : std::nullopt;
                          }});
        EXPECT_EQ(sentenceOf<FileOperationError>([&] { FileTagMetadata::names(file); }),
                  "The file’s tags kept changing while they were read. Try again.");
        EXPECT_EQ(calls, 6);
    }
    calls = 0;
    {
        const Hooked hook(attributeHook, {[&](std::size_t capacity) {
                              return capacity > 0 && ++calls < 3 ? std::optional(ERANGE) : std::nullopt;
                          }});
        EXPECT_EQ(FileTagMetadata::names(file), std::vector<std::string>{"A"})
            << "the third attempt may succeed";
    }
    const Hooked hook(attributeHook, {[](std::size_t) { return std::optional(EIO); }});
    EXPECT_THROW(FileTagMetadata::names(file), PosixError);
    EXPECT_TRUE(DirectoryService::entry(file).tags().empty());
}

TEST(FileTags, settingKeepsColoursAndNeverFollowsALink) {
    const TemporaryFolder folder;
    const auto file = folder.write("file");
    const auto link = folder.link("link", file.path());
    setTagBytes(file, binaryPropertyList({"Red\n6", "Old\n3", "Plain"}));
    FileTagMetadata::setNames(file, {"Plain", "New", "Red", "Odd\n5"});
    EXPECT_EQ(FileTagMetadata::names(file), (std::vector<std::string>{"Plain", "New", "Red", "Odd\n5"}));
    char bytes[1024];
    const auto length =
        AttributeTarget::path(file).read(std::string(FileTagMetadata::attribute), bytes, sizeof bytes);
    ASSERT_GT(length, 0);
    EXPECT_EQ(stringsFromPropertyList({bytes, static_cast<std::size_t>(length)}),
              (std::vector<std::string>{"Plain", "New", "Red\n6", "Odd\n5\n0"}));
    EXPECT_TRUE(FileTagMetadata::names(link).empty());
    EXPECT_THROW(FileTagMetadata::setNames(link, {"A"}), PosixError);
    EXPECT_THROW(FileTagMetadata::setNames(link, {}), PosixError);
    FileTagMetadata::setNames(file, {});
    EXPECT_EQ(AttributeTarget::path(file).list(), "") << "no names: no attribute";
    EXPECT_NO_THROW(FileTagMetadata::setNames(file, {}));
}
