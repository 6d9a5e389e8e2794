#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Platform/ChildWritability.h"
#include "MorvCore/Platform/ExclusiveRename.h"
#include "MorvCore/Platform/ExtendedAttributes.h"
#include "MorvCore/Platform/FileStat.h"
#include "MorvCore/Platform/MimeTypes.h"
#include "MorvCore/Platform/PropertyList.h"
#include "MorvCore/Platform/SyncPlaceholder.h"
#include "MorvCore/Platform/ThreadFolder.h"
#include "MorvCore/Platform/UserFolders.h"
#include "MorvCore/Platform/VolumeNumber.h"
#include "Tests/Support/SystemCalls.h"
#include "Tests/Support/TemporaryFolder.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/vfs.h>
#include <thread>

using namespace morv;
using namespace morv::test;

namespace {

Descriptor opened(const TemporaryFolder& folder) {
    return Descriptor(::open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

int codeOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const PosixError& error) {
        return error.code();
    }
    return 0;
}

/// A binary property list of these objects, each in its stored form with references of one byte.
std::string binaryListOf(const std::vector<std::string>& objects) {
    const auto bigEndian = [](std::size_t value, int width) {
        std::string text;
        for (int shift = 8 * (width - 1); shift >= 0; shift -= 8)
            text.push_back(static_cast<char>(value >> shift & 0xFF));
        return text;
    };
    std::string bytes = "bplist00", offsets;
    for (const auto& object : objects) {
        offsets += bigEndian(bytes.size(), 2);
        bytes += object;
    }
    const auto table = bytes.size();
    return bytes + offsets + std::string(6, '\0') + "\2\1" + bigEndian(objects.size(), 8) + bigEndian(0, 8) +
           bigEndian(table, 8);
}

} // namespace

TEST(FileStat, describesTheItemItself) {
    const TemporaryFolder folder;
    const auto file = folder.write("caf\xE9", "12345");
    const auto link = folder.link("link", file.path());
    const timespec times[2] = {{1, 2}, {-5, 123456789}};
    ASSERT_EQ(::utimensat(AT_FDCWD, file.path().c_str(), times, 0), 0);
    const auto directory = opened(folder);
    const auto stat = statAt(directory.get(), "caf\xE9");
    EXPECT_EQ(stat.size, 5);
    EXPECT_EQ(stat.modified, (FileTime{-5, 123456789})) << "before 1970, to the nanosecond";
    EXPECT_TRUE(statItem(link).isSymbolicLink());
    EXPECT_EQ(stat.identity(), statItem(file).identity());
    EXPECT_EQ(stat.mountID, statDescriptor(directory.get()).mountID);
    EXPECT_FALSE(stat.isSameItem(statItem(link)));
}

TEST(FileStat, onlyAMissingItemIsMissing) {
    const TemporaryFolder folder;
    const auto hidden = folder.makeFolder("hidden");
    folder.write("hidden/file");
    const auto below = folder.write("plain").child("below");
    EXPECT_FALSE(statUnlessMissing(folder.url("none")));
    EXPECT_FALSE(statUnlessMissing(below));
    EXPECT_EQ(codeOf([&] { statItem(folder.url("none")); }), ENOENT);
    ::chmod(folder.path().c_str(), 0755);
    ::chmod(hidden.path().c_str(), 0700);
    EXPECT_TRUE(passesAsAnotherUser([&] {
        EXPECT_EQ(codeOf([&] { statUnlessMissing(hidden.child("file")); }), EACCES);
        EXPECT_FALSE(statIfPresent(hidden.child("file")));
    }));
}

TEST(VolumeNumber, isStableWhereTheFileSystemHasAnIdAndNeverShared) {
    const TemporaryFolder disk, memory(Disk::memory);
    const auto onDisk = statItem(disk.url()), inMemory = statItem(memory.url());
    ASSERT_NE(onDisk.device, inMemory.device);
    EXPECT_NE(onDisk.volume, inMemory.volume);
    EXPECT_EQ(inMemory.volume, inMemory.device);
    const auto& traits = volumeTraits(onDisk.device, AT_FDCWD, disk.path().c_str());
    EXPECT_EQ(traits.number, onDisk.volume);
    constexpr std::uint64_t ext = 0xEF53;
    if (traits.type == ext) {
        EXPECT_NE(traits.number, onDisk.device);
    }
    const auto& memoryTraits = volumeTraits(inMemory.device, AT_FDCWD, memory.path().c_str());
    EXPECT_TRUE(memoryTraits.isTrustedLocal && memoryTraits.keepsMetadata && !memoryTraits.verifyFromDevice);
    // A link to another volume is an item of the volume on which it lies.
    const auto link = memory.link("link", disk.path());
    EXPECT_EQ(statItem(link).volume, inMemory.volume);
}

