#include "MorvCore/Operations/OperationQueue.h"

#include <algorithm>
#include <cassert>

namespace morv {

bool OperationQueue::admit(const UUID& id) {
    const MutexLock lock(mutex_);
    if (!reservedPlans_.insert(id).second)
        return false;
    waitingOrder_.push_back(id);
    return true;
}

bool OperationQueue::waitForTurn(const UUID& id, const std::stop_token& stop) {
    // Before the lock: a stop that was already requested calls back at once, on this thread.
    const std::stop_callback cancelOnStop(stop, [this, &id] { cancel(id); });
    MutexLock lock(mutex_);
    if (cancellations_.contains(id) || stop.stop_requested()) {
        leaveQueue(id);
        advance();
        return false;
    }
    if (!activeID_ && !waitingOrder_.empty() && waitingOrder_.front() == id) {
        waitingOrder_.pop_front();
        activeID_ = id;
        return true;
    }
    Parked parked;
    waitingTurns_[id] = &parked;
    advance();
    while (!parked.granted)
        lock.wait(parked.resumed);
    return *parked.granted;
}

bool OperationQueue::takeTurn(const UUID& id) {
    MutexLock lock(mutex_);
    while (!ending_.empty())
        lock.wait(ended_);
    if (activeID_ || !reservedPlans_.empty() || !waitingOrder_.empty())
        return false;
    // Nobody may be admitted under the same id meanwhile: its release would give this turn away.
    reservedPlans_.insert(id);
    activeID_ = id;
    return true;
}

void OperationQueue::takeTurnFirst(const UUID& id) {
    const MutexLock lock(mutex_);
    assert(!activeID_);
    reservedPlans_.insert(id);
    activeID_ = id;
}

void OperationQueue::passTurn(const UUID& from, const UUID& to) {
    const MutexLock lock(mutex_);
    assert(activeID_ == from);
    cancellations_.erase(from);
    reservedPlans_.erase(from);
    reservedPlans_.insert(to);
    activeID_ = to;
    activeCancellation_.reset();
}

std::shared_ptr<OperationCancellationToken> OperationQueue::beginCancellable(const UUID& id) {
    auto token = std::make_shared<OperationCancellationToken>();
    const MutexLock lock(mutex_);
    if (cancellations_.contains(id))
        token->cancel();
    activeCancellation_ = token;
    return token;
}

void OperationQueue::beginRelease(const UUID& id) {
    const MutexLock lock(mutex_);
    ending_.insert(id);
}

void OperationQueue::release(const UUID& id) {
    const MutexLock lock(mutex_);
    if (ending_.erase(id) > 0)
        ended_.notify_all();
    if (activeID_ == id) {
        activeID_.reset();
        activeCancellation_.reset();
    }
    cancellations_.erase(id);
    reservedPlans_.erase(id);
    leaveQueue(id);
    advance();
}

void OperationQueue::cancel(const std::optional<UUID>& id) {
    std::shared_ptr<OperationCancellationToken> token;
    {
        const MutexLock lock(mutex_);
        const auto target = id ? id : activeID_;
        if (!target)
            return;
        cancellations_.insert(*target);
        if (activeID_ == target) {
            token = activeCancellation_;
        } else {
            leaveQueue(*target);
            if (const auto found = waitingTurns_.find(*target); found != waitingTurns_.end()) {
                found->second->granted = false;
                found->second->resumed.notify_all();
                waitingTurns_.erase(found);
            }
            advance();
        }
    }
    if (token)
        token->cancel();
}

bool OperationQueue::isBusy() const {
    const MutexLock lock(mutex_);
    return activeID_ || !waitingOrder_.empty() || !reservedPlans_.empty();
}

bool OperationQueue::owns(const UUID& id) const {
    const MutexLock lock(mutex_);
    return activeID_ == id || reservedPlans_.contains(id);
}

/// Gives the turn to the head of the queue, once that has reached waitForTurn(): nobody overtakes it.
void OperationQueue::advance() {
    if (activeID_ || waitingOrder_.empty())
        return;
    const auto found = waitingTurns_.find(waitingOrder_.front());
    if (found == waitingTurns_.end())
        return;
    activeID_ = found->first;
    found->second->granted = true;
    found->second->resumed.notify_all();
    waitingTurns_.erase(found);
    waitingOrder_.pop_front();
}

void OperationQueue::leaveQueue(const UUID& id) {
    std::erase(waitingOrder_, id);
}

} // namespace morv
