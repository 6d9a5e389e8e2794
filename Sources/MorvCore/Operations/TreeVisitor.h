// The looks at single items that a tree pass consists of: their texts for the digests, and their copies.
// Private to TreePass.
// Threading   visit() may run on many threads at once; everything else belongs to the walking thread
#pragma once

#include "MorvCore/Operations/ContentDigestCache.h"
#include "MorvCore/Operations/FolderListing.h"
#include "MorvCore/Operations/ItemAttributes.h"
#include "MorvCore/Operations/RememberedTree.h"
#include "MorvCore/Operations/TreePass.h"
#include "MorvCore/Platform/Descriptor.h"

#include <atomic>
#include <exception>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace morv {

/// One open folder of the walk, and the open folder of the copy that mirrors it.
struct TreeFolder {
    Descriptor source;
    Descriptor target;
    std::string relative; ///< "" for the top
    bool isBase = false;  ///< the folder that the top item stands in
    FileStat info;
    FileStat targetInfo;
    /// For the copy: set when everything below stands.
    std::vector<std::pair<std::string, std::string>> attributes;
    std::vector<ListedName> children; ///< until the walk takes them
    RememberedTree::Folder memory;

    /// The path of a child in the digests; the top's own is the empty text.
    std::string below(const std::string& name) const {
        return isBase ? std::string() : relative + "/" + name;
    }
};

/// One item on its way into the digests.
struct TreeVisit {
    std::string name;
    FileStat info;
    std::string content; ///< texts with their zero bytes, ready to be fed
    std::string state;
    std::string metadata;
    std::int64_t byteCount = 0;
    bool isProved = false; ///< what was read may be remembered
    std::exception_ptr error;
};

FileOperationError changedWhileInspected(std::string_view name);

/// Same item, size and modification time.
bool isSameReading(const FileStat& a, const FileStat& b);

class TreeVisitor {
public:
    /// `copy` may be null: then items are only read. The references must outlive the visitor.
    TreeVisitor(const FileURL& top, const ReadingContext& context, const CopyRequest* copy,
                std::stop_token stop);

    /// Reads what stands under `visit.name` in the open folder, and copies it. Throws what the item's reading
    /// throws.
    void visit(const TreeFolder& folder, TreeVisit& visit);
    /// The texts of a folder, whose record and attributes are known.
    void describeFolder(TreeVisit& visit, const TreeFolder& folder, const ItemAttributes& attributes) const;
    /// Makes the folder of the copy, for its owner only.
    void makeTargetFolder(const TreeFolder& parent, const std::string& name, TreeFolder& folder);
    /// Gives a folder of the copy its attributes, times and mode, once everything below it stands.
    void finishTargetFolder(const TreeFolder& folder) const;

    /// Runs a call whose PosixError may name only the last component, and gives it the whole path. What
    /// happened to the copy keeps the copy's own place.
    template <class Call>
    auto located(const TreeFolder& folder, const std::string& name, Call&& call) const {
        try {
            return call();
        } catch (const TargetError&) {
            throw;
        } catch (const PosixError& error) {
            throw PosixError(error.code(), shown(folder, name).path());
        }
    }

    /// Whether every content that went by was read, and not only shared.
    bool contentIsKnown() const { return contentIsKnown_; }
    Descriptor takeWritten() { return std::move(written_); }

private:
    /// A call on the copy failed; its path is where the copy goes.
    struct TargetError : PosixError {
        using PosixError::PosixError;
    };

    void visitLink(const TreeFolder& folder, TreeVisit& visit, const FileStat& info);
    void copyLink(const TreeFolder& folder, const std::string& name, const std::string& target,
                  const FileStat& info);
    void visitFile(const TreeFolder& folder, TreeVisit& visit, const FileStat& info);
    std::optional<CachedFile> findUnchanged(const FileStat& info) const;
    Digest copyContent(const TreeFolder& folder, const std::string& name, const FileStat& info, int source,
                       const ItemAttributes& attributes, std::int64_t& count);
    void compose(TreeVisit& visit, const std::string& relative, std::string_view kind, const FileStat& info,
                 const ItemAttributes& attributes) const;
    void setAttributes(int target, const FileStat& info,
                       const std::vector<std::pair<std::string, std::string>>& attributes) const;
    template <class Call>
    void keeping(Call&& call) const;
    template <class Call>
    auto onTarget(Call&& call) const;
    void dropInheritedAccess(const TreeFolder& parent, int target) const;
    FileURL shown(const TreeFolder& folder, const std::string& name) const;
    const std::string& targetName(const TreeFolder& folder, const std::string& name) const {
        return folder.isBase ? stagingName_ : name;
    }

    const FileURL& top_;
    const ReadingContext& context_;
    const CopyRequest* copy_;
    const std::stop_token stop_;
    const bool useCache_;
    const std::string stagingName_;
    std::atomic<bool> canClone_ = true;
    std::atomic<bool> contentIsKnown_ = true;
    Descriptor written_;
};

} // namespace morv
