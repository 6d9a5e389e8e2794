#include "MorvApp/Integration/DecoderHelper.h"

#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvDecoder/DecoderProtocol.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <span>
#include <string_view>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <utility>

namespace morv {

namespace {

static_assert(highlightedTextLimit == largestHighlightedText);
constexpr const char* ended = "The file could not be decoded: its reader ended unexpectedly.";

[[noreturn]] void throwRefusal(DecoderRefusal refusal) {
    switch (refusal) {
    case DecoderRefusal::unknown:
        throw MediaError("There is no preview for this kind of file.");
    case DecoderRefusal::tooLarge:
        throw MediaError("The picture is too large for a preview.");
    case DecoderRefusal::locked:
        throw MediaError("The document is protected by a password.");
    case DecoderRefusal::noPage:
        throw MediaError("The document has fewer pages.");
    case DecoderRefusal::none:
    case DecoderRefusal::damaged:
        break;
    }
    throw MediaError("The file is damaged, or not what its name says.");
}

/// Memory that both sides see; its size cannot be changed by either.
class SharedMemory {
public:
    explicit SharedMemory(std::size_t size) {
        memory_ = Descriptor(::memfd_create("morv-canvas", MFD_CLOEXEC | MFD_ALLOW_SEALING));
        if (!memory_ || ::ftruncate(memory_.get(), static_cast<off_t>(size)) != 0 ||
            ::fcntl(memory_.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0)
            throw PosixError(errno);
    }
    explicit SharedMemory(std::string_view bytes) : SharedMemory(bytes.size()) {
        for (std::size_t done = 0; done < bytes.size();) {
            const auto count =
                ::pwrite(memory_.get(), bytes.data() + done, bytes.size() - done, static_cast<off_t>(done));
            if (count <= 0)
                throw PosixError(count < 0 ? errno : EIO);
            done += static_cast<std::size_t>(count);
        }
    }

    int descriptor() const { return memory_.get(); }
    /// Its first bytes, as they are now.
    std::shared_ptr<const std::byte> copy(std::size_t length) const {
        auto bytes = std::make_unique_for_overwrite<std::byte[]>(length);
        std::size_t done = 0;
        while (done < length) {
            const auto count =
                ::pread(memory_.get(), bytes.get() + done, length - done, static_cast<off_t>(done));
            if (count <= 0)
                throw PosixError(count < 0 ? errno : EIO);
            done += static_cast<std::size_t>(count);
        }
        auto shared = std::shared_ptr<const std::byte[]>(std::move(bytes));
        return {shared, shared.get()};
    }

private:
    Descriptor memory_;
};

bool ask(int socket, const DecoderRequest& request, int file, int canvas) {
    DecoderRequest copy = request;
    iovec place{&copy, sizeof copy};
    const std::array descriptors{file, canvas};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof descriptors)> control{};
    msghdr message{};
    message.msg_iov = &place;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    auto* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof descriptors);
    std::memcpy(CMSG_DATA(header), descriptors.data(), sizeof descriptors);
    ssize_t count = 0;
    do
        count = ::sendmsg(socket, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    while (count < 0 && errno == EINTR);
    return count == static_cast<ssize_t>(sizeof copy);
}

int millisecondsUntil(DecoderHelper::Moment moment) {
    using std::chrono::milliseconds;
    const auto left = std::chrono::ceil<milliseconds>(moment - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<milliseconds::rep>(left.count(), 0, INT_MAX));
}

/// Waits for the answer; empty when the other side has gone.
std::string receive(int socket, DecoderHelper::Moment deadline, const std::stop_token& stop) {
    const Descriptor stopped(::eventfd(0, EFD_CLOEXEC));
    if (!stopped)
        throw PosixError(errno);
    const std::stop_callback wake(stop, [&stopped] { ::eventfd_write(stopped.get(), 1); });
    while (true) {
        checkCancelled(stop);
        const int patience = millisecondsUntil(deadline);
        if (patience == 0)
            throw DecoderTooSlow("The file took too long to decode.");
        std::array<pollfd, 2> events{{{stopped.get(), POLLIN, 0}, {socket, POLLIN, 0}}};
        if (::poll(events.data(), events.size(), patience) < 0 && errno != EINTR)
            throw PosixError(errno);
        if (events[1].revents == 0)
            continue;
        // One byte more than is allowed tells that there was more.
        std::string message(largestAnswer + 1, '\0');
        const auto count = ::recv(socket, message.data(), message.size(), MSG_DONTWAIT);
        if (count < 0 && (errno == EINTR || errno == EAGAIN))
            continue;
        message.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
        return message;
    }
}

/// Takes a text off the beginning of what is left.
std::optional<std::string> takeText(std::string_view& left) {
    std::uint16_t length = 0;
    if (left.size() < sizeof length)
        return std::nullopt;
    std::memcpy(&length, left.data(), sizeof length);
    left.remove_prefix(sizeof length);
    if (length > longestFact || length > left.size())
        return std::nullopt;
    auto text = repairedUTF8(left.substr(0, length));
    left.remove_prefix(length);
    return text;
}

/// Nothing when it is no answer to a request for `side`.
std::optional<DecodedMedia> parse(std::string_view message, int side, DecoderAnswer& head) {
    if (message.size() < sizeof head || message.size() > largestAnswer)
        return std::nullopt;
    std::memcpy(&head, message.data(), sizeof head);
    message.remove_prefix(sizeof head);
    DecodedMedia media;
    if (head.refusal != DecoderRefusal::none)
        return media;
    const bool isPicture = head.width > 0 && head.height > 0;
    if (head.width < 0 || head.height < 0 || head.width > side || head.height > side ||
        (!isPicture && (head.width != 0 || head.height != 0)) || head.naturalWidth < 0 ||
        head.naturalHeight < 0 || head.pageCount < 0 || head.factCount > mostFacts)
        return std::nullopt;
    media.picture.width = head.width;
    media.picture.height = head.height;
    media.naturalWidth = head.naturalWidth;
    media.naturalHeight = head.naturalHeight;
    media.pageCount = head.pageCount;
    for (std::uint32_t i = 0; i < head.factCount; ++i) {
        auto title = takeText(message);
        auto value = title ? takeText(message) : std::nullopt;
        if (!value)
            return std::nullopt;
        media.facts.push_back({std::move(*title), std::move(*value)});
    }
    return media;
}

constexpr std::array styles = {
    std::pair{DecodedStyle::comment, TextStyle::comment},
    std::pair{DecodedStyle::string, TextStyle::string},
    std::pair{DecodedStyle::keyword, TextStyle::keyword},
    std::pair{DecodedStyle::type, TextStyle::type},
    std::pair{DecodedStyle::number, TextStyle::number},
    std::pair{DecodedStyle::preprocessor, TextStyle::preprocessor},
    std::pair{DecodedStyle::function, TextStyle::function},
    std::pair{DecodedStyle::variable, TextStyle::variable},
    std::pair{DecodedStyle::inserted, TextStyle::inserted},
    std::pair{DecodedStyle::removed, TextStyle::removed},
};

/// Nothing when one of them is not what the protocol allows.
std::optional<std::vector<TextHighlight>> checked(std::span<const DecodedHighlight> told,
                                                  std::string_view text) {
    const auto isBetweenCharacters = [text](std::size_t byte) {
        return byte == text.size() || (static_cast<unsigned char>(text[byte]) & 0xC0U) != 0x80U;
    };
    std::vector<TextHighlight> result;
    result.reserve(told.size());
    std::size_t end = 0;
    for (const auto& each : told) {
        const auto* style =
            std::ranges::find(styles, each.style, [](const auto& pair) { return pair.first; });
        if (style == styles.end() || each.length == 0 || each.start < end || each.start > text.size() ||
            each.length > text.size() - each.start || !isBetweenCharacters(each.start) ||
            !isBetweenCharacters(each.start + each.length))
            return std::nullopt;
        result.push_back({each.start, each.length, style->second});
        end = each.start + each.length;
    }
    return result;
}

} // namespace

DecoderHelper::Channel::Channel() {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
        throw PosixError(errno);
    ours = Descriptor(ends[0]);
    theirs = Descriptor(ends[1]);
}

DecoderHelper::DecoderHelper(const FileURL& program) : DecoderHelper(program, Channel()) {}

DecoderHelper::DecoderHelper(const FileURL& program, Channel channel)
    : socket_(std::move(channel.ours)),
      child_(RunningChild::serving(program.path(), {"LC_ALL=C.UTF-8"}, std::move(channel.theirs))) {}

void DecoderHelper::awaitGreeting(Moment deadline, const std::stop_token& stop) {
    if (isReady_)
        return;
    try {
        isReady_ = receive(socket_.get(), deadline, stop) == decoderGreeting;
    } catch (const MediaError&) {
        // Too late is as bad as never.
    }
    if (!isReady_)
        throw DecoderGone("The reader of this kind of file could not be started.");
}

std::string DecoderHelper::exchange(const DecoderRequest& request, int file, int canvas, Moment deadline,
                                    const std::stop_token& stop) {
    isSound_ = false;
    awaitGreeting(deadline, stop);
    if (!ask(socket_.get(), request, file, canvas))
        throw DecoderGone(ended);
    return receive(socket_.get(), deadline, stop);
}

/// What it said was an answer: it can be asked again.
void DecoderHelper::endExchange(const DecoderAnswer& answer) {
    isSound_ = true;
    ++served_;
    if (answer.refusal != DecoderRefusal::none)
        throwRefusal(answer.refusal);
}

DecodedMedia DecoderHelper::decode(const Descriptor& file, const MediaRequest& request, Moment deadline,
                                   const std::stop_token& stop) {
    static_assert(MediaRequest::largestSide == largestDecodedSide);
    const int side = std::clamp(request.side, 1, MediaRequest::largestSide);
    const SharedMemory canvas(static_cast<std::size_t>(side) * static_cast<std::size_t>(side) *
                              bytesPerPixel);
    DecoderRequest asked;
    asked.side = static_cast<std::uint32_t>(side);
    asked.page = static_cast<std::uint32_t>(std::max(request.page, 0));
    DecoderAnswer head;
    auto media = parse(exchange(asked, file.get(), canvas.descriptor(), deadline, stop), side, head);
    if (!media)
        throw MediaError(ended);
    endExchange(head);
    if (media->picture.width > 0)
        media->picture.pixels = canvas.copy(static_cast<std::size_t>(media->picture.width) *
                                            static_cast<std::size_t>(media->picture.height) * bytesPerPixel);
    return std::move(*media);
}

std::vector<TextHighlight> DecoderHelper::highlight(const HighlightRequest& request, Moment deadline,
                                                    const std::stop_token& stop) {
    const SharedMemory text(request.text);
    const SharedMemory canvas(mostHighlights * sizeof(DecodedHighlight));
    DecoderRequest asked;
    asked.task = DecoderTask::highlights;
    request.name.copy(asked.name.data(), asked.name.size() - 1);
    const auto message = exchange(asked, text.descriptor(), canvas.descriptor(), deadline, stop);
    DecoderAnswer answer;
    if (message.size() != sizeof answer)
        throw MediaError(ended);
    std::memcpy(&answer, message.data(), sizeof answer);
    if (answer.highlightCount > mostHighlights)
        throw MediaError(ended);
    const auto bytes = canvas.copy(answer.highlightCount * sizeof(DecodedHighlight));
    auto highlights = checked({reinterpret_cast<const DecodedHighlight*>(bytes.get()), answer.highlightCount},
                              request.text);
    if (!highlights)
        throw MediaError(ended);
    endExchange(answer);
    return std::move(*highlights);
}

} // namespace morv
