#include "MorvApp/Model/SplitLayout.h"
#include "MorvApp/Model/UserDefaults.h"
#include "Tests/MorvApp/Support.h"

#include <limits>

namespace morv {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FakeSplit : public SplitView {
public:
    explicit FakeSplit(std::size_t count, double wide = 1000) : positions(count), wide_(wide) {}

    double length() const override { return wide_; }
    std::size_t dividers() const override { return positions.size(); }
    double position(std::size_t divider) const override { return positions[divider]; }
    double smallestPosition(std::size_t) const override { return 100; }
    double largestPosition(std::size_t) const override { return 900; }
    void setPosition(std::size_t divider, double position) override {
        positions[divider] = position;
        Q_EMIT resized();
    }
    void setLength(double wide) { wide_ = wide; }

    std::vector<double> positions;

private:
    double wide_;
};

class SplitLayoutTest : public test::FolderTest {
protected:
    static constexpr const char* name = "com.morvapp.layout.primary.panes";

    UserDefaults defaults{root.child("Morv.conf")};
    SplitLayoutRegistry registry{defaults, Environment()};
};

TEST_F(SplitLayoutTest, theFirstWindowOfARunHasTheStableLayout) {
    using Persistence = SplitLayoutRegistry::Persistence;
    EXPECT_TRUE(registry.newWindowNamespace(Persistence::thrownAway).starts_with("desktop."));
    EXPECT_EQ(registry.newWindowNamespace(Persistence::kept), "primary");
    const auto second = registry.newWindowNamespace(Persistence::kept);
    EXPECT_TRUE(second.starts_with("window."));
    EXPECT_NE(registry.newWindowNamespace(Persistence::kept), second);
    SplitLayoutRegistry fixture(defaults, Environment{{"MORV_START_DIRECTORY", ""}});
    EXPECT_TRUE(fixture.newWindowNamespace(Persistence::kept).starts_with("qa."));
}

TEST_F(SplitLayoutTest, dividersReturnWithinTheirLimits) {
    struct Row {
        const char* name;
        std::vector<double> fractions;
        std::vector<double> expected;
    };
    const double none = std::numeric_limits<double>::quiet_NaN();
    const Row rows[] = {
        {"in place", {0.25, 0.5}, {250, 500}},
        {"beyond the ends", {-0.2, 1.4}, {100, 900}},
        {"no number", {none, 0.5}, {100, 500}},
        {"of another split", {0.1, 0.2, 0.3}, {0, 0}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        FakeSplit split(2);
        registry.registerSplit(split, "primary", "panes", row.fractions, 1);
        EXPECT_EQ(split.positions, row.expected);
        EXPECT_THAT(defaults.fractions(name), IsEmpty()) << "its own doing is not written back";
    }
}

TEST_F(SplitLayoutTest, whatTheUserMovesIsKeptForTheNextRun) {
    {
        FakeSplit split(1);
        registry.registerSplit(split, "primary", "panes", std::nullopt, 0);
        EXPECT_EQ(split.positions.front(), 0) << "nothing was saved yet";
        split.setPosition(0, 300);
        EXPECT_THAT(defaults.fractions(name), ElementsAre(0.3));
        registry.registerSplit(split, "primary", "panes", std::vector{0.8}, 0);
        EXPECT_EQ(split.positions.front(), 300) << "the same revision changes nothing";
        registry.registerSplit(split, "primary", "panes", std::vector{0.8}, 1);
        EXPECT_EQ(split.positions.front(), 800);
        EXPECT_EQ(registry.snapshots("primary"), (SplitFractions{{"panes", {0.8}}}));
        split.setPosition(0, 500);
        split.setLength(0);
        EXPECT_EQ(registry.snapshots("primary"), (SplitFractions{{"panes", {0.5}}})) << "the last known";
    }
    EXPECT_THAT(registry.snapshots("primary"), IsEmpty());
    ASSERT_TRUE(defaults.save());
    UserDefaults later(root.child("Morv.conf"));
    SplitLayoutRegistry next(later, Environment());
    FakeSplit split(1, 0);
    next.registerSplit(split, "primary", "panes", std::nullopt, 0);
    split.setLength(2000);
    next.registerSplit(split, "primary", "panes", std::nullopt, 0);
    EXPECT_EQ(split.positions.front(), 900) << "half of the new length, within the limits";
}

TEST_F(SplitLayoutTest, aRebuiltSplitTakesTheOldOnesPlace) {
    FakeSplit first(1);
    FakeSplit second(1);
    registry.registerSplit(first, "primary", "panes", std::vector{0.2}, 0);
    registry.registerSplit(second, "primary", "panes", std::vector{0.4}, 0);
    first.setPosition(0, 700);
    EXPECT_THAT(defaults.fractions(name), IsEmpty()) << "the old one is not listened to any more";
    registry.registerSplit(second, "primary", "outer", std::vector{0.6}, 0);
    EXPECT_EQ(registry.snapshots("primary"), (SplitFractions{{"outer", {0.6}}}));
}

TEST_F(SplitLayoutTest, theSidebarReturnsToItsWidth) {
    using Mode = SidebarColumn::Mode;
    SidebarColumn first(defaults, "primary");
    EXPECT_EQ(first.settle(Mode::expanded, 220), std::nullopt);
    EXPECT_EQ(defaults.sidebarWidth("primary"), 220);
    EXPECT_EQ(first.settle(Mode::expanded, 220.4), std::nullopt);
    EXPECT_EQ(defaults.sidebarWidth("primary"), 220) << "a change of 0.4 points is not written";
    EXPECT_EQ(first.settle(Mode::expanded, 240), std::nullopt);
    EXPECT_EQ(first.settle(Mode::compact, 48), std::nullopt);
    EXPECT_EQ(defaults.sidebarWidth("primary"), 240) << "a compact sidebar leaves it alone";
    EXPECT_EQ(first.settle(Mode::expanded, 48), 240);
    EXPECT_EQ(first.settle(Mode::expanded, 120), 240) << "too narrow";
    EXPECT_EQ(first.settle(Mode::expanded, 500), 280) << "too wide";

    defaults.setSidebarWidth("other", 500);
    SidebarColumn second(defaults, "other");
    EXPECT_EQ(second.settle(Mode::expanded, 200), 280);
    EXPECT_EQ(defaults.sidebarWidth("other"), 280);
}

} // namespace
} // namespace morv
