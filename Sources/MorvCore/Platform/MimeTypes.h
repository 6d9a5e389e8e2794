// The family of a file name, by the name alone; the content is never looked at.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace morv {

enum class TypeFamily : std::uint8_t { other, image, video, audio, document };

/// `extension` lower-cased, without the dot. A built-in table for the common ones, then the shared MIME
/// database's globs. Cached; safe to share.
TypeFamily typeFamily(std::string_view extension);

} // namespace morv
