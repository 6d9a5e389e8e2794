#include "MorvApp/Model/UserDefaults.h"
#include "Tests/MorvApp/Support.h"

#include <atomic>
#include <latch>

namespace morv {
namespace {

using UserDefaultsTest = test::FolderTest;

TEST_F(UserDefaultsTest, aChangeLeavesAloneWhatOthersHaveWrittenMeanwhile) {
    const auto file = root.child("deep").child("Morv.conf");
    const auto odd = FileURL::folder("/srv/\xFF, \"odd\"");
    UserDefaults mine(file);
    {
        UserDefaults other(file);
        other.setTerminalCommand("foot -e");
        other.setSidebarIsCompact(true);
        other.setLastLocation(FileURL::folder("/other"));
    }
    EXPECT_FALSE(mine.sidebarIsCompact()) << "read once";
    mine.setLastLocation(odd);
    mine.setFractions("panes", {0.1, 1.0 / 3});
    EXPECT_EQ(mine.lastLocation(), odd) << "at once";
    ASSERT_TRUE(mine.save());
    const UserDefaults later(file);
    EXPECT_EQ(later.terminalCommand(), "foot -e");
    EXPECT_TRUE(later.sidebarIsCompact());
    EXPECT_EQ(later.lastLocation(), odd);
    EXPECT_EQ(later.fractions("panes"), (std::vector{0.1, 1.0 / 3}));
}

TEST(SettingsWriter, aBurstIsWrittenTogetherAndTheLastValueHolds) {
    std::atomic<int> writings = 0;
    SettingsWriter::Values written;
    {
        SettingsWriter writer([&](const SettingsWriter::Values& values) {
            ++writings;
            for (const auto& [key, value] : values)
                written[key] = value;
        });
        for (int i = 0; i < 1000; ++i)
            writer.set(QStringLiteral("divider"), i);
        writer.set(QStringLiteral("other"), true);
    }
    EXPECT_EQ(written,
              (SettingsWriter::Values{{QStringLiteral("divider"), 999}, {QStringLiteral("other"), true}}))
        << "the end waits for it";
    EXPECT_LE(writings, 2);
}

TEST(SettingsWriter, aDiskThatHangsHoldsUpNobody) {
    struct Disk {
        std::atomic<bool> hasBegun = false;
        std::latch answer{1};
    };
    const auto disk = std::make_shared<Disk>();
    std::optional<SettingsWriter> writer(
        std::in_place,
        [disk](const SettingsWriter::Values&) {
            disk->hasBegun = true;
            disk->hasBegun.notify_all();
            disk->answer.wait();
        },
        std::chrono::milliseconds(20));
    writer->set(QStringLiteral("key"), 1);
    EXPECT_FALSE(writer->save());
    disk->hasBegun.wait(false);
    writer->set(QStringLiteral("key"), 2);
    EXPECT_FALSE(writer->save());
    writer.reset();
    disk->answer.count_down();
}

} // namespace
} // namespace morv
