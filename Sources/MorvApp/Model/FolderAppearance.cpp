#include "MorvApp/Model/FolderAppearance.h"

#include "MorvCore/Foundation/JSONCoding.h"

#include <algorithm>

namespace morv {

namespace {

struct Standard {
    std::string_view name;
    std::string_view color;
    const char* symbol;
};

constexpr std::array standards = {
    Standard{"documents", "sapphire", "doc.text"},
    Standard{"docs", "teal", "doc.text"},
    Standard{"pictures", "saffron", "photo"},
    Standard{"images", "saffron", "photo"},
    Standard{"photos", "saffron", "photo"},
    Standard{"design", "teal", "pencil.and.outline"},
    Standard{"designs", "teal", "pencil.and.outline"},
    Standard{"artwork", "teal", "pencil.and.outline"},
    Standard{"creative", "teal", "pencil.and.outline"},
    Standard{"archives", "plum", "archivebox"},
    Standard{"archive", "plum", "archivebox"},
    Standard{"downloads", "teal", "arrow.down.circle"},
    Standard{"desktop", "teal", "display"},
    Standard{"movies", "coral", "film"},
    Standard{"videos", "coral", "film"},
    Standard{"music", "coral", "music.note"},
    Standard{"audio", "teal", "music.note"},
    Standard{"applications", "graphite", "app"},
    Standard{"library", "graphite", "books.vertical"},
    Standard{"system", "graphite", "gearshape"},
    Standard{"projects", "teal", "chevron.left.forwardslash.chevron.right"},
    Standard{"code", "teal", "chevron.left.forwardslash.chevron.right"},
    Standard{"development", "teal", "chevron.left.forwardslash.chevron.right"},
    Standard{"developer", "teal", "chevron.left.forwardslash.chevron.right"},
    Standard{"screenshots", "teal", "camera.viewfinder"},
    Standard{"screen shots", "teal", "camera.viewfinder"},
};

bool isSameName(std::string_view name, std::string_view lower) {
    return std::ranges::equal(name, lower, [](char a, char b) {
        return (a >= 'A' && a <= 'Z' ? static_cast<char>(a - 'A' + 'a') : a) == b;
    });
}

} // namespace

FolderAppearance FolderAppearance::standard(const FileURL& url) {
    const auto name = url.lastComponent();
    const auto found =
        std::ranges::find_if(standards, [&](const auto& row) { return isSameName(name, row.name); });
    if (found == standards.end())
        return {};
    return {std::string(found->color), std::nullopt, found->symbol};
}

const std::string* FolderAppearance::shownSymbol() const {
    return symbol ? &*symbol : defaultSymbol ? &*defaultSymbol : nullptr;
}

std::string toJSON(const FolderAppearance& appearance) {
    auto object = json::Value::object();
    json::put(object, "color", appearance.color);
    json::put(object, "symbol", appearance.symbol);
    json::put(object, "defaultSymbol", appearance.defaultSymbol);
    return json::dump(object);
}

void fromJSON(std::string_view text, FolderAppearance& appearance) {
    const auto object = json::parse(text);
    FolderAppearance read;
    json::take(object, "color", read.color);
    json::take(object, "symbol", read.symbol);
    json::take(object, "defaultSymbol", read.defaultSymbol);
    appearance = std::move(read);
}

std::string_view colorOf(FileKind kind) {
    switch (kind) {
    case FileKind::image:
        return "saffron";
    case FileKind::document:
        return "sapphire";
    case FileKind::video:
    case FileKind::audio:
        return "coral";
    case FileKind::archive:
        return "plum";
    case FileKind::installer:
    case FileKind::other:
        return "graphite";
    case FileKind::folder:
        break;
    }
    return "teal";
}

} // namespace morv
