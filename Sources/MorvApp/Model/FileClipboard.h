// The clipboard of files, with the notion of a cut that the system's own has not.
//
// Nothing is removed by copying or cutting: only the later paste makes a plan. A cut of ours is remembered
// together with the clipboard's change count, so that any change by anyone else turns it into nothing.
// Threading   confined to the main thread
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace morv {

/// The system's clipboard: MIME types and bytes.
class ClipboardBoard {
public:
    using Contents = std::vector<std::pair<std::string, std::string>>;

    virtual ~ClipboardBoard() = default;
    /// Replaces everything on the clipboard. False when the system refused.
    virtual bool write(const Contents& contents) = 0;
    /// Absent when the clipboard does not offer `type`.
    virtual std::optional<std::string> read(const std::string& type) const = 0;
    /// Without asking the owner for the contents.
    virtual bool offers(const std::string& type) const { return read(type).has_value(); }
    /// Another number after every change, whoever made it.
    virtual std::uint64_t changeCount() const = 0;

private:
    friend class FileClipboard;
    /// A cut of ours. It stands with the contents, so that every window knows the same.
    struct PendingMove {
        std::uint64_t changeCount;
        std::vector<FileURL> urls;
    };

    std::optional<PendingMove> pendingMove_;
};

class FileClipboard {
public:
    enum class Mode : std::uint8_t { copy, move };
    struct Offer {
        std::vector<FileURL> urls;
        Mode mode = Mode::copy;
    };

    explicit FileClipboard(ClipboardBoard& board) : board_(board) {}

    bool write(const std::vector<FileURL>& urls, Mode mode);
    /// The paths alone, as text: nothing that could be pasted as files.
    bool writeLocations(const std::vector<FileURL>& urls);
    /// What a paste would take: a cut of ours that still stands, or the mark another application wrote.
    Offer read();
    /// Whether a paste would find files, as far as the types on the clipboard tell.
    bool canPaste() const;
    /// A move has put the keys of `mapping` at its values: what was cut is offered there as a plain copy, so
    /// that a second paste cannot move it again.
    void completedMove(const std::unordered_map<FileURL, FileURL>& mapping);

    /// The files that a "text/uri-list" names, in its order; what is no file URL is left out.
    static std::vector<FileURL> urlsIn(std::string_view uriList);

    static constexpr const char* uriListType = "text/uri-list";
    static constexpr const char* copiedFilesType = "x-special/gnome-copied-files";
    static constexpr const char* cutSelectionType = "application/x-kde-cutselection";
    static constexpr const char* plainTextType = "text/plain;charset=utf-8";

private:
    Offer readBoard() const;

    ClipboardBoard& board_;
};

} // namespace morv
