// Stopping work at its stated checkpoints.
#pragma once

#include "MorvCore/Foundation/Errors.h"

#include <stop_token>

namespace morv {

/// Throws CancellationError when a stop was requested.
inline void checkCancelled(const std::stop_token& stop) {
    if (stop.stop_requested())
        throw CancellationError();
}

/// A checkpoint cheap enough for every comparison of a sort: a thousandth of the calls ask. The algorithms of
/// the standard library let what a comparison throws pass, and leave the elements in some order.
class SparseCheckpoint {
public:
    explicit SparseCheckpoint(const std::stop_token& stop) : stop_(stop) {}

    void operator()() {
        if ((++calls_ & 1023U) == 0)
            checkCancelled(stop_);
    }

private:
    const std::stop_token& stop_;
    unsigned calls_ = 0;
};

/// A flag that is only ever set, shared between an operation and whoever may cancel it. Safe to share.
class OperationCancellationToken {
public:
    void cancel() { source_.request_stop(); }
    bool isCancelled() const { return source_.stop_requested(); }
    /// For file work that polls a stop_token.
    std::stop_token token() const { return source_.get_token(); }

private:
    std::stop_source source_;
};

} // namespace morv
