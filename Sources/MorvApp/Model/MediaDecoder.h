// Pictures and facts of files that strangers made: images, PDF documents, video, audio. They are decoded in a
// process of their own with limits on memory and time and without access to other files, so that a hostile
// file costs its picture and nothing else.
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <vector>

namespace morv {

/// Premultiplied blue, green, red, alpha bytes in sRGB, rows from top to bottom without padding. Immutable.
struct MediaPicture {
    int width = 0;
    int height = 0;
    std::shared_ptr<const std::byte> pixels; ///< width * height * 4 bytes; null: no picture

    explicit operator bool() const { return pixels != nullptr; }
};

struct MediaRequest {
    /// More is answered with this much.
    static constexpr int largestSide = 4096;

    FileURL file;
    int side =
        256; ///< pixels of the longest side of the answer; pixels are never enlarged to it, pages and drawings fill it
    int page = 0; ///< of a document, from 0
};

/// "Duration" and "3:20": for people, in the order in which they are to be read. Valid UTF-8, but a stranger's:
/// shown with control and direction characters made visible.
struct MediaFact {
    std::string title;
    std::string value;

    friend bool operator==(const MediaFact&, const MediaFact&) = default;
};

struct DecodedMedia {
    MediaPicture picture; ///< with the orientation that the file asks for; none for audio without a cover
    int naturalWidth = 0; ///< pixels of the original as shown; of a PDF page points; 0: has none
    int naturalHeight = 0;
    int pageCount = 0; ///< of a document; 0 otherwise
    std::vector<MediaFact> facts;
};

/// The file cannot be shown; what() is a sentence for people.
class MediaError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Safe to share. Blocks: call it on a worker.
class MediaDecoder {
public:
    virtual ~MediaDecoder() = default;
    /// Throws MediaError, PosixError when the file cannot be opened, CancellationError.
    virtual DecodedMedia decode(const MediaRequest& request, const std::stop_token& stop) const = 0;
    /// Whether a file of this name is worth asking for. By the name only: touches no disk.
    virtual bool understands(const FileURL& file) const = 0;
};

} // namespace morv
