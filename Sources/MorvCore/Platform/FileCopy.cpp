#include "MorvCore/Platform/FileCopy.h"

#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/Mutex.h"
#include "MorvCore/Platform/Durability.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <linux/fs.h>
#include <optional>
#include <sys/ioctl.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace morv {

namespace {

/// Hashing larger pieces at a time leaves the cache and is half as fast.
constexpr std::size_t hashPiece = 64 * 1024;
/// What is read and written at once, and what the hashing thread is handed: smaller hand-overs cost more.
constexpr std::size_t blockSize = 1024 * 1024;
/// From here on the copy is worth a second thread.
constexpr std::int64_t threadedSize = 4 * 1024 * 1024;
/// How much is written before the device is nudged to start.
constexpr std::int64_t flushWindow = 16 * 1024 * 1024;

void hashInPieces(ContentHash& hash, std::span<const std::byte> bytes) {
    for (std::size_t at = 0; at < bytes.size(); at += hashPiece)
        hash.update(bytes.subspan(at, std::min(hashPiece, bytes.size() - at)));
}

/// 0 at the end of the file.
std::size_t readAt(int descriptor, std::span<std::byte> buffer, std::int64_t offset, const FileURL& shown) {
    for (;;) {
        const auto count = pread(descriptor, buffer.data(), buffer.size(), offset);
        if (count >= 0)
            return static_cast<std::size_t>(count);
        if (errno != EINTR)
            throw PosixError(errno, shown.path());
    }
}

void writeAt(int descriptor, std::span<const std::byte> bytes, std::int64_t offset, const FileURL& shown) {
    while (!bytes.empty()) {
        const auto count = pwrite(descriptor, bytes.data(), bytes.size(), offset);
        if (count < 0) {
            if (errno == EINTR)
                continue;
            throw PosixError(errno, shown.path());
        }
        bytes = bytes.subspan(static_cast<std::size_t>(count));
        offset += count;
    }
}

/// Where the blocks that are read go to be hashed.
class HashSink {
public:
    virtual ~HashSink() = default;
    /// A block that nobody reads any more.
    virtual std::span<std::byte> emptyBlock() = 0;
    /// Hashes the first `count` bytes of the block that emptyBlock() gave.
    virtual void hash(std::size_t count) = 0;
    virtual Digest finish() = 0;
};

class InlineHashing final : public HashSink {
public:
    std::span<std::byte> emptyBlock() override {
        thread_local std::vector<std::byte> buffer(blockSize);
        return buffer;
    }
    void hash(std::size_t count) override { hashInPieces(hash_, emptyBlock().first(count)); }
    Digest finish() override { return hash_.finish(); }

private:
    ContentHash hash_;
};

/// Hashes on a thread of its own, a few blocks behind the one that copies.
class ThreadedHashing final : public HashSink {
public:
    ThreadedHashing() : thread_([this] { run(); }) {}
    ~ThreadedHashing() override {
        {
            const MutexLock lock(mutex_);
            ended_ = true;
        }
        changed_.notify_all();
        thread_.join();
    }
    ThreadedHashing(const ThreadedHashing&) = delete;
    ThreadedHashing& operator=(const ThreadedHashing&) = delete;

    std::span<std::byte> emptyBlock() override {
        MutexLock lock(mutex_);
        while (filled_ - hashed_ == blocks_.size())
            lock.wait(changed_);
        return blocks_[filled_ % blocks_.size()];
    }
    void hash(std::size_t count) override {
        {
            const MutexLock lock(mutex_);
            counts_[filled_ % blocks_.size()] = count;
            ++filled_;
        }
        changed_.notify_all();
    }
    Digest finish() override {
        MutexLock lock(mutex_);
        while (hashed_ != filled_)
            lock.wait(changed_);
        return hash_.finish();
    }

private:
    std::optional<std::span<const std::byte>> nextFilled() {
        MutexLock lock(mutex_);
        while (hashed_ == filled_ && !ended_)
            lock.wait(changed_);
        if (ended_)
            return std::nullopt;
        const auto index = hashed_ % blocks_.size();
        return std::span<const std::byte>(blocks_[index]).first(counts_[index]);
    }
    void run() {
        while (const auto block = nextFilled()) {
            hashInPieces(hash_, *block);
            {
                const MutexLock lock(mutex_);
                ++hashed_;
            }
            changed_.notify_all();
        }
    }

