#include "MorvCore/Platform/FilePieces.h"

#include "MorvCore/Foundation/Errors.h"

#include <algorithm>
#include <cerrno>
#include <unistd.h>
#include <utility>

namespace morv {

namespace {

/// What is copied of a place that nothing else is wanted of costs more than the call.
constexpr std::size_t afterJump = 512;

} // namespace

FilePieces::FilePieces(int descriptor, std::size_t piece, FileURL shown)
    : descriptor_(descriptor), piece_(piece), shown_(std::move(shown)) {}

bool FilePieces::holds(std::uint64_t offset, std::size_t count) const {
    return offset >= start_ && offset - start_ <= filled_ && count <= filled_ - (offset - start_);
}

std::string_view FilePieces::bytes(std::uint64_t offset, std::size_t count) {
    if (!holds(offset, count)) {
        const bool goesOn = offset >= start_ && offset - start_ <= filled_ + piece_;
        const auto wanted = std::max(goesOn ? piece_ : afterJump, count);
        buffer_.resize(std::max(buffer_.size(), wanted));
        start_ = offset;
        filled_ = 0;
        while (filled_ < wanted) {
            const auto got = pread(descriptor_, buffer_.data() + filled_, wanted - filled_,
                                   static_cast<off_t>(offset + filled_));
            if (got == 0)
                break;
            if (got > 0)
                filled_ += static_cast<std::size_t>(got);
            else if (errno != EINTR)
                throw PosixError(errno, shown_.path());
        }
    }
    const auto at = static_cast<std::size_t>(offset - start_);
    return {buffer_.data() + at, std::min(count, filled_ - at)};
}

} // namespace morv
