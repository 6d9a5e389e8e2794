// Finding a text inside names as a person would: upper and lower case, accents and other marks make no
// difference, whatever the composition.
//
// Threading   confined to one thread at a time
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace morv {

/// Without white space and line ends of any script at both ends. Bytes that are not UTF-8 are kept.
std::string trimmed(std::string_view text);

/// Searches by the root locale at primary strength (Unicode Technical Standard #10, 8 "Searching and
/// Matching"), so the answer is the same on every desktop. A name that is not UTF-8 is searched as it is
/// shown; a query that is not UTF-8 is searched for by its bytes.
class TextSearch {
public:
    explicit TextSearch(std::string_view query);
    TextSearch(TextSearch&&) noexcept;
    ~TextSearch();

    /// An empty query is found in everything.
    bool isFoundIn(std::string_view text);

private:
    struct Engine;

    std::string query_;
    std::string lowered_;
    std::string skeleton_; ///< kept for its memory
    bool isPlain_;
    bool isBytes_;
    std::unique_ptr<Engine> engine_;
};

} // namespace morv
