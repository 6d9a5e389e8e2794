// What Morv and its decoder say to each other.
//
// Transport   a socket pair of type SOCK_SEQPACKET; one message asks, one answers, one request at a time
// Greeting    decoderGreeting from the decoder, when it is ready and confined: before it, nothing is sent to it
// Request     DecoderRequest with two descriptors: the file, open for reading, and the canvas, a memory file of
//             side * side * 4 bytes whose size is sealed
// Answer      DecoderAnswer, then `factCount` times two texts (title, value), each a length of two bytes and UTF-8.
//             The picture stands at the beginning of the canvas: premultiplied blue, green, red, alpha, rows
//             without padding. Both ends are of one build: numbers are the machine's own
// Trust       the decoder trusts no file; Morv trusts no decoder that has read one, and checks every number of
//             the answer
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace morv {

struct DecoderRequest {
    std::uint32_t side = 0; ///< 1 … largestDecodedSide
    std::uint32_t page = 0;
};

enum class DecoderRefusal : std::uint32_t {
    none,
    unknown, ///< of no format that is understood
    damaged,
    tooLarge, ///< more pixels than are ever decoded
    locked,   ///< needs a password
    noPage,   ///< the document has fewer pages
};

struct DecoderAnswer {
    DecoderRefusal refusal = DecoderRefusal::none;
    std::int32_t width = 0; ///< of the picture; 0: there is none
    std::int32_t height = 0;
    std::int32_t naturalWidth = 0;
    std::int32_t naturalHeight = 0;
    std::int32_t pageCount = 0;
    std::uint32_t factCount = 0;
};

inline constexpr std::string_view decoderGreeting = "ready";
inline constexpr std::uint32_t largestDecodedSide = 4096;
inline constexpr std::size_t bytesPerPixel = 4;
inline constexpr std::size_t mostFacts = 32;
inline constexpr std::size_t longestFact = 512; ///< bytes of one text
inline constexpr std::size_t largestAnswer = sizeof(DecoderAnswer) + mostFacts * 2 * (2 + longestFact);

} // namespace morv
