// Pictures of files from the thumbnail cache of the desktop, else from the decoder, which then fill that cache.
//
// On disk     $XDG_CACHE_HOME/thumbnails/{normal,large,x-large,xx-large} with pictures of at most 128, 256, 512 and
//             1024 pixels, and fail/morv-VERSION for files that cannot be shown, all 0700 and 0600
// Invariants  I1  a picture is used only while the file's time is exactly the one that the picture was made of
//             I2  nothing is written about a file that changed while it was read, or so lately that a second change
//                 could have the same time
//             I3  nothing of the cache itself gets a picture
//             I4  a file that took too long is not tried again by this process, and nothing is written about it: it
//                 may have been the machine
// Not asked   files above 16 MiB on network and FUSE volumes: the picture would cost more than a look at the file
// Threading   safe to share
#pragma once

#include "MorvApp/Integration/ThumbnailFile.h"
#include "MorvApp/Model/ThumbnailCache.h"
#include "MorvCore/Foundation/Mutex.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace morv {

class SharedThumbnails : public ThumbnailMaker {
public:
    /// `version` names the folder of failures: another version may be able to show more.
    SharedThumbnails(std::shared_ptr<const MediaDecoder> decoder, FileURL folder, const std::string& version);

    bool understands(const FileURL& file) const override { return decoder_->understands(file); }
    /// Throws PosixError, MediaError, CancellationError.
    MediaPicture make(const FileURL& file, int side, const std::stop_token& stop) const override;

private:
    bool wasSlow(const ThumbnailOrigin& origin) const;

    const std::shared_ptr<const MediaDecoder> decoder_;
    const FileURL folder_;
    const FileURL failures_;
    mutable Mutex mutex_;
    /// Modification times of files that took too long, by the URI.
    mutable std::map<std::string, std::int64_t> slow_ MORV_GUARDED_BY(mutex_);
};

} // namespace morv
