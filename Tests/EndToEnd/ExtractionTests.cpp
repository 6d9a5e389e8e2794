// morvctl unpacks an archive, is killed at every call that changes a file, and runs out of space.
#include "Scene.h"
#include "Tests/Support/ArchiveBuilder.h"

#include <algorithm>
#include <csignal>
#include <sys/mount.h>

namespace {

using morv::test::archiveBytes;
using morv::test::ArchivePlan;
using morv::test::deflated;

class Extraction : public Scene {
protected:
    ~Extraction() override {
        if (isMounted_)
            umount2(volume().c_str(), MNT_DETACH);
    }

    std::string archive() const { return from + "/tree.zip"; }
    std::string volume() const { return root + "/volume"; }
    Result extract(const std::string& place, const RunOptions& options = {}) const {
        return run({"run", "extractZIP", archive(), "--to", place}, options);
    }
    bool mountMemory() {
        makeFolder(volume());
        isMounted_ = mount("morv-test", volume().c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "size=1m") == 0;
        return isMounted_;
    }
    static ArchivePlan tree() {
        return {.members = {{.name = "folder/", .data = "", .mode = 040750},
                            deflated("folder/text", std::string(10'000, 't')),
                            {.name = "folder/inner/photo", .data = "picture"},
                            {.name = "run", .mode = 0100755}}};
    }
    /// All staging that stands in `place` is told of by a receipt, and nothing else is there.
    void expectRecordedStagingOnly(const std::string& place) const {
        const auto receipts = json({"history"}).dump();
        for (const auto& name : namesIn(place)) {
            EXPECT_TRUE(name.starts_with(".morv-")) << "incomplete under its final name: " << name;
            EXPECT_NE(receipts.find(name), std::string::npos) << receipts;
        }
    }

private:
    bool isMounted_ = false;
};

} // namespace

TEST_F(Extraction, runsFromThePreviewToTheUndo) {
    writeFile(archive(), archiveBytes(tree()));
    setAttribute(archive(), "user.xdg.origin.url", "https://example.org/tree.zip");
    const auto receipt = json({"run", "extractZIP", archive(), "--to", to});
    EXPECT_EQ(receipt.at("status"), "completed");
    EXPECT_EQ(pathOf(receipt.at("items")[0].at("destination")), to + "/tree");
    const auto made = snapshot(to + "/tree");
    ASSERT_EQ(made.size(), 6U);
    EXPECT_EQ(made.at("folder/text").content, std::string(10'000, 't'));
    EXPECT_EQ(made.at("folder").mode, 0750U);
    EXPECT_EQ(made.at("run").mode, 0755U);
    for (const auto& [path, item] : made)
        EXPECT_EQ(item.attributes.count("user.xdg.origin.url"), 1U) << path;
    EXPECT_EQ(run({"undo"}).status, 0);
    EXPECT_TRUE(namesIn(to).empty());

    auto damaged = tree();
    damaged.members[1].checksum = 1;
    writeFile(archive(), archiveBytes(damaged));
    const auto failed = extract(to);
    EXPECT_EQ(failed.status, 1);
    EXPECT_NE((failed.out + failed.err).find("“folder/text” in this ZIP is damaged."), std::string::npos);
    damaged.members[1].name = "../text";
    writeFile(archive(), archiveBytes(damaged));
    EXPECT_EQ(extract(to).status, 3);
    expectRecordedStagingOnly(to);
}

TEST_F(Extraction, isCompleteOrStagedWhereverItIsKilled) {
    if (!canInjectFaults())
        GTEST_SKIP() << "The sanitizer's runtime does not share its place with a preloaded library.";
    const auto bytes = archiveBytes(tree());
    writeFile(archive(), bytes);
    const auto log = root + "/calls";
    writeFile(log, std::string(100'000, '\0'));
    RunOptions counting;
    counting.fault = "any=0:kill";
    counting.faultLog = log;
    ASSERT_EQ(extract(to, counting).status, 0);
    // Folders that no member names have the time at which they were made.
    const auto whole = withoutFolderTimes(snapshot(to + "/tree"));
    const auto calls = readFile(log).find('\0');
    ASSERT_GT(calls, 20U);

    constexpr std::size_t most = 60;
    const auto stride = std::max<std::size_t>(1, calls / most);
    std::size_t killed = 0;
    for (std::size_t n = 1; n <= calls; n += stride) {
        SCOPED_TRACE(n);
        removeTree(data);
        makeFolder(data);
        removeTree(to);
        makeFolder(to);
        RunOptions options;
        options.fault = "any=" + std::to_string(n) + ":kill";
        killed += extract(to, options).signal == SIGKILL ? 1 : 0;
        ASSERT_EQ(readFile(archive()), bytes);
        const auto receipts = json({"history"});
        EXPECT_EQ(json({"history"}), receipts) << "it is told once that it was interrupted";
        if (!snapshot(to + "/tree").empty())
            EXPECT_EQ(difference(whole, withoutFolderTimes(snapshot(to + "/tree"))), "");
        else
            expectRecordedStagingOnly(to);
        if (HasFailure())
            return;
    }
    EXPECT_GE(killed + 5, calls / stride);
}

TEST_F(Extraction, namesWhatTheVolumeHasNoNameFor) {
    if (!canInjectFaults())
        GTEST_SKIP() << "The sanitizer's runtime does not share its place with a preloaded library.";
    RunOptions options;
    options.fault = "none=0:kill";
    // A volume of its own: what Morv knows of one is asked again whenever something is mounted.
    options.environment["MORV_FAULT_POOR"] = other;
    for (const auto& [member, named] :
         {std::pair("a?b", "a?b"), std::pair("a?b/", "a?b"), std::pair("inner/a?b/file", "inner/a?b")}) {
        SCOPED_TRACE(member);
        writeFile(archive(), archiveBytes({.members = {{.name = member, .data = ""}}}));
        const auto failed = extract(other, options);
        EXPECT_EQ(failed.status, 1);
        EXPECT_NE((failed.out + failed.err)
                      .find(std::string("The destination volume does not accept the name “") + named + "”."),
                  std::string::npos)
            << failed.out << failed.err;
    }
    expectRecordedStagingOnly(other);
}

TEST_F(Extraction, aFullVolumeFailsTheItemAndKeepsWhatIsThere) {
    if (!mountMemory())
        GTEST_SKIP() << "This user may not mount.";
    writeFile(volume() + "/bystander", "bystander");
    const auto bytes =
        archiveBytes({.members = {{.name = "small"}, deflated("large", std::string(4 << 20, 'x'))}});
    writeFile(archive(), bytes);
    const auto receipt = json({"run", "extractZIP", archive(), "--to", volume()}, 1);
    const auto& item = receipt.at("items")[0];
    EXPECT_EQ(item.at("status"), "failed");
    EXPECT_EQ(item.at("error"), "There is no space left on the volume: " + volume());
    const auto staging = pathOf(item.at("stagingURL"));
    EXPECT_EQ(namesIn(volume()),
              (std::vector<std::string>{staging.substr(volume().size() + 1), "bystander"}));
    EXPECT_EQ(readFile(volume() + "/bystander"), "bystander");
    EXPECT_EQ(readFile(archive()), bytes);
}
