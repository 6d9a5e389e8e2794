#include "MorvDecoder/Decoding.h"
#include "MorvDecoder/Handles.h"

#include <array>
#include <string_view>
#include <vips/vips.h>

namespace morv::decoder {

namespace {

constexpr std::string_view drawing =
    "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'><text x='1' y='8'>a</text></svg>";
constexpr std::string_view brokenPhotograph{"\0\0\0\x18"
                                            "ftypheic\0\0\0\0mif1heic",
                                            24};

template <class Decode>
void tryOut(Decode decode) {
    std::array<std::byte, 16 * 16 * bytesPerPixel> pixels{};
    try {
        decode(Canvas{pixels, 16});
    } catch (const Refusal&) {
        // It was met, which is all that is wanted.
    }
    vips_error_clear();
}

/// A pixel written and read in one format.
void meet(const char* suffix) {
    VipsImage* made = nullptr;
    if (vips_black(&made, 1, 1, "bands", 3, nullptr) != 0)
        return;
    const GHandle<VipsImage> pixel(made);
    void* bytes = nullptr;
    std::size_t length = 0;
    if (vips_image_write_to_buffer(pixel.get(), suffix, &bytes, &length, nullptr) != 0)
        return;
    const std::unique_ptr<void, GMemoryRelease> owned(bytes);
    tryOut([&](Canvas canvas) { decodeImage({static_cast<const std::byte*>(bytes), length}, canvas); });
}

} // namespace

void warmUp() {
    for (const auto* suffix : {".jpg", ".png", ".webp", ".gif", ".tif"})
        meet(suffix);
    tryOut([](Canvas canvas) { decodeImage(std::as_bytes(std::span(brokenPhotograph)), canvas); });
    tryOut([](Canvas canvas) { decodeDrawing(Input{-1, 0, std::string(drawing)}, canvas); });
}

} // namespace morv::decoder
