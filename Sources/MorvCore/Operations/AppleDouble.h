// Extended attributes as the AppleDouble file that stands beside a member of a ZIP archive (RFC 1740, appendix
// B, version 2; the table of attributes is macOS's own addition behind the Finder information).
//
// On disk     entry 9: 32 bytes of Finder information, 2 bytes of padding, the table "ATTR" with a name and a
//             place for each attribute, then the values; entry 2: the resource fork. All numbers big-endian,
//             all offsets from the beginning of the file.
// Names       the kernel's: "user.NAME" is NAME in the table. "user.com.apple.FinderInfo" and
//             "user.com.apple.ResourceFork" have their entries, unless these could not be told from nothing
//             there (a value of another length or of zeros, an empty fork): then the table has them, too
// Invariants  decode(encode(a)) holds what `a` held
// Threading   stateless
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace morv::AppleDouble {

/// Names in the kernel's form and values, in any order, no name twice.
using Attributes = std::vector<std::pair<std::string, std::string>>;

/// More than this is neither packed nor restored: it is held in memory as a whole.
inline constexpr std::size_t largest = 16'777'216;

/// Every name begins with "user." and is no longer than the kernel allows (255 bytes, and 64 KiB for the list of
/// all names); together with the values they are shorter than 4 GiB.
std::string encode(const Attributes& attributes);

/// Nothing when `bytes` are not a well-formed file of this kind: an offset or a length leaves them, a name is
/// twice there, not UTF-8 or too long for the kernel, or there are more names than it lists. What comes out is never longer than what went in.
std::optional<Attributes> decode(std::string_view bytes);

/// Where the attributes of the member "a/b" stand: "__MACOSX/a/._b". A folder's name comes without "/".
std::string sidecarName(std::string_view member);

/// The member whose attributes stand at `sidecar`; nothing when no member's do.
std::optional<std::string> memberOf(std::string_view sidecar);

} // namespace morv::AppleDouble
