#include "MorvCore/Operations/Operations.h"

#include <gtest/gtest.h>

namespace morv::test {
namespace {

constexpr const char* receiptText =
    R"({"completedAt":700000001.25,"id":"0B5A3C4E-1F2D-4A6B-8C9D-0E1F2A3B4C5D","items":[)"
    R"({"after":{"byteCount":3,"contentDigest":"c","identity":"1:2","kind":"file","metadataDigest":"m","stateDigest":"s"},)"
    R"("destination":"file:///to/a%FF%20b","id":"1B5A3C4E-1F2D-4A6B-8C9D-0E1F2A3B4C5D","originalTags":["Red"],)"
    R"("recoveryURL":"file:///trash/a","source":"file:///from/a","status":"copiedOriginalRetained"},)"
    R"({"error":"Because.","id":"2B5A3C4E-1F2D-4A6B-8C9D-0E1F2A3B4C5D","stagingURL":"file:///to/.morv-x","status":"failed"}],)"
    R"("kind":"move","message":"Done.","startedAt":700000000.5,"status":"partial"})";

TEST(OperationRecords, keepTheirFormat) {
    OperationReceipt receipt;
    fromJSON(receiptText, receipt);
    EXPECT_EQ(receipt.kind, OperationKind::move);
    EXPECT_EQ(receipt.status, OperationStatus::partial);
    EXPECT_EQ(receipt.startedAt.sinceReference, 700000000.5);
    EXPECT_EQ(receipt.completedAt->sinceReference, 700000001.25);
    ASSERT_EQ(receipt.items.size(), 2U);
    EXPECT_EQ(receipt.items[0].destination->path(), "/to/a\xFF b");
    EXPECT_EQ(receipt.items[0].status, OperationItemStatus::copiedOriginalRetained);
    EXPECT_EQ(receipt.items[0].after->metadataDigest, "m");
    EXPECT_EQ(receipt.items[1].error, "Because.");
    OperationReceipt again;
    fromJSON(toJSON(receipt), again);
    EXPECT_EQ(again, receipt);
    EXPECT_EQ(toJSON(again).size(), std::string(receiptText).size())
        << "nothing is added and nothing left out";

    FileOperationPlan plan;
    fromJSON(
        R"({"collision":"skip","createdAt":1,"id":"0B5A3C4E-1F2D-4A6B-8C9D-0E1F2A3B4C5D","items":[{"id":)"
        R"("1B5A3C4E-1F2D-4A6B-8C9D-0E1F2A3B4C5D","skipReason":"r"}],"kind":"newFolder","tags":["t"],"warnings":["w"]})",
        plan);
    EXPECT_EQ(plan.collision, CollisionPolicy::skip);
    EXPECT_EQ(plan.items.at(0).skipReason, "r");

    const std::string handoff =
        R"({"createdAt":1.0,"id":"0B5A3C4E-1F2D-4A6B-8C9D-0E1F2A3B4C5D","kind":"emptyTrash",)"
        R"("label":"l","outcome":"o","status":"requiresReview"})";
    SystemOperationReceipt system;
    fromJSON(handoff, system);
    EXPECT_EQ(system.status, SystemOperationStatus::requiresReview);
    EXPECT_EQ(toJSON(system), handoff);
}

TEST(OperationRecords, refuseWhatIsDamaged) {
    const std::string id = R"("id":"0B5A3C4E-1F2D-4A6B-8C9D-0E1F2A3B4C5D")";
    const std::vector<std::pair<const char*, std::string>> rows = {
        {"no JSON", "{"},
        {"no items", "{" + id + R"(,"kind":"copy","status":"completed","startedAt":1})"},
        {"items of the wrong kind",
         "{" + id + R"(,"kind":"copy","status":"completed","startedAt":1,"items":[1]})"},
        {"an item without status",
         "{" + id + R"(,"kind":"copy","status":"completed","startedAt":1,"items":[{)" + id + "}]}"},
        {"an unknown kind", "{" + id + R"(,"kind":"steal","status":"completed","startedAt":1,"items":[]})"},
        {"a date that is text",
         "{" + id + R"(,"kind":"copy","status":"completed","startedAt":"1","items":[]})"},
        {"an id that is none", R"({"id":"x","kind":"copy","status":"completed","startedAt":1,"items":[]})"},
        {"a URL of the web", "{" + id + R"(,"kind":"copy","status":"completed","startedAt":1,"items":[{)" +
                                 id + R"(,"status":"failed","source":"https://a/b"}]})"},
        {"a list", "[]"},
    };
    for (const auto& [name, text] : rows) {
        SCOPED_TRACE(name);
        OperationReceipt receipt;
        EXPECT_THROW(fromJSON(text, receipt), DecodingError);
    }
}

TEST(OperationRecords, sayWhatCanBeUndoneAndWhatNeedsReview) {
    OperationReceipt receipt;
    receipt.status = OperationStatus::failed;
    EXPECT_FALSE(receipt.canUndo()) << "no items";
    OperationItemResult item;
    item.status = OperationItemStatus::copiedOriginalRetained;
    receipt.items.append(item);
    EXPECT_TRUE(receipt.canUndo());
    EXPECT_EQ(receipt.succeededCount(), 0U);
    for (const auto status : {OperationStatus::queued, OperationStatus::running, OperationStatus::interrupted,
                              OperationStatus::undone}) {
        receipt.status = status;
        EXPECT_FALSE(receipt.canUndo()) << rawValue(status);
    }

    FileOperationPlan plan;
    plan.kind = OperationKind::rename;
    plan.items.resize(1);
    EXPECT_FALSE(plan.requiresReview());
    plan.items.resize(2);
    plan.items[1].id = UUID::random();
    EXPECT_TRUE(plan.requiresReview());
    EXPECT_EQ(plan.skipping({UUID::random()}), plan);
    EXPECT_EQ(plan.skipping({plan.items[1].id}).items[1].skipReason, "Skipped in review.");
}

TEST(OperationItemList, copiesStayWhatTheyWere) {
    OperationItemList list;
    for (int i = 0; i < 300; ++i) {
        OperationItemResult item;
        item.error = std::to_string(i);
        list.append(item);
    }
    const auto copy = list;
    auto item = list[200];
    item.error = "changed";
    list.replace(200, item);
    EXPECT_EQ(copy[200].error, "200");
    EXPECT_EQ(list[200].error, "changed");
    EXPECT_EQ(list[299].error, "299");
    EXPECT_NE(copy, list);
}

} // namespace
} // namespace morv::test
