#include "MorvCore/Operations/PackingCrew.h"

#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Operations/AppleDouble.h"
#include "MorvCore/Operations/ArchiveLimits.h"
#include "MorvCore/Operations/ItemAttributes.h"
#include "MorvCore/Operations/OperationProgress.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace morv {

namespace {

constexpr int fileFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
constexpr std::size_t sampleLength = 16'384;
constexpr std::size_t samples = 4;

unsigned crewSize() {
    // More of them would ask for more open folders than a process may have.
    return std::clamp(std::thread::hardware_concurrency(), 2U, 8U);
}

/// A system call's failure on an item of the survey.
[[noreturn]] void fail(const ArchiveSurvey& survey, std::size_t index) {
    const int code = errno;
    throw PosixError(code, survey.shown(index).path());
}

[[noreturn]] void refuseChange(const ArchiveSurvey& survey, std::size_t index) {
    throw FileOperationError::changed(displayText(survey.memberName(index)) +
                                      " changed while it was being packed. Try again after its writer has "
                                      "finished.");
}

void requireUnchanged(const ArchiveSurvey& survey, std::size_t index, int descriptor) {
    const auto now = statDescriptor(descriptor);
    const auto& then = survey.items()[index].info;
    if (!now.isSameItem(then) || now.size != then.size || now.modified != then.modified ||
        now.changed != then.changed)
        refuseChange(survey, index);
}

Descriptor openFile(const ArchiveSurvey& survey, int folder, std::size_t index) {
    Descriptor file(openat(folder, survey.items()[index].name.c_str(), fileFlags));
    if (!file)
        fail(survey, index);
    requireUnchanged(survey, index, file.get());
    return file;
}

/// A file that ends before `length` bytes is no longer the one that was surveyed.
void read(const ArchiveSurvey& survey, std::size_t index, int file, std::uint64_t offset, char* to,
          std::size_t length) {
    while (length > 0) {
        const auto got = pread(file, to, length, static_cast<off_t>(offset));
        if (got == 0)
            refuseChange(survey, index);
        if (got < 0 && errno != EINTR)
            fail(survey, index);
        if (got > 0) {
            to += got;
            offset += static_cast<std::uint64_t>(got);
            length -= static_cast<std::size_t>(got);
        }
    }
}

} // namespace

/// One thread's tools.
class PackingCrew::Hand {
public:
    explicit Hand(PackingCrew& crew) : crew_(crew), survey_(crew.survey_) {}

    void pack(PackingShare& share) {
        if (share.large)
            return packPiece(share);
        for (const auto& item : share.items) {
            checkCancelled(crew_.stop_);
            packItem(share, item);
        }
    }

private:
    const FileStat& info(std::size_t index) const { return survey_.items()[index].info; }

    void count(std::size_t bytes) const {
        if (crew_.progress_)
            crew_.progress_->addBytes(static_cast<std::int64_t>(bytes));
    }

    void packItem(PackingShare& share, const PackingShare::Item& item) {
        if (info(item.index).isDirectory()) {
            share.packed.push_back({.item = item.index});
            packAttributes(share, item.index, item.folder->get());
            requireUnchanged(survey_, item.index, item.folder->get());
            return;
        }
        const int folder = item.folder ? item.folder->get() : survey_.base();
        const auto file = openFile(survey_, folder, item.index);
        const auto size = static_cast<std::size_t>(info(item.index).size);
        input_.resize(std::max(input_.size(), size));
        read(survey_, item.index, file.get(), 0, input_.data(), size);
        append(share, {.item = item.index}, {input_.data(), size});
        packAttributes(share, item.index, file.get());
        requireUnchanged(survey_, item.index, file.get());
        count(size);
    }

    void packPiece(PackingShare& share) {
        checkCancelled(crew_.stop_);
        const auto index = share.items.front().index;
        const auto size = static_cast<std::uint64_t>(info(index).size);
        const auto length =
            static_cast<std::size_t>(std::min<std::uint64_t>(pieceLength, size - share.offset));
        const bool isLast = share.offset + length == size;
        PackedData data{.item = index,
                        .part = share.offset == 0 ? PackedData::Part::first
                                : isLast          ? PackedData::Part::last
                                                  : PackedData::Part::next,
                        .isDeflated = share.large->isDeflated,
                        .size = length};
        const int file = share.large->file.get();
        if (data.isDeflated) {
            const auto before = share.offset == 0 ? 0 : Deflater::window;
            input_.resize(std::max(input_.size(), before + length));
            read(survey_, index, file, share.offset - before, input_.data(), before + length);
            const std::string_view all(input_.data(), before + length);
            const bool isMeasured = size >= ArchiveLimits::smallestRatioChecked;
            data.checksum = checksum(all.substr(before));
            deflater_.appendPiece(share.bytes,
                                  {.before = all.substr(0, before),
                                   .data = all.substr(before),
                                   .shortest = isMeasured ? length / ArchiveLimits::largestRatio + 1 : 0});
            if (isLast)
                share.bytes.append(Deflater::endOfPieces);
        } else {
            share.bytes.resize(length);
            read(survey_, index, file, share.offset, share.bytes.data(), length);
            data.checksum = checksum(share.bytes);
        }
        data.length = share.bytes.size();
        share.packed.push_back(data);
        if (isLast)
            packAttributes(share, index, file);
        // The pieces before it may still be read; whoever takes them in order looks at the file again.
        count(length);
    }

