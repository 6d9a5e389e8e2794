#include "MorvCore/Operations/Journal.h"
#include "Tests/MorvCore/Operations/EngineFixture.h"
#include "Tests/Support/Gate.h"

#include <future>
#include <sqlite3.h>

namespace morv::test {
namespace {

class JournalTest : public EngineFixture {
protected:
    static OperationReceipt receiptOf(std::size_t items, OperationStatus status) {
        OperationReceipt receipt;
        receipt.id = UUID::random();
        receipt.status = status;
        receipt.startedAt = {700000000.0 + static_cast<double>(++made_)};
        for (std::size_t i = 0; i < items; ++i) {
            OperationItemResult item;
            item.id = UUID::random();
            item.error = std::string(200, 'e');
            receipt.items.append(item);
        }
        return receipt;
    }
    static void finishItem(OperationReceipt& receipt, std::size_t index) {
        auto item = receipt.items[index];
        item.status = OperationItemStatus::succeeded;
        receipt.items.replace(index, item);
        receipt.message = "Processing " + std::to_string(index);
    }
    inline static int made_ = 0;
};

TEST_F(JournalTest, stepsSayWhatTheWholeRecordWouldAndAreGoneAtTheEnd) {
    auto receipt = receiptOf(400, OperationStatus::running);
    Journal journal(store(), {});
    journal.persist(receipt);
    bool sawSteps = false;
    for (std::size_t i = 0; i < 400; ++i) {
        finishItem(receipt, i);
        journal.persistItem(receipt, i);
        sawSteps |= !store().keys("operations.steps/").empty();
        if (i % 67 == 0) {
            EXPECT_EQ(journal.read(receipt.id, {}), receipt) << i;
            EXPECT_EQ(Journal(store(), {}).read(receipt.id, {}), receipt) << "after a restart, " << i;
        }
    }
    EXPECT_TRUE(sawSteps);
    receipt.status = OperationStatus::completed;
    journal.persist(receipt);
    EXPECT_TRUE(store().keys("operations.steps/").empty());
    EXPECT_EQ(journal.read(receipt.id, {}), receipt);
}

TEST_F(JournalTest, stepsLeftBehindByACrashChangeNothing) {
    auto receipt = receiptOf(100, OperationStatus::running);
    Journal journal(store(), {});
    journal.persist(receipt);
    finishItem(receipt, 3);
    journal.persistItem(receipt, 3);
    const auto key = store().keys("operations.steps/").at(0);
    const auto step = *store().loadBytes(key);
    receipt.status = OperationStatus::completed;
    receipt.message = "Done.";
    journal.persist(receipt);
    store().saveBytes(step, key);
    EXPECT_EQ(journal.read(receipt.id, {}), receipt);
}

TEST_F(JournalTest, stepsThatOutliveTheirRecordSayWhatItSays) {
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(at("data/Morv.sqlite").path().c_str(), &other), SQLITE_OK);
    const auto execute = [&](const char* sql) {
        ASSERT_EQ(sqlite3_exec(other, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(other);
    };
    auto receipt = receiptOf(60, OperationStatus::running);
    Journal journal(store(), {});
    journal.persist(receipt);
    execute("CREATE TRIGGER keepSteps BEFORE DELETE ON records BEGIN SELECT RAISE(FAIL,'kept'); END");
    for (std::size_t i = 0; i < 60; ++i) {
        auto begun = receipt.items[i];
        begun.stagingURL = at("staging");
        receipt.items.replace(i, begun);
        for (const bool isDone : {false, true}) {
            if (isDone)
                finishItem(receipt, i);
            journal.persistItem(receipt, i);
            ASSERT_EQ(Journal(store(), {}).read(receipt.id, {}), receipt) << "after a crash, " << i << isDone;
        }
    }
    receipt.status = OperationStatus::completed;
    journal.persist(receipt);
    EXPECT_EQ(journal.read(receipt.id, {}), receipt);
    ASSERT_FALSE(store().keys("operations.steps/").empty());

    // Undo makes the record active again, and what the first run left must not speak for it.
    receipt.status = OperationStatus::running;
    EXPECT_THROW(journal.persist(receipt), PersistenceError);
    execute("DROP TRIGGER keepSteps");
    sqlite3_close(other);
    journal.persist(receipt);
    EXPECT_TRUE(store().keys("operations.steps/").empty());
    EXPECT_EQ(journal.read(receipt.id, {}), receipt);
}

TEST_F(JournalTest, whatADeadProcessLeftIsInterruptedOnce) {
    auto dead = receiptOf(100, OperationStatus::running);
    {
        Journal journal(store(), {});
        journal.persist(dead);
        finishItem(dead, 5);
        journal.persistItem(dead, 5);
    }
    const auto done = receiptOf(1, OperationStatus::completed);
    store().save(done, Journal::key(done.id));
    const auto updates = engine().updates();
    const auto first = engine().history();
    ASSERT_EQ(first.size(), 2U);
    EXPECT_EQ(first[0], done) << "newest first";
    EXPECT_EQ(first[1].status, OperationStatus::interrupted);
    EXPECT_EQ(first[1].items[5].status, OperationItemStatus::succeeded) << "steps are part of the record";
    EXPECT_EQ(first[1].message,
              "Morv stopped during this operation. Inspect source, destination and any staging location "
              "before creating a new operation. Nothing has been replayed.");
    EXPECT_EQ(updates->take(), first[1]);
    EXPECT_FALSE(updates->take());
    EXPECT_EQ(engine().history(), first);
    EXPECT_TRUE(store().keys("operations.steps/").empty());
}

TEST_F(JournalTest, refusesRecordsThatDoNotBelong) {
    const auto receipt = receiptOf(1, OperationStatus::completed);
    store().save(receipt, "operations/not-a-uuid");
    EXPECT_EQ(sentenceOf<PersistenceError>([&] { engine().history(); }),
              "An operation receipt has an invalid journal key.");
    store().remove("operations/not-a-uuid");
    const auto wrong = Journal::key(UUID::random());
    store().save(receipt, wrong);
    EXPECT_EQ(sentenceOf<PersistenceError>([&] { engine().history(); }),
              "An operation receipt does not match its journal key.");
    store().saveBytes("{}", wrong);
    EXPECT_THROW(engine().history(), DecodingError);
    EXPECT_EQ(store().loadBytes(wrong), "{}") << "refused, not repaired";
}

TEST_F(JournalTest, aSlowReaderKeepsTheNewest) {
    Journal journal(store(), {});
    int wakes = 0;
    const auto stream = journal.updates().subscribe(80, [&] { ++wakes; });
    auto receipt = receiptOf(1, OperationStatus::running);
    for (int i = 0; i < 100; ++i) {
        receipt.message = std::to_string(i);
        journal.persist(receipt);
    }
    EXPECT_EQ(wakes, 100);
    EXPECT_EQ(stream->take()->message, "20");
    int rest = 0;
    while (stream->take())
        ++rest;
    EXPECT_EQ(rest, 79);
}

class Queueing : public EngineFixture {};

TEST_F(Queueing, turnsComeInTheOrderOfAdmissionAndCancellationReachesEveryPlace) {
    Gate gate;
    EngineObservers observers;
    observers.staging = [&](const FileURL&) { gate.wait(); };
    useEngine(observers);
    const auto file = write("file", "x");
    const auto request = OperationRequest{.kind = OperationKind::duplicate, .sources = {file}};
    const auto run = [&](OperationAdmission admission, std::stop_token stop = {}) {
        return std::async(std::launch::async,
                          [this, stop, moved = std::make_shared<OperationAdmission>(std::move(admission))] {
                              return engine().execute(std::move(*moved), stop);
                          });
    };
    auto firstPlace = engine().admit(plan(request));
    auto secondPlace =
        engine().admit(plan({.kind = OperationKind::newFolder, .destination = at(""), .newName = "second"}));
    auto thirdPlace =
        engine().admit(plan({.kind = OperationKind::newFolder, .destination = at(""), .newName = "third"}));
    auto fourthPlace =
        engine().admit(plan({.kind = OperationKind::newFolder, .destination = at(""), .newName = "fourth"}));
    const auto secondID = secondPlace.id(), fourthID = fourthPlace.id();
    EXPECT_TRUE(engine().hasActiveOperation());

    // Asked for in the wrong order.
    auto fourth = run(std::move(fourthPlace));
    std::stop_source stopThird;
    auto third = run(std::move(thirdPlace), stopThird.get_token());
    auto second = run(std::move(secondPlace));
    auto first = run(std::move(firstPlace));
    ASSERT_TRUE(gate.waitUntilReached());
    engine().cancel(secondID);
    EXPECT_EQ(second.get().status, OperationStatus::cancelled) << "while waiting, at the head";
    stopThird.request_stop();
    const auto thirdReceipt = third.get();
    EXPECT_EQ(thirdReceipt.status, OperationStatus::cancelled);
    EXPECT_EQ(thirdReceipt.message, "Cancelled before starting. No files changed.");
    for (const auto& receipt : engine().history())
        EXPECT_NE(receipt.status, OperationStatus::interrupted) << "alive in this process";
    engine().cancel();
    gate.open();
    EXPECT_EQ(first.get().status, OperationStatus::cancelled) << "while running";
    EXPECT_EQ(fourth.get().status, OperationStatus::completed);
    EXPECT_FALSE(engine().hasActiveOperation());
    engine().cancel(fourthID);
    EXPECT_FALSE(engine().hasActiveOperation());
}

/// The system's Trash, held shut until the test opens it.
class GatedTrash final : public OperationTrashProvider {
public:
    FileURL trash(const FileURL& url) const override {
        gate.wait();
        return SystemTrashProvider().trash(url);
    }
    mutable Gate gate;
};

TEST_F(Queueing, whoeverHasSeenTheEndMayUndoAtOnce) {
    const auto item = write("a.txt", "x");
    std::future<OperationReceipt> undone;
    std::unique_ptr<EngineStream<OperationReceipt>> updates;
    updates = engine().updates([&] {
        while (const auto receipt = updates->take()) {
            if (receipt->status != OperationStatus::completed)
                continue;
            undone = std::async(std::launch::async, [&, id = receipt->id] { return engine().undo(id, {}); });
            // The turn is still taken. What is refused now is refused at once.
            EXPECT_EQ(undone.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
        }
    });
    run({.kind = OperationKind::duplicate, .sources = {item}});
    ASSERT_TRUE(undone.valid());
    EXPECT_EQ(undone.get().status, OperationStatus::undone);
}

TEST_F(Queueing, aPlanThatIsBeingUndoneCannotTakeItsTurnAway) {
    const auto trash = std::make_shared<GatedTrash>();
    useEngine({}, trash);
    const auto copying = plan({.kind = OperationKind::duplicate, .sources = {write("file", "x")}});
    const auto receipt = engine().execute(copying, {});
    auto undoing = std::async(std::launch::async, [&] { return undo(receipt); });
    ASSERT_TRUE(trash->gate.waitUntilReached());
    EXPECT_EQ(sentenceOf<FileOperationError>([&] { engine().execute(copying, {}); }),
              "This operation is already queued or running.");
    EXPECT_TRUE(engine().hasActiveOperation()) << "the undo still has its turn";
    EXPECT_EQ(sentenceOf<FileOperationError>([&] { undo(receipt); }),
              "Another file operation is still running.");
    trash->gate.open();
    EXPECT_EQ(undoing.get().status, OperationStatus::undone);
    EXPECT_FALSE(engine().hasActiveOperation());
}

} // namespace
} // namespace morv::test