    Mutex mutex_;
    std::condition_variable changed_;
    std::array<std::vector<std::byte>, 4> blocks_ = {
        std::vector<std::byte>(blockSize), std::vector<std::byte>(blockSize),
        std::vector<std::byte>(blockSize), std::vector<std::byte>(blockSize)};
    std::array<std::size_t, 4> counts_ MORV_GUARDED_BY(mutex_){};
    std::size_t filled_ MORV_GUARDED_BY(mutex_) = 0;
    std::size_t hashed_ MORV_GUARDED_BY(mutex_) = 0;
    bool ended_ MORV_GUARDED_BY(mutex_) = false;
    ContentHash hash_; ///< the thread's own until every block is hashed, then finish()'s
    std::thread thread_;
};

/// One copy under way: from `offset` on, block by block.
struct Copying {
    int source;
    int destination;
    HashSink& sink;
    const FileURL& shown;
    const std::stop_token& stop;
    const ChunkObserver& chunk;
    /// Of a large file only: a small one is read and written in two calls.
    bool kernelCopies;
    std::int64_t offset = 0;
    std::int64_t flushed = 0;

    void did(std::size_t count) {
        offset += static_cast<std::int64_t>(count);
        if (chunk)
            chunk(static_cast<std::int64_t>(count));
        checkCancelled(stop);
    }

    /// Lets the kernel copy one block and reads what arrived, so that the copied bytes are what is hashed.
    /// 0: the kernel cannot, or nothing is left.
    std::size_t copyInKernel(std::span<std::byte> block) {
        off_t from = offset, to = offset;
        const auto copied = copy_file_range(source, &from, destination, &to, block.size(), 0);
        if (copied < 0 && (errno == ENOSPC || errno == EDQUOT || errno == EIO || errno == EFBIG))
            throw PosixError(errno, shown.path());
        if (copied <= 0)
            return 0;
        const auto count = static_cast<std::size_t>(copied);
        for (std::size_t done = 0; done < count;) {
            const auto arrived = readAt(destination, block.subspan(done, count - done),
                                        offset + static_cast<std::int64_t>(done), shown);
            if (arrived == 0)
                throw PosixError(EIO, shown.path());
            done += arrived;
        }
        return count;
    }

    /// Up to `end`, or to the end of the file if that comes first. False at the end of the file.
    bool copyData(std::int64_t end) {
        while (offset < end) {
            auto block = sink.emptyBlock();
            block = block.first(static_cast<std::size_t>(
                std::min<std::int64_t>(end - offset, static_cast<std::int64_t>(block.size()))));
            auto count = kernelCopies ? copyInKernel(block) : 0;
            if (count == 0) {
                kernelCopies = false;
                count = readAt(source, block, offset, shown);
                if (count == 0)
                    return false;
                writeAt(destination, block.first(count), offset, shown);
            }
            sink.hash(count);
            did(count);
            if (offset - flushed >= flushWindow) {
                startFlushing(destination, flushed, offset - flushed);
                flushed = offset;
            }
        }
        return true;
    }

    void skipHole(std::int64_t end) {
        while (offset < end) {
            const auto block = sink.emptyBlock();
            const auto count = static_cast<std::size_t>(
                std::min<std::int64_t>(end - offset, static_cast<std::int64_t>(block.size())));
            std::fill_n(block.begin(), count, std::byte{0});
            sink.hash(count);
            did(count);
        }
    }

    void copySparse() {
        const std::int64_t end = lseek(source, 0, SEEK_END);
        while (offset < end) {
            const std::int64_t data = lseek(source, offset, SEEK_DATA);
            if (data < 0 && errno != ENXIO) {
                copyData(INT64_MAX);
                return;
            }
            skipHole(data < 0 ? end : data);
            if (offset >= end)
                break;
            const std::int64_t hole = lseek(source, offset, SEEK_HOLE);
            if (!copyData(hole < 0 ? end : hole))
                return;
        }
        if (ftruncate(destination, offset) != 0)
            throw PosixError(errno, shown.path());
    }
};

} // namespace

bool cloneFile(int source, int destination) {
    return ioctl(destination, FICLONE, source) == 0;
}

HashedBytes hashFile(int source, std::int64_t size, const FileURL& shown, const std::stop_token& stop,
                     const ChunkObserver& chunk) {
    InlineHashing sink;
    HashedBytes result;
    do {
        const auto block = sink.emptyBlock();
        const auto count = readAt(source, block, result.count, shown);
        if (count == 0)
            break;
        checkCancelled(stop);
        sink.hash(count);
        result.count += static_cast<std::int64_t>(count);
        if (chunk)
            chunk(static_cast<std::int64_t>(count));
    } while (result.count != size);
    result.digest = sink.finish();
    return result;
}

HashedBytes copyFile(int source, int destination, std::int64_t size, Holes holes, const FileURL& shown,
                     const std::stop_token& stop, const ChunkObserver& chunk) {
    std::optional<InlineHashing> here;
    std::optional<ThreadedHashing> beside;
    HashSink* sink = nullptr;
    if (size >= threadedSize)
        sink = &beside.emplace();
    else
        sink = &here.emplace();

    Copying copying{source, destination, *sink, shown, stop, chunk, size >= threadedSize};
    if (holes == Holes::possible)
        copying.copySparse();
    else
        copying.copyData(size);
    return {sink->finish(), copying.offset};
}

} // namespace morv