TEST(VolumeNumber, whatTakesADeviceNumberOverIsAnotherVolume) {
    const TemporaryFolder folder;
    const auto place = folder.makeFolder("stick");
    const char* const path = place.path().c_str();
    const auto plug = [&](const char* type) {
        return ::mount("morv-test", path, type, MS_NOSUID | MS_NODEV, nullptr) == 0;
    };
    if (!plug("tmpfs"))
        GTEST_SKIP() << "mounting is not allowed here";
    const auto device = statItem(place).device;
    EXPECT_TRUE(volumeTraits(device, AT_FDCWD, path).isTrustedLocal);
    ASSERT_EQ(::umount2(path, MNT_DETACH), 0);
    ASSERT_TRUE(plug("ramfs"));
    const auto next = statItem(place).device;
    const auto traits = volumeTraits(next, AT_FDCWD, path);
    ASSERT_EQ(::umount2(path, MNT_DETACH), 0);
    if (next != device)
        GTEST_SKIP() << "the kernel chose another device number";
    EXPECT_FALSE(traits.isTrustedLocal) << "the traits are those of the volume before";
}

TEST(ExtendedAttributes, stopAtALinkAndAgreeOnEveryWay) {
    const TemporaryFolder folder;
    const auto file = folder.write("caf\xE9");
    const auto link = folder.link("link", file.path());
    const auto directory = opened(folder);
    const Descriptor open(::open(file.path().c_str(), O_RDONLY | O_CLOEXEC));
    const std::string value("a\0b", 3);
    AttributeTarget::at(directory.get(), "caf\xE9").set("user.morv.test", value);
    const auto read = [](const AttributeTarget& item) {
        char buffer[16];
        const auto length = item.read("user.morv.test", buffer, sizeof buffer);
        return length < 0 ? "none" : std::string(buffer, static_cast<std::size_t>(length));
    };
    EXPECT_EQ(read(AttributeTarget::path(file)), value);
    EXPECT_EQ(read(AttributeTarget::descriptor(open.get())), value);
    EXPECT_EQ(AttributeTarget::path(file).list(), std::string("user.morv.test\0", 15));
    EXPECT_EQ(read(AttributeTarget::path(link)), "none");
    EXPECT_EQ(codeOf([&] { AttributeTarget::path(link).set("user.morv.test", "x"); }), EPERM);
    // On a thread with a folder of its own the bare name is used, and the process stays where it was.
    const auto before = std::filesystem::current_path();
    std::thread([&] {
        ThreadFolder::enter(directory.get());
        EXPECT_EQ(read(AttributeTarget::at(directory.get(), "caf\xE9")), value);
        EXPECT_EQ(read(AttributeTarget::at(directory.get(), "link")), "none");
    }).join();
    EXPECT_EQ(std::filesystem::current_path(), before);
    AttributeTarget::path(file).remove("user.morv.test");
    EXPECT_NO_THROW(AttributeTarget::path(file).remove("user.morv.test"));
    EXPECT_EQ(read(AttributeTarget::descriptor(open.get())), "none");
}

TEST(ExclusiveRename, neverReplaces) {
    const TemporaryFolder folder, memory(Disk::memory);
    const auto from = folder.write("from", "new"), taken = folder.write("taken", "old");
    folder.link("dangling", folder.path("nowhere"));
    EXPECT_EQ(codeOf([&] { renameWithoutReplacing(from, taken); }), EEXIST);
    EXPECT_EQ(codeOf([&] { renameWithoutReplacing(from, folder.url("dangling")); }), EEXIST);
    EXPECT_EQ(codeOf([&] { renameWithoutReplacing(from, memory.url("to")); }), EXDEV);
    EXPECT_EQ(std::filesystem::file_size(taken.path()), 3U);
    EXPECT_FALSE(statIfPresent(folder.url("nowhere")));
    renameWithoutReplacing(from, folder.url("to\xFF"));
    EXPECT_TRUE(statIfPresent(folder.url("to\xFF")) && !statIfPresent(from));
}

