#include "MorvCore/Foundation/Cancellation.h"
#include "Tests/MorvCore/Operations/EngineFixture.h"
#include "Tests/Support/Gate.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <future>
#include <latch>
#include <span>

namespace morv::test {
namespace {

constexpr const char* busySentence = "Another file operation is still running.";
constexpr const char* notActiveSentence = "This system operation lease is not active or is already ending.";
constexpr const char* reviewSentence =
    "Morv stopped or could not record the result of this Trash handoff. Check the Trash service and Trash, "
    "then explicitly confirm the Trash service has finished or cancelled. No system action was replayed; "
    "this action cannot be undone by Morv.";

std::string keyOf(const UUID& id) {
    return "systemOperations/" + id.text();
}

class HandoffLeasesTest : public EngineFixture {
protected:
    std::optional<SystemOperationReceipt> stored(const UUID& id) {
        return store().load<SystemOperationReceipt>(keyOf(id));
    }
    SystemOperationReceipt store(SystemOperationStatus status, double createdAt) {
        SystemOperationReceipt receipt;
        receipt.id = UUID::random();
        receipt.kind = "emptyTrash";
        receipt.label = "Handed over";
        receipt.status = status;
        receipt.createdAt = {createdAt};
        store().save(receipt, keyOf(receipt.id));
        return receipt;
    }
    using EngineFixture::store;

