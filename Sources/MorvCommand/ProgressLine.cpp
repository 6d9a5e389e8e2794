#include "MorvCommand/ProgressLine.h"

#include "MorvCore/Foundation/ByteCount.h"

#include <cmath>
#include <cstdio>
#include <fmt/format.h>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace morv {

namespace {

int terminalColumns() {
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

std::string clipped(std::string_view text, int columns) {
    std::size_t end = 0;
    while (end < text.size()) {
        std::size_t next = end + 1;
        while (next < text.size() && (static_cast<unsigned char>(text[next]) & 0xC0) == 0x80)
            ++next;
        columns -= next - end > 2 ? 2 : 1;
        if (columns < 0)
            break;
        end = next;
    }
    return std::string(text.substr(0, end));
}

std::string duration(double seconds) {
    const auto whole = static_cast<long long>(std::ceil(seconds));
    if (whole < 60)
        return fmt::format("{} s left", whole);
    if (whole < 3600)
        return fmt::format("{} min left", (whole + 59) / 60);
    return fmt::format("{} h {} min left", whole / 3600, whole % 3600 / 60);
}

} // namespace

std::string progressText(const OperationProgress& progress, int columns) {
    std::string text(displayName(progress.phase));
    if (progress.bytesTotal > 0)
        text += fmt::format(" · {} of {}", formatByteCount(progress.bytesDone),
                            formatByteCount(progress.bytesTotal));
    else if (progress.bytesDone > 0)
        text += fmt::format(" · {}", formatByteCount(progress.bytesDone));
    if (progress.itemsTotal > 1)
        text += fmt::format(" · {} of {} items", progress.itemsDone, progress.itemsTotal);
    if (progress.bytesPerSecond >= 1)
        text += fmt::format(" · {}/s", formatByteCount(static_cast<std::int64_t>(progress.bytesPerSecond)));
    if (const auto left = progress.timeLeft())
        text += " · " + duration(*left);
    if (!progress.name.empty())
        text += " · " + progress.name;
    return clipped(text, columns);
}

ProgressLine::ProgressLine() : terminal_(isatty(STDERR_FILENO) == 1) {}

ProgressLine::~ProgressLine() {
    erase();
}

void ProgressLine::show(const OperationProgress& progress) {
    if (!terminal_)
        return;
    const MutexLock lock(mutex_);
    fmt::print(stderr, "\r{}\x1b[K", progressText(progress, terminalColumns() - 1));
    std::fflush(stderr);
    drawn_ = true;
}

void ProgressLine::erase() {
    const MutexLock lock(mutex_);
    if (!drawn_)
        return;
    std::fputs("\r\x1b[K", stderr);
    std::fflush(stderr);
    drawn_ = false;
}

} // namespace morv
