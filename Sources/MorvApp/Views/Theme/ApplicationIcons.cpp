#include "MorvApp/Views/Theme/ApplicationIcons.h"

#include "MorvApp/Model/MorvRuntime.h"
#include "MorvApp/Views/Theme/MediaImage.h"
#include "MorvApp/Views/Theme/Text.h"

#include <QIcon>

namespace morv {

namespace {

/// Pixels: enough for a row of a list at the scale 2.
constexpr int side = 64;

} // namespace

ApplicationIcons::ApplicationIcons(MorvServices& services) : services_(services), tasks_(services.pools) {}

void ApplicationIcons::give(const std::string& icon, const Taker& taker) {
    const bool isFile = icon.starts_with('/');
    const auto ofTheme = isFile ? QIcon() : QIcon::fromTheme(ours(icon));
    taker(ofTheme.isNull() ? QIcon::fromTheme(QStringLiteral("application-x-executable")) : ofTheme);
    if (!isFile)
        return;
    const auto file = FileURL::fromPath(icon);
    if (!services_.mediaDecoder || !services_.mediaDecoder->understands(file))
        return;
    tasks_.run(
        TaskLane::reading,
        [decoder = services_.mediaDecoder, file](const std::stop_token& stop) {
            return decoder->decode({.file = file, .side = side}, stop).picture;
        },
        [taker](const MediaPicture& picture) {
            if (picture)
                taker(QPixmap::fromImage(imageOf(picture)));
        },
        // The icon of any program stays.
        [](const std::exception_ptr&) {});
}

} // namespace morv
