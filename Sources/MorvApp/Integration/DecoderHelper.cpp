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

namespace morv {

namespace {

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
class Canvas {
public:
    explicit Canvas(std::size_t size) {
        memory_ = Descriptor(::memfd_create("morv-canvas", MFD_CLOEXEC | MFD_ALLOW_SEALING));
        if (!memory_ || ::ftruncate(memory_.get(), static_cast<off_t>(size)) != 0 ||
            ::fcntl(memory_.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0)
            throw PosixError(errno);
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

int millisecondsUntil(std::chrono::steady_clock::time_point moment) {
    using std::chrono::milliseconds;
    const auto left = std::chrono::ceil<milliseconds>(moment - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<milliseconds::rep>(left.count(), 0, INT_MAX));
}

/// Waits for the answer; empty when the other side has gone.
std::string receive(int socket, std::chrono::steady_clock::time_point deadline, const std::stop_token& stop) {
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

void DecoderHelper::awaitGreeting(std::chrono::steady_clock::time_point deadline,
                                  const std::stop_token& stop) {
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

DecodedMedia DecoderHelper::decode(const Descriptor& file, const MediaRequest& request,
                                   std::chrono::steady_clock::time_point deadline,
                                   const std::stop_token& stop) {
    isSound_ = false;
    static_assert(MediaRequest::largestSide == largestDecodedSide);
    const int side = std::clamp(request.side, 1, MediaRequest::largestSide);
    const Canvas canvas(static_cast<std::size_t>(side) * static_cast<std::size_t>(side) * bytesPerPixel);
    awaitGreeting(deadline, stop);
    if (!ask(socket_.get(),
             {static_cast<std::uint32_t>(side), static_cast<std::uint32_t>(std::max(request.page, 0))},
             file.get(), canvas.descriptor()))
        throw DecoderGone(ended);
    DecoderAnswer head;
    const auto message = receive(socket_.get(), deadline, stop);
    auto media = parse(message, side, head);
    if (!media)
        throw MediaError(ended);
    isSound_ = true;
    ++served_;
    if (head.refusal != DecoderRefusal::none)
        throwRefusal(head.refusal);
    if (media->picture.width > 0)
        media->picture.pixels = canvas.copy(static_cast<std::size_t>(media->picture.width) *
                                            static_cast<std::size_t>(media->picture.height) * bytesPerPixel);
    return std::move(*media);
}

} // namespace morv
