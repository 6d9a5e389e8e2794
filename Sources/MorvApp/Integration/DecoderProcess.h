// Pictures and facts of files, and the words of texts, from morv-decoder: a few helper processes, made when they are
// needed.
//
// Invariants  I1  a helper serves one request at a time; one that died, hung, was cancelled or talks nonsense is
//                 killed and never asked again
//             I2  only regular files are opened, never a device, a pipe or a file whose content is with a sync
//                 service, and never in a way that waits for another process
//             I3  helpers that nobody has needed for a while are ended; none outlives this object
// Threading   safe to share
#pragma once

#include "MorvApp/Integration/DecoderHelper.h"
#include "MorvCore/Foundation/Mutex.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <thread>
#include <vector>

namespace morv {

struct DecoderLimits {
    FileURL program;
    int helpers = 1;
    std::chrono::milliseconds patience{10'000}; ///< of wall time for one request, from when a helper has it
    std::chrono::milliseconds highlightPatience{
        4'000}; ///< for that of a text, which is shown without it, too
    std::chrono::milliseconds idle{10'000};
    int requestsPerHelper = 500; ///< what a library leaks goes with its process

    /// The helper beside this program, else where it is installed; as many as there are cores, at most four.
    static DecoderLimits standard();
};

class DecoderProcess : public MediaDecoder, public TextHighlighter {
public:
    explicit DecoderProcess(DecoderLimits limits);
    ~DecoderProcess() override;

    DecodedMedia decode(const MediaRequest& request, const std::stop_token& stop) const override;
    bool understands(const FileURL& file) const override;
    std::vector<TextHighlight> highlight(const HighlightRequest& request,
                                         const std::stop_token& stop) const override;

private:
    using Clock = std::chrono::steady_clock;
    struct Idle {
        std::unique_ptr<DecoderHelper> helper;
        Clock::time_point since;
    };
    class Lease;

    template <class Ask>
    auto served(const std::stop_token& stop, const Ask& ask) const;
    std::unique_ptr<DecoderHelper> take(const std::stop_token& stop) const;
    void giveBack(std::unique_ptr<DecoderHelper> helper) const;
    void endIdle(const std::stop_token& stop) const;

    const DecoderLimits limits_;
    mutable Mutex mutex_;
    mutable std::condition_variable changed_;
    mutable std::vector<Idle> idle_ MORV_GUARDED_BY(mutex_); ///< the longest idle first
    mutable int busy_ MORV_GUARDED_BY(mutex_) = 0;
    std::jthread keeper_;
};

} // namespace morv
