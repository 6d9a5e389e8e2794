#include "MorvCore/Operations/RecordWrites.h"

namespace morv {

RecordWrites::Write::Write(RecordWrites& writes, const UUID& id) : writes_(writes), id_(id) {
    const MutexLock lock(writes_.mutex_);
    version_ = ++writes_.versions_[id_];
    writes_.pending_.insert(id_);
}

RecordWrites::Write::~Write() {
    {
        const MutexLock lock(writes_.mutex_);
        writes_.pending_.erase(id_);
    }
    writes_.writeEnded_.notify_all();
}

bool RecordWrites::Write::isNewest() const {
    return writes_.version(id_) == version_;
}

std::uint64_t RecordWrites::version(const UUID& id) const {
    const MutexLock lock(mutex_);
    const auto found = versions_.find(id);
    return found == versions_.end() ? 0 : found->second;
}

RecordWrites::Moment RecordWrites::now(const UUID& id) const {
    const MutexLock lock(mutex_);
    const auto found = versions_.find(id);
    return {found == versions_.end() ? 0 : found->second, pending_.contains(id)};
}

bool RecordWrites::isStable(const UUID& id, const Moment& before) const {
    const auto after = now(id);
    return !before.isWriting && !after.isWriting && after.version == before.version;
}

void RecordWrites::waitForEnd(const UUID& id) {
    MutexLock lock(mutex_);
    while (pending_.contains(id))
        lock.wait(writeEnded_);
}

} // namespace morv
