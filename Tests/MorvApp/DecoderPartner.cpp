// A decoder that misbehaves in the way that the requested page says, or the name of a text.
#include "MorvDecoder/DecoderProtocol.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

enum Page : std::uint32_t { proper, hangs, dies, half, tooWide, negative, fewFacts, notUnicode, tooLong };

std::string bytes(const morv::DecoderAnswer& answer) {
    return {reinterpret_cast<const char*>(&answer), sizeof answer};
}
std::string text(const std::string& text) {
    const auto length = static_cast<std::uint16_t>(text.size());
    return std::string(reinterpret_cast<const char*>(&length), sizeof length) + text;
}

std::string answerTo(std::uint32_t page) {
    morv::DecoderAnswer answer;
    answer.width = answer.height = 1;
    if (page == proper || page == notUnicode) {
        answer.factCount = 1;
        return bytes(answer) + text("Process") +
               text(page == proper ? std::to_string(::getpid()) : std::string("a\xFF"));
    }
    if (page == tooWide)
        answer.width = 1 << 20;
    if (page == negative)
        answer.height = -1;
    if (page == fewFacts)
        answer.factCount = 2;
    auto result = bytes(answer);
    if (page == half)
        result.resize(result.size() / 2);
    if (page == tooLong)
        result.resize(morv::largestAnswer + 1);
    return result;
}

/// Of the text "aé b\n", six bytes.
std::string highlightsOf(std::string_view name, int canvas) {
    using enum morv::DecodedStyle;
    morv::DecoderAnswer answer;
    std::vector<morv::DecodedHighlight> told{{0, 3, keyword}, {4, 1, string}};
    if (name == "two behind the end")
        told[1].length = 4;
    if (name == "a start behind the end")
        told[1].start = 0xFFFFFFFF;
    if (name == "a length that wraps around")
        told[1].length = 0xFFFFFFFF;
    if (name == "one over another")
        told[1] = {1, 2, string};
    if (name == "out of order")
        std::swap(told[0], told[1]);
    if (name == "an empty one")
        told[0].length = 0;
    if (name == "half a character")
        told[0].length = 2;
    if (name == "an unknown style")
        told[0].style = static_cast<morv::DecodedStyle>(99);
    if (name == "a plain one")
        told[0].style = plain;
    answer.highlightCount = static_cast<std::uint32_t>(told.size());
    if (name == "more than there is room for")
        answer.highlightCount = morv::mostHighlights + 1;
    if (::pwrite(canvas, told.data(), told.size() * sizeof told[0], 0) < 0)
        return {};
    auto result = bytes(answer);
    if (name == "words behind the answer")
        result += text("Process");
    return result;
}

/// The text and the canvas; nothing when Morv has gone.
std::optional<std::array<int, 2>> receive(morv::DecoderRequest& request, int channel) {
    iovec place{&request, sizeof request};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(2 * sizeof(int))> control{};
    msghdr message{};
    message.msg_iov = &place;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    std::array<int, 2> descriptors{};
    if (::recvmsg(channel, &message, 0) != static_cast<ssize_t>(sizeof request))
        return std::nullopt;
    std::memcpy(descriptors.data(), CMSG_DATA(CMSG_FIRSTHDR(&message)), sizeof descriptors);
    return descriptors;
}

} // namespace

int main() {
    constexpr int channel = 3;
    if (std::string_view(program_invocation_short_name) == "silent")
        return 1;
    ::send(channel, morv::decoderGreeting.data(), morv::decoderGreeting.size(), MSG_NOSIGNAL);
    morv::DecoderRequest request;
    while (const auto descriptors = receive(request, channel)) {
        const std::string_view name(request.name.data());
        if (request.page == dies || name == "dies")
            return 1;
        if (request.page == hangs || name == "hangs") {
            char byte = 0;
            ::recv(channel, &byte, 1, 0); // what never comes
            return 1;
        }
        const auto answer = request.task == morv::DecoderTask::highlights
                                ? highlightsOf(name, descriptors->back())
                                : answerTo(request.page);
        for (const int descriptor : *descriptors)
            ::close(descriptor);
        ::send(channel, answer.data(), answer.size(), MSG_NOSIGNAL);
    }
    return 0;
}
