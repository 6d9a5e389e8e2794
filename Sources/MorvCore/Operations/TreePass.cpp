#include "MorvCore/Operations/TreePass.h"

#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Operations/ContentDigestCache.h"
#include "MorvCore/Operations/FolderListing.h"
#include "MorvCore/Operations/ItemAttributes.h"
#include "MorvCore/Operations/OperationFiles.h"
#include "MorvCore/Platform/FileCopy.h"
#include "MorvCore/Platform/SyncPlaceholder.h"
#include "MorvCore/Platform/VolumeNumber.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <deque>
#include <exception>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace morv {

namespace {

/// How many folders of the present path keep their descriptors; those above are reopened through "..".
constexpr std::size_t openDepth = 32;
/// How much is read ahead of the digests.
constexpr std::size_t segmentsAhead = 48;
constexpr std::size_t itemsAhead = 4096;
constexpr std::size_t segmentSize = 256;

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
constexpr int fileFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

/// One open folder of the walk, and the open folder of the copy that mirrors it.
struct Folder {
    Descriptor source;
    Descriptor target;
    std::string relative; ///< "" for the top
    bool isBase = false;  ///< the folder that the top item stands in
    FileStat info;
    FileStat targetInfo;
    std::vector<std::pair<std::string, std::string>>
        attributes; ///< for the copy, set when its children stand

    std::vector<ListedName> children; ///< until the walk takes them
    RememberedTree::Folder memory;

    std::string below(const std::string& name) const {
        return isBase ? std::string() : relative + "/" + name;
    }
};

/// One item on its way into the digests.
struct Visit {
    std::string name;
    FileStat info;
    std::string content; ///< texts with their zero bytes, ready to be fed
    std::string state;
    std::string metadata;
    std::int64_t byteCount = 0;
    bool isProved = false; ///< what was read may be remembered
    std::exception_ptr error;
};

/// A piece of the ordered stream between the readers and the digests.
struct Segment {
    enum class Kind : std::uint8_t { items, entered, left };

    Kind kind = Kind::items;
    std::shared_ptr<Folder> folder; ///< items: where they stand; left: the folder itself
    std::shared_ptr<Folder> parent; ///< left: where the folder stands
    std::string name;               ///< left: under which name
    std::vector<Visit> visits;
    std::size_t claimed = 0; ///< guarded by the reader's mutex
    std::size_t done = 0;    ///< likewise
};

void appendText(std::string& to, std::string_view text) {
    to.append(text);
    to.push_back('\0');
}

FileOperationError changedWhileInspected(std::string_view name) {
    return FileOperationError::changed(
        displayText(name) + " changed while being inspected. Try again after its writer has finished.");
}

bool isUnchanged(const FileStat& a, const FileStat& b) {
    return a.isSameItem(b) && a.size == b.size && a.modified == b.modified;
}

timespec toTimespec(const FileTime& time) {
    return {static_cast<time_t>(time.seconds), time.nanoseconds};
}

class TreePass {
public:
    TreePass(const FileURL& top, const ReadingContext& context, const CopyRequest* copy)
        : top_(top), context_(context), copy_(copy),
          linkStop_(context.stop, [this] { stop_.request_stop(); }),
          useCache_(context.cache && context.from == ReadFrom::anywhere) {}
    ~TreePass();
    TreePass(const TreePass&) = delete;
    TreePass& operator=(const TreePass&) = delete;

    FileFingerprint run();
    Descriptor takeWritten() { return std::move(written_); }

private:
    struct Frame {
        std::shared_ptr<Folder> folder; ///< null while its descriptors are given up
        std::string name;
        std::vector<ListedName> children;
        std::size_t next = 0;
        // What survives giving up the descriptors.
        FileStat info;
        FileStat targetInfo;
        std::vector<std::pair<std::string, std::string>> attributes;
    };

    std::optional<FileFingerprint> recall(const Folder& base, const std::string& name, const FileStat& info);

    // Walking: the calling thread.
    void walk(const std::shared_ptr<Folder>& base);
    std::shared_ptr<Folder> enter(const std::shared_ptr<Folder>& parent, const std::string& name);
    void makeTargetFolder(const Folder& parent, const std::string& name, Folder& folder);
    void pushFrame(std::vector<Frame>& stack, std::shared_ptr<Folder> folder, std::string name);
    void popFrame(std::vector<Frame>& stack, const std::shared_ptr<Folder>& base);
    void reopen(Frame& frame, const Folder& child, const std::string& childName);
    void list(Folder& folder) const;
    void push(std::shared_ptr<Segment> segment);
    void consumeFront();
    void feed(Visit& visit);
    void remember(const Segment& segment, const Visit& visit);
    void leave(const Segment& segment);