TEST(ExclusiveRename, publishesAFileByLinkWhereTheFlagIsUnknown) {
    const TemporaryFolder folder;
    const auto from = folder.write("from"), taken = folder.write("taken"),
               directory = folder.makeFolder("directory");
    const auto inode = statItem(from).inode;
    const Hooked hook(renameHook, {[] { return std::optional(EINVAL); }});
    EXPECT_EQ(codeOf([&] { renameWithoutReplacing(from, taken); }), EEXIST);
    EXPECT_EQ(sentenceOf<FileOperationError>([&] { renameWithoutReplacing(directory, folder.url("to")); }),
              "This volume cannot rename without replacing. Nothing was changed at the destination.");
    EXPECT_TRUE(statIfPresent(directory) && !statIfPresent(folder.url("to")));
    renameWithoutReplacing(from, folder.url("to"));
    EXPECT_EQ(statItem(folder.url("to")).inode, inode);
    EXPECT_FALSE(statIfPresent(from));
}

TEST(ChildWritability, isTheKernelsOwnAnswer) {
    const TemporaryFolder folder;
    ::chmod(folder.path().c_str(), 0755);
    ::chmod(folder.write("foreign").path().c_str(), 0644);
    ::chmod(folder.write("shared").path().c_str(), 0666);
    folder.link("link", folder.path("foreign"));
    folder.link("dangling", folder.path("nowhere"));
    const auto own = folder.makeFolder("own");
    ::chmod(own.path().c_str(), 0777);
    EXPECT_TRUE(passesAsAnotherUser([&] {
        folder.write("own/mine");
        ::chmod(folder.write("own/locked").path().c_str(), 0444);
        for (const auto& [place, names] :
             {std::pair<std::string, std::vector<std::string>>{"own", {"mine", "locked"}},
              {"", {"foreign", "shared", "link", "dangling", "own"}}}) {
            const Descriptor directory(
                ::open(folder.path(place).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
            const ChildWritability writability(directory.get());
            for (const auto& name : names) {
                SCOPED_TRACE(name);
                EXPECT_EQ(writability.isWritable(statAt(directory.get(), name), name),
                          ::faccessat(directory.get(), name.c_str(), W_OK, AT_EACCESS) == 0);
            }
        }
    }));
}

TEST(SyncPlaceholder, isTinyAndMarked) {
    const TemporaryFolder folder;
    const auto isPlaceholder = [&](const FileURL& file) {
        return isSyncPlaceholder(statItem(file), file.lastComponent(), AttributeTarget::path(file));
    };
    EXPECT_TRUE(isPlaceholder(folder.write("a.pdf.nextcloud", "")));
    EXPECT_TRUE(isPlaceholder(folder.write("b.owncloud", "x")));
    EXPECT_FALSE(isPlaceholder(folder.write("real.nextcloud", "xy")));
    const auto marked = folder.write("marked", "");
    EXPECT_FALSE(isPlaceholder(marked));
    AttributeTarget::path(marked).set("user.another", "1");
    AttributeTarget::path(marked).set("user.nextcloud.hydrate_exec", "");
    EXPECT_TRUE(isPlaceholder(marked));
    EXPECT_FALSE(isPlaceholder(folder.makeFolder("folder.nextcloud")));
}

TEST(PropertyList, readsWhatItWritesAndRefusesOtherShapes) {
    const std::vector<std::string> strings = {"", "Red\n6", "\u00C9t\u00E9 \U0001F600", "Red\n6"};
    EXPECT_EQ(stringsFromPropertyList(binaryPropertyList(strings)), strings);
    EXPECT_EQ(stringsFromPropertyList("<?xml version=\"1.0\"?><plist version=\"1.0\"><array><string>A &amp; "
                                      "B</string></array></plist>"),
              std::vector<std::string>{"A & B"});
    EXPECT_FALSE(
        stringsFromPropertyList("<plist version=\"1.0\"><array><string>A</string><integer>1</integer>"
                                "</array></plist>"));
    EXPECT_FALSE(stringsFromPropertyList("<plist version=\"1.0\"><dict/></plist>"));
    auto cut = binaryPropertyList(strings);
    cut.resize(cut.size() / 2);
    for (const auto& damaged : {std::string(), std::string("bplist00"), cut, std::string("\xFF\xFE no list")})
        EXPECT_THROW(stringsFromPropertyList(damaged), DecodingError);
}

TEST(PropertyList, aFewBytesNeverUnfoldToMany) {
    // Forty lists that each name the next one fourteen times: 14^39 objects.
    std::vector<std::string> nested;
    for (char i = 1; i < 40; ++i)
        nested.push_back('\xAE' + std::string(14, i));
    nested.emplace_back("\xA0", 1);
    EXPECT_FALSE(stringsFromPropertyList(binaryListOf(nested)));

    const std::string longText = std::string("\x5F\x11\x40\x00", 4) + std::string(0x4000, 'x');
    const auto named = [&](char times) {
        return binaryListOf({"\xAF\x10" + std::string(1, times) + std::string(times, '\1'), longText});
    };
    EXPECT_EQ(stringsFromPropertyList(named(60)), std::vector<std::string>(60, std::string(0x4000, 'x')));
    EXPECT_THROW(stringsFromPropertyList(named(70)), DecodingError);
    const std::string everywhere = "\x5F\x13" + std::string(8, '\xFF');
    EXPECT_THROW(stringsFromPropertyList(binaryListOf({"\xA1\1", everywhere})), DecodingError);
    EXPECT_THROW(stringsFromPropertyList(binaryListOf({"\xA1\7", longText})), DecodingError);
}

TEST(MimeTypes, decideByTheExtensionAlone) {
    const struct {
        const char* extension;
        TypeFamily family;
    } rows[] = {
        {"jpg", TypeFamily::image},     {"cr2", TypeFamily::image},    {"mkv", TypeFamily::video},
        {"flac", TypeFamily::audio},    {"odp", TypeFamily::document}, {"py", TypeFamily::document},
        {"mobi", TypeFamily::document}, {"", TypeFamily::other},       {"nosuchtype", TypeFamily::other},
        {"bin", TypeFamily::other},     {"jpg", TypeFamily::image}};
    for (const auto& row : rows)
        EXPECT_EQ(typeFamily(row.extension), row.family) << row.extension;
}

TEST(UserFolders, followTheXDGDirectories) {
    const TemporaryFolder home;
    EXPECT_TRUE(passesAsAnotherUser([&] {
        // In a child process, whose environment nobody else sees.
        ::setenv("HOME", "/home/someone/", 1);
        ::setenv("XDG_DATA_HOME", "relative", 1);
        ::unsetenv("XDG_CONFIG_HOME");
        EXPECT_EQ(dataHome().path(), "/home/someone/.local/share");
        EXPECT_EQ(configurationHome().path(), "/home/someone/.config");
        EXPECT_FALSE(userFolder(UserFolder::desktop));
    }));
    ::chmod(home.path().c_str(), 0755);
    home.write("user-dirs.dirs",
               "# XDG_DESKTOP_DIR=\"$HOME/no\"\nXDG_DESKTOP_DIR=\"$HOME/Schreib\\\"tisch\"\n"
               "XDG_DOWNLOAD_DIR=\"/data/Downloads\"\nXDG_MUSIC_DIR=\"$HOME/\"\n"
               "XDG_VIDEOS_DIR=\"relative\"\n");
    EXPECT_TRUE(passesAsAnotherUser([&] {
        ::setenv("HOME", "/home/someone", 1);
        ::setenv("XDG_CONFIG_HOME", home.path().c_str(), 1);
        EXPECT_EQ(userFolder(UserFolder::desktop), FileURL::fromPath("/home/someone/Schreib\"tisch"));
        EXPECT_EQ(userFolder(UserFolder::downloads), FileURL::fromPath("/data/Downloads"));
        EXPECT_FALSE(userFolder(UserFolder::music)) << "the home directory itself stands for none";
        EXPECT_FALSE(userFolder(UserFolder::videos));
    }));
}
