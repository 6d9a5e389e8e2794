#include "MorvApp/Model/FinderTrashController.h"
#include "MorvApp/Model/MorvRuntime.h"
#include "Tests/MorvApp/Support.h"
#include "Tests/Support/Gate.h"

#include <QThread>
#include <atomic>

namespace morv {
namespace {

using test::eventually;
using test::Gate;

constexpr const char* busySentence =
    "Finish Morv’s active or queued file operations, or review a paused Trash handoff in Activity & "
    "Recovery, before emptying Trash. No Empty Trash command was sent.";
constexpr const char* cancelledSentence = "Cancelled. No Empty Trash command was sent.";
constexpr const char* checkedSentence =
    " User explicitly checked the Trash service and acknowledged the action finished or was cancelled. No "
    "command was replayed; this is not disk verification or an Undo guarantee.";
constexpr const char* acknowledgedSentence =
    "Trash handoff acknowledged. Morv’s queued file operations may continue. Permanently emptied items "
    "cannot be restored with Morv Undo.";

/// A controller whose engine and system the test plays.
class FinderTrash : public testing::Test {
protected:
    FinderTrash() {
        controller.setOperations({[this](auto answer) {
                                      ++asked;
                                      if (holdsAnswer)
                                          heldAnswer = std::move(answer);
                                      else
                                          answer(accepts);
                                  },
                                  [this](auto answer) {
                                      ++askedForCompletion;
                                      answer(accepts);
                                  },
                                  [this](const std::stop_token&) {
                                      ++sent;
                                      isOnMain = isOnMain || QThread::currentThread() == main;
                                      if (gate)
                                          gate->wait();
                                      if (failure)
                                          throw FinderTrashFailure(*failure, detail);
                                  },
                                  [this] {
                                      ++opened;
                                      if (failure)
                                          throw std::runtime_error("No file manager.");
                                  }});
    }

    TrashHandoff handoff() {
        return {[this] { return ++idleQuestions > idleAnswers; },
                [this](const std::string& label, const std::stop_token&) {
                    isOnMain = isOnMain || QThread::currentThread() == main;
                    beganWith = label;
                    if (onBegin)
                        onBegin();
                    return token;
                },
                [this](const UUID& ended, const std::string& outcome) {
                    EXPECT_EQ(ended, token);
                    endedWith = outcome;
                    if (endFails)
                        throw std::runtime_error("The disk is full.");
                }};
    }
    void request() { controller.requestEmptyTrash(handoff()); }
    bool rests() {
        return eventually([this] { return !controller.isWorking() && !controller.isCompleting(); });
    }
    void acknowledge() {
        controller.acknowledgeFinderFinished();
        EXPECT_TRUE(rests());
    }

