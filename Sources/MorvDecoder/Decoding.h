// What every reader of a format is given and gives back. The decoder has one thread of its own; what its libraries
// start is their affair.
#pragma once

#include "MorvDecoder/DecoderProtocol.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace morv::decoder {

/// No picture has more: what says that it does is refused before a pixel is asked for.
inline constexpr std::int64_t mostPixels = 300'000'000;

class Refusal : public std::exception {
public:
    explicit Refusal(DecoderRefusal reason) : reason_(reason) {}
    DecoderRefusal reason() const { return reason_; }

private:
    DecoderRefusal reason_;
};

/// Throws Refusal for sizes of which no picture can be made.
inline void checkSize(std::int64_t width, std::int64_t height) {
    if (width <= 0 || height <= 0)
        throw Refusal(DecoderRefusal::damaged);
    if (width > mostPixels / height)
        throw Refusal(DecoderRefusal::tooLarge);
}

/// Where the picture goes.
struct Canvas {
    std::span<std::byte> bytes; ///< side * side * 4
    int side = 0;
};

struct Size {
    int width = 0;
    int height = 0;
};

/// The proportions of `width` and `height` with `side` as the longer edge; neither edge is less than 1.
inline Size fitted(double width, double height, int side) {
    const double scale = side / std::max(width, height);
    const auto edge = [&](double length) {
        return std::clamp(static_cast<int>(std::lround(length * scale)), 1, side);
    };
    return {edge(width), edge(height)};
}

struct Decoded {
    Size picture; ///< of the canvas; nothing: there is none
    Size natural;
    int pageCount = 0;
    std::vector<std::pair<std::string, std::string>> facts;

    /// What is empty is left out; what is too long or not UTF-8 is made fit.
    void add(std::string title, const char* value);
    void add(std::string title, const std::string& value) { add(std::move(title), value.c_str()); }
};

/// Multiplies the colours of straight BGRA pixels with their alpha, in place.
void premultiply(std::span<std::byte> pixels);

/// "1920 × 1080".
std::string sizeText(Size size);

/// An open file.
struct Input {
    int file = -1;
    std::int64_t size = 0;
    std::string head; ///< its first bytes, up to 4096
};

/// Each gives nothing for a file that is not of its formats, and throws Refusal for one that is and cannot be shown.
std::optional<Decoded> decodeDocument(const Input& input, Canvas canvas, std::uint32_t page);
std::optional<Decoded> decodeDrawing(const Input& input, Canvas canvas);
std::optional<Decoded> decodeImage(const Input& input, Canvas canvas);
std::optional<Decoded> decodeRecording(const Input& input, Canvas canvas);
/// A picture inside another file, such as a cover.
std::optional<Decoded> decodeImage(std::span<const std::byte> bytes, Canvas canvas);

/// Decodes one small picture of each kind, so that everything that the libraries load is loaded.
void warmUp();
void startImages();

} // namespace morv::decoder
