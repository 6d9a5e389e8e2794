#include "MorvCore/Operations/TreePass.h"

#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Operations/OperationFiles.h"
#include "MorvCore/Operations/TreeVisitor.h"
#include "MorvCore/Platform/VolumeNumber.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <exception>
#include <fcntl.h>
#include <functional>
#include <system_error>
#include <thread>

namespace morv {

namespace {

/// How many folders of the present path keep their descriptors; those above are reopened through "..".
constexpr std::size_t openDepth = 32;
/// How much is read ahead of the digests.
constexpr std::size_t segmentsAhead = 48;
constexpr std::size_t itemsAhead = 4096;
constexpr std::size_t segmentSize = 256;

/// How many threads look at items beside each other.
const unsigned crewSize = std::max(2U, std::thread::hardware_concurrency());

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

/// A piece of the ordered stream between the readers and the digests.
struct Segment {
    enum class Kind : std::uint8_t { items, entered, left };

    Kind kind = Kind::items;
    std::shared_ptr<TreeFolder> folder; ///< items: where they stand; left: the folder itself
    std::shared_ptr<TreeFolder> parent; ///< left: where the folder stands
    std::string name;                   ///< left: under which name
    std::vector<TreeVisit> visits;
    std::size_t claimed = 0; ///< guarded by the reader's mutex
    std::size_t done = 0;    ///< likewise
};

class TreePass {
public:
    TreePass(const FileURL& top, const ReadingContext& context, const CopyRequest* copy)
        : top_(top), context_(context), copy_(copy),
          linkStop_(context.stop, [this] { stop_.request_stop(); }),
          useCache_(context.cache && context.from == ReadFrom::anywhere),
          visitor_(top, context, copy, stop_.get_token()) {}
    ~TreePass();
    TreePass(const TreePass&) = delete;
    TreePass& operator=(const TreePass&) = delete;

    FileFingerprint run();
    Descriptor takeWritten() { return visitor_.takeWritten(); }

private:
    struct Frame {
        std::shared_ptr<TreeFolder> folder; ///< null while its descriptors are given up
        std::string name;
        std::vector<ListedName> children;
        std::size_t next = 0;
        // What survives giving up the descriptors.
        FileStat info;
        FileStat targetInfo;
        std::vector<std::pair<std::string, std::string>> attributes;
    };

    std::optional<FileFingerprint> recall(const TreeFolder& base, const std::string& name,
                                          const FileStat& info);

    // Walking: the calling thread.
    void walk(const std::shared_ptr<TreeFolder>& base);
    std::shared_ptr<TreeFolder> enter(const std::shared_ptr<TreeFolder>& parent, const std::string& name);
    void pushFrame(std::vector<Frame>& stack, std::shared_ptr<TreeFolder> folder, std::string name);
    void popFrame(std::vector<Frame>& stack, const std::shared_ptr<TreeFolder>& base);
    void reopen(Frame& frame, const TreeFolder& child, const std::string& childName);
    void list(TreeFolder& folder) const;
    void push(std::shared_ptr<Segment> segment);
    void consumeFront();
    void feed(TreeVisit& visit);
    void remember(const Segment& segment, const TreeVisit& visit);
    void leave(const Segment& segment);

    // The readers' threads.
    enum class WhenIdle : std::uint8_t { wait, stop };
    struct Share {
        std::shared_ptr<Segment> segment;
        std::size_t first = 0;
        std::size_t count = 0;
    };
    void startThreads();
    void work();
    void workHere();
    std::optional<Share> claimShare(WhenIdle idle);
    void visitShare(const Share& share);

    const FileURL& top_;
    const ReadingContext& context_;
    const CopyRequest* copy_;
    std::stop_source stop_;
    std::stop_callback<std::function<void()>> linkStop_;
    const bool useCache_;
    TreeVisitor visitor_;

    ContentHash content_, state_, metadata_;
    std::int64_t byteCount_ = 0;
    FileStat topInfo_;
    std::optional<RememberedTreeBuilder> builder_;

    std::deque<std::shared_ptr<Segment>> stream_;
    std::size_t itemsInStream_ = 0;
    bool streamFailed_ = false; ///< feeding the digests threw

