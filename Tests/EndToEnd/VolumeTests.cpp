// Volumes that are full, or that cannot keep what a copy should keep. Mounting needs rights: without them the
// tests say that they were skipped.
#include "Scene.h"

#include <cstdlib>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

class Volumes : public Scene {
protected:
    ~Volumes() override {
        if (mounted_)
            umount2(mountPoint().c_str(), MNT_DETACH);
    }

    std::string mountPoint() const { return root + "/volume"; }

    bool mountMemory(const std::string& size) {
        makeFolder(mountPoint());
        mounted_ = mount("morv-test", mountPoint().c_str(), "tmpfs", MS_NOSUID | MS_NODEV,
                         ("size=" + size).c_str()) == 0;
        return mounted_;
    }

    bool mountFAT() {
        makeFolder(mountPoint());
        const auto image = root + "/fat.image";
        writeFile(image, "");
        mounted_ = truncate(image.c_str(), 16 << 20) == 0 &&
                   std::system(("PATH=/sbin:/usr/sbin:$PATH; mkfs.vfat '" + image +
                                "' >/dev/null 2>&1 && mount -o loop '" + image + "' '" + mountPoint() +
                                "' >/dev/null 2>&1")
                                   .c_str()) == 0;
        return mounted_;
    }

private:
    bool mounted_ = false;
};

TEST_F(Volumes, aFullDiskFailsTheItemAndKeepsWhatIsThere) {
    if (!mountMemory("1m"))
        GTEST_SKIP() << "This user may not mount.";
    writeFile(mountPoint() + "/bystander", "bystander");
    writeFile(from + "/large", std::string(4 << 20, 'x'));
    writeFile(from + "/small", "small");
    for (const std::string kind : {"copy", "move"}) {
        SCOPED_TRACE(kind);
        const auto receipt =
            json({"run", kind, from + "/large", from + "/small", "--to", mountPoint(), "--yes"}, 1);
        EXPECT_EQ(receipt.at("items")[0].at("status"), "failed");
        EXPECT_GE(receipt.at("items")[0].value("error", "").size(), 12U);
        EXPECT_EQ(readFile(from + "/large").size(), 4U << 20U);
        EXPECT_TRUE(snapshot(mountPoint() + "/large").empty());
        EXPECT_EQ(readFile(mountPoint() + "/bystander"), "bystander");
        for (const auto& name : namesIn(mountPoint())) {
            if (name.starts_with(".morv-")) {
                const auto& items = receipt.at("items");
                EXPECT_TRUE(std::ranges::any_of(items, [&](const auto& item) {
                    return item.contains("stagingURL") &&
                           pathOf(item.at("stagingURL")) == mountPoint() + "/" + name;
                })) << name;
                removeTree(mountPoint() + "/" + name);
            }
        }
        removeTree(mountPoint() + "/small");
        writeFile(from + "/small", "small");
    }
}

TEST_F(Volumes, aFullDiskUnderTheJournalStopsTheOperation) {
    if (!mountMemory("256k"))
        GTEST_SKIP() << "This user may not mount.";
    writeFile(from + "/file", "content");
    writeFile(mountPoint() + "/filler", "");
    // As much as goes in, so that not even the journal's first page does.
    std::string filler(256 << 10, 'x');
    writeFile(mountPoint() + "/filler", filler);
    const auto result = run({"--data", mountPoint() + "/data", "run", "trash", from + "/file"});
    EXPECT_EQ(result.status, 3) << result.out;
    EXPECT_GE(result.err.size(), 12U);
    EXPECT_EQ(readFile(from + "/file"), "content");
}

TEST_F(Volumes, aVolumeWithoutMetadataKeepsNamesAndContentsAndSaysSo) {
    if (!mountFAT())
        GTEST_SKIP() << "This user may not mount, or there is no loop device or FAT here.";
    makeFolder(from + "/tree");
    writeFile(from + "/tree/text.txt", "text", 0640);
    setAttribute(from + "/tree/text.txt", "user.note", "a note");
    const std::string warning =
        "The destination volume keeps names and contents, but not every date, permission or "
        "tag. Contents will be verified; the rest may change.";
    const auto refused = json({"run", "copy", from + "/tree", "--to", mountPoint()}, 4);
    EXPECT_EQ(refused.at("warnings"), nlohmann::json::array({warning}));
    EXPECT_EQ(json({"run", "copy", from + "/tree", "--to", mountPoint(), "--yes"}).at("status"), "completed");
    EXPECT_EQ(readFile(mountPoint() + "/tree/text.txt"), "text");

    writeFile(from + "/bad:name?", "content");
    const auto result = run({"run", "copy", from + "/bad:name?", "--to", mountPoint(), "--yes"});
    EXPECT_TRUE(result.status == 1 || result.status == 3) << result.out;
    EXPECT_EQ(readFile(from + "/bad:name?"), "content");
    EXPECT_EQ(namesIn(mountPoint()), std::vector<std::string>{"tree"});
}

} // namespace
