// What the words of a source text are, so that a preview can colour them. The rules of languages go back and try again
// for as long as a text makes them: they run in a process of their own, with limits, so that a hostile text costs its
// colours and nothing else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stop_token>
#include <string>
#include <vector>

namespace morv {

enum class TextStyle : std::uint8_t {
    comment,
    string,
    keyword,
    type,
    number,
    preprocessor,
    function,
    variable,
    inserted, ///< a line that a patch adds
    removed,  ///< and one that it takes away
};

struct TextHighlight {
    std::size_t start = 0;
    std::size_t length = 0;
    TextStyle style = TextStyle::comment;

    friend bool operator==(const TextHighlight&, const TextHighlight&) = default;
};

struct HighlightRequest {
    std::string name; ///< the file's; it tells the language, where the text's first line does not
    std::string text; ///< UTF-8, at most highlightedTextLimit; lines end in "\n"
};

inline constexpr std::size_t highlightedTextLimit = 256U << 10U; ///< bytes

/// Safe to share. Blocks: call it on a worker.
class TextHighlighter {
public:
    virtual ~TextHighlighter() = default;
    /// In bytes of the text: in its order, none over another, none empty, all inside and between characters. What is in
    /// none is plain. Throws MediaError (also where the language is not known), PosixError, CancellationError.
    virtual std::vector<TextHighlight> highlight(const HighlightRequest& request,
                                                 const std::stop_token& stop) const = 0;
};

} // namespace morv
