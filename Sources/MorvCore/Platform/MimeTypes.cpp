#include "MorvCore/Platform/MimeTypes.h"

#include "MorvCore/Foundation/Mutex.h"

#include <array>
#include <gio/gio.h>
#include <memory>
#include <string_view>
#include <unordered_map>

namespace morv {

namespace {

struct Known {
    std::string_view extension;
    TypeFamily family;
};

/// The common ones, so that they do not depend on what the system has installed.
constexpr std::array common = {
    Known{"jpg", TypeFamily::image},      Known{"jpeg", TypeFamily::image},
    Known{"png", TypeFamily::image},      Known{"gif", TypeFamily::image},
    Known{"heic", TypeFamily::image},     Known{"heif", TypeFamily::image},
    Known{"avif", TypeFamily::image},     Known{"webp", TypeFamily::image},
    Known{"tif", TypeFamily::image},      Known{"tiff", TypeFamily::image},
    Known{"bmp", TypeFamily::image},      Known{"svg", TypeFamily::image},
    Known{"ico", TypeFamily::image},      Known{"psd", TypeFamily::image},
    Known{"dng", TypeFamily::image},      Known{"mp4", TypeFamily::video},
    Known{"m4v", TypeFamily::video},      Known{"mov", TypeFamily::video},
    Known{"mkv", TypeFamily::video},      Known{"webm", TypeFamily::video},
    Known{"avi", TypeFamily::video},      Known{"mpg", TypeFamily::video},
    Known{"mpeg", TypeFamily::video},     Known{"ogv", TypeFamily::video},
    Known{"mp3", TypeFamily::audio},      Known{"m4a", TypeFamily::audio},
    Known{"aac", TypeFamily::audio},      Known{"wav", TypeFamily::audio},
    Known{"flac", TypeFamily::audio},     Known{"ogg", TypeFamily::audio},
    Known{"opus", TypeFamily::audio},     Known{"aiff", TypeFamily::audio},
    Known{"aif", TypeFamily::audio},      Known{"txt", TypeFamily::document},
    Known{"md", TypeFamily::document},    Known{"csv", TypeFamily::document},
    Known{"rtf", TypeFamily::document},   Known{"html", TypeFamily::document},
    Known{"htm", TypeFamily::document},   Known{"xml", TypeFamily::document},
    Known{"json", TypeFamily::document},  Known{"pdf", TypeFamily::document},
    Known{"doc", TypeFamily::document},   Known{"docx", TypeFamily::document},
    Known{"odt", TypeFamily::document},   Known{"xls", TypeFamily::document},
    Known{"xlsx", TypeFamily::document},  Known{"ods", TypeFamily::document},
    Known{"ppt", TypeFamily::document},   Known{"pptx", TypeFamily::document},
    Known{"odp", TypeFamily::document},   Known{"key", TypeFamily::document},
    Known{"pages", TypeFamily::document}, Known{"numbers", TypeFamily::document},
    Known{"epub", TypeFamily::document},  Known{"log", TypeFamily::document},
    Known{"tex", TypeFamily::document},
};

constexpr std::array documentPrefixes = {
    std::string_view("text/"),
    std::string_view("application/pdf"),
    std::string_view("application/rtf"),
    std::string_view("application/msword"),
    std::string_view("application/vnd.ms-excel"),
    std::string_view("application/vnd.ms-powerpoint"),
    std::string_view("application/vnd.ms-word"),
    std::string_view("application/vnd.openxmlformats-officedocument"),
    std::string_view("application/vnd.oasis.opendocument"),
    std::string_view("application/vnd.apple.keynote"),
    std::string_view("application/vnd.apple.numbers"),
    std::string_view("application/vnd.apple.pages"),
    std::string_view("application/epub"),
    std::string_view("application/x-mobipocket-ebook"),
    std::string_view("application/vnd.amazon"),
    std::string_view("application/x-fictionbook"),
    std::string_view("application/postscript"),
    std::string_view("image/vnd.djvu"),
};

struct FreeText {
    void operator()(char* text) const { g_free(text); }
};

TypeFamily familyFromDatabase(const std::string& extension) {
    const auto name = "name." + extension;
    const std::unique_ptr<char, FreeText> type(g_content_type_guess(name.c_str(), nullptr, 0, nullptr));
    if (!type || g_content_type_is_unknown(type.get()))
        return TypeFamily::other;
    const std::string_view text(type.get());
    for (const auto prefix : documentPrefixes) {
        if (text.starts_with(prefix))
            return TypeFamily::document;
    }
    if (text.starts_with("image/"))
        return TypeFamily::image;
    if (text.starts_with("video/"))
        return TypeFamily::video;
    if (text.starts_with("audio/"))
        return TypeFamily::audio;
    // Source code and the like: kinds of text with a name of their own.
    return g_content_type_is_a(type.get(), "text/plain") ? TypeFamily::document : TypeFamily::other;
}

/// Folders hold names that never end: beyond this many the answer is not remembered.
constexpr std::size_t rememberedLimit = 4096;

struct Cache {
    Mutex mutex;
    std::unordered_map<std::string, TypeFamily> families MORV_GUARDED_BY(mutex);

    Cache() {
        for (const auto& known : common)
            families.emplace(known.extension, known.family);
    }
};

Cache& cache() {
    static Cache instance;
    return instance;
}

} // namespace

TypeFamily typeFamily(std::string_view extension) {
    if (extension.empty())
        return TypeFamily::other;
    thread_local std::string last;
    thread_local TypeFamily lastFamily = TypeFamily::other;
    if (extension == last)
        return lastFamily;
    const std::string key(extension);
    auto& known = cache();
    auto family = TypeFamily::other;
    bool isKnown = false;
    {
        const MutexLock lock(known.mutex);
        if (const auto found = known.families.find(key); found != known.families.end()) {
            family = found->second;
            isKnown = true;
        }
    }
    if (!isKnown) {
        family = familyFromDatabase(key);
        const MutexLock lock(known.mutex);
        if (known.families.size() < rememberedLimit)
            known.families.emplace(key, family);
    }
    last = key;
    lastFamily = family;
    return family;
}

} // namespace morv
