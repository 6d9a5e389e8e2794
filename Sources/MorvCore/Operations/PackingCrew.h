// Reads and deflates the items of a survey on all cores; what comes out is in the order in which it was asked
// for.
//
// Shares      a batch of folders and small files, or one piece of a large file: at most `pieceLength` bytes of
//             the source at once
// Bounds      as many shares as `sharesAhead` are in memory, each with what it made; buffers are used again
// Unchanged   a file, its attributes with it, is what the survey saw before and after it was read
// Errors      of the first share in order that failed: FileOperationError (changed, unsupported), PosixError with
//             the item's path, CancellationError
// Threading   confined to the thread that made it; its own threads end with it
#pragma once

#include "MorvCore/Foundation/FileURL.h"
#include "MorvCore/Foundation/Mutex.h"
#include "MorvCore/Operations/ArchiveSurvey.h"
#include "MorvCore/Operations/Deflater.h"
#include "MorvCore/Platform/Descriptor.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

namespace morv {

class ProgressMeter;

/// One member, or a piece of one, ready for the archive.
struct PackedData {
    enum class Part : std::uint8_t {
        whole,
        first, ///< of a large file
        next,
        last
    };

    std::size_t item = 0; ///< among the survey's
    bool isSidecar = false;
    Part part = Part::whole;
    bool isDeflated = false;
    std::uint32_t checksum = 0; ///< of this part
    std::uint64_t size = 0;     ///< of this part, when extracted
    std::size_t length = 0;     ///< of what follows the parts before it in the share's bytes
};

/// A file that comes in several pieces.
struct LargeFile {
    Descriptor file;
    bool isDeflated = false;
};

struct PackingShare {
    struct Item {
        std::size_t index = 0;
        std::shared_ptr<Descriptor>
            folder; ///< a folder's own; where a file stands, nothing for the source itself
    };
    std::vector<Item> items; ///< a batch, unless there is a large file: then that one
    std::shared_ptr<LargeFile> large;
    std::uint64_t offset = 0; ///< of the piece

    std::vector<PackedData> packed;
    std::string bytes; ///< the data of what is packed, one behind the other
    std::exception_ptr error;
    bool isDone = false; ///< guarded by the crew's mutex until it is taken
};

class PackingCrew {
public:
    static constexpr std::size_t pieceLength = 1'048'576;

    /// All of these must outlive it.
    PackingCrew(const ArchiveSurvey& survey, const std::stop_token& stop, ProgressMeter* progress);
    ~PackingCrew();
    PackingCrew(const PackingCrew&) = delete;
    PackingCrew& operator=(const PackingCrew&) = delete;

    /// An empty share, to be filled and submitted.
    std::unique_ptr<PackingShare> empty();
    void submit(std::unique_ptr<PackingShare> share);
    /// Whether the oldest share has to be taken before the next one may be submitted.
    bool isFull() const { return order_.size() >= sharesAhead_; }
    bool isIdle() const { return order_.empty(); }
    /// Waits for the oldest share. Throws its error.
    std::unique_ptr<PackingShare> take();
    void giveBack(std::unique_ptr<PackingShare> share);

    /// Opens a file of more than one piece, and takes samples of whether it is worth deflating.
    std::shared_ptr<LargeFile> openLarge(int folder, std::size_t index);
    /// For when all its pieces have been taken. Throws FileOperationError::changed.
    void checkUnchanged(const LargeFile& large, std::size_t index) const;

private:
    class Hand;

    void work();

    const ArchiveSurvey& survey_;
    const std::stop_token& stop_;
    ProgressMeter* const progress_;
    const std::size_t sharesAhead_;
    Deflater sampler_;
    std::deque<std::unique_ptr<PackingShare>> order_;
    std::vector<std::unique_ptr<PackingShare>> spare_;

    Mutex mutex_;
    std::condition_variable arrived_;
    std::condition_variable done_;
    std::deque<PackingShare*> waiting_ MORV_GUARDED_BY(mutex_);
    bool isEnding_ MORV_GUARDED_BY(mutex_) = false;
    std::vector<std::thread> threads_;
};

} // namespace morv