    FileOperationPlan folderPlan(const std::string& name) {
        return plan({.kind = OperationKind::newFolder, .destination = at(""), .newName = name});
    }
    std::future<OperationReceipt> executeElsewhere(const FileOperationPlan& plan) {
        return std::async(std::launch::async, [this, plan] { return engine().execute(plan, {}); });
    }
    /// The operation has its place in the queue on disk, and nothing more.
    bool isQueued(const UUID& id) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (std::chrono::steady_clock::now() < deadline) {
            for (const auto& receipt : engine().history())
                if (receipt.id == id)
                    return receipt.status == OperationStatus::queued;
            std::this_thread::yield();
        }
        return false;
    }
    UUID begin(const std::string& label = "Label") { return engine().beginExternalMaintenance(label, {}); }
};

TEST_F(HandoffLeasesTest, aLeaseHoldsEverythingBackUntilItsEndIsRecorded) {
    const auto earlier =
        run({.kind = OperationKind::newFolder, .destination = at(""), .newName = std::string("earlier")});
    const auto token = begin(" \n System Empty Trash (permanent)\t");
    const auto lease = engine().activeExternalMaintenance();
    ASSERT_TRUE(lease);
    EXPECT_EQ(lease->id, token);
    EXPECT_EQ(lease->kind, "emptyTrash");
    EXPECT_EQ(lease->label, "System Empty Trash (permanent)");
    EXPECT_EQ(lease->status, SystemOperationStatus::pending);
    EXPECT_EQ(stored(token), lease) << "durable before the caller may act";

    EXPECT_TRUE(engine().hasActiveOperation());
    EXPECT_EQ(sentenceOf<FileOperationError>([&] { begin(); }), busySentence);
    EXPECT_EQ(sentenceOf<FileOperationError>([&] { undo(earlier); }), busySentence);
    const auto waiting = folderPlan("waiting");
    auto done = executeElsewhere(waiting);
    EXPECT_TRUE(isQueued(waiting.id));
    EXPECT_FALSE(std::filesystem::exists(at("waiting").path()));
    EXPECT_EQ(sentenceOf<FileOperationError>(
                  [&] { engine().endExternalMaintenance(UUID::random(), "of another"); }),
              notActiveSentence);
    EXPECT_EQ(engine().externalHistory(), std::vector{*lease}) << "in force, hence not up for review";

    engine().endExternalMaintenance(token, " Seen to finish. ");
    EXPECT_EQ(done.get().status, OperationStatus::completed);
    EXPECT_FALSE(engine().hasActiveOperation());
    EXPECT_FALSE(engine().activeExternalMaintenance());
    EXPECT_EQ(sentenceOf<FileOperationError>([&] { engine().endExternalMaintenance(token, "again"); }),
              notActiveSentence);
    const auto handoffs = engine().externalHistory();
    ASSERT_EQ(handoffs.size(), 1U);
    EXPECT_EQ(handoffs[0].status, SystemOperationStatus::outcomeRecorded);
    EXPECT_EQ(handoffs[0].outcome, "Seen to finish.");
    EXPECT_TRUE(handoffs[0].finishedAt);
    EXPECT_EQ(engine().history().size(), 2U) << "operations only";

    const auto place = engine().admit(folderPlan("never run"));
    EXPECT_EQ(sentenceOf<FileOperationError>([&] { begin(); }), busySentence) << "somebody is in the queue";
}

TEST_F(HandoffLeasesTest, cancellingTakesOnlyWhatWaits) {
    for (const bool isRecovered : {false, true}) {
        SCOPED_TRACE(isRecovered);
        const auto token = isRecovered ? store(SystemOperationStatus::pending, 10).id : begin();
        if (isRecovered)
            useEngine();
        const auto first = folderPlan("first"), second = folderPlan("second");
        auto cancelled = executeElsewhere(first);
        ASSERT_TRUE(isQueued(first.id));
        auto waiting = executeElsewhere(second);
        ASSERT_TRUE(isQueued(second.id));
        engine().cancel();
        engine().cancel(token);
        engine().cancel(first.id);
        EXPECT_EQ(cancelled.get().status, OperationStatus::cancelled);
        EXPECT_EQ(engine().activeExternalMaintenance()->id, token);
        engine().endExternalMaintenance(token, "Checked.");
        EXPECT_EQ(waiting.get().status, OperationStatus::completed) << "not born cancelled";
        EXPECT_FALSE(engine().hasActiveOperation());
    }
}

TEST_F(HandoffLeasesTest, labelsAndOutcomesAreShortTexts) {
    const std::string blanks = "\n \xE2\x80\xA8";
    const std::vector<std::string> refused = {"", blanks, std::string("a\0b", 3)};
    const auto beginning = [&](const std::string& label) {
        return sentenceOf<FileOperationError>([&] { begin(label); });
    };
    for (const auto& label : refused)
        EXPECT_EQ(beginning(label), "Enter a short system operation label.");
    EXPECT_EQ(beginning(blanks + std::string(513, 'l')), "Enter a short system operation label.");
    EXPECT_TRUE(engine().externalHistory().empty());
    EXPECT_FALSE(engine().hasActiveOperation());

    for (auto outcome : {refused[0], refused[1], refused[2], std::string(4097, 'o')}) {
        const auto token = begin(blanks + std::string(512, 'l') + blanks);
        EXPECT_EQ(sentenceOf<FileOperationError>([&] { engine().endExternalMaintenance(token, outcome); }),
                  "Record a short observed system outcome.");
        EXPECT_FALSE(engine().hasActiveOperation()) << "the turn is given up all the same";
        EXPECT_EQ(stored(token)->status, SystemOperationStatus::pending);
    }
    const auto token = begin();
    engine().endExternalMaintenance(token, blanks + std::string(4096, 'o') + blanks);
    EXPECT_EQ(stored(token)->outcome, std::string(4096, 'o'));

    useEngine();
    EXPECT_EQ(engine().activeExternalMaintenance()->status, SystemOperationStatus::requiresReview)
        << "what was given up without a word";
}

TEST_F(HandoffLeasesTest, whatIsLeftIsPresentedOneAfterTheOtherTheOldestFirst) {
    const auto done = store(SystemOperationStatus::outcomeRecorded, 1);
    auto sameA = store(SystemOperationStatus::requiresReview, 20);
    auto sameB = store(SystemOperationStatus::requiresReview, 20);
    if (sameB.id.text() < sameA.id.text())
        std::swap(sameA, sameB);
    auto oldest = store(SystemOperationStatus::pending, 10);
    useEngine();
    const auto waiting = folderPlan("waiting");
    auto executed = executeElsewhere(waiting);
    EXPECT_TRUE(isQueued(waiting.id));
    EXPECT_TRUE(engine().hasActiveOperation());

    oldest.status = SystemOperationStatus::requiresReview;
    oldest.outcome = reviewSentence;
    EXPECT_EQ(stored(oldest.id), oldest);
    for (const auto& expected : {oldest, sameA, sameB}) {
        EXPECT_EQ(engine().activeExternalMaintenance(), expected);
        const auto handoffs = engine().externalHistory();
        ASSERT_EQ(handoffs.size(), 4U);
        EXPECT_EQ(handoffs[0].id, expected.id) << "the one in force, then the newest first";
        EXPECT_TRUE(std::ranges::is_sorted(handoffs.begin() + 1, handoffs.end(), std::greater(),
                                           [](const auto& each) { return each.createdAt; }));
        EXPECT_EQ(handoffs[3].id, done.id);
        EXPECT_FALSE(std::filesystem::exists(at("waiting").path()));
        engine().endExternalMaintenance(expected.id, "Checked.");
    }
    EXPECT_EQ(executed.get().status, OperationStatus::completed);
    EXPECT_FALSE(engine().activeExternalMaintenance());
    useEngine();
    EXPECT_FALSE(engine().hasActiveOperation()) << "nothing is presented twice";
}

TEST_F(HandoffLeasesTest, aWriteThatFailsLeavesTheTruthOnDiskAndGivesTheTurnBack) {
    std::atomic<bool> fails = true;
    EngineObservers observers;
    observers.externalWrite = [&](const SystemOperationReceipt&) {
        if (fails)
            throw PersistenceError("The disk is full.");
    };
    useEngine(observers);
    EXPECT_EQ(sentenceOf<PersistenceError>([&] { begin(); }), "The disk is full.");
    EXPECT_FALSE(engine().hasActiveOperation());
    EXPECT_TRUE(store().keys("systemOperations/").empty());

    fails = false;
    const auto token = begin();
    fails = true;
    EXPECT_EQ(sentenceOf<PersistenceError>([&] { engine().endExternalMaintenance(token, "Done."); }),
              "The disk is full.");
    EXPECT_FALSE(engine().hasActiveOperation());
    EXPECT_EQ(stored(token)->status, SystemOperationStatus::pending);
    fails = false;
    EXPECT_EQ(engine().externalHistory().at(0).status, SystemOperationStatus::requiresReview);
    EXPECT_FALSE(engine().activeExternalMaintenance()) << "it is presented at the next start";
    store().save(SystemOperationReceipt{.id = token,
                                        .kind = "emptyTrash",
                                        .label = "l",
                                        .status = SystemOperationStatus::pending,
                                        .createdAt = {1},
                                        .finishedAt = {},
                                        .outcome = {}},
                 keyOf(token));

    // Nothing may run while it is not known what was left.
    fails = true;
    useEngine(observers);
    EXPECT_TRUE(engine().hasActiveOperation());
    EXPECT_THROW(engine().execute(folderPlan("never"), {}), PersistenceError);
    EXPECT_THROW(engine().undo(UUID::random(), {}), PersistenceError);
    EXPECT_THROW(begin(), PersistenceError);
    EXPECT_THROW(engine().activeExternalMaintenance(), PersistenceError);
    EXPECT_TRUE(engine().history().empty());
    fails = false;
    ASSERT_TRUE(engine().activeExternalMaintenance()) << "the next call tries again";
    engine().endExternalMaintenance(token, "Done.");
    EXPECT_FALSE(engine().hasActiveOperation()) << "and nothing that failed meanwhile is in the queue";
}

TEST_F(HandoffLeasesTest, cancellationBeforeTheReturnSaysThatNothingWasRequested) {
    std::stop_source stop;
    EngineObservers observers;
    observers.externalWrite = [&](const SystemOperationReceipt&) { stop.request_stop(); };
    useEngine(observers);
    EXPECT_THROW(engine().beginExternalMaintenance("Label", stop.get_token()), CancellationError);
    EXPECT_FALSE(engine().hasActiveOperation());
    const auto handoffs = engine().externalHistory();
    ASSERT_EQ(handoffs.size(), 1U);
    EXPECT_EQ(handoffs[0].status, SystemOperationStatus::outcomeRecorded);
    EXPECT_EQ(handoffs[0].outcome, "Cancelled before Trash handoff. No system operation was requested.");
    EXPECT_TRUE(handoffs[0].finishedAt);
    EXPECT_THROW(engine().beginExternalMaintenance("Label", stop.get_token()), CancellationError);
    EXPECT_EQ(engine().externalHistory().size(), 1U) << "cancelled before anything was written";
}

TEST_F(HandoffLeasesTest, recoveryRunsOnceHoweverManyAskMeanwhile) {
    const auto left = store(SystemOperationStatus::pending, 10);
    Gate gate;
    std::atomic<int> reads = 0;
    EngineObservers observers;
    observers.externalHistoryRead = [&](const SystemOperationReceipt&) {
        ++reads;
        gate.wait();
    };
    useEngine(observers);
    const auto ask = [&] {
        return std::async(std::launch::async, [&] { return engine().activeExternalMaintenance(); });
    };
    auto first = ask();
    ASSERT_TRUE(gate.waitUntilReached());
    auto second = ask(), third = ask();
    auto busy = std::async(std::launch::async, [&] { return engine().hasActiveOperation(); });
    const auto waiting = folderPlan("waiting");
    auto executed = executeElsewhere(waiting);
    EXPECT_TRUE(engine().history().empty()) << "an operation that came meanwhile is not even on disk";
    gate.open();
    EXPECT_EQ(first.get()->id, left.id);
    EXPECT_EQ(second.get()->id, left.id);
    EXPECT_EQ(third.get()->id, left.id);
    EXPECT_TRUE(busy.get());
    EXPECT_TRUE(isQueued(waiting.id));
    EXPECT_EQ(reads, 1);
    engine().endExternalMaintenance(left.id, "Checked.");
    EXPECT_EQ(executed.get().status, OperationStatus::completed);
}

/// Whatever comes first: what was left is held before anything runs, and everybody learns of it.
TEST_F(HandoffLeasesTest, nothingRunsAheadOfWhatWasLeftHoweverManyBeginAtOnce) {
    for (int round = 0; round < 20; ++round) {
        SCOPED_TRACE(round);
        const auto left = store(SystemOperationStatus::pending, 10);
        useEngine();
        std::atomic<bool> isHeld = true;
        const auto name = "made " + std::to_string(round);
        std::latch start(6);
        std::vector<std::future<void>> all;
        const auto together = [&](auto work) {
            all.push_back(std::async(std::launch::async, [&, work] {
                start.arrive_and_wait();
                work();
            }));
        };
        together([&] {
            EXPECT_EQ(engine().execute(folderPlan(name), {}).status, OperationStatus::completed);
            EXPECT_FALSE(isHeld);
        });
        together([&] { EXPECT_THROW(engine().undo(UUID::random(), {}), FileOperationError); });
        together([&] { EXPECT_THROW(begin(), FileOperationError); });
        together([&] { EXPECT_TRUE(engine().hasActiveOperation()); });
        together([&] { engine().cancel(); });
        together([&] { EXPECT_EQ(engine().externalHistory().at(0).id, left.id); });
        for (auto& each : std::span(all).subspan(1))
            each.get();
        EXPECT_EQ(engine().activeExternalMaintenance()->id, left.id);
        EXPECT_FALSE(std::filesystem::exists(at(name).path()));
        isHeld = false;
        engine().endExternalMaintenance(left.id, "Checked.");
        all.front().get();
    }
}

TEST_F(HandoffLeasesTest, aReaderNeverGetsAReceiptThatIsBeingReplaced) {
    UUID token;
    bool ends = false;
    EngineObservers observers;
    observers.externalHistoryRead = [&](const SystemOperationReceipt& receipt) {
        if (std::exchange(ends, false)) {
            EXPECT_EQ(receipt.status, SystemOperationStatus::pending);
            engine().endExternalMaintenance(token, "Ended meanwhile.");
        }
    };
    useEngine(observers);
    token = begin();
    ends = true;
    const auto handoffs = engine().externalHistory();
    ASSERT_EQ(handoffs.size(), 1U);
    EXPECT_EQ(handoffs[0].outcome, "Ended meanwhile.");
    EXPECT_EQ(stored(token), handoffs[0]) << "and it was not put up for review";
}

TEST_F(HandoffLeasesTest, recordsThatDoNotBelongHoldEverythingBack) {
    const auto receipt = store(SystemOperationStatus::outcomeRecorded, 1);
    const auto other = UUID::random();
    struct Row {
        const char* name;
        std::string key;
        const char* sentence;
    };
    for (const auto& row :
         {Row{"no id", "systemOperations/not-a-uuid", "A system receipt has an invalid journal key."},
          Row{"the id of another", keyOf(other), "A system receipt does not match its journal key."}}) {
        SCOPED_TRACE(row.name);
        store().save(receipt, row.key);
        useEngine();
        EXPECT_EQ(sentenceOf<PersistenceError>([&] { engine().externalHistory(); }), row.sentence);
        EXPECT_EQ(sentenceOf<PersistenceError>([&] { engine().execute(folderPlan("never"), {}); }),
                  row.sentence);
        EXPECT_TRUE(engine().hasActiveOperation());
        store().remove(row.key);
        EXPECT_FALSE(engine().hasActiveOperation());
    }
    store().saveBytes("{}", keyOf(other));
    useEngine();
    EXPECT_THROW(engine().externalHistory(), DecodingError);
    EXPECT_EQ(store().loadBytes(keyOf(other)), "{}") << "refused, not repaired";
}

/// What a killed process leaves is read by the next one.
TEST(HandoffLeases, comeBackAfterACrash) {
    enum class Moment { beforeTheFirstWrite, whileLeased, beforeTheOutcomeIsWritten, afterTheEnd };
    struct Row {
        const char* name;
        Moment moment;
        bool isPresented;
    };
    for (const auto& row : {Row{"before the receipt was written", Moment::beforeTheFirstWrite, false},
                            Row{"while the system acts", Moment::whileLeased, true},
                            Row{"before the outcome was written", Moment::beforeTheOutcomeIsWritten, true},
                            Row{"after the end", Moment::afterTheEnd, false}}) {
        SCOPED_TRACE(row.name);
        const TemporaryFolder folder;
        const PrivateHome home(folder.url("home"));
        const auto file = folder.url("data/Morv.sqlite");
        const auto child = ::fork();
        if (child == 0) {
            // The parent has never opened this database: two connections after a fork would share their locks.
            SQLiteStore store(file);
            EngineObservers observers;
            observers.externalWrite = [&](const SystemOperationReceipt& receipt) {
                if (row.moment ==
                    (receipt.outcome ? Moment::beforeTheOutcomeIsWritten : Moment::beforeTheFirstWrite))
                    ::raise(SIGKILL);
            };
            FileOperationEngine engine(store, std::make_shared<SystemTrashProvider>(), observers);
            const auto token = engine.beginExternalMaintenance("Label", {});
            if (row.moment != Moment::whileLeased)
                engine.endExternalMaintenance(token, "Seen to finish.");
            ::raise(SIGKILL);
        }
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);

        SQLiteStore store(file);
        FileOperationEngine engine(store);
        const auto plan = engine.plan(
            {.kind = OperationKind::newFolder, .destination = folder.url(""), .newName = std::string("made")},
            {});
        std::stop_source stop;
        if (row.isPresented)
            stop.request_stop();
        EXPECT_EQ(engine.execute(plan, stop.get_token()).status,
                  row.isPresented ? OperationStatus::cancelled : OperationStatus::completed)
            << "it waits for the lease, until it is told not to";
        const auto lease = engine.activeExternalMaintenance();
        ASSERT_EQ(lease.has_value(), row.isPresented);
        if (!lease)
            continue;
        EXPECT_EQ(lease->status, SystemOperationStatus::requiresReview);
        EXPECT_EQ(lease->outcome, reviewSentence);
        EXPECT_FALSE(lease->finishedAt);
        engine.endExternalMaintenance(lease->id, "Checked.");
        EXPECT_FALSE(engine.hasActiveOperation());
    }
}

} // namespace
} // namespace morv::test
