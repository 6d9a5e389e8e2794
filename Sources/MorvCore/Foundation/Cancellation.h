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