    /// Deflated, or as it is when that is not longer.
    void append(PackingShare& share, PackedData data, std::string_view bytes) {
        const auto start = share.bytes.size();
        deflater_.appendWhole(share.bytes, bytes);
        data.isDeflated = share.bytes.size() - start < bytes.size();
        if (!data.isDeflated)
            share.bytes.resize(start);
        if (!data.isDeflated)
            share.bytes.append(bytes);
        data.checksum = checksum(bytes);
        data.size = bytes.size();
        data.length = share.bytes.size() - start;
        share.packed.push_back(data);
    }

    void packAttributes(PackingShare& share, std::size_t index, int descriptor) {
        if (!survey_.items()[index].hasSidecar)
            return;
        auto values =
            readAttributes(AttributeTarget::descriptor(descriptor), AttributeValues::keep, crew_.stop_)
                .values;
        // Access lists mean nothing to another system.
        std::erase_if(values, [](const auto& attribute) { return !attribute.first.starts_with("user."); });
        std::size_t size = 0;
        for (const auto& [name, value] : values)
            size += name.size() + value.size();
        if (size > AppleDouble::largest / 2)
            refusePacking(survey_.memberName(index), "its attributes are too large");
        append(share, {.item = index, .isSidecar = true}, AppleDouble::encode(values));
    }

    PackingCrew& crew_;
    const ArchiveSurvey& survey_;
    Deflater deflater_{Deflater::Effort::usual};
    std::vector<char> input_;
};

PackingCrew::PackingCrew(const ArchiveSurvey& survey, const std::stop_token& stop, ProgressMeter* progress)
    : survey_(survey), stop_(stop), progress_(progress), sharesAhead_(2 * std::size_t{crewSize()} + 2),
      sampler_(Deflater::Effort::sample) {
    threads_.reserve(crewSize());
    try {
        for (unsigned i = 0; i < crewSize(); ++i)
            threads_.emplace_back([this] { work(); });
    } catch (const std::system_error&) {
        // Fewer threads, or none, pack the same.
    }
}

PackingCrew::~PackingCrew() {
    {
        const MutexLock lock(mutex_);
        isEnding_ = true;
        waiting_.clear();
    }
    arrived_.notify_all();
    for (auto& thread : threads_)
        thread.join();
}

std::unique_ptr<PackingShare> PackingCrew::empty() {
    if (spare_.empty())
        return std::make_unique<PackingShare>();
    auto share = std::move(spare_.back());
    spare_.pop_back();
    return share;
}

void PackingCrew::giveBack(std::unique_ptr<PackingShare> share) {
    auto bytes = std::move(share->bytes);
    *share = {};
    // One large share must not make all of them large for good.
    if (bytes.capacity() <= 2 * pieceLength)
        share->bytes = std::move(bytes);
    share->bytes.clear();
    spare_.push_back(std::move(share));
}

void PackingCrew::submit(std::unique_ptr<PackingShare> share) {
    auto* const work = share.get();
    order_.push_back(std::move(share));
    if (threads_.empty()) {
        Hand(*this).pack(*work);
        work->isDone = true;
        return;
    }
    {
        const MutexLock lock(mutex_);
        waiting_.push_back(work);
    }
    arrived_.notify_one();
}

std::unique_ptr<PackingShare> PackingCrew::take() {
    {
        MutexLock lock(mutex_);
        while (!order_.front()->isDone)
            lock.wait(done_);
    }
    auto share = std::move(order_.front());
    order_.pop_front();
    if (share->error)
        std::rethrow_exception(share->error);
    return share;
}

void PackingCrew::work() {
    std::unique_ptr<Hand> hand;
    MutexLock lock(mutex_);
    for (;;) {
        while (waiting_.empty() && !isEnding_)
            lock.wait(arrived_);
        if (isEnding_)
            return;
        auto* const share = waiting_.front();
        waiting_.pop_front();
        lock.unlock();
        try {
            if (!hand)
                hand = std::make_unique<Hand>(*this);
            hand->pack(*share);
        } catch (...) {
            share->error = std::current_exception();
        }
        lock.lock();
        share->isDone = true;
        done_.notify_one();
    }
}

std::shared_ptr<LargeFile> PackingCrew::openLarge(int folder, std::size_t index) {
    auto large = std::make_shared<LargeFile>();
    large->file = openFile(survey_, folder, index);
    const auto size = static_cast<std::uint64_t>(survey_.items()[index].info.size);
    std::array<char, sampleLength> sample{};
    std::string deflated;
    for (std::size_t i = 0; i < samples; ++i) {
        const auto offset = (size - sampleLength) / (samples - 1) * i;
        read(survey_, index, large->file.get(), offset, sample.data(), sample.size());
        sampler_.appendWhole(deflated, {sample.data(), sample.size()});
    }
    // Less than a fiftieth is not worth the time, here and whenever it is extracted.
    large->isDeflated = deflated.size() < sampleLength * samples / 50 * 49;
    return large;
}

void PackingCrew::checkUnchanged(const LargeFile& large, std::size_t index) const {
    requireUnchanged(survey_, index, large.file.get());
}

} // namespace morv
