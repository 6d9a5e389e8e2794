#include "MorvDecoder/Decoding.h"

#include "MorvDecoder/Handles.h"

#include <fmt/format.h>

namespace morv::decoder {

namespace {

/// Cut between characters.
std::string shortened(std::string text) {
    if (text.size() <= longestFact)
        return text;
    std::size_t end = longestFact;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U)
        --end;
    text.resize(end);
    return text;
}

} // namespace

void Decoded::add(std::string title, const char* value) {
    if (!value || facts.size() == mostFacts)
        return;
    const GText valid(g_utf8_make_valid(value, -1));
    std::string text = g_strstrip(valid.get());
    if (!text.empty())
        facts.emplace_back(std::move(title), shortened(std::move(text)));
}

void premultiply(std::span<std::byte> pixels) {
    for (std::size_t i = 0; i + bytesPerPixel <= pixels.size(); i += bytesPerPixel) {
        const auto alpha = std::to_integer<unsigned>(pixels[i + 3]);
        for (std::size_t colour = i; colour < i + 3; ++colour)
            pixels[colour] =
                static_cast<std::byte>((std::to_integer<unsigned>(pixels[colour]) * alpha + 127) / 255);
    }
}

std::string sizeText(Size size) {
    return fmt::format("{} × {}", size.width, size.height);
}

} // namespace morv::decoder
