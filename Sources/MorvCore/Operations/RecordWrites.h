// Which records this process is writing, and how often it has: what tells a reader that the record it loaded
// was not being replaced meanwhile.
//
// Invariants  I1  readStable() returns => no write of the id was under way or began while it was loaded
//             I2  a write that was overtaken is not the newest
// Threading   safe to share. The lock is never held while a record is loaded or saved.
#pragma once

#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/Mutex.h"
#include "MorvCore/Foundation/UUID.h"

#include <cstdint>
#include <map>
#include <set>
#include <stop_token>

namespace morv {

class RecordWrites {
public:
    /// One write, counted as begun; it ends with the scope, and then the readers who wait for it go on.
    class Write {
    public:
        Write(RecordWrites& writes, const UUID& id);
        ~Write();
        Write(const Write&) = delete;
        Write& operator=(const Write&) = delete;

        /// No later write of the id has begun.
        bool isNewest() const;

    private:
        RecordWrites& writes_;
        const UUID id_;
        std::uint64_t version_ = 0;
    };

    template <class Value>
    struct Stable {
        Value value;
        std::uint64_t version; ///< of the writes of this process
    };

    /// What `load(version)` gives, loaded again until it is stable. Throws what `load` throws, and
    /// CancellationError before each time.
    template <class Load>
    auto readStable(const UUID& id, const std::stop_token& stop, Load&& load)
        -> Stable<decltype(load(std::uint64_t()))> {
        for (;;) {
            checkCancelled(stop);
            const auto moment = now(id);
            auto value = load(moment.version);
            if (isStable(id, moment))
                return {std::move(value), moment.version};
            waitForEnd(id);
        }
    }

    /// How many writes of the id this process has begun.
    std::uint64_t version(const UUID& id) const;

private:
    struct Moment {
        std::uint64_t version = 0;
        bool isWriting = false;
    };

    Moment now(const UUID& id) const;
    bool isStable(const UUID& id, const Moment& before) const;
    void waitForEnd(const UUID& id);

    mutable Mutex mutex_;
    std::condition_variable writeEnded_;
    std::map<UUID, std::uint64_t> versions_ MORV_GUARDED_BY(mutex_);
    std::set<UUID> pending_ MORV_GUARDED_BY(mutex_);
};

} // namespace morv
