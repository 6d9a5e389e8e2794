#include "MorvDecoder/Decoding.h"
#include "MorvDecoder/Handles.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <lcms2.h>
#include <optional>
#include <string_view>
#include <unistd.h>
#include <vips/vips.h>

namespace morv::decoder {

namespace {

using Image = GHandle<VipsImage>;
using Source = GHandle<VipsSource>;

constexpr int bands = 4;

/// Takes over what `step` makes of `image`.
template <class Step>
Image through(const Image& image, Step step) {
    VipsImage* made = nullptr;
    if (step(image.get(), &made) != 0)
        throw Refusal(DecoderRefusal::damaged);
    return Image(made);
}

std::optional<std::string> metadata(VipsImage* image, const char* name) {
    const char* value = nullptr;
    if (vips_image_get_typeof(image, name) == 0 || vips_image_get_string(image, name, &value) != 0)
        return std::nullopt;
    return value;
}

/// EXIF values come as "200 (200, Short, 1 components, 2 bytes)"; what stands before and inside the brackets.
std::string plain(const std::optional<std::string>& value) {
    return value ? value->substr(0, value->find(" (")) : std::string();
}
std::string inWords(const std::optional<std::string>& value) {
    if (!value)
        return {};
    const auto begin = value->find(" (");
    auto end = value->rfind(", ");
    for (int comma = 0; comma < 2 && end != std::string::npos && end > 0; ++comma)
        end = value->rfind(", ", end - 1);
    if (begin == std::string::npos || end == std::string::npos || end < begin + 2)
        return {};
    return value->substr(begin + 2, end - begin - 2);
}

/// "2025:08:03 18:12:00" as "3 August 2025, 18:12"; nothing for what is no date.
std::string date(const std::string& exif) {
    constexpr std::array months = {"January", "February", "March",     "April",   "May",      "June",
                                   "July",    "August",   "September", "October", "November", "December"};
    unsigned year = 0;
    unsigned month = 0;
    unsigned day = 0;
    unsigned hour = 0;
    unsigned minute = 0;
    if (std::sscanf(exif.c_str(), "%4u:%2u:%2u %2u:%2u", &year, &month, &day, &hour, &minute) != 5 ||
        month < 1 || month > months.size() || day < 1 || day > 31 || hour > 23 || minute > 59)
        return {};
    return fmt::format("{} {} {}, {:02}:{:02}", day, months[month - 1], year, hour, minute);
}

std::string exposure(VipsImage* image) {
    std::string result;
    const auto append = [&result](const std::string& part) {
        if (!part.empty())
            result += (result.empty() ? "" : ", ") + part;
    };
    auto time = inWords(metadata(image, "exif-ifd2-ExposureTime"));
    if (time.ends_with("sec."))
        time.replace(time.size() - 4, 4, "s");
    append(time);
    append(inWords(metadata(image, "exif-ifd2-FNumber")));
    if (const auto speed = plain(metadata(image, "exif-ifd2-ISOSpeedRatings")); !speed.empty())
        append("ISO " + speed);
    append(inWords(metadata(image, "exif-ifd2-FocalLength")));
    return result;
}

std::string camera(VipsImage* image) {
    const auto make = plain(metadata(image, "exif-ifd0-Make"));
    const auto model = plain(metadata(image, "exif-ifd0-Model"));
    // Many makers repeat themselves in the model.
    return make.empty() || model.starts_with(make) ? model : make + " " + model;
}

std::string profile(VipsImage* image) {
    const void* data = nullptr;
    std::size_t length = 0;
    if (vips_image_get_typeof(image, VIPS_META_ICC_NAME) == 0 ||
        vips_image_get_blob(image, VIPS_META_ICC_NAME, &data, &length) != 0 || length > 16U << 20U)
        return {};
    std::array<char, 128> name{};
    if (const auto opened = cmsOpenProfileFromMem(data, static_cast<cmsUInt32Number>(length))) {
        cmsGetProfileInfoASCII(opened, cmsInfoDescription, "en", "GB", name.data(), name.size());
        cmsCloseProfile(opened);
    }
    return name.data();
}

const char* colours(VipsImage* image) {
    switch (vips_image_guess_interpretation(image)) {
    case VIPS_INTERPRETATION_B_W:
    case VIPS_INTERPRETATION_GREY16:
        return "Grey";
    case VIPS_INTERPRETATION_CMYK:
        return "CMYK";
    case VIPS_INTERPRETATION_LAB:
    case VIPS_INTERPRETATION_LABQ:
    case VIPS_INTERPRETATION_LABS:
        return "Lab";
    default:
        return "RGB";
    }
}

void describe(VipsImage* image, Decoded& result) {
    result.add("Dimensions", sizeText(result.natural));
    const auto name = profile(image);
    result.add("Colours", name.empty() ? colours(image) : fmt::format("{}, {}", colours(image), name));
    const auto depth = 8 * vips_format_sizeof(vips_image_get_format(image));
    result.add("Depth", fmt::format("{} bits per channel", depth));
    if (const int frames = vips_image_get_n_pages(image); frames > 1)
        result.add("Frames", std::to_string(frames));
    result.add("Camera", camera(image));
    result.add("Lens", plain(metadata(image, "exif-ifd2-LensModel")));
    auto taken = metadata(image, "exif-ifd2-DateTimeOriginal");
    result.add("Taken", date(plain(taken)));
    result.add("Exposure", exposure(image));
}

/// The pixels as the answer wants them.
void write(Image image, Canvas canvas, Decoded& result) {
    if (vips_image_get_interpretation(image.get()) != VIPS_INTERPRETATION_sRGB)
        image = through(image, [](VipsImage* in, VipsImage** out) {
            return vips_colourspace(in, out, VIPS_INTERPRETATION_sRGB, nullptr);
        });
    if (vips_image_get_format(image.get()) != VIPS_FORMAT_UCHAR)
        image =
            through(image, [](VipsImage* in, VipsImage** out) { return vips_cast_uchar(in, out, nullptr); });
    if (vips_image_get_bands(image.get()) < bands)
        image =
            through(image, [](VipsImage* in, VipsImage** out) { return vips_addalpha(in, out, nullptr); });
    if (vips_image_get_bands(image.get()) > bands)
        image = through(image, [](VipsImage* in, VipsImage** out) {
            return vips_extract_band(in, out, 0, "n", bands, nullptr);
        });
    const Size size{vips_image_get_width(image.get()), vips_image_get_height(image.get())};
    std::size_t length = 0;
    const std::unique_ptr<std::byte, GMemoryRelease> pixels(
        static_cast<std::byte*>(vips_image_write_to_memory(image.get(), &length)));
    if (!pixels || vips_image_get_bands(image.get()) != bands || size.width > canvas.side ||
        size.height > canvas.side ||
        length !=
            static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height) * bytesPerPixel)
        throw Refusal(DecoderRefusal::damaged);
    std::copy_n(pixels.get(), length, canvas.bytes.data());
    const auto picture = canvas.bytes.first(length);
    for (std::size_t i = 0; i < length; i += bytesPerPixel)
        std::swap(picture[i], picture[i + 2]);
    premultiply(picture);
    result.picture = size;
}

/// Shrinks while it loads where the format allows. Of what ends early the part that is there is shown.
Image thumbnail(const Source& source, VipsImage* header, int side) {
    VipsImage* made = nullptr;
    // Numbers without a profile are taken as they are: they would be moved to another white.
    const bool hasProfile = vips_image_get_typeof(header, VIPS_META_ICC_NAME) != 0;
    const int status =
        hasProfile ? vips_thumbnail_source(source.get(), &made, side, "height", side, "size", VIPS_SIZE_DOWN,
                                           "export_profile", "srgb", "fail_on", VIPS_FAIL_ON_NONE, nullptr)
                   : vips_thumbnail_source(source.get(), &made, side, "height", side, "size", VIPS_SIZE_DOWN,
                                           "fail_on", VIPS_FAIL_ON_NONE, nullptr);
    if (status != 0)
        throw Refusal(DecoderRefusal::damaged);
    return Image(made);
}

std::optional<Decoded> decode(const Source& source, Canvas canvas) {
    if (!source || !vips_foreign_find_load_source(source.get())) {
        vips_error_clear();
        return std::nullopt;
    }
    const Image header(vips_image_new_from_source(source.get(), "", nullptr));
    if (!header)
        throw Refusal(DecoderRefusal::damaged);
    Decoded result;
    result.natural = {vips_image_get_width(header.get()), vips_image_get_height(header.get())};
    checkSize(result.natural.width, result.natural.height);
    if (vips_image_get_orientation_swap(header.get()))
        std::swap(result.natural.width, result.natural.height);
    describe(header.get(), result);
    write(thumbnail(source, header.get(), canvas.side), canvas, result);
    return result;
}

} // namespace

void startImages() {
    vips_init("morv-decoder");
    vips_block_untrusted_set(TRUE);
    // One file, one picture: there is nothing to find again, and other files are for the other decoders.
    vips_cache_set_max(0);
    vips_concurrency_set(1);
}

std::optional<Decoded> decodeImage(const Input& input, Canvas canvas) {
    return decode(Source(vips_source_new_from_descriptor(input.file)), canvas);
}

std::optional<Decoded> decodeImage(std::span<const std::byte> bytes, Canvas canvas) {
    return decode(Source(vips_source_new_from_memory(bytes.data(), bytes.size())), canvas);
}

} // namespace morv::decoder
