// Volumes that are full, or that cannot keep what a copy should keep. Mounting needs rights: without them the
// tests say that they were skipped.
#include "Scene.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <random>
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

TEST_F(Volumes, aFullDiskFailsTheArchiveAndKeepsItsStaging) {
    if (!mountMemory("1m"))
        GTEST_SKIP() << "This user may not mount.";
    std::mt19937 next(1);
    std::string noise(4 << 20, '\0');
    std::ranges::generate(noise, [&] { return static_cast<char>(next()); });
    writeFile(from + "/large", noise);
    const auto receipt = json({"run", "compressZIP", from + "/large", "--to", mountPoint()}, 1);
    const auto& item = receipt.at("items")[0];
    EXPECT_EQ(item.at("status"), "failed");
    EXPECT_NE(item.value("error", "").find("space"), std::string::npos) << item.dump(1);
    EXPECT_EQ(namesIn(mountPoint()),
              std::vector<std::string>{std::filesystem::path(pathOf(item.at("stagingURL"))).filename()});
    EXPECT_EQ(readFile(from + "/large"), noise);
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

const std::string poorVolumeWarning = "The destination volume keeps names and contents, but not every date, "
                                      "permission or tag. Contents will be "
                                      "verified; the rest may change.";

// Copies and moves to a volume that keeps little; with `options` it may be a pretended one.
void expectNamesAndContentsOnly(const Scene& scene, const std::string& volume, RunOptions options) {
    makeFolder(scene.from + "/tree");
    writeFile(scene.from + "/tree/text.txt", "text", 0640);
    setAttribute(scene.from + "/tree/text.txt", "user.note", "a note");
    setModified(scene.from + "/tree/text.txt", 1'234'567'890'123'456'789);
    const auto before = snapshot(scene.from);
    const auto preview = scene.run({"--json", "plan", "copy", scene.from + "/tree", "--to", volume}, options);
    EXPECT_EQ(nlohmann::json::parse(preview.out).at("warnings"), nlohmann::json::array({poorVolumeWarning}));
    const auto copied = scene.run({"run", "copy", scene.from + "/tree", "--to", volume, "--yes"}, options);
    EXPECT_EQ(copied.status, 0) << copied.out << copied.err;
    EXPECT_EQ(readFile(volume + "/tree/text.txt"), "text");

    // A name that the volume refuses is called that, wherever it stands.
    makeFolder(scene.from + "/bad:folder");
    makeFolder(scene.from + "/folder");
    writeFile(scene.from + "/bad:name?", "content");
    writeFile(scene.from + "/folder/bad:name?", "content");
    for (const std::string name : {"bad:name?", "bad:folder", "folder"}) {
        const auto source = scene.from + "/" + name;
        const auto original = snapshot(source);
        const auto refused = scene.run({"run", "copy", source, "--to", volume, "--yes"}, options);
        EXPECT_TRUE(refused.status == 1 || refused.status == 3) << refused.out;
        EXPECT_NE((refused.out + refused.err).find("The destination volume does not accept the name “bad:"),
                  std::string::npos)
            << refused.out;
        EXPECT_EQ(difference(original, snapshot(source)), "");
        EXPECT_TRUE(snapshot(volume + "/" + name).empty());
        removeTree(source);
    }

    // A move keeps what the volume cannot: the original, in the Trash.
    const auto moved =
        scene.run({"run", "move", scene.from + "/tree", "--to", volume + "/tree", "--yes"}, options);
    EXPECT_EQ(moved.status, 0) << moved.out << moved.err;
    EXPECT_TRUE(snapshot(scene.from + "/tree").empty());
    EXPECT_EQ(readFile(volume + "/tree/tree/text.txt"), "text");
    const auto undone = scene.run({"undo"}, options);
    EXPECT_EQ(undone.status, 0) << undone.out << undone.err;
    EXPECT_EQ(difference(withoutFolderTimes(before), withoutFolderTimes(snapshot(scene.from))), "");
}

TEST_F(Volumes, aFATVolumeKeepsNamesAndContentsAndThePlanSaysSo) {
    if (!mountFAT())
        GTEST_SKIP() << "This user may not mount, or this kernel has no loop device or no FAT.";
    expectNamesAndContentsOnly(*this, mountPoint(), {});
}

TEST_F(Volumes, aPretendedFATVolumeKeepsNamesAndContentsAndThePlanSaysSo) {
    if (!canInjectFaults())
        GTEST_SKIP() << "The sanitizer's runtime does not share its place with a preloaded library.";
    RunOptions options;
    options.fault = "none=0:kill";
    options.environment["MORV_FAULT_POOR"] = other;
    expectNamesAndContentsOnly(*this, other, options);
}

} // namespace
