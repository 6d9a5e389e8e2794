#include "MorvApp/Model/FinderTrashController.h"

#include "MorvCore/Foundation/SystemWords.h"
#include "MorvCore/Operations/FileOperationEngine.h"

#include <QPointer>
#include <fmt/format.h>
#include <utility>

namespace morv {

namespace {

constexpr std::size_t outcomeLimit = 3500;

// Begin, end and what the engine says in between keep their order. The lane of the operations may be full of
// those that wait for this very lease.
constexpr auto engineLane = TaskLane::records;

std::string description(int code, const std::optional<std::string>& detail) {
    switch (code) {
    case FinderTrashFailure::notAllowed:
    case FinderTrashFailure::consentRequired:
    case FinderTrashFailure::privilegeMissing:
        return std::string(words::trashNotAllowed);
    case FinderTrashFailure::timedOut:
        return std::string(words::trashTimedOut);
    case FinderTrashFailure::cancelledByUser:
        return std::string(words::trashCancelled);
    default:
        return fmt::format("{}{}). {}", words::trashNotConfirmed, code,
                           detail ? std::string_view(*detail) : words::trashCheckFirst);
    }
}

/// At most `limit` bytes, ending with a whole character.
void shorten(std::string& text, std::size_t limit) {
    if (text.size() <= limit)
        return;
    while (limit > 0 && (static_cast<unsigned char>(text[limit]) & 0xC0U) == 0x80U)
        --limit;
    text.resize(limit);
}

} // namespace

FinderTrashFailure::FinderTrashFailure(int code, std::optional<std::string> detail)
    : std::runtime_error(description(code, detail)), code_(code) {}

FinderTrashFailure FinderTrashFailure::of(const std::exception_ptr& thrown) {
    try {
        std::rethrow_exception(thrown);
    } catch (const FinderTrashFailure& failure) {
        return failure;
    } catch (const PosixError& error) {
        return FinderTrashFailure(error.code(), error.what());
    } catch (...) {
        return FinderTrashFailure(0, sentence(thrown));
    }
}

bool FinderTrashFailure::needsPermission() const {
    return code_ == notAllowed || code_ == consentRequired || code_ == privilegeMissing;
}

TrashHandoff TrashHandoff::of(FileOperationEngine& engine) {
    return {[&engine] { return engine.hasActiveOperation(); },
            [&engine](const std::string& label, const std::stop_token& stop) {
                return engine.beginExternalMaintenance(label, stop);
            },
            [&engine](const UUID& token, const std::string& outcome) {
                engine.endExternalMaintenance(token, outcome);
            }};
}

template <class Value>
void FinderTrashController::set(Value& field, Value value, void (FinderTrashController::*changed)()) {
    if (field == value)
        return;
    field = std::move(value);
    Q_EMIT(this->*changed)();
}

void FinderTrashController::say(std::string message, Tone tone) {
    set(hasError_, tone == Tone::problem, &FinderTrashController::hasErrorChanged);
    message_ = std::move(message);
    // Also when it says the same again: whoever has put it away is told anew.
    Q_EMIT messageChanged();
}

void FinderTrashController::ask(const TrashOperations::Confirmation& confirmation,
                                std::function<void(bool)> answer) {
    if (!confirmation)
        return answer(false);
    // The alert belongs to a window and may outlive this.
    confirmation([self = QPointer(this), answer = std::move(answer)](bool accepted) {
        if (self)
            answer(accepted);
    });
}

void FinderTrashController::requestEmptyTrash(TrashHandoff handoff) {
    if (isWorking_)
        return;
    handoff_ = std::move(handoff);
    cancellation_ = std::stop_source();
    set(hasError_, false, &FinderTrashController::hasErrorChanged);
    set(showsAutomationGuidance_, false, &FinderTrashController::showsAutomationGuidanceChanged);
    set(isWorking_, true, &FinderTrashController::isWorkingChanged);
    whenIdle(&FinderTrashController::confirm);
}

void FinderTrashController::whenIdle(void (FinderTrashController::*next)()) {
    tasks_.run(
        engineLane, [ask = handoff_.hasActiveOperation](const std::stop_token&) { return ask(); },
        [this, next](bool isBusy) {
            if (isBusy)
                endRequest(std::string(words::emptyTrashBusy), Tone::problem);
            else
                (this->*next)();
        },
        [this](const std::exception_ptr&) { endRequest(std::string(words::emptyTrashBusy), Tone::problem); });
}

void FinderTrashController::confirm() {
    say("Waiting for your Empty Trash decision…", Tone::plain);
    ask(operations_.confirmation, [this](bool accepted) {
        if (!accepted || cancellation_.stop_requested())
            return endRequest("Cancelled. No Empty Trash command was sent.", Tone::plain);
        // The alert may have stood open for long.
        whenIdle(&FinderTrashController::reserve);
    });
}

void FinderTrashController::reserve() {
    if (cancellation_.stop_requested())
        return endRequest("Cancelled. No Empty Trash command was sent.", Tone::plain);
    tasks_.run(
        engineLane,
        [begin = handoff_.begin, stop = cancellation_.get_token()](const std::stop_token&) {
            return begin(std::string(words::emptyTrashLabel), stop);
        },
        [this](const UUID& token) {
            lease_ = Lease{token, handoff_.end};
            if (!cancellation_.stop_requested())
                return dispatch();
            const std::string sentence = "Cancelled before dispatch. No Empty Trash command was sent.";
            endLease(sentence, sentence, Tone::plain);
        },
        [this](const std::exception_ptr& failure) {
            endRequest(fmt::format("{}{} No Empty Trash command was sent.", words::emptyTrashNotReserved,
                                   sentence(failure)),
                       Tone::problem);
        });
}

void FinderTrashController::dispatch() {
    say(std::string(words::emptyTrashUnderWay), Tone::plain);
    tasks_.run(
        // A thread of its own: the others may all be waiting.
        TaskLane::watching,
        [send = operations_.sender](const std::stop_token& stop) {
            if (!send)
                throw FinderTrashFailure(FinderTrashFailure::notReached);
            send(stop);
        },
        [this] { replied(); },
        [this](const std::exception_ptr& failure) { failed(FinderTrashFailure::of(failure)); });
}

void FinderTrashController::replied() {
    observedOutcome_ = words::emptyTrashReplied;
    set(awaitingFinderCompletion_, true, &FinderTrashController::awaitingFinderCompletionChanged);
    endRequest(std::string(words::emptyTrashAwaiting), Tone::plain);
}

void FinderTrashController::failed(const FinderTrashFailure& failure) {
    const std::string description = failure.what();
    set(showsAutomationGuidance_, failure.needsPermission(),
        &FinderTrashController::showsAutomationGuidanceChanged);
    if (failure.isRejection())
        return endLease(fmt::format("{}{}", words::emptyTrashRejected, description),
                        description + " No Empty Trash command took effect.", Tone::problem);
    observedOutcome_ = description;
    set(awaitingFinderCompletion_, true, &FinderTrashController::awaitingFinderCompletionChanged);
    endRequest(fmt::format("{}{}", description, words::emptyTrashPaused), Tone::problem);
}

void FinderTrashController::endRequest(std::string message, Tone tone) {
    say(std::move(message), tone);
    set(isWorking_, false, &FinderTrashController::isWorkingChanged);
}

void FinderTrashController::endLease(std::string outcome, const std::string& message, Tone tone) {
    shorten(outcome, outcomeLimit);
    const auto ended = [this](std::string said, Tone how) {
        lease_.reset();
        say(std::move(said), how);
        set(awaitingFinderCompletion_, false, &FinderTrashController::awaitingFinderCompletionChanged);
        set(isCompleting_, false, &FinderTrashController::isCompletingChanged);
        set(isWorking_, false, &FinderTrashController::isWorkingChanged);
        Q_EMIT leaseEnded();
    };
    tasks_.run(
        engineLane,
        [lease = *lease_, outcome = std::move(outcome)](const std::stop_token&) {
            lease.end(lease.token, outcome);
        },
        [ended, message, tone] { ended(message, tone); },
        // The engine has given the lease up all the same.
        [ended, message](const std::exception_ptr& failure) {
            ended(fmt::format("{} The outcome could not be recorded: {} Check Activity & Recovery.", message,
                              sentence(failure)),
                  Tone::problem);
        });
}

bool FinderTrashController::restorePendingMaintenance(const UUID& token, const std::string& context,
                                                      TrashHandoff::End end) {
    if (lease_ && lease_->token == token)
        return true;
    lease_ = Lease{token, std::move(end)};
    observedOutcome_ = context;
    say(fmt::format("{}{}", words::emptyTrashFoundAgain, context), Tone::problem);
    set(awaitingFinderCompletion_, true, &FinderTrashController::awaitingFinderCompletionChanged);
    return true;
}

void FinderTrashController::acknowledgeFinderFinished() {
    if (!awaitingFinderCompletion_ || !lease_ || isCompleting_)
        return;
    set(isCompleting_, true, &FinderTrashController::isCompletingChanged);
    ask(operations_.completionConfirmation, [this](bool accepted) {
        if (accepted)
            endLease(fmt::format("{}{}", observedOutcome_, words::emptyTrashUserChecked),
                     std::string(words::emptyTrashAcknowledged), Tone::plain);
        else
            set(isCompleting_, false, &FinderTrashController::isCompletingChanged);
    });
}

void FinderTrashController::openTrash() {
    if (isOpening_)
        return;
    set(isOpening_, true, &FinderTrashController::isOpeningChanged);
    const auto opened = [this](std::string message, Tone tone) {
        say(std::move(message), tone);
        set(isOpening_, false, &FinderTrashController::isOpeningChanged);
    };
    tasks_.run(
        TaskLane::reading,
        [open = operations_.opener](const std::stop_token&) {
            if (!open)
                throw FileOperationError::unavailable("No application is set up to show it.");
            open();
        },
        [opened] { opened(std::string(words::trashOpened), Tone::plain); },
        [this, opened](const std::exception_ptr& failure) {
            opened(fmt::format("{}{}{}", words::trashNotOpened, sentence(failure),
                               lease_ ? " Morv’s file operations remain paused." : ""),
                   Tone::problem);
        });
}

} // namespace morv
