#include "MorvCore/Operations/ArchiveSurvey.h"

#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Operations/AppleDouble.h"
#include "MorvCore/Operations/ArchiveLimits.h"
#include "MorvCore/Operations/FolderListing.h"
#include "MorvCore/Operations/ItemAttributes.h"
#include "MorvCore/Operations/NameFingerprint.h"
#include "MorvCore/Operations/TreeVisitor.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <unordered_map>
#include <utility>

namespace morv {

namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
constexpr std::string_view reservedTop = "__MACOSX";

std::string nameOf(const std::vector<SurveyedItem>& items, std::size_t index) {
    std::vector<std::string_view> components = {items[index].name};
    while (index != 0) {
        index = items[index].parent;
        components.emplace_back(items[index].name);
    }
    std::string name;
    for (auto component = components.rbegin(); component != components.rend(); ++component)
        name.append(name.empty() ? "" : "/").append(*component);
    return name;
}

class Surveyor {
public:
    Surveyor(const FileURL& source, int base, const std::stop_token& stop)
        : source_(source), base_(base), stop_(stop) {}

    std::vector<SurveyedItem> run() {
        const std::string top(source_.lastComponent());
        if (pathKey(top) == pathKey(reservedTop))
            refusePacking(top, "ZIP archives keep tags and other attributes under this name");
        located([&] { visit(base_, top); });
        while (!stack_.empty()) {
            auto& folder = stack_.back();
            if (folder.next == folder.names.size()) {
                stack_.pop_back();
                path_.resize(stack_.empty() ? 0 : stack_.back().pathLength);
                continue;
            }
            const auto name = std::move(folder.names[folder.next++]);
            const int descriptor = folder.descriptor.get();
            path_.resize(folder.pathLength);
            located([&] { visit(descriptor, name); });
        }
        checkSidecars();
        return std::move(items_);
    }

private:
    struct Folder {
        Descriptor descriptor;
        std::vector<std::string> names;
        std::size_t next = 0;
        std::size_t index = 0;
        std::size_t pathLength = 0;
    };

    /// A failed call tells the whole path of the item that is being looked at.
    template <class Work>
    void located(Work&& work) {
        try {
            work();
        } catch (const PosixError& error) {
            throw PosixError(error.code(), source_.parent().child(path_).path());
        }
    }

    void visit(int folder, const std::string& name) {
        checkCancelled(stop_);
        path_.append(path_.empty() ? "" : "/").append(name);
        checkName(name);
        const auto info = statAt(folder, name);
        checkKindAndSize(info);
        const auto index = items_.size();
        items_.push_back({.name = name,
                          .parent = stack_.empty() ? 0 : stack_.back().index,
                          .info = info,
                          .hasSidecar = carriesUserAttributes(AttributeTarget::at(folder, name))});
        addMember(path_, info.isDirectory());
        if (items_.back().hasSidecar)
            addSidecar(name);
        if (info.isDirectory())
            enter(folder, name, index);
    }

    void checkName(const std::string& name) const {
        if (!isValidUTF8(name))
            refusePacking(path_, "its name is not UTF-8");
        if (name.find('\\') != std::string::npos)
            refusePacking(path_, "its name contains a backslash");
        if (name.find(':') != std::string::npos)
            refusePacking(path_, "its name contains a colon");
        if (stack_.size() >= ArchiveLimits::mostComponents)
            refusePacking(path_,
                          fmt::format("it lies deeper than {} folders", ArchiveLimits::mostComponents));
    }

    void checkKindAndSize(const FileStat& info) {
        if (info.isSymbolicLink())
            refusePacking(path_, "Morv does not pack symbolic links");
        if (!info.isDirectory() && !info.isRegular())
            refusePacking(path_, "it is neither a file nor a folder");
        if (info.isDirectory())
            return;
        const auto size = static_cast<std::uint64_t>(info.size);
        if (size > ArchiveLimits::largestMember)
            refusePacking(path_, "a file in a ZIP archive must be smaller than 4 GiB");
        total_ += size;
        if (total_ > ArchiveLimits::largestExpansion)
            refusePacking(source(), "it holds more than 20 GiB");
    }

    void addMember(const std::string& name, bool isDirectory) {
        if (!isDirectory_.try_emplace(fingerprinter_.of(pathKey(name)), isDirectory).second)
            refusePacking(path_, "another name in its folder differs only in case or composition");
        if (isDirectory_.size() > ArchiveLimits::mostMembers)
            refusePacking(source(), fmt::format("its files, folders and attributes are more than {}",
                                                ArchiveLimits::mostMembers));
    }

    void addSidecar(const std::string& name) {
        constexpr std::size_t prefixLength = 2;
        if (name.size() + prefixLength > ArchiveLimits::longestComponent)
            refusePacking(path_,
                          fmt::format("it has tags or other attributes and a name of more than {} bytes",
                                      ArchiveLimits::longestComponent - prefixLength));
        if (stack_.size() + 2 > ArchiveLimits::mostComponents)
            refusePacking(path_,
                          fmt::format("it has tags or other attributes and lies deeper than {} folders",
                                      ArchiveLimits::mostComponents - 1));
        addMember(AppleDouble::sidecarName(path_), false);
        sidecars_.push_back(items_.size() - 1);
    }

    void enter(int parent, const std::string& name, std::size_t index) {
        Folder folder;
        folder.index = index;
        folder.pathLength = path_.size();
        folder.descriptor = Descriptor(openat(parent, name.c_str(), folderFlags));
        if (!folder.descriptor)
            throw PosixError(errno);
        if (!statDescriptor(folder.descriptor.get()).isSameItem(items_[index].info))
            throw changedWhileInspected(name);
        folder.names = listFolder(folder.descriptor.get());
        std::ranges::sort(folder.names, canonicallyLess);
        stack_.push_back(std::move(folder));
    }

    /// The attributes of "a" stand in a file "._a", and those of what is in "._a" in a folder of that name.
    void checkSidecars() {
        for (const auto index : sidecars_) {
            const auto name = nameOf(items_, index);
            fingerprinter_.of(pathKey(AppleDouble::sidecarName(name)), [&](const NameFingerprint& parent) {
                const auto known = isDirectory_.find(parent);
                if (known != isDirectory_.end() && !known->second)
                    refusePacking(name, "its folder’s name is the one under which ZIP archives keep another "
                                        "item’s attributes");
            });
        }
    }

    std::string source() const { return std::string(source_.lastComponent()); }

    const FileURL& source_;
    const int base_;
    const std::stop_token& stop_;
    std::vector<Folder> stack_;
    std::string path_; ///< the member that is being looked at
    std::vector<SurveyedItem> items_;
    std::vector<std::size_t> sidecars_;
    std::uint64_t total_ = 0;
    const Fingerprinter fingerprinter_;
    std::unordered_map<NameFingerprint, bool> isDirectory_; ///< by the fingerprint of each member's key
};

} // namespace

void refusePacking(const std::string& member, const std::string& reason) {
    throw FileOperationError::unsupported(
        fmt::format("“{}” cannot be put into a ZIP archive: {}.", displayText(member), reason));
}

ArchiveSurvey::ArchiveSurvey(const FileURL& source, const std::stop_token& stop)
    : source_(source), base_(open(source.parent().path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {
    if (!base_)
        throw PosixError(errno, source.parent().path());
    items_ = Surveyor(source, base_.get(), stop).run();
}

std::string ArchiveSurvey::memberName(std::size_t index) const {
    return nameOf(items_, index);
}

FileURL ArchiveSurvey::shown(std::size_t index) const {
    return source_.parent().child(memberName(index));
}

} // namespace morv
