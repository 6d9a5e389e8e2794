// How a folder looks in Morv: a jewel colour and a symbol. Nothing of it is written to the folder. A value.
#pragma once

#include "MorvCore/Folders/FileEntry.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace morv {

struct FolderAppearance {
    static constexpr std::array<std::string_view, 6> colors = {"teal",  "saffron", "sapphire",
                                                               "coral", "plum",    "graphite"};

    std::string color = std::string(colors.front()); ///< one of `colors`; a newer version may know others
    std::optional<std::string> symbol;               ///< the user's choice
    std::optional<std::string> defaultSymbol;        ///< what the folder's name suggests

    /// For a folder without one of its own: from its name, whatever the case.
    static FolderAppearance standard(const FileURL& url);
    /// The symbol to draw, or null.
    const std::string* shownSymbol() const;

    friend bool operator==(const FolderAppearance&, const FolderAppearance&) = default;
};
/// Both symbols may be absent; the colour is required.
std::string toJSON(const FolderAppearance& appearance);
void fromJSON(std::string_view text, FolderAppearance& appearance);

/// The colour that stands for a kind of files.
std::string_view colorOf(FileKind kind);

} // namespace morv
