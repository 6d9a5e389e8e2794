#include "MorvApp/Integration/DecoderProcess.h"

#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Platform/MimeTypes.h"
#include "MorvCore/Platform/SyncPlaceholder.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace morv {

namespace {

constexpr int mostHelpers = 4;
constexpr const char* programName = "morv-decoder";
/// Of the families that are decoded, what the decoder does not read.
constexpr std::array<std::string_view, 11> notUnderstood = {
    "mid", "midi", "m3u", "m3u8", "pls", "cue", "xcf", "kra", "ora", "djvu", "cbz",
};
constexpr std::array<std::string_view, 2> documents = {"pdf", "ai"};

/// What is no regular file is not even opened: opening a device can move a tape.
Descriptor openFile(const FileURL& file) {
    const auto& path = file.path();
    struct stat before {};
    if (::stat(path.c_str(), &before) != 0)
        throw PosixError(errno, path);
    if (!S_ISREG(before.st_mode))
        throw MediaError("Only files have a preview.");
    Descriptor opened(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!opened)
        throw PosixError(errno, path);
    const auto stat = statDescriptor(opened.get());
    if (!stat.isRegular())
        throw MediaError("Only files have a preview.");
    if (isSyncPlaceholder(stat, file.lastComponent(), AttributeTarget::descriptor(opened.get())))
        throw MediaError("The file has not been downloaded.");
    return opened;
}

} // namespace

DecoderLimits DecoderLimits::standard() {
    DecoderLimits limits;
    std::array<char, PATH_MAX> own{};
    const auto length = ::readlink("/proc/self/exe", own.data(), own.size());
    const auto beside =
        FileURL::fromPath({own.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))})
            .parent()
            .child(programName);
    limits.program = ::access(beside.path().c_str(), X_OK) == 0
                         ? beside
                         : FileURL::fromPath(MORV_LIBEXEC_DIRECTORY).child(programName);
    limits.helpers = std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, mostHelpers);
    return limits;
}

DecoderProcess::DecoderProcess(DecoderLimits limits)
    : limits_(std::move(limits)), keeper_([this](const std::stop_token& stop) { endIdle(stop); }) {}

DecoderProcess::~DecoderProcess() {
    keeper_.request_stop();
    keeper_.join();
}

/// The helper of one request; what becomes of it afterwards is decided by how it served.
class DecoderProcess::Lease {
public:
    Lease(const DecoderProcess& pool, const std::stop_token& stop) : pool_(pool), helper_(pool.take(stop)) {}
    ~Lease() { pool_.giveBack(std::move(helper_)); }
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;

    DecoderHelper& operator*() const { return *helper_; }

private:
    const DecoderProcess& pool_;
    std::unique_ptr<DecoderHelper> helper_;
};

std::unique_ptr<DecoderHelper> DecoderProcess::take(const std::stop_token& stop) const {
    {
        const std::stop_callback wake(stop, [this] {
            { const MutexLock lock(mutex_); }
            changed_.notify_all();
        });
        MutexLock lock(mutex_);
        while (busy_ >= limits_.helpers && !stop.stop_requested())
            lock.wait(changed_);
        checkCancelled(stop);
        ++busy_;
        if (!idle_.empty()) {
            auto helper = std::move(idle_.back().helper);
            idle_.pop_back();
            return helper;
        }
    }
    try {
        return std::make_unique<DecoderHelper>(limits_.program);
    } catch (...) {
        giveBack(nullptr);
        throw;
    }
}

void DecoderProcess::giveBack(std::unique_ptr<DecoderHelper> helper) const {
    const bool isOfUse = helper && helper->isSound() && helper->served() < limits_.requestsPerHelper;
    if (!isOfUse)
        helper.reset(); // it is killed before another takes its place
    {
        const MutexLock lock(mutex_);
        --busy_;
        if (helper)
            idle_.push_back({std::move(helper), Clock::now()});
    }
    changed_.notify_all();
}

void DecoderProcess::endIdle(const std::stop_token& stop) const {
    const std::stop_callback wake(stop, [this] {
        { const MutexLock lock(mutex_); }
        changed_.notify_all();
    });
    while (!stop.stop_requested()) {
        std::vector<Idle> ended; // goes after the lock: ending one waits for it
        MutexLock lock(mutex_);
        if (idle_.empty()) {
            if (!stop.stop_requested())
                lock.wait(changed_);
        } else if (const auto due = idle_.front().since + limits_.idle; Clock::now() < due) {
            if (!stop.stop_requested())
                lock.waitUntil(changed_, due);
        } else {
            ended.push_back(std::move(idle_.front()));
            idle_.erase(idle_.begin());
        }
    }
}

/// What a helper answers to `ask`.
template <class Ask>
auto DecoderProcess::served(const std::stop_token& stop, const Ask& ask) const {
    for (bool isFirst = true;; isFirst = false) {
        Lease helper(*this, stop);
        try {
            return ask(*helper);
        } catch (const DecoderGone&) {
            // Somebody else ended it while it was idle.
            if (!isFirst)
                throw;
        }
    }
}

DecodedMedia DecoderProcess::decode(const MediaRequest& request, const std::stop_token& stop) const {
    checkCancelled(stop);
    const auto file = openFile(request.file);
    return served(stop, [&](DecoderHelper& helper) {
        return helper.decode(file, request, Clock::now() + limits_.patience, stop);
    });
}

std::vector<TextHighlight> DecoderProcess::highlight(const HighlightRequest& request,
                                                     const std::stop_token& stop) const {
    checkCancelled(stop);
    return served(stop, [&](DecoderHelper& helper) {
        return helper.highlight(request, Clock::now() + limits_.highlightPatience, stop);
    });
}

bool DecoderProcess::understands(const FileURL& file) const {
    std::string extension(file.extension());
    std::ranges::transform(extension, extension.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    if (std::ranges::find(documents, extension) != documents.end())
        return true;
    const auto family = typeFamily(extension);
    return (family == TypeFamily::image || family == TypeFamily::video || family == TypeFamily::audio) &&
           std::ranges::find(notUnderstood, extension) == notUnderstood.end();
}

} // namespace morv
