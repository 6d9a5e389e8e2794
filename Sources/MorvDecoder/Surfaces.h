// Drawing onto the canvas.
#pragma once

#include "MorvDecoder/Decoding.h"

#include <cairo.h>
#include <cstring>
#include <limits>
#include <memory>

namespace morv::decoder {

struct SurfaceRelease {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
struct ContextRelease {
    void operator()(cairo_t* context) const { cairo_destroy(context); }
};
using Surface = std::unique_ptr<cairo_surface_t, SurfaceRelease>;
using SurfaceContext = std::unique_ptr<cairo_t, ContextRelease>;

/// The beginning of the canvas, transparent. Its pixels are laid out as the answer wants them.
inline Surface surfaceOn(Canvas canvas, Size size) {
    const auto row = static_cast<std::size_t>(size.width) * bytesPerPixel;
    std::memset(canvas.bytes.data(), 0, row * static_cast<std::size_t>(size.height));
    return Surface(cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(canvas.bytes.data()),
                                                       CAIRO_FORMAT_ARGB32, size.width, size.height,
                                                       static_cast<int>(row)));
}

/// Rounded; at least 1, and no more than can be told.
inline Size boundedSize(double width, double height) {
    const auto edge = [](double length) {
        return static_cast<int>(
            std::lround(std::clamp(length, 1.0, static_cast<double>(std::numeric_limits<int>::max()))));
    };
    return {edge(width), edge(height)};
}

} // namespace morv::decoder
