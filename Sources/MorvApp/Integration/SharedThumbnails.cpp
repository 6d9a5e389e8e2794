#include "MorvApp/Integration/SharedThumbnails.h"

#include "MorvApp/Integration/DecoderHelper.h"
#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Platform/VolumeNumber.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>

namespace morv {

namespace {

struct Bucket {
    const char* folder;
    int side;
};
constexpr std::array<Bucket, 4> buckets = {
    {{"normal", 128}, {"large", 256}, {"x-large", 512}, {"xx-large", 1024}}};

constexpr off_t largestRemoteFile = 16 << 20;
/// Seconds within which a file may be written again with the same time.
constexpr std::int64_t settled = 2;

/// statfs(2): NFS, SMB, CIFS, SMB2, FUSE, 9P, Ceph, AFS, Coda.
constexpr std::array<std::uint64_t, 9> remoteTypes = {
    0x6969, 0x517B, 0xFF534D42, 0xFE534D42, 0x65735546, 0x01021997, 0xC36400, 0x5346414F, 0x73757245};

struct stat statOf(const FileURL& file) {
    struct stat item {};
    if (::stat(file.path().c_str(), &item) != 0)
        throw PosixError(errno, file.path());
    if (!S_ISREG(item.st_mode))
        throw MediaError("Only files have a preview.");
    return item;
}

bool isRemote(const FileURL& file, const struct stat& item) {
    const auto type = volumeTraits(item.st_dev, AT_FDCWD, file.path().c_str()).type;
    return std::ranges::find(remoteTypes, type) != remoteTypes.end();
}

bool isSame(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
           a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

bool isSettled(const struct stat& item) {
    return ::time(nullptr) - item.st_mtim.tv_sec > settled;
}

/// What cannot be written costs the next look at the file, and nothing else.
void remember(const FileURL& png, const ThumbnailOrigin& origin, const MediaPicture& picture) {
    try {
        writeThumbnail(png, origin, picture);
    } catch (const PosixError&) {
    }
}

/// A transparent pixel, which stands for "none".
MediaPicture nothing() {
    auto pixel = std::make_shared<const std::array<std::byte, 4>>();
    return {1, 1, std::shared_ptr<const std::byte>(pixel, pixel->data())};
}

} // namespace

SharedThumbnails::SharedThumbnails(std::shared_ptr<const MediaDecoder> decoder, FileURL folder,
                                   const std::string& version)
    : decoder_(std::move(decoder)), folder_(std::move(folder)),
      failures_(folder_.child("fail").child("morv-" + version)) {}

bool SharedThumbnails::wasSlow(const ThumbnailOrigin& origin) const {
    const MutexLock lock(mutex_);
    const auto found = slow_.find(origin.uri);
    return found != slow_.end() && found->second == origin.modified;
}

MediaPicture SharedThumbnails::make(const FileURL& file, int side, const std::stop_token& stop) const {
    checkCancelled(stop);
    if (file.isWithin(folder_))
        throw MediaError("Thumbnails have no thumbnails.");
    const auto item = statOf(file);
    const ThumbnailOrigin origin{thumbnailURI(file), item.st_mtim.tv_sec};
    const auto name = thumbnailName(origin.uri);
    const auto first =
        std::ranges::find_if(buckets, [side](const Bucket& each) { return each.side >= side; });
    for (const auto* bucket = first; bucket != buckets.end(); ++bucket)
        if (const auto found = readThumbnail(folder_.child(bucket->folder).child(name), origin, bucket->side))
            return scaled(*found, side);
    if (readThumbnail(failures_.child(name), origin, buckets.front().side) || wasSlow(origin))
        throw MediaError("The file could not be shown when it was tried last.");
    if (item.st_size > largestRemoteFile && isRemote(file, item))
        throw MediaError("The file is too large to be read over a network for its picture.");
    if (first == buckets.end())
        return decoder_->decode({file, side, 0}, stop).picture;
    const auto mayRemember = [&] { return isSettled(item) && isSame(item, statOf(file)); };
    MediaPicture picture;
    try {
        picture = decoder_->decode({file, first->side, 0}, stop).picture;
    } catch (const DecoderGone&) {
        throw; // of the file it says nothing
    } catch (const DecoderTooSlow&) {
        const MutexLock lock(mutex_);
        slow_[origin.uri] = origin.modified;
        throw;
    } catch (const MediaError&) {
        if (mayRemember())
            remember(failures_.child(name), origin, nothing());
        throw;
    }
    // A recording without a cover is no failure, but there is as little to see the next time.
    if (mayRemember())
        remember(picture ? folder_.child(first->folder).child(name) : failures_.child(name), origin,
                 picture ? picture : nothing());
    return scaled(picture, side);
}

} // namespace morv
