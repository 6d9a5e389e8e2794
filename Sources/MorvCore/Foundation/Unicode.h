// Text rules for names: composition, keys, canonical order, display, and the user's own order.
// Names and paths are bytes; what is not UTF-8 is compared by its bytes and repaired only for display.
#pragma once

#include <compare>
#include <optional>
#include <string>
#include <string_view>

namespace morv {

bool isValidUTF8(std::string_view bytes);

/// Canonical composition (NFC). Bytes that are not UTF-8 come back unchanged.
std::string composed(std::string_view text);

/// NFC, then full locale-independent lower case: two paths with equal keys look the same to a user.
/// Bytes that are not UTF-8 come back unchanged.
std::string pathKey(std::string_view path);

/// The order of every digest: by the bytes of the NFC forms, ties by the raw bytes.
std::strong_ordering canonicalOrder(std::string_view a, std::string_view b);
inline bool canonicallyLess(std::string_view a, std::string_view b) {
    return canonicalOrder(a, b) < 0;
}

/// UTF-8 fit to be shown: invalid bytes become U+FFFD; control and bidirectional formatting characters
/// become visible stand-ins, so that a name cannot rearrange the sentence around it.
std::string displayText(std::string_view bytes);

/// As displayText, but only repairs what is not UTF-8 (for JSON values that name a file).
std::string repairedUTF8(std::string_view bytes);

/// The user's order of names: by locale, digit runs by value. Safe from any thread.
namespace NameCollation {

/// Fixes the locale (BCP 47 or POSIX form, such as "en_GB"). Call once, before the first comparison;
/// without it the process environment decides.
void setLocale(const std::string& locale);

std::strong_ordering compare(std::string_view a, std::string_view b);

/// Bytes whose plain order is the order of compare(). Compute once per name before sorting many.
std::string sortKey(std::string_view name);

} // namespace NameCollation

} // namespace morv
