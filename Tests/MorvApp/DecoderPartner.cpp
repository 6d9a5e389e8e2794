// A decoder that misbehaves in the way that the requested page says.
#include "MorvDecoder/DecoderProtocol.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

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

} // namespace

int main() {
    constexpr int channel = 3;
    if (std::string_view(program_invocation_short_name) == "silent")
        return 1;
    ::send(channel, morv::decoderGreeting.data(), morv::decoderGreeting.size(), MSG_NOSIGNAL);
    morv::DecoderRequest request;
    while (::recv(channel, &request, sizeof request, 0) == static_cast<ssize_t>(sizeof request)) {
        if (request.page == dies)
            return 1;
        if (request.page == hangs) {
            char byte = 0;
            ::recv(channel, &byte, 1, 0); // what never comes
            return 1;
        }
        const auto answer = answerTo(request.page);
        ::send(channel, answer.data(), answer.size(), MSG_NOSIGNAL);
    }
    return 0;
}
