#include "MorvDecoder/Decoding.h"
#include "MorvDecoder/Handles.h"
#include "MorvDecoder/Surfaces.h"

#include <fmt/format.h>
#include <poppler.h>
#include <unistd.h>

namespace morv::decoder {

namespace {

constexpr double millimetresPerPoint = 25.4 / 72;
/// Beyond what PDF itself allows (ISO 32000-1, annex C: 14,400 units).
constexpr double longestEdge = 200'000;
/// Writers may put something before the header (ISO 32000-1, annex H.3, note 13).
constexpr std::size_t headerWithin = 1024;

using Text = char* (*)(PopplerDocument*);

GHandle<PopplerDocument> openDocument(const Input& input) {
    GError* failure = nullptr;
    // The library closes what it is given.
    GHandle<PopplerDocument> document(poppler_document_new_from_fd(::dup(input.file), nullptr, &failure));
    if (document)
        return document;
    const bool isLocked = g_error_matches(failure, POPPLER_ERROR, POPPLER_ERROR_ENCRYPTED) != FALSE;
    g_clear_error(&failure);
    throw Refusal(isLocked ? DecoderRefusal::locked : DecoderRefusal::damaged);
}

void render(PopplerPage* page, Canvas canvas, Size size, double width, double height) {
    const auto surface = surfaceOn(canvas, size);
    const SurfaceContext context(cairo_create(surface.get()));
    cairo_set_source_rgb(context.get(), 1, 1, 1);
    cairo_paint(context.get());
    cairo_scale(context.get(), size.width / width, size.height / height);
    poppler_page_render(page, context.get());
    cairo_surface_flush(surface.get());
}

} // namespace

std::optional<Decoded> decodeDocument(const Input& input, Canvas canvas, std::uint32_t number) {
    if (input.head.substr(0, headerWithin).find("%PDF-") == std::string::npos)
        return std::nullopt;
    const auto document = openDocument(input);
    Decoded result;
    result.pageCount = poppler_document_get_n_pages(document.get());
    if (result.pageCount <= 0)
        throw Refusal(DecoderRefusal::damaged);
    if (number >= static_cast<std::uint32_t>(result.pageCount))
        throw Refusal(DecoderRefusal::noPage);
    const GHandle<PopplerPage> page(poppler_document_get_page(document.get(), static_cast<int>(number)));
    if (!page)
        throw Refusal(DecoderRefusal::damaged);
    double width = 0;
    double height = 0;
    poppler_page_get_size(page.get(), &width, &height);
    if (!(width > 0 && width <= longestEdge && height > 0 && height <= longestEdge))
        throw Refusal(DecoderRefusal::damaged);
    result.natural = boundedSize(width, height);
    result.picture = fitted(width, height, canvas.side);
    render(page.get(), canvas, result.picture, width, height);
    result.add("Pages", std::to_string(result.pageCount));
    result.add("Page size",
               fmt::format("{:.0f} × {:.0f} mm", width * millimetresPerPoint, height * millimetresPerPoint));
    for (const auto& [title, ask] : {std::pair<const char*, Text>{"Title", poppler_document_get_title},
                                     {"Author", poppler_document_get_author},
                                     {"Made with", poppler_document_get_creator}})
        result.add(title, GText(ask(document.get())).get());
    return result;
}

} // namespace morv::decoder
