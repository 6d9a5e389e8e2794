// One PNG of the thumbnail cache that all programs of a desktop share (freedesktop.org, Thumbnail Managing Standard).
//
// Name      lower-case MD5 of the file's URI and ".png"
// Texts     chunks of text before the pixels: "Thumb::URI", and "Thumb::MTime" in seconds since 1970. It is of that file
//           only while both are equal to what the file has now
// Trust     whoever writes into the user's cache folder wrote it: its size is bounded before it is read, and its
//           pixels before they are decoded
// Threading stateless
#pragma once

#include "MorvApp/Model/MediaDecoder.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace morv {

/// What a thumbnail is of.
struct ThumbnailOrigin {
    std::string uri;
    std::int64_t modified = 0; ///< seconds since 1970
};

/// As GLib escapes it: only A-Za-z0-9 and !$&'()*+,-.:=@_~/ stand for themselves.
std::string thumbnailURI(const FileURL& file);
/// Without a folder.
std::string thumbnailName(std::string_view uri);

/// Nothing when there is none, it is of something else or of an older file, or wider than `largestSide`.
std::optional<MediaPicture> readThumbnail(const FileURL& png, const ThumbnailOrigin& origin, int largestSide);
/// Makes the folder, readable by its owner only, writes beside the final name and renames. Throws PosixError; nothing
/// is left behind then.
void writeThumbnail(const FileURL& png, const ThumbnailOrigin& origin, const MediaPicture& picture);

/// At most `side` wide and high; smaller ones stay as they are.
MediaPicture scaled(const MediaPicture& picture, int side);

} // namespace morv
