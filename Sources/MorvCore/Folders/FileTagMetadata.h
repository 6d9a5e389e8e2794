// Tags of a file: the attribute "user.com.apple.metadata:_kMDItemUserTags", a property list of strings, each
// a name, optionally followed by a line feed and one digit for its colour.
//
// Threading   stateless; the retry loop is the whole defence against a concurrent writer
#pragma once

#include "MorvCore/Foundation/FileURL.h"
#include "MorvCore/Platform/ExtendedAttributes.h"

#include <string>
#include <vector>

namespace morv::FileTagMetadata {

inline constexpr std::string_view attribute = "user.com.apple.metadata:_kMDItemUserTags";

/// The names in stored order, without colours. No attribute, or a volume without attributes: none.
/// Throws PosixError, DecodingError, or FileOperationError with a sentence; at most 64 KiB are read.
std::vector<std::string> names(const FileURL& url);
std::vector<std::string> names(const AttributeTarget& item);

/// A tag as it is stored: 1 grey, 2 green, 3 purple, 4 blue, 5 yellow, 6 red, 7 orange.
struct Tag {
    std::string name;
    int colour = 0; ///< 0: none

    friend bool operator==(const Tag&, const Tag&) = default;
};

/// As names(), with the colours.
std::vector<Tag> tags(const AttributeTarget& item);

/// Replaces the item's tags; a name that the item already carried keeps its colour. No names removes the
/// attribute. Throws PosixError; a symbolic link carries no tags and fails.
void setNames(const FileURL& url, const std::vector<std::string>& names);

} // namespace morv::FileTagMetadata