    TaskPools pools;
    const QThread* main = QThread::currentThread();
    const UUID token = UUID::random();
    bool accepts = true, holdsAnswer = false, endFails = false;
    std::function<void(bool)> heldAnswer;
    std::function<void()> onBegin;
    std::unique_ptr<Gate> gate;
    std::optional<int> failure;
    std::optional<std::string> detail;
    int asked = 0, askedForCompletion = 0;
    int idleAnswers = 2; ///< so often the engine is idle
    std::atomic<int> idleQuestions = 0, sent = 0, opened = 0;
    std::atomic<bool> isOnMain = false;
    std::string beganWith, endedWith;
    FinderTrashController controller{pools};
};

TEST_F(FinderTrash, aReplyReleasesNothingUntilTheUserHasChecked) {
    gate = std::make_unique<Gate>();
    request();
    EXPECT_TRUE(controller.isWorking());
    ASSERT_TRUE(eventually([this] { return sent == 1; }));
    EXPECT_EQ(controller.message(),
              "The Trash service is handling Empty Trash. Follow any confirmation it shows.");
    request();
    gate->open();
    ASSERT_TRUE(rests());
    EXPECT_EQ(sent, 1) << "a second request during a first does nothing";
    EXPECT_EQ(asked, 1);
    EXPECT_FALSE(isOnMain);
    EXPECT_EQ(beganWith, "System Empty Trash (permanent)");
    EXPECT_TRUE(controller.awaitingFinderCompletion());
    EXPECT_FALSE(controller.hasError());
    EXPECT_EQ(endedWith, "");
    EXPECT_EQ(
        controller.message(),
        "The Trash service replied. Check that its Empty Trash work has finished or been cancelled, then "
        "confirm below. Morv’s queued file operations remain paused.");

    accepts = false;
    acknowledge();
    EXPECT_TRUE(controller.awaitingFinderCompletion()) << "declined: nothing changes";
    accepts = true;
    acknowledge();
    EXPECT_FALSE(controller.awaitingFinderCompletion());
    EXPECT_EQ(endedWith, std::string("The Trash service replied without a reported error. Actual Trash "
                                     "contents were not verified.") +
                             checkedSentence);
    EXPECT_EQ(controller.message(), acknowledgedSentence);
    acknowledge();
    EXPECT_EQ(askedForCompletion, 2) << "a second acknowledgement asks nothing";
}

TEST_F(FinderTrash, whatWasNotSentSaysSo) {
    struct Row {
        const char* name;
        int idleAnswers;
        bool accepts;
        int sendsBeforeEnd;
        const char* sentence;
        bool isError;
    };
    for (const auto& row : {Row{"busy at once", 0, true, 0, busySentence, true},
                            Row{"busy after the alert", 1, true, 0, busySentence, true},
                            Row{"declined", 2, false, 0, cancelledSentence, false}}) {
        SCOPED_TRACE(row.name);
        idleQuestions = 0;
        idleAnswers = row.idleAnswers;
        accepts = row.accepts;
        request();
        ASSERT_TRUE(rests());
        EXPECT_EQ(controller.message(), row.sentence);
        EXPECT_EQ(controller.hasError(), row.isError);
        EXPECT_FALSE(controller.awaitingFinderCompletion());
    }
    EXPECT_EQ(asked, 2) << "not while the engine is busy";
    EXPECT_EQ(beganWith, "");

    idleQuestions = 0;
    accepts = true;
    onBegin = [] { throw std::runtime_error("Another file operation is still running."); };
    request();
    ASSERT_TRUE(rests());
    EXPECT_EQ(controller.message(), "Couldn’t reserve the Trash handoff: Another file operation is still "
                                    "running. No Empty Trash command was sent.");
    EXPECT_TRUE(controller.hasError());
    EXPECT_EQ(sent, 0);
}

TEST_F(FinderTrash, cancellationIsHonouredUntilTheRequestIsSent) {
    holdsAnswer = true;
    request();
    ASSERT_TRUE(eventually([this] { return static_cast<bool>(heldAnswer); }));
    EXPECT_EQ(controller.message(), "Waiting for your Empty Trash decision…");
    controller.cancelRequest();
    heldAnswer(true);
    ASSERT_TRUE(rests());
    EXPECT_EQ(controller.message(), cancelledSentence);
    EXPECT_EQ(beganWith, "");

    holdsAnswer = false;
    idleQuestions = 0;
    onBegin = [this] { controller.cancelRequest(); };
    request();
    ASSERT_TRUE(rests());
    EXPECT_EQ(controller.message(), "Cancelled before dispatch. No Empty Trash command was sent.");
    EXPECT_EQ(endedWith, controller.message());
    EXPECT_FALSE(controller.hasError() || controller.awaitingFinderCompletion());
    EXPECT_EQ(sent, 0);
}

TEST_F(FinderTrash, aFailureReleasesTheLeaseOnlyWhenNothingReachedTheService) {
    const std::string blocked = "The system did not let Morv use its Trash service. Allow it and try again. "
                                "Morv has not reported the "
                                "Trash as emptied.";
    struct Row {
        int code;
        std::optional<std::string> detail;
        std::string description;
        bool isRejection;
        bool guides;
    };
    for (const auto& row : std::vector<Row>{
             {-1743, {}, blocked, true, true},
             {-1744, "ignored", blocked, true, true},
             {-10004, {}, blocked, true, true},
             {-600, "Gone.", "The Trash service did not confirm Empty Trash (error -600). Gone.", true,
              false},
             {-1712,
              {},
              "The Trash service did not confirm completion before the request timed out. It may still be "
              "working. Check Trash in the system file manager before trying again. Morv has not verified "
              "that "
              "the Trash is empty.",
              false,
              false},
             {-128,
              {},
              "The Trash service cancelled Empty Trash. Morv has not reported any files as permanently "
              "removed.",
              false,
              false},
             {14,
              {},
              "The Trash service did not confirm Empty Trash (error 14). Check Trash in the system file "
              "manager "
              "before trying again.",
              false,
              false}}) {
        SCOPED_TRACE(row.code);
        idleQuestions = 0;
        endedWith.clear();
        failure = row.code;
        detail = row.detail;
        request();
        ASSERT_TRUE(rests());
        EXPECT_EQ(controller.awaitingFinderCompletion(), !row.isRejection);
        EXPECT_EQ(controller.showsAutomationGuidance(), row.guides);
        EXPECT_TRUE(controller.hasError());
        if (row.isRejection) {
            EXPECT_EQ(endedWith, "Trash handoff was rejected before processing: " + row.description);
            EXPECT_EQ(controller.message(), row.description + " No Empty Trash command took effect.");
            continue;
        }
        EXPECT_EQ(controller.message(),
                  row.description + " Morv’s file operations remain paused until you check the Trash service "
                                    "and confirm it has finished or been cancelled.");
        acknowledge();
        EXPECT_EQ(endedWith, row.description + checkedSentence);
        EXPECT_FALSE(controller.hasError());
    }
}

TEST_F(FinderTrash, anOutcomeIsCutBetweenCharactersAndALostOneIsToldOf) {
    failure = 14;
    // The piece after the last whole character that fits has three bytes, of which two would fit.
    const std::string head = "The Trash service did not confirm Empty Trash (error 14). ";
    detail = std::string(3498 - head.size(), 'd') + "…" + std::string(1000, 'd');
    endFails = true;
    request();
    ASSERT_TRUE(rests());
    acknowledge();
    EXPECT_EQ(endedWith, head + std::string(3498 - head.size(), 'd'));
    EXPECT_FALSE(controller.awaitingFinderCompletion()) << "the engine has given the lease up all the same";
    EXPECT_TRUE(controller.hasError());
    EXPECT_EQ(controller.message(),
              std::string(acknowledgedSentence) +
                  " The outcome could not be recorded: The disk is full. Check Activity "
                  "& Recovery.");
}

TEST_F(FinderTrash, openingTrashSaysWhatItDidAndThatThePauseGoesOn) {
    controller.openTrash();
    controller.openTrash();
    ASSERT_TRUE(eventually([this] { return !controller.isOpening(); }));
    EXPECT_EQ(opened, 1);
    EXPECT_EQ(controller.message(),
              "Opened Trash in the system file manager. Opening it does not remove anything.");
    failure = 1;
    controller.openTrash();
    ASSERT_TRUE(eventually([this] { return !controller.isOpening(); }));
    EXPECT_EQ(controller.message(), "Couldn’t open Trash in the system file manager: No file manager.");
    controller.restorePendingMaintenance(token, "Context.", handoff().end);
    controller.openTrash();
    ASSERT_TRUE(eventually([this] { return !controller.isOpening(); }));
    EXPECT_EQ(controller.message(), "Couldn’t open Trash in the system file manager: No file manager. Morv’s "
                                    "file operations remain paused.");
    EXPECT_TRUE(controller.awaitingFinderCompletion());
}

class HandoffAtStart : public test::ModelTest {};

TEST_F(HandoffAtStart, aLeaseThatWasLeftIsPresentedAndNothingIsSentAgain) {
    for (const double time : {2.0, 1.0}) {
        SQLiteStore store(MorvServices::dataDirectory(environment()).child("Morv.sqlite"));
        SystemOperationReceipt receipt;
        receipt.id = UUID::random();
        receipt.kind = "emptyTrash";
        receipt.label = "System Empty Trash (permanent)";
        receipt.createdAt = {time};
        store.save(receipt, "systemOperations/" + receipt.id.text());
    }
    const auto source = file("waits");
    MorvServices services(environment());
    auto& trash = services.trash;
    int sent = 0;
    trash.setOperations({{}, [](auto answer) { answer(true); }, [&](const auto&) { ++sent; }, {}});
    AppModel app(services, board, work);
    ASSERT_TRUE(idle(app));
    select(app, {"waits"});
    app.perform(FileCommand::trash);
    for (const double time : {1.0, 2.0}) {
        SCOPED_TRACE(time);
        ASSERT_TRUE(eventually([&] {
            const auto held = services.engine.activeExternalMaintenance();
            return trash.awaitingFinderCompletion() && held && held->createdAt == Date{time};
        }));
        EXPECT_TRUE(trash.hasError());
        const auto context = *services.engine.activeExternalMaintenance()->outcome;
        EXPECT_EQ(
            trash.message(),
            "A previous Trash handoff needs review. Check the Trash service’s confirmation and progress "
            "before releasing Morv’s queued file operations. Empty Trash will not be sent again. " +
                context);
        ASSERT_TRUE(eventually([&] {
            return app.receipts().size() == 1 && app.receipts()[0].status == OperationStatus::queued;
        }));
        EXPECT_TRUE(exists(source));
        services.emptyTrash();
        ASSERT_TRUE(eventually([&] { return !trash.isWorking(); }));
        EXPECT_EQ(trash.message(), busySentence);
        EXPECT_TRUE(trash.awaitingFinderCompletion());
        services.presentPendingHandoff();
        trash.acknowledgeFinderFinished();
        ASSERT_TRUE(eventually([&] { return !trash.isCompleting(); }));
    }
    EXPECT_TRUE(ended(app, 1));
    EXPECT_FALSE(exists(source));
    EXPECT_FALSE(trash.awaitingFinderCompletion());
    EXPECT_EQ(sent, 0);
    for (const auto& handoff : services.engine.externalHistory())
        EXPECT_TRUE(handoff.outcome->ends_with(checkedSentence)) << *handoff.outcome;
}

} // namespace
} // namespace morv
