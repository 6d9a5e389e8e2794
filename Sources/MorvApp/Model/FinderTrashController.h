// Emptying the system's Trash: the one destructive act, which the system carries out on the user's word.
//
// Protocol    requestEmptyTrash() asks the user, takes a lease of the engine (HandoffLeases.h) and sends the
//             request; acknowledgeFinderFinished() asks whether the system has finished and gives the lease
//             back. restorePendingMaintenance() takes over a lease that an earlier process left
// Invariants  I1  nothing is sent without a lease on disk and the user's answer, and nothing is sent twice
//             I2  nothing is ever reported as emptied: what the system did cannot be seen from here
//             I3  once the request may have reached the system, only the user's acknowledgement ends the lease
// Threading   confined to the main thread; the engine, the sender and the opener run on workers
#pragma once

#include "MorvApp/Model/TaskScope.h"
#include "MorvCore/Foundation/UUID.h"

#include <QObject>
#include <functional>
#include <optional>
#include <stdexcept>
#include <stop_token>
#include <string>

namespace morv {

class FileOperationEngine;

/// The system did not say that it emptied Trash; what() is a sentence.
class FinderTrashFailure : public std::runtime_error {
public:
    static constexpr int notAllowed = -1743;
    static constexpr int consentRequired = -1744;
    static constexpr int privilegeMissing = -10004;
    static constexpr int notReached = -600; ///< missing, or refused before anything was done
    static constexpr int timedOut = -1712;
    static constexpr int cancelledByUser = -128;

    explicit FinderTrashFailure(int code, std::optional<std::string> detail = {});
    /// Of any error: its code where it has one, and its sentence.
    static FinderTrashFailure of(const std::exception_ptr& thrown);

    int code() const { return code_; }
    bool needsPermission() const;
    /// The request never came to be processed.
    bool isRejection() const { return needsPermission() || code_ == notReached; }

private:
    int code_;
};

/// What the controller needs of the engine. Called on workers; begin and end may throw.
struct TrashHandoff {
    using End = std::function<void(const UUID& token, const std::string& outcome)>;

    static TrashHandoff of(FileOperationEngine& engine);

    std::function<bool()> hasActiveOperation;
    std::function<UUID(const std::string& label, const std::stop_token& stop)> begin;
    End end;
};

/// What the controller needs of the system and of the window.
struct TrashOperations {
    /// Shows an alert and calls back once, on the main thread: whether it was accepted.
    using Confirmation = std::function<void(std::function<void(bool)>)>;

    Confirmation confirmation;
    Confirmation completionConfirmation;
    std::function<void(const std::stop_token&)> sender; ///< on a worker; throws, best FinderTrashFailure
    std::function<void()> opener;                       ///< on a worker; throws with a sentence
};

class FinderTrashController : public QObject {
    Q_OBJECT

public:
    explicit FinderTrashController(TaskPools& pools, TrashOperations operations = {})
        : operations_(std::move(operations)), tasks_(pools) {}

    /// Without a confirmation nothing is accepted, without a sender nothing is reached.
    void setOperations(TrashOperations operations) { operations_ = std::move(operations); }

    bool isWorking() const { return isWorking_; }
    bool isOpening() const { return isOpening_; }
    bool isCompleting() const { return isCompleting_; }
    bool awaitingFinderCompletion() const { return awaitingFinderCompletion_; }
    const std::optional<std::string>& message() const { return message_; }
    bool hasError() const { return hasError_; }
    bool showsAutomationGuidance() const { return showsAutomationGuidance_; }

    /// Does nothing while a request is under way.
    void requestEmptyTrash(TrashHandoff handoff);
    /// Before the request is sent, ends it; afterwards it changes nothing.
    void cancelRequest() { cancellation_.request_stop(); }
    /// `context` says what is known of the lease. True when the lease is now held, also when it was before.
    bool restorePendingMaintenance(const UUID& token, const std::string& context, TrashHandoff::End end);
    void acknowledgeFinderFinished();
    void openTrash();

Q_SIGNALS:
    void isWorkingChanged();
    void isOpeningChanged();
    void isCompletingChanged();
    void awaitingFinderCompletionChanged();
    void messageChanged();
    void hasErrorChanged();
    void showsAutomationGuidanceChanged();
    /// A lease was given up. Another that was left may be in force now.
    void leaseEnded();

private:
    struct Lease {
        UUID token;
        TrashHandoff::End end;
    };
    enum class Tone : std::uint8_t { plain, problem };

    /// Goes on when the engine is idle; else the request ends.
    void whenIdle(void (FinderTrashController::*next)());
    void confirm();
    void reserve();
    void dispatch();
    void replied();
    void failed(const FinderTrashFailure& failure);
    void endRequest(std::string message, Tone tone);
    void endLease(std::string outcome, const std::string& message, Tone tone);
    void ask(const TrashOperations::Confirmation& confirmation, std::function<void(bool)> answer);
    void say(std::string message, Tone tone);
    template <class Value>
    void set(Value& field, Value value, void (FinderTrashController::*changed)());

    TrashOperations operations_;
    TrashHandoff handoff_;
    std::stop_source cancellation_;
    std::optional<Lease> lease_;
    std::string observedOutcome_;
    bool isWorking_ = false;
    bool isOpening_ = false;
    bool isCompleting_ = false;
    bool awaitingFinderCompletion_ = false;
    std::optional<std::string> message_;
    bool hasError_ = false;
    bool showsAutomationGuidance_ = false;
    TaskScope tasks_;
};

} // namespace morv
