#include "MorvCore/Operations/TreeVisitor.h"

#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Operations/OperationFiles.h"
#include "MorvCore/Platform/FileCopy.h"
#include "MorvCore/Platform/SyncPlaceholder.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

namespace morv {

namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
constexpr int fileFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

void appendText(std::string& to, std::string_view text) {
    to.append(text);
    to.push_back('\0');
}

timespec toTimespec(const FileTime& time) {
    return {static_cast<time_t>(time.seconds), time.nanoseconds};
}

} // namespace

FileOperationError changedWhileInspected(std::string_view name) {
    return FileOperationError::changed(
        displayText(name) + " changed while being inspected. Try again after its writer has finished.");
}

bool isSameReading(const FileStat& a, const FileStat& b) {
    return a.isSameItem(b) && a.size == b.size && a.modified == b.modified;
}

TreeVisitor::TreeVisitor(const FileURL& top, const ReadingContext& context, const CopyRequest* copy,
                         std::stop_token stop)
    : top_(top), context_(context), copy_(copy), stop_(std::move(stop)),
      useCache_(context.cache && context.from == ReadFrom::anywhere),
      stagingName_(copy ? copy->staging.lastComponent() : std::string_view()) {}

FileURL TreeVisitor::shown(const TreeFolder& folder, const std::string& name) const {
    return FileURL::fromPath(top_.path() + folder.below(name));
}

/// Runs a call on the copy. Its failure names the folder that the copy goes to: the staging name says nothing
/// to anybody.
template <class Call>
auto TreeVisitor::onTarget(Call&& call) const {
    try {
        return call();
    } catch (const PosixError& error) {
        throw TargetError(error.code(), copy_->staging.parent().path());
    }
}

void TreeVisitor::describeFolder(TreeVisit& visit, const TreeFolder& folder,
                                 const ItemAttributes& attributes) const {
    compose(visit, folder.relative, "directory", folder.info, attributes);
}

void TreeVisitor::finishTargetFolder(const TreeFolder& folder) const {
    onTarget([&] { setAttributes(folder.target.get(), folder.info, folder.attributes); });
}

void TreeVisitor::makeTargetFolder(const TreeFolder& parent, const std::string& name, TreeFolder& folder) {
    const auto& made = targetName(parent, name);
    onTarget([&] {
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

void TreeVisitor::compose(TreeVisit& visit, const std::string& relative, std::string_view kind,
                          const FileStat& info, const ItemAttributes& attributes) const {
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

void TreeVisitor::visit(const TreeFolder& folder, TreeVisit& visit) {
    const auto stop = stop_;
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

void TreeVisitor::visitLink(const TreeFolder& folder, TreeVisit& visit, const FileStat& info) {
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
    if (copy_)
        onTarget([&] { copyLink(folder, visit.name, target, info); });
    if (!isSameReading(statAt(folder.source.get(), visit.name), info))
        throw changedWhileInspected(visit.name);
}

void TreeVisitor::copyLink(const TreeFolder& folder, const std::string& name, const std::string& target,
                           const FileStat& info) {
    const auto& made = targetName(folder, name);
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

void TreeVisitor::visitFile(const TreeFolder& folder, TreeVisit& visit, const FileStat& info) {
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
    const auto stop = stop_;
    const auto attributes =
        readAttributes(target, copy_ ? AttributeValues::keep : AttributeValues::digestOnly, stop);
    if (context_.from == ReadFrom::device)
        posix_fadvise(file.get(), 0, 0, POSIX_FADV_DONTNEED);
    Digest digest;
    std::int64_t count = 0;
    bool wasRead = true;
    if (copy_) {
        digest =
            onTarget([&] { return copyContent(folder, visit.name, info, file.get(), attributes, count); });
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
    if (!isSameReading(after, info))
        throw changedWhileInspected(visit.name);
    if (admission && wasRead && admission->isProved(after)) {
        visit.isProved = true;
        context_.cache->admit(info, {digest, attributes.digest, attributes.tags});
    }
    finish(attributes, digest, count);
}

std::optional<CachedFile> TreeVisitor::findUnchanged(const FileStat& info) const {
    if (context_.proved && isSameReading(context_.proved->info, info) &&
        context_.proved->info.changed == info.changed)
        return context_.proved->file;
    return useCache_ ? context_.cache->find(info) : std::nullopt;
}

/// Writes one file's copy. `count` becomes -1 when its blocks were shared and nothing was read.
Digest TreeVisitor::copyContent(const TreeFolder& folder, const std::string& name, const FileStat& info,
                                int source, const ItemAttributes& attributes, std::int64_t& count) {
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
        const auto holes = info.blocks * 512 < info.size ? Holes::possible : Holes::none;
        const auto bytes =
            copyFile(source, file.get(), info.size, holes, copy_->staging, stop_, [this](std::int64_t chunk) {
                if (context_.progress)
                    context_.progress->addBytes(chunk);
            });
        digest = bytes.digest;
        count = bytes.count;
    }
    setAttributes(file.get(), info, attributes.values);
    if (close(file.release()) != 0)
        throw PosixError(errno);
    return digest;
}

/// Runs a call that keeps metadata; on a volume that cannot keep it, a refusal is expected.
template <class Call>
void TreeVisitor::keeping(Call&& call) const {
    try {
        call();
    } catch (const PosixError&) {
        if (copy_->fidelity == CopyFidelity::everything)
            throw;
    }
}

/// The mode comes last: until then only the owner can open the copy.
void TreeVisitor::setAttributes(int target, const FileStat& info,
                                const std::vector<std::pair<std::string, std::string>>& attributes) const {
    const auto item = AttributeTarget::descriptor(target);
    for (const auto& attribute : attributes)
        keeping([&] { item.set(attribute.first, attribute.second); });
    keeping([&] {
        const std::array<timespec, 2> times = {timespec{0, UTIME_OMIT}, toTimespec(info.modified)};
        if (futimens(target, times.data()) != 0 || fchmod(target, info.mode & 07777) != 0)
            throw PosixError(errno);
    });
}

/// A folder with a default ACL gives its own to what is made in it; a copy keeps the source's.
void TreeVisitor::dropInheritedAccess(const TreeFolder& parent, int target) const {
    // Only the staging folder is not ours: everything below it was made without a default ACL.
    if (!parent.isBase)
        return;
    const auto item = AttributeTarget::descriptor(target);
    for (const auto* name : {"system.posix_acl_access", "system.posix_acl_default"})
        if (item.size(name) >= 0)
            keeping([&] { item.remove(name); });
}

} // namespace morv
