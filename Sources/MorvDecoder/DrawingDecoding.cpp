#include "MorvDecoder/Decoding.h"
#include "MorvDecoder/Handles.h"
#include "MorvDecoder/Surfaces.h"

#include <librsvg/rsvg.h>
#include <string_view>
#include <unistd.h>

namespace morv::decoder {

namespace {

/// A drawing is a text that somebody, or a program, wrote: one of this size is no picture.
constexpr std::int64_t largestDrawing = 32 << 20;
constexpr double withoutSize = 512;

bool looksLikeDrawing(std::string_view head) {
    if (head.starts_with("\x1F\x8B"))
        return true;
    if (head.starts_with("\xEF\xBB\xBF"))
        head.remove_prefix(3);
    const auto first = head.find_first_not_of(" \t\r\n");
    return first != std::string_view::npos && head[first] == '<' &&
           head.find("<svg") != std::string_view::npos;
}

std::string whole(const Input& input) {
    if (input.size <= static_cast<std::int64_t>(input.head.size()))
        return input.head;
    std::string text(static_cast<std::size_t>(input.size), '\0');
    std::size_t length = 0;
    while (length < text.size()) {
        const auto count =
            ::pread(input.file, text.data() + length, text.size() - length, static_cast<off_t>(length));
        if (count <= 0)
            break;
        length += static_cast<std::size_t>(count);
    }
    text.resize(length);
    return text;
}

std::pair<double, double> sizeOf(RsvgHandle* drawing) {
    double width = 0;
    double height = 0;
    if (rsvg_handle_get_intrinsic_size_in_pixels(drawing, &width, &height) && width > 0 && height > 0)
        return {width, height};
    gboolean hasWidth = FALSE;
    gboolean hasHeight = FALSE;
    gboolean hasBox = FALSE;
    RsvgLength ignored;
    RsvgRectangle box{};
    rsvg_handle_get_intrinsic_dimensions(drawing, &hasWidth, &ignored, &hasHeight, &ignored, &hasBox, &box);
    if (hasBox && box.width > 0 && box.height > 0)
        return {box.width, box.height};
    return {withoutSize, withoutSize};
}

} // namespace

std::optional<Decoded> decodeDrawing(const Input& input, Canvas canvas) {
    if (!looksLikeDrawing(input.head))
        return std::nullopt;
    if (input.size > largestDrawing)
        throw Refusal(DecoderRefusal::tooLarge);
    const auto text = whole(input);
    const GHandle<GInputStream> stream(
        g_memory_input_stream_new_from_data(text.data(), static_cast<gssize>(text.size()), nullptr));
    // Without a base there is nothing that a reference could be relative to, and the library follows none.
    const GHandle<RsvgHandle> drawing(
        rsvg_handle_new_from_stream_sync(stream.get(), nullptr, RSVG_HANDLE_FLAGS_NONE, nullptr, nullptr));
    if (!drawing) {
        if (input.head.starts_with("\x1F\x8B"))
            return std::nullopt;
        throw Refusal(DecoderRefusal::damaged);
    }
    const auto [width, height] = sizeOf(drawing.get());
    Decoded result;
    result.natural = boundedSize(width, height);
    result.picture = fitted(width, height, canvas.side);
    const auto surface = surfaceOn(canvas, result.picture);
    const SurfaceContext context(cairo_create(surface.get()));
    const RsvgRectangle place{0, 0, static_cast<double>(result.picture.width),
                              static_cast<double>(result.picture.height)};
    if (!rsvg_handle_render_document(drawing.get(), context.get(), &place, nullptr))
        throw Refusal(DecoderRefusal::damaged);
    cairo_surface_flush(surface.get());
    result.add("Dimensions", sizeText(result.natural));
    return result;
}

} // namespace morv::decoder
