#include "MorvCore/Operations/RenameProof.h"

#include "MorvCore/Operations/ItemAttributes.h"
#include "MorvCore/Platform/VolumeNumber.h"

#include <cerrno>
#include <ctime>
#include <fcntl.h>

namespace morv {

namespace {

/// Reading this much takes about as long as one tick of the clock that stamps files.
constexpr std::int64_t worthKeeping = 4 * 1024 * 1024;

bool clockHasLeft(const FileTime& time) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    return now.tv_sec > time.seconds ||
           (now.tv_sec == time.seconds && now.tv_nsec > static_cast<long>(time.nanoseconds));
}

} // namespace

RenameProof::Held::Held(Descriptor opened)
    : descriptor(std::move(opened)),
      trusted(volumeTraits(statDescriptor(descriptor.get()).device, descriptor.get(), "").isTrustedLocal),
      timesShowEveryChange(
          volumeTraits(statDescriptor(descriptor.get()).device, descriptor.get(), "").timesShowEveryChange),
      lease(trusted ? descriptor.get() : -1) {}

RenameProof::RenameProof(Descriptor descriptor) {
    if (descriptor)
        held_ = std::make_unique<Held>(std::move(descriptor));
}

RenameProof RenameProof::of(const FileURL& url) {
    return RenameProof(Descriptor(open(url.path().c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)));
}

std::optional<ReadFile> RenameProof::afterRename(const std::optional<ReadFile>& known) const {
    if (!held_ || !known)
        return std::nullopt;
    const auto now = statDescriptor(held_->descriptor.get());
    if (!now.isRegular() || !now.isSameItem(known->info) || now.size != known->info.size ||
        now.modified != known->info.modified || !held_->lease.isHeld() || !hasAttributesOf(known->file))
        return std::nullopt;
    return ReadFile{now, known->file};
}

bool RenameProof::hasAttributesOf(const CachedFile& file) const {
    try {
        const auto now = readAttributes(AttributeTarget::descriptor(held_->descriptor.get()),
                                        AttributeValues::digestOnly, {});
        return now.digest == file.attributes && now.tags == file.tags;
    } catch (const std::exception&) {
        // The reading that follows for want of a proof says why.
        return false;
    }
}

void RenameProof::keep(const ReadFile& file, ContentDigestCache& cache) const {
    if (file.info.size < worthKeeping || !held_->timesShowEveryChange)
        return;
    constexpr int patience = 20;
    for (int i = 0; i < patience && !clockHasLeft(file.info.changed); ++i) {
        const timespec tick{0, 1'000'000};
        clock_nanosleep(CLOCK_MONOTONIC, 0, &tick, nullptr);
    }
    if (!clockHasLeft(file.info.changed) || !hasAttributesOf(file.file))
        return;
    const auto now = statDescriptor(held_->descriptor.get());
    if (now.changed == file.info.changed && now.modified == file.info.modified && held_->lease.isHeld())
        cache.admit(file.info, file.file);
}

} // namespace morv