    Mutex mutex_;
    std::condition_variable workArrived_;
    std::condition_variable workDone_;
    std::deque<std::shared_ptr<Segment>> work_ MORV_GUARDED_BY(mutex_);
    bool ending_ MORV_GUARDED_BY(mutex_) = false;
    std::vector<std::thread> threads_;
};

TreePass::~TreePass() {
    stop_.request_stop();
    {
        const MutexLock lock(mutex_);
        ending_ = true;
    }
    workArrived_.notify_all();
    for (auto& thread : threads_)
        thread.join();
}

FileFingerprint TreePass::run() {
    checkCancelled(context_.stop);
    auto base = std::make_shared<TreeFolder>();
    base->isBase = true;
    base->source = Descriptor(open(top_.parent().path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!base->source)
        throw PosixError(errno, top_.parent().path());
    if (copy_) {
        base->target = Descriptor(openat(copy_->stagingFolder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!base->target)
            throw PosixError(errno, copy_->staging.parent().path());
    }
    const std::string name(top_.lastComponent());
    const auto info = visitor_.located(*base, name, [&] { return statAt(base->source.get(), name); });
    const auto kind = OperationFiles::kindOf(info);
    if (info.isDirectory()) {
        if (auto remembered = recall(*base, name, info))
            return *remembered;
        if (context_.cache && !copy_ &&
            volumeTraits(info.device, base->source.get(), name.c_str()).timesShowEveryChange)
            builder_.emplace();
        walk(base);
    } else {
        TreeVisit only;
        only.name = name;
        visitor_.visit(*base, only);
        feed(only);
        topInfo_ = only.info;
    }

    FileFingerprint result;
    const bool known = visitor_.contentIsKnown();
    const auto contentText = hexText(content_.finish());
    state_.append(contentText);
    result.contentDigest = known ? contentText : "";
    result.identity = topInfo_.identity();
    result.stateDigest = hexText(state_.finish());
    result.metadataDigest = hexText(metadata_.finish());
    result.byteCount = byteCount_;
    result.kind = kind;
    if (auto tree = builder_ ? builder_->finish(result) : nullptr)
        context_.cache->remember(std::move(tree));
    return result;
}

/// What was read of this tree before, when it is proved to be still the same.
std::optional<FileFingerprint> TreePass::recall(const TreeFolder& base, const std::string& name,
                                                const FileStat& info) {
    const auto tree = useCache_ && !copy_ ? context_.cache->findTree(info) : nullptr;
    if (!tree)
        return std::nullopt;
    auto fingerprint = tree->recall(base.source.get(), name, context_.stop);
    if (fingerprint && context_.progress) {
        context_.progress->addBytes(tree->byteCount());
        context_.progress->addFoundItems(static_cast<std::int64_t>(tree->size()));
    }
    return fingerprint;
}

// MARK: Walking

void TreePass::walk(const std::shared_ptr<TreeFolder>& base) {
    std::vector<Frame> stack;
    try {
        const std::string name(top_.lastComponent());
        pushFrame(stack, enter(base, name), name);
        while (!stack.empty()) {
            auto& frame = stack.back();
            if (frame.next == frame.children.size()) {
                popFrame(stack, base);
                continue;
            }
            if (frame.children[frame.next].isFolder) {
                auto child = std::move(frame.children[frame.next++].name);
                auto folder = enter(frame.folder, child);
                pushFrame(stack, std::move(folder), std::move(child));
                continue;
            }
            auto segment = std::make_shared<Segment>();
            segment->folder = frame.folder;
            while (frame.next < frame.children.size() && !frame.children[frame.next].isFolder &&
                   segment->visits.size() < segmentSize)
                segment->visits.emplace_back().name = std::move(frame.children[frame.next++].name);
            push(std::move(segment));
        }
    } catch (...) {
        // What was read before a failure of the walk comes first: its own failure, if it has one, is the one
        // to tell. A failure that came out of the stream is the first already.
        const auto failure = std::current_exception();
        while (!streamFailed_ && !stream_.empty())
            consumeFront();
        std::rethrow_exception(failure);
    }
    while (!stream_.empty())
        consumeFront();
}

void TreePass::pushFrame(std::vector<Frame>& stack, std::shared_ptr<TreeFolder> folder, std::string name) {
    Frame frame;
    frame.children = std::move(folder->children);
    frame.name = std::move(name);
    frame.info = folder->info;
    frame.targetInfo = folder->targetInfo;
    frame.attributes = folder->attributes;
    frame.folder = std::move(folder);
    stack.push_back(std::move(frame));
    if (stack.size() > openDepth)
        stack[stack.size() - 1 - openDepth].folder.reset();
}

void TreePass::popFrame(std::vector<Frame>& stack, const std::shared_ptr<TreeFolder>& base) {
    auto finished = std::move(stack.back());
    stack.pop_back();
    if (!stack.empty() && !stack.back().folder)
        reopen(stack.back(), *finished.folder, finished.name);
    auto segment = std::make_shared<Segment>();
    segment->kind = Segment::Kind::left;
    segment->folder = finished.folder;
    segment->parent = stack.empty() ? base : stack.back().folder;
    segment->name = std::move(finished.name);
    push(std::move(segment));
}

void TreePass::reopen(Frame& frame, const TreeFolder& child, const std::string& childName) {
    auto folder = std::make_shared<TreeFolder>();
    // Kept in every frame it would cost the square of the depth.
    folder->relative = child.relative.substr(0, child.relative.size() - childName.size() - 1);
    folder->info = frame.info;
    folder->targetInfo = frame.targetInfo;
    folder->attributes = frame.attributes;
    folder->source = Descriptor(openat(child.source.get(), "..", folderFlags));
    if (!folder->source || !statDescriptor(folder->source.get()).isSameItem(frame.info))
        throw changedWhileInspected(frame.name);
    if (copy_) {
        folder->target = Descriptor(openat(child.target.get(), "..", folderFlags));
        if (!folder->target || !statDescriptor(folder->target.get()).isSameItem(frame.targetInfo))
            throw changedWhileInspected(frame.name);
    }
    frame.folder = std::move(folder);
}

std::shared_ptr<TreeFolder> TreePass::enter(const std::shared_ptr<TreeFolder>& parent,
                                            const std::string& name) {
    checkCancelled(context_.stop);
    auto folder = std::make_shared<TreeFolder>();
    folder->relative = parent->below(name);
    visitor_.located(*parent, name, [&] {
        folder->info = statAt(parent->source.get(), name);
        if (!folder->info.isDirectory())
            throw changedWhileInspected(name);
        folder->source = Descriptor(openat(parent->source.get(), name.c_str(), folderFlags));
        if (!folder->source)
            throw PosixError(errno);
        if (!statDescriptor(folder->source.get()).isSameItem(folder->info))
            throw changedWhileInspected(name);
    });
    // Asked before anything is read: what changes afterwards must show a later time.
    const bool settled = isSettled(folder->info.changed);
    auto attributes = visitor_.located(*parent, name, [&] {
        return readAttributes(AttributeTarget::descriptor(folder->source.get()),
                              copy_ ? AttributeValues::keep : AttributeValues::digestOnly, context_.stop);
    });
    if (parent->isBase)
        topInfo_ = folder->info;
    if (copy_)
        visitor_.makeTargetFolder(*parent, name, *folder);
    folder->memory = {{}, attributes.digest, attributes.tags, settled};
    list(*folder);

    auto segment = std::make_shared<Segment>();
    segment->kind = Segment::Kind::entered;
    segment->folder = folder;
    auto& visit = segment->visits.emplace_back();
    visit.name = name;
    visit.info = folder->info;
    visitor_.describeFolder(visit, *folder, attributes);
    folder->attributes = std::move(attributes.values);
    push(std::move(segment));
    return folder;
}

void TreePass::list(TreeFolder& folder) const {
    try {
        folder.children = listFolderWithKinds(folder.source.get());
    } catch (const PosixError& error) {
        throw PosixError(error.code(), top_.path() + folder.relative);
    }
    if (builder_) {
        ContentHash names;
        for (const auto& child : folder.children)
            names.append(child.name);
        folder.memory.listing = names.finish();
    }
    std::ranges::stable_sort(folder.children, canonicallyLess, &ListedName::name);
}

// MARK: The ordered stream

void TreePass::push(std::shared_ptr<Segment> segment) {
    itemsInStream_ += segment->visits.size();
    if (segment->kind == Segment::Kind::items) {
        if (threads_.empty())
            startThreads();
        {
            const MutexLock lock(mutex_);
            work_.push_back(segment);
        }
        workArrived_.notify_all();
        if (threads_.empty())
            workHere();
    }
    stream_.push_back(std::move(segment));
    while (stream_.size() > segmentsAhead || (itemsInStream_ > itemsAhead && stream_.size() > 1))
        consumeFront();
}

void TreePass::consumeFront() {
    streamFailed_ = true;
    const auto segment = std::move(stream_.front());
    stream_.pop_front();
    itemsInStream_ -= segment->visits.size();
    if (segment->kind == Segment::Kind::items) {
        MutexLock lock(mutex_);
        while (segment->done != segment->visits.size())
            lock.wait(workDone_);
    }
    for (auto& visit : segment->visits) {
        feed(visit);
        if (builder_)
            remember(*segment, visit);
    }
    if (segment->kind == Segment::Kind::left)
        leave(*segment);
    streamFailed_ = false;
}

void TreePass::feed(TreeVisit& visit) {
    if (visit.error)
        std::rethrow_exception(visit.error);
    content_.update(visit.content);
    state_.update(visit.state);
    metadata_.update(visit.metadata);
    byteCount_ += visit.byteCount;
    if (context_.progress)
        context_.progress->addFoundItems(1);
}

void TreePass::remember(const Segment& segment, const TreeVisit& visit) {
    const auto tail = std::string_view(visit.state).substr(visit.state.find('\0') + 1);
    const RememberedTreeBuilder::Entry entry{visit.info, visit.name, tail, visit.isProved};
    if (segment.kind == Segment::Kind::entered)
        builder_->enterFolder(entry, segment.folder->memory);
    else
        builder_->add(entry);
}

void TreePass::leave(const Segment& segment) {
    const auto& folder = *segment.folder;
    const auto now = visitor_.located(*segment.parent, segment.name,
                                      [&] { return statAt(segment.parent->source.get(), segment.name); });
    if (!isSameReading(now, folder.info))
        throw changedWhileInspected(segment.name);
    if (builder_ && now.changed == folder.info.changed)
        builder_->leaveFolder();
    else
        builder_.reset();
    if (copy_)
        visitor_.finishTargetFolder(folder);
}

void TreePass::startThreads() {
    try {
        for (unsigned i = 0; i < crewSize; ++i)
            threads_.emplace_back([this] { work(); });
    } catch (const std::system_error&) {
        // Fewer threads, or none, read the same.
    }
}

void TreePass::work() {
    while (auto share = claimShare(WhenIdle::wait))
        visitShare(*share);
}

void TreePass::workHere() {
    while (auto share = claimShare(WhenIdle::stop))
        visitShare(*share);
}

/// Some items of the oldest segment; nothing when there is no more to do.
std::optional<TreePass::Share> TreePass::claimShare(WhenIdle idle) {
    MutexLock lock(mutex_);
    while (work_.empty() && !ending_ && idle == WhenIdle::wait)
        lock.wait(workArrived_);
    if (ending_ || work_.empty())
        return std::nullopt;
    Share share{work_.front(), work_.front()->claimed, 0};
    // Large shares first, single items at the end, so that no thread is left with all the large files.
    const auto remaining = share.segment->visits.size() - share.first;
    share.count = std::clamp<std::size_t>(remaining / (2 * crewSize + 1), 1, 16);
    share.segment->claimed += share.count;
    if (share.segment->claimed == share.segment->visits.size())
        work_.pop_front();
    return share;
}

void TreePass::visitShare(const Share& share) {
    auto& segment = *share.segment;
    for (auto i = share.first; i < share.first + share.count; ++i) {
        try {
            visitor_.visit(*segment.folder, segment.visits[i]);
        } catch (...) {
            segment.visits[i].error = std::current_exception();
        }
    }
    const MutexLock lock(mutex_);
    segment.done += share.count;
    if (segment.done == segment.visits.size())
        workDone_.notify_all();
}

} // namespace

FileFingerprint readFingerprint(const FileURL& url, const ReadingContext& context) {
    return TreePass(url, context, nullptr).run();
}

CopyResult copyTree(const CopyRequest& request, const ReadingContext& context) {
    TreePass pass(request.source, context, &request);
    auto source = pass.run();
    return {std::move(source), pass.takeWritten()};
}

} // namespace morv
