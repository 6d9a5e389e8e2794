// morv-decoder: reads pictures, documents, recordings and source texts for Morv, which starts it with a socket as
// descriptor 3 and ends it. It has no use of its own.
#include "MorvCore/Platform/Descriptor.h"
#include "MorvDecoder/Confinement.h"
#include "MorvDecoder/Decoding.h"
#include "MorvDecoder/Highlighting.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using morv::DecoderAnswer;
using morv::DecoderRefusal;
using morv::DecoderRequest;
using morv::Descriptor;
using namespace morv::decoder;

constexpr int channel = 3;
constexpr std::size_t headSize = 4096;

struct Received {
    DecoderRequest request;
    Descriptor file;
    Descriptor canvas;
};

/// Nothing when Morv has gone or does not speak this protocol.
std::optional<Received> receive() {
    Received result;
    iovec place{&result.request, sizeof result.request};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(2 * sizeof(int))> control{};
    msghdr message{};
    message.msg_iov = &place;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    ssize_t count = 0;
    do
        count = ::recvmsg(channel, &message, MSG_CMSG_CLOEXEC);
    while (count < 0 && errno == EINTR);
    const auto* header = CMSG_FIRSTHDR(&message);
    if (count != static_cast<ssize_t>(sizeof result.request) || !header || header->cmsg_type != SCM_RIGHTS ||
        header->cmsg_len != CMSG_LEN(2 * sizeof(int)))
        return std::nullopt;
    std::array<int, 2> descriptors{};
    std::memcpy(descriptors.data(), CMSG_DATA(header), sizeof descriptors);
    result.file = Descriptor(descriptors[0]);
    result.canvas = Descriptor(descriptors[1]);
    return result;
}

class Mapping {
public:
    Mapping(int memory, std::size_t size)
        : start_(::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, memory, 0)), size_(size) {}
    ~Mapping() {
        if (start_ != MAP_FAILED)
            ::munmap(start_, size_);
    }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;

    explicit operator bool() const { return start_ != MAP_FAILED; }
    std::span<std::byte> bytes() const { return {static_cast<std::byte*>(start_), size_}; }

private:
    void* start_;
    std::size_t size_;
};

Input open(const Descriptor& file) {
    struct stat item {};
    if (::fstat(file.get(), &item) != 0)
        throw Refusal(DecoderRefusal::damaged);
    Input input{file.get(), item.st_size, std::string(headSize, '\0')};
    const auto count = ::pread(file.get(), input.head.data(), headSize, 0);
    input.head.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return input;
}

Decoded decode(const Input& input, Canvas canvas, std::uint32_t page) {
    if (auto document = decodeDocument(input, canvas, page))
        return std::move(*document);
    if (auto drawing = decodeDrawing(input, canvas))
        return std::move(*drawing);
    if (auto image = decodeImage(input, canvas))
        return std::move(*image);
    if (auto recording = decodeRecording(input, canvas))
        return std::move(*recording);
    throw Refusal(DecoderRefusal::unknown);
}

void append(std::string& message, const std::string& text) {
    const auto length = static_cast<std::uint16_t>(text.size());
    message.append(reinterpret_cast<const char*>(&length), sizeof length);
    message += text;
}

std::string bytes(const DecoderAnswer& answer) {
    return {reinterpret_cast<const char*>(&answer), sizeof answer};
}

std::string encoded(const Decoded& decoded) {
    DecoderAnswer answer;
    answer.width = decoded.picture.width;
    answer.height = decoded.picture.height;
    answer.naturalWidth = decoded.natural.width;
    answer.naturalHeight = decoded.natural.height;
    answer.pageCount = decoded.pageCount;
    answer.factCount = static_cast<std::uint32_t>(decoded.facts.size());
    std::string message = bytes(answer);
    for (const auto& [title, value] : decoded.facts) {
        append(message, title);
        append(message, value);
    }
    return message;
}

std::string pictureFor(const Received& received) {
    const std::size_t side = received.request.side;
    if (side == 0 || side > morv::largestDecodedSide)
        throw Refusal(DecoderRefusal::tooLarge);
    const Mapping mapping(received.canvas.get(), side * side * morv::bytesPerPixel);
    if (!mapping)
        throw Refusal(DecoderRefusal::damaged);
    return encoded(
        decode(open(received.file), {mapping.bytes(), static_cast<int>(side)}, received.request.page));
}

std::string textIn(const Descriptor& file) {
    std::string text(morv::largestHighlightedText + 1, '\0');
    const auto count = ::pread(file.get(), text.data(), text.size(), 0);
    text.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    if (text.size() > morv::largestHighlightedText)
        throw Refusal(DecoderRefusal::tooLarge);
    return text;
}

std::string highlightsFor(const Received& received) {
    using morv::DecodedHighlight;
    const auto& name = received.request.name;
    const Mapping mapping(received.canvas.get(), morv::mostHighlights * sizeof(DecodedHighlight));
    if (!mapping)
        throw Refusal(DecoderRefusal::damaged);
    DecoderAnswer answer;
    answer.highlightCount = static_cast<std::uint32_t>(
        highlight(std::string(name.data(), ::strnlen(name.data(), name.size())), textIn(received.file),
                  {reinterpret_cast<DecodedHighlight*>(mapping.bytes().data()), morv::mostHighlights}));
    return bytes(answer);
}

std::string answerTo(const Received& received) {
    DecoderAnswer refused;
    try {
        return received.request.task == morv::DecoderTask::highlights ? highlightsFor(received)
                                                                      : pictureFor(received);
    } catch (const Refusal& refusal) {
        refused.refusal = refusal.reason();
    }
    return bytes(refused);
}

bool send(std::string_view message) {
    return ::send(channel, message.data(), message.size(), MSG_NOSIGNAL) >= 0;
}

} // namespace

int main() {
    const bool placesAreConfined = beginConfinement();
    startImages();
    warmUp();
    if (!confineCalls(placesAreConfined))
        return 1;
    bool isHeard = send(morv::decoderGreeting);
    while (isHeard) {
        const auto received = receive();
        if (!received)
            break;
        beginProcessorTime();
        isHeard = send(answerTo(*received));
    }
    // What the libraries would do at the end, the kernel does quicker.
    ::_exit(0);
}
