// What Morv and its decoder say to each other.
//
// Transport   a socket pair of type SOCK_SEQPACKET; one message asks, one answers, one request at a time
// Greeting    decoderGreeting from the decoder, when it is ready and confined: before it, nothing is sent to it
// Request     DecoderRequest with two descriptors: what is to be read, open for reading, and the canvas, a memory file
//             whose size is sealed
// Picture     of a file, onto a canvas of side * side * 4 bytes. The answer is a DecoderAnswer, then `factCount` times
//             two texts (title, value), each a length of two bytes and UTF-8. The picture stands at the beginning of
//             the canvas: premultiplied blue, green, red, alpha, rows without padding
// Highlights  of a text in UTF-8 whose lines end in "\n", onto a canvas of mostHighlights DecodedHighlight. The answer
//             is a DecoderAnswer; `highlightCount` of them stand at the beginning of the canvas: in the text's order,
//             none over another, none empty, between characters. What is in none is plain
// Numbers     the machine's own: both ends are of one build
// Trust       the decoder trusts no file; Morv trusts no decoder that has read one, and checks every number of
//             the answer
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace morv {

enum class DecoderTask : std::uint32_t { picture, highlights };

struct DecoderRequest {
    DecoderTask task = DecoderTask::picture;
    std::uint32_t side = 0; ///< of a picture: 1 … largestDecodedSide
    std::uint32_t page = 0;
    std::array<char, 256> name{}; ///< of a text: its file's own, ended by a zero; it tells the language
};

enum class DecoderRefusal : std::uint32_t {
    none,
    unknown, ///< of no format that is understood
    damaged,
    tooLarge, ///< more pixels than are ever decoded
    locked,   ///< needs a password
    noPage,   ///< the document has fewer pages
};

enum class DecodedStyle : std::uint32_t {
    plain,
    comment,
    string,
    keyword,
    type,
    number,
    preprocessor,
    function,
    variable,
    inserted, ///< a line that a patch adds
    removed,  ///< and one that it takes away
};

struct DecodedHighlight {
    std::uint32_t start = 0;  ///< byte of the text
    std::uint32_t length = 0; ///< bytes
    DecodedStyle style = DecodedStyle::plain;
};

struct DecoderAnswer {
    DecoderRefusal refusal = DecoderRefusal::none;
    std::int32_t width = 0; ///< of the picture; 0: there is none
    std::int32_t height = 0;
    std::int32_t naturalWidth = 0;
    std::int32_t naturalHeight = 0;
    std::int32_t pageCount = 0;
    std::uint32_t factCount = 0;
    std::uint32_t highlightCount = 0;
};

inline constexpr std::string_view decoderGreeting = "ready";
inline constexpr std::uint32_t largestDecodedSide = 4096;
inline constexpr std::size_t bytesPerPixel = 4;
inline constexpr std::size_t mostFacts = 32;
inline constexpr std::size_t longestFact = 512;                    ///< bytes of one text
inline constexpr std::size_t largestHighlightedText = 256U << 10U; ///< bytes
inline constexpr std::size_t mostHighlights = 64U << 10U;
inline constexpr std::size_t largestAnswer = sizeof(DecoderAnswer) + mostFacts * 2 * (2 + longestFact);

} // namespace morv
