// The lines of a review: groups, warnings, the filter, and what is left out.
#include "MorvApp/Views/Sheets/PlanModel.h"
#include "Tests/MorvApp/Support.h"

#include <QPersistentModelIndex>

namespace morv {
namespace {

using testing::ElementsAre;

class PlanModelTest : public testing::Test {
protected:
    std::size_t add(const std::string& source, const std::string& destination, std::int64_t bytes = 10) {
        FileOperationItem item;
        item.id = UUID::random();
        item.source = FileURL::fromPath(source);
        item.destination = FileURL::fromPath(destination);
        item.fingerprint.emplace().byteCount = bytes;
        plan.items.push_back(item);
        return plan.items.size() - 1;
    }
    void fill(int count) {
        for (int i = 0; i < count; ++i)
            add("/from/item " + std::to_string(i), "/to/item " + std::to_string(i));
    }
    static std::string text(const QModelIndex& index) {
        return index.data(Qt::DisplayRole).toString().toStdString();
    }
    static std::vector<std::string> row(const PlanModel& model, int row, const QModelIndex& parent = {}) {
        std::vector<std::string> cells;
        for (int column = 0; column < PlanModel::columns; ++column)
            cells.push_back(text(model.index(row, column, parent)));
        return cells;
    }

    FileOperationPlan plan;
};

TEST_F(PlanModelTest, manyItemsStandByFolderAndFateWithCountsAndSizes) {
    fill(30);
    add("/from/b.txt", "/to/b 2.txt", 1000);
    add("/from/c.txt", "/other/c.txt");
    plan.items[plan.items.size() - 3].skipReason = "A file named item 29 already exists.";
    plan.warnings = {"Keep both: b.txt will be saved as b 2.txt.", "Something about all of them."};
    PlanModel model(plan);
    ASSERT_TRUE(model.isGrouped());
    ASSERT_EQ(model.rowCount(), 4);
    EXPECT_THAT(row(model, 0), ElementsAre("29 items", "/to", "290 bytes", "Will be copied"));
    EXPECT_THAT(row(model, 1), ElementsAre("1 item", "/to", "10 bytes", "Skipped"));
    EXPECT_THAT(row(model, 2), ElementsAre("1 item", "/to", "1 KB", "Keep Both, under a new name"));
    EXPECT_THAT(row(model, 3), ElementsAre("1 item", "/other", "10 bytes", "Will be copied"));
    EXPECT_THAT(row(model, 0, model.index(2, 0)),
                ElementsAre("/from/b.txt", "b 2.txt", "1 KB", plan.warnings[0]))
        << "a warning stands beside its item";
    EXPECT_THAT(model.generalWarnings(), ElementsAre(plan.warnings[1]));

    // A group is checked as a whole; what the plan itself skips stays out.
    const auto group = model.index(0, 0);
    EXPECT_TRUE(model.setData(group, Qt::Unchecked, Qt::CheckStateRole));
    EXPECT_EQ(model.totals().items, 2U);
    EXPECT_EQ(model.totals().bytes, 1010);
    EXPECT_TRUE(model.setData(model.index(4, 0, group), Qt::Checked, Qt::CheckStateRole));
    EXPECT_EQ(group.data(Qt::CheckStateRole).toInt(), Qt::PartiallyChecked);
    EXPECT_EQ(model.unchecked().size(), 28U);
    EXPECT_FALSE(model.setData(model.index(0, 0, model.index(1, 0)), Qt::Checked, Qt::CheckStateRole));
    EXPECT_EQ(model.index(4, 0, group).parent(), group);
}

TEST_F(PlanModelTest, theFilterHidesLinesAndForgetsNothing) {
    fill(24);
    add("/from/Rés umé.txt", "/to/Rés umé 2.txt");
    plan.warnings = {"Keep both: Rés umé.txt will be saved as Rés umé 2.txt."};
    PlanModel model(plan);
    model.setFilter("res ume", PlanModel::Only::everything);
    EXPECT_EQ(model.visibleItems(), 1U) << "case and accents make no difference";
    model.setFilter("", PlanModel::Only::withWarnings);
    EXPECT_EQ(model.visibleItems(), 1U);
    model.setChecked({model.index(0, 0)}, false);
    model.setFilter("item 1", PlanModel::Only::everything);
    EXPECT_EQ(model.visibleItems(), 11U);
    model.setChecked({model.index(0, 0)}, false);
    model.setFilter("", PlanModel::Only::everything);
    EXPECT_EQ(model.visibleItems(), 25U);
    EXPECT_EQ(model.totals().items, 13U) << "only what was seen was unchecked";
    model.setFilter("nowhere", PlanModel::Only::everything);
    EXPECT_EQ(model.rowCount(), 0);
}

TEST_F(PlanModelTest, warningsGoToTheItemsThatTheyAreAbout) {
    struct Row {
        const char* name;
        const char* destination;
        const char* warning;
        bool isItems;
    };
    const std::vector<Row> rows = {
        {"its own", "/to/b 2", "Keep both: b will be saved as b 2.", true},
        {"another's", "/to/b 2", "Keep both: c will be saved as c 2.", false},
        {"a name that is in no trouble", "/to/b", "Keep both: b will be saved as b.", false},
        {"a name with a sentence in it", "/to/x will be saved as y 2",
         "Keep both: x will be saved as y will be saved as x will be saved as y 2.", false},
        {"no name", "/to/b 2", "Keep both: ", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        plan = {};
        add("/from/b", row.destination);
        plan.warnings = {row.warning};
        const PlanModel model(plan);
        EXPECT_EQ(model.itemWarningCount(), row.isItems ? 1U : 0U);
        EXPECT_EQ(model.generalWarnings().size(), row.isItems ? 0U : 1U) << "no warning is lost";
    }
}

TEST_F(PlanModelTest, namesOfMegabytesAreNotWrittenOut) {
    fill(20'000);
    for (const auto& item : plan.items)
        plan.warnings.push_back("Keep both: x will be saved as " +
                                std::string(item.destination->lastComponent()) + ".");
    const std::string huge(10'000'000, 'n');
    add("/from/" + huge, "/to/" + huge + " 2");
    plan.warnings.push_back("Keep both: " + huge + " will be saved as " + huge + " 2.");
    PlanModel model(plan);
    model.setFilter("ITEM 77", PlanModel::Only::everything);
    EXPECT_EQ(model.visibleItems(), 111U);
    model.setFilter("", PlanModel::Only::everything);
    model.setChecked({model.index(0, 0)}, false);
    const auto line = model.index(model.rowCount(model.index(1, 0)) - 1, 0, model.index(1, 0));
    for (const auto role : {Qt::DisplayRole, Qt::ToolTipRole})
        EXPECT_LT(line.data(role).toString().size(), 5000);
}

} // namespace
} // namespace morv
