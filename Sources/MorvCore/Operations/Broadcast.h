// One publisher, any number of readers, each with the newest N values.
// Threading   safe to share; publish() never blocks on a reader, and wake-ups are called with no lock held
#pragma once

#include "MorvCore/Foundation/Mutex.h"

#include <algorithm>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace morv {

/// A bounded channel of the newest values. Destroying it unsubscribes.
template <class T>
class EngineStream {
public:
    virtual ~EngineStream() = default;
    /// The oldest unread value, or nothing. Never blocks.
    virtual std::optional<T> take() = 0;
};

template <class T>
class Broadcast {
    struct Channel {
        Channel(std::size_t limit, std::function<void()> wakeUp) : capacity(limit), wake(std::move(wakeUp)) {}

        const std::size_t capacity;
        const std::function<void()> wake;
        Mutex mutex;
        std::deque<T> values MORV_GUARDED_BY(mutex);
    };
    struct Stream final : EngineStream<T> {
        explicit Stream(std::shared_ptr<Channel> owned) : channel(std::move(owned)) {}
        std::optional<T> take() override {
            const MutexLock lock(channel->mutex);
            if (channel->values.empty())
                return std::nullopt;
            std::optional<T> value(std::move(channel->values.front()));
            channel->values.pop_front();
            return value;
        }
        std::shared_ptr<Channel> channel;
    };

public:
    /// `wake` may be empty. It is called on the publishing thread after each arrival; after the stream is
    /// destroyed a call that was under way may still end.
    std::unique_ptr<EngineStream<T>> subscribe(std::size_t capacity, std::function<void()> wake) {
        auto channel = std::make_shared<Channel>(capacity, std::move(wake));
        const MutexLock lock(mutex_);
        channels_.push_back(channel);
        return std::make_unique<Stream>(std::move(channel));
    }

    void publish(const T& value) {
        std::vector<std::shared_ptr<Channel>> readers;
        {
            const MutexLock lock(mutex_);
            std::erase_if(channels_, [](const auto& channel) { return channel.expired(); });
            for (const auto& channel : channels_)
                if (auto reader = channel.lock())
                    readers.push_back(std::move(reader));
        }
        for (const auto& reader : readers) {
            {
                const MutexLock lock(reader->mutex);
                reader->values.push_back(value);
                if (reader->values.size() > reader->capacity)
                    reader->values.pop_front();
            }
            if (reader->wake)
                reader->wake();
        }
    }

private:
    Mutex mutex_;
    std::vector<std::weak_ptr<Channel>> channels_ MORV_GUARDED_BY(mutex_);
};

} // namespace morv