    // Visiting: any thread.
    void visit(const Folder& folder, Visit& visit);
    void visitLink(const Folder& folder, Visit& visit, const FileStat& info);
    void visitFile(const Folder& folder, Visit& visit, const FileStat& info);
    std::optional<CachedFile> findUnchanged(const FileStat& info) const;
    Digest copyContent(const Folder& folder, const std::string& name, const FileStat& info, int source,
                       const ItemAttributes& attributes, std::int64_t& count);
    void compose(Visit& visit, const std::string& relative, std::string_view kind, const FileStat& info,
                 const ItemAttributes& attributes) const;
    void setAttributes(int target, const FileStat& info,
                       const std::vector<std::pair<std::string, std::string>>& attributes,
                       const FileURL& shown) const;
    template <class Call>
    void keeping(Call&& call) const;
    void dropInheritedAccess(const Folder& parent, int target) const;
    FileURL shown(const Folder& folder, const std::string& name) const;
    const std::string& targetName(const Folder& folder, const std::string& name) const {
        return folder.isBase ? stagingName_ : name;
    }
    template <class Call>
    auto located(const Folder& folder, const std::string& name, Call&& call) const;

    // The readers' threads.
    void startThreads();
    void work();

    const FileURL& top_;
    const ReadingContext& context_;
    const CopyRequest* copy_;
    std::stop_source stop_;
    std::stop_callback<std::function<void()>> linkStop_;
    const bool useCache_;
    std::string stagingName_;
    std::atomic<bool> canClone_ = true;
    std::atomic<bool> contentIsKnown_ = true;
    Descriptor written_;

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

FileURL TreePass::shown(const Folder& folder, const std::string& name) const {
    return FileURL::fromPath(top_.path() + folder.below(name));
}

/// Runs a call whose PosixError may name only the last component, and gives it the whole path.
template <class Call>
auto TreePass::located(const Folder& folder, const std::string& name, Call&& call) const {
    try {
        return call();
    } catch (const PosixError& error) {
        throw PosixError(error.code(), shown(folder, name).path());
    }
}

FileFingerprint TreePass::run() {
    checkCancelled(context_.stop);
    auto base = std::make_shared<Folder>();
    base->isBase = true;
    base->source = Descriptor(open(top_.parent().path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!base->source)
        throw PosixError(errno, top_.parent().path());
    if (copy_) {
        stagingName_ = std::string(copy_->staging.lastComponent());
        base->target = Descriptor(openat(copy_->stagingFolder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!base->target)
            throw PosixError(errno, copy_->staging.parent().path());
    }
    const std::string name(top_.lastComponent());
    const auto info = located(*base, name, [&] { return statAt(base->source.get(), name); });
    const auto kind = OperationFiles::kindOf(info);
    if (info.isDirectory()) {
        if (auto remembered = recall(*base, name, info))
            return *remembered;
        if (context_.cache && !copy_ &&
            volumeTraits(info.device, base->source.get(), name.c_str()).timesShowEveryChange)
            builder_.emplace();
        walk(base);
    } else {
        Visit only;
        only.name = name;
        visit(*base, only);
        feed(only);
        topInfo_ = only.info;
    }

    FileFingerprint result;
    const bool known = contentIsKnown_;
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
std::optional<FileFingerprint> TreePass::recall(const Folder& base, const std::string& name,
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

void TreePass::walk(const std::shared_ptr<Folder>& base) {
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

void TreePass::pushFrame(std::vector<Frame>& stack, std::shared_ptr<Folder> folder, std::string name) {
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

void TreePass::popFrame(std::vector<Frame>& stack, const std::shared_ptr<Folder>& base) {
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

void TreePass::reopen(Frame& frame, const Folder& child, const std::string& childName) {
    auto folder = std::make_shared<Folder>();
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

std::shared_ptr<Folder> TreePass::enter(const std::shared_ptr<Folder>& parent, const std::string& name) {
    checkCancelled(context_.stop);
    auto folder = std::make_shared<Folder>();
    folder->relative = parent->below(name);
    located(*parent, name, [&] {
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
    auto attributes = located(*parent, name, [&] {
        return readAttributes(AttributeTarget::descriptor(folder->source.get()),
                              copy_ ? AttributeValues::keep : AttributeValues::digestOnly, context_.stop);
    });
    if (parent->isBase)
        topInfo_ = folder->info;
    if (copy_)
        makeTargetFolder(*parent, name, *folder);
    folder->memory = {{}, attributes.digest, attributes.tags, settled};
    list(*folder);

    auto segment = std::make_shared<Segment>();
    segment->kind = Segment::Kind::entered;
    segment->folder = folder;
    auto& visit = segment->visits.emplace_back();
    visit.name = name;
    visit.info = folder->info;
    compose(visit, folder->relative, "directory", folder->info, attributes);
    folder->attributes = std::move(attributes.values);
    push(std::move(segment));
    return folder;
}

void TreePass::makeTargetFolder(const Folder& parent, const std::string& name, Folder& folder) {
    const auto& made = targetName(parent, name);
    located(parent, name, [&] {
        if (mkdirat(parent.target.get(), made.c_str(), 0700) != 0)
            throw PosixError(errno);
        folder.target = Descriptor(openat(parent.target.get(), made.c_str(), folderFlags));
        if (!folder.target)
            throw PosixError(errno);
        folder.targetInfo = statDescriptor(folder.target.get());
        if (parent.isBase) {
            written_ = Descriptor(fcntl(folder.target.get(), F_DUPFD_CLOEXEC, 0));
            if (!written_)
                throw PosixError(errno);
        }
        dropInheritedAccess(parent, folder.target.get());
    });
}

void TreePass::list(Folder& folder) const {
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

void TreePass::feed(Visit& visit) {
    if (visit.error)
        std::rethrow_exception(visit.error);
    content_.update(visit.content);
    state_.update(visit.state);
    metadata_.update(visit.metadata);
    byteCount_ += visit.byteCount;
    if (context_.progress)
        context_.progress->addFoundItems(1);
}

void TreePass::remember(const Segment& segment, const Visit& visit) {
    const auto tail = std::string_view(visit.state).substr(visit.state.find('\0') + 1);
    const RememberedTreeBuilder::Entry entry{visit.info, visit.name, tail, visit.isProved};
    if (segment.kind == Segment::Kind::entered)
        builder_->enterFolder(entry, segment.folder->memory);
    else
        builder_->add(entry);
}

void TreePass::leave(const Segment& segment) {
    const auto& folder = *segment.folder;
    const auto now = located(*segment.parent, segment.name,
                             [&] { return statAt(segment.parent->source.get(), segment.name); });
    if (!isUnchanged(now, folder.info))
        throw changedWhileInspected(segment.name);
    if (builder_ && now.changed == folder.info.changed)
        builder_->leaveFolder();
    else
        builder_.reset();
    if (copy_)
        setAttributes(folder.target.get(), folder.info, folder.attributes,
                      shown(*segment.parent, segment.name));
}

void TreePass::startThreads() {
    const auto count = std::max(2U, std::thread::hardware_concurrency());
    for (unsigned i = 0; i < count; ++i)
        threads_.emplace_back([this] { work(); });
}

void TreePass::work() {
    MutexLock lock(mutex_);
    for (;;) {
        while (work_.empty() && !ending_)
            lock.wait(workArrived_);
        if (ending_)
            return;
        const auto segment = work_.front();
        // Large shares first, single items at the end, so that no thread is left with all the large files.
        const auto remaining = segment->visits.size() - segment->claimed;
        const auto share = std::clamp<std::size_t>(remaining / (2 * threads_.size() + 1), 1, 16);
        const auto first = segment->claimed;
        segment->claimed += share;
        if (segment->claimed == segment->visits.size())
            work_.pop_front();
        lock.unlock();
        for (auto i = first; i < first + share; ++i) {
            try {
                visit(*segment->folder, segment->visits[i]);
            } catch (...) {
                segment->visits[i].error = std::current_exception();
            }
        }
        lock.lock();
        segment->done += share;
        if (segment->done == segment->visits.size())
            workDone_.notify_all();
    }
}

// MARK: Visiting one item

void TreePass::compose(Visit& visit, const std::string& relative, std::string_view kind, const FileStat& info,
                       const ItemAttributes& attributes) const {
    const auto attributeText = hexText(attributes.digest);
    appendText(visit.content, relative);
    appendText(visit.content, kind);

    auto state = std::back_inserter(visit.state);
    visit.state.reserve(relative.size() + attributes.tags.size() + 192);
    fmt::format_to(state, "{}:{}:{}:{}:{}:{}:{}:{}", relative, info.volume, info.inode, info.mode,
                   info.modified.seconds, info.modified.nanoseconds, info.changed.seconds,
                   info.changed.nanoseconds);
    visit.state.push_back('\0');
    appendText(visit.state, attributes.tags);
    appendText(visit.state, attributeText);

    auto metadata = std::back_inserter(visit.metadata);
    visit.metadata.reserve(relative.size() + attributes.tags.size() + 128);
    fmt::format_to(metadata, "{}:{}:{}:{}", relative, info.mode & 07777, info.modified.seconds,
                   info.modified.nanoseconds);
    visit.metadata.push_back('\0');
    appendText(visit.metadata, attributes.tags);
    appendText(visit.metadata, attributeText);
}

void TreePass::visit(const Folder& folder, Visit& visit) {
    const auto stop = stop_.get_token();
    checkCancelled(stop);
    located(folder, visit.name, [&] {
        const auto info = statAt(folder.source.get(), visit.name);
        const auto kind = OperationFiles::kindOf(info);
        if (kind == "directory")
            throw changedWhileInspected(visit.name);
        visit.info = info;
        if (info.isSymbolicLink())
            visitLink(folder, visit, info);
        else
            visitFile(folder, visit, info);
    });
}

void TreePass::visitLink(const Folder& folder, Visit& visit, const FileStat& info) {
    std::string target(static_cast<std::size_t>(std::max<std::int64_t>(info.size, 255)) + 1, '\0');
    const auto length = readlinkat(folder.source.get(), visit.name.c_str(), target.data(), target.size());
    if (length < 0)
        throw PosixError(errno);
    if (static_cast<std::size_t>(length) == target.size())
        throw changedWhileInspected(visit.name);
    target.resize(static_cast<std::size_t>(length));
    visit.isProved = isSettled(info.changed);
    compose(visit, folder.below(visit.name), "symbolicLink", info, noAttributes());
    appendText(visit.content, target);
    if (copy_) {
        const auto& made = targetName(folder, visit.name);
        if (symlinkat(target.c_str(), folder.target.get(), made.c_str()) != 0)
            throw PosixError(errno);
        const std::array<timespec, 2> times = {timespec{0, UTIME_OMIT}, toTimespec(info.modified)};
        keeping([&] {
            if (utimensat(folder.target.get(), made.c_str(), times.data(), AT_SYMLINK_NOFOLLOW) != 0)
                throw PosixError(errno);
        });
        if (folder.isBase)
            written_ = Descriptor(fcntl(folder.target.get(), F_DUPFD_CLOEXEC, 0));
    }
    if (!isUnchanged(statAt(folder.source.get(), visit.name), info))
        throw changedWhileInspected(visit.name);
}

void TreePass::visitFile(const Folder& folder, Visit& visit, const FileStat& info) {
    const auto relative = folder.below(visit.name);
    auto finish = [&](const ItemAttributes& attributes, const Digest& digest, std::int64_t count) {
        compose(visit, relative, "file", info, attributes);
        appendText(visit.content, hexText(digest));
        appendText(visit.content, fmt::format("{}", count));
        visit.byteCount = count;
        if (context_.topFile && folder.isBase)
            *context_.topFile = ReadFile{info, {digest, attributes.digest, attributes.tags}};
    };
    if (const auto known = copy_ ? std::nullopt : findUnchanged(info)) {
        visit.isProved = true;
        finish({known->tags, known->attributes, {}}, known->content, info.size);
        if (context_.progress)
            context_.progress->addBytes(info.size);
        return;
    }
    const Descriptor file(openat(folder.source.get(), visit.name.c_str(), fileFlags));
    if (!file)
        throw PosixError(errno);
    if (!statDescriptor(file.get()).isSameItem(info))
        throw FileOperationError::changed("A file changed while being inspected.");
    const auto target = AttributeTarget::descriptor(file.get());
    if (isSyncPlaceholder(info, visit.name, target))
        throw FileOperationError::unavailable(displayText(visit.name) +
                                              " is a cloud placeholder. Download it before this operation.");
    std::optional<DigestAdmission> admission;
    if (context_.cache && !(copy_ && context_.cache->find(info)))
        admission.emplace(info, file.get());
    const auto stop = stop_.get_token();
    const auto attributes =
        readAttributes(target, copy_ ? AttributeValues::keep : AttributeValues::digestOnly, stop);
    if (context_.from == ReadFrom::device)
        posix_fadvise(file.get(), 0, 0, POSIX_FADV_DONTNEED);
    Digest digest;
    std::int64_t count = 0;
    bool wasRead = true;
    if (copy_) {
        digest = copyContent(folder, visit.name, info, file.get(), attributes, count);
        wasRead = count >= 0;
        count = wasRead ? count : info.size;
    } else {
        const auto bytes =
            hashFile(file.get(), info.size, shown(folder, visit.name), stop, [this](std::int64_t chunk) {
                if (context_.progress)
                    context_.progress->addBytes(chunk);
            });
        digest = bytes.digest;
        count = bytes.count;
    }
    const auto after = statAt(folder.source.get(), visit.name);
    if (!isUnchanged(after, info))
        throw changedWhileInspected(visit.name);
    if (admission && wasRead && admission->isProved(after)) {
        visit.isProved = true;
        context_.cache->admit(info, {digest, attributes.digest, attributes.tags});
    }
    finish(attributes, digest, count);
}

std::optional<CachedFile> TreePass::findUnchanged(const FileStat& info) const {
    if (context_.proved && isUnchanged(context_.proved->info, info) &&
        context_.proved->info.changed == info.changed)
        return context_.proved->file;
    return useCache_ ? context_.cache->find(info) : std::nullopt;
}

/// Writes one file's copy. `count` becomes -1 when its blocks were shared and nothing was read.
Digest TreePass::copyContent(const Folder& folder, const std::string& name, const FileStat& info, int source,
                             const ItemAttributes& attributes, std::int64_t& count) {
    const auto path = shown(folder, name);
    const auto& made = targetName(folder, name);
    Descriptor file(
        openat(folder.target.get(), made.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file) {
        if (errno == EINVAL && copy_->fidelity == CopyFidelity::contentsOnly)
            throw FileOperationError::unsupported("The destination volume does not accept the name “" +
                                                  displayText(name) + "”.");
        throw PosixError(errno);
    }
    if (folder.isBase) {
        // For reading only: whoever verifies the copy wants a proof that nobody has it open for writing.
        written_ = Descriptor(openat(folder.target.get(), made.c_str(), fileFlags));
        if (!written_ || !statDescriptor(written_.get()).isSameItem(statDescriptor(file.get())))
            throw changedWhileInspected(name);
    }
    dropInheritedAccess(folder, file.get());

    Digest digest{};
    if (info.size > 0 && canClone_ && cloneFile(source, file.get())) {
        if (const auto known = useCache_ ? context_.cache->find(info) : std::nullopt)
            digest = known->content;
        else
            contentIsKnown_ = false;
        count = -1;
        if (context_.progress)
            context_.progress->addBytes(info.size);
    } else {
        if (info.size > 0)
            canClone_ = false;
        const auto bytes = copyFile(source, file.get(), info.size,
                                    info.blocks * 512 < info.size ? Holes::possible : Holes::none, path,
                                    stop_.get_token(), [this](std::int64_t chunk) {
                                        if (context_.progress)
                                            context_.progress->addBytes(chunk);
                                    });
        digest = bytes.digest;
        count = bytes.count;
    }
    setAttributes(file.get(), info, attributes.values, path);
    if (close(file.release()) != 0)
        throw PosixError(errno);
    return digest;
}

/// Runs a call that keeps metadata; on a volume that cannot keep it, a refusal is expected.
template <class Call>
void TreePass::keeping(Call&& call) const {
    try {
        call();
    } catch (const PosixError&) {
        if (copy_->fidelity == CopyFidelity::everything)
            throw;
    }
}

/// The mode comes last: until then only the owner can open the copy.
void TreePass::setAttributes(int target, const FileStat& info,
                             const std::vector<std::pair<std::string, std::string>>& attributes,
                             const FileURL& path) const {
    const auto item = AttributeTarget::descriptor(target);
    for (const auto& attribute : attributes)
        keeping([&] {
            try {
                item.set(attribute.first, attribute.second);
            } catch (const PosixError& error) {
                throw PosixError(error.code(), path.path());
            }
        });
    keeping([&] {
        const std::array<timespec, 2> times = {timespec{0, UTIME_OMIT}, toTimespec(info.modified)};
        if (futimens(target, times.data()) != 0)
            throw PosixError(errno, path.path());
        if (fchmod(target, info.mode & 07777) != 0)
            throw PosixError(errno, path.path());
    });
}

/// A folder with a default ACL gives its own to what is made in it; a copy keeps the source's.
void TreePass::dropInheritedAccess(const Folder& parent, int target) const {
    // Only the staging folder is not ours: everything below it was made without a default ACL.
    if (!parent.isBase)
        return;
    const auto item = AttributeTarget::descriptor(target);
    for (const auto* name : {"system.posix_acl_access", "system.posix_acl_default"})
        if (item.size(name) >= 0)
            keeping([&] { item.remove(name); });
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
