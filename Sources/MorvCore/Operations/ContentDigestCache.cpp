#include "MorvCore/Operations/ContentDigestCache.h"

#include "MorvCore/Platform/ReadLease.h"
#include "MorvCore/Platform/VolumeNumber.h"

#include <algorithm>
#include <ctime>
#include <fcntl.h>

namespace morv {

namespace {

constexpr std::int64_t settledNanoseconds = 100'000'000;

} // namespace

bool isSettled(const FileTime& changed) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    // A change time in the future (a clock that was set back) proves nothing either.
    return (now.tv_sec - changed.seconds) * 1'000'000'000 + now.tv_nsec -
               static_cast<std::int64_t>(changed.nanoseconds) >=
           settledNanoseconds;
}

DigestAdmission::DigestAdmission(const FileStat& info, int descriptor)
    : before_(info), descriptor_(descriptor),
      possible_(info.isRegular() && isSettled(info.changed) &&
                volumeTraits(info.device, descriptor, "").timesShowEveryChange &&
                nobodyIsWriting(descriptor)) {}

bool DigestAdmission::isProved(const FileStat& after) const {
    return possible_ && before_.isSameItem(after) && before_.size == after.size &&
           before_.modified == after.modified && before_.changed == after.changed &&
           nobodyIsWriting(descriptor_);
}

std::optional<CachedFile> ContentDigestCache::find(const FileStat& info) const {
    const Key key(info);
    const MutexLock lock(mutex_);
    for (const auto* generation : {&young_, &old_})
        if (const auto found = generation->find(key); found != generation->end())
            return found->second;
    return std::nullopt;
}

void ContentDigestCache::admit(const FileStat& info, CachedFile file) {
    Generation forgotten;
    const MutexLock lock(mutex_);
    if (young_.size() >= capacity) {
        forgotten.swap(old_);
        old_.swap(young_);
    }
    young_.insert_or_assign(Key(info), std::move(file));
}

std::shared_ptr<const RememberedTree> ContentDigestCache::findTree(const FileStat& top) const {
    const MutexLock lock(mutex_);
    const auto found = std::ranges::find_if(
        trees_, [&](const auto& tree) { return tree->device() == top.device && tree->inode() == top.inode; });
    return found == trees_.end() ? nullptr : *found;
}

void ContentDigestCache::remember(std::shared_ptr<const RememberedTree> tree) {
    const MutexLock lock(mutex_);
    std::erase_if(trees_, [&](const auto& other) {
        return tree->device() == other->device() && tree->inode() == other->inode();
    });
    trees_.push_front(std::move(tree));
    std::size_t total = 0;
    for (std::size_t i = 0; i < trees_.size(); ++i)
        if ((total += trees_[i]->size()) > treeItems && i > 0)
            trees_.resize(i);
}

} // namespace morv
