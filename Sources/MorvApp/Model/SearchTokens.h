// What a typed search asks for besides a name: tag:red, tag:"two words", kind:images. Stateless.
//
// Inside quotes \" is a quote and \\ a backslash; any other backslash, and all of a value without quotes, stands for
// itself. So every value can be typed, and what quotedValue() writes is read as the same value.
#pragma once

#include "MorvCore/Folders/FileEntry.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace morv {

struct SearchTokens {
    std::optional<std::string> tag; ///< the last one that was typed, as it was typed
    std::optional<FileKind> kind;
    std::string text; ///< the rest; a token that is still being typed is no part of it
    /// The token that is still being typed, with its name: "tag:re". Empty: none.
    std::string open;

    friend bool operator==(const SearchTokens&, const SearchTokens&) = default;
};

/// A token ends with a blank, its closing quote, or, once the text is meant as it stands, with the text. A kind
/// that does not exist is text like any other.
enum class TokenEnding : std::uint8_t { typing, meant };
SearchTokens searchTokens(std::string_view typed, TokenEnding ending);

/// `value` as it stands behind a token's name, in quotes.
std::string quotedValue(std::string_view value);
/// Of a token with its name, whole or still being typed: what it says so far.
std::string tokenValue(std::string_view token);

/// "images", "Image", "IMAGES"; nothing for what is no kind.
std::optional<FileKind> kindNamed(std::string_view name);

} // namespace morv
