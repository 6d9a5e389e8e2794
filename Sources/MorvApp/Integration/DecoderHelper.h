// One running morv-decoder (Sources/MorvDecoder/DecoderProtocol.h says what is said to it).
//
// Trust       it has read strangers' files: every number of its answers is checked, texts are made valid, and the
//             picture is copied out of the memory that both sides share, as are the highlights of a text
// Threading   confined to one thread at a time
#pragma once

#include "MorvApp/Model/MediaDecoder.h"
#include "MorvApp/Model/TextHighlighter.h"
#include "MorvCore/Platform/ChildProcess.h"
#include "MorvCore/Platform/Descriptor.h"

#include <chrono>
#include <stop_token>
#include <string>
#include <vector>

namespace morv {

struct DecoderAnswer;
struct DecoderRequest;

/// It did not start, or had ended before it was asked: of the file that says nothing.
class DecoderGone : public MediaError {
public:
    using MediaError::MediaError;
};

/// The time was over: perhaps the file never ends, perhaps the machine was busy.
class DecoderTooSlow : public MediaError {
public:
    using MediaError::MediaError;
};

class DecoderHelper {
public:
    using Moment = std::chrono::steady_clock::time_point;

    /// Throws PosixError when the program cannot be started.
    explicit DecoderHelper(const FileURL& program);

    /// `file` is open for reading. Throws MediaError with a sentence for people (DecoderGone when the request was not
    /// heard), CancellationError. After anything but a refusal of the file the helper is of no more use.
    DecodedMedia decode(const Descriptor& file, const MediaRequest& request, Moment deadline,
                        const std::stop_token& stop);
    /// The same of a text.
    std::vector<TextHighlight> highlight(const HighlightRequest& request, Moment deadline,
                                         const std::stop_token& stop);
    /// It has answered everything that it was asked.
    bool isSound() const { return isSound_; }
    int served() const { return served_; }
    pid_t process() const { return child_.process(); }

private:
    struct Channel {
        Channel();
        Descriptor ours;
        Descriptor theirs;
    };
    DecoderHelper(const FileURL& program, Channel channel);

    void awaitGreeting(Moment deadline, const std::stop_token& stop);
    std::string exchange(const DecoderRequest& request, int file, int canvas, Moment deadline,
                         const std::stop_token& stop);
    void endExchange(const DecoderAnswer& answer);

    Descriptor socket_;
    RunningChild child_;
    bool isReady_ = false;
    bool isSound_ = true;
    int served_ = 0;
};

} // namespace morv
