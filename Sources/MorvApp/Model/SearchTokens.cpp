#include "MorvApp/Model/SearchTokens.h"

#include "MorvCore/Foundation/Unicode.h"

#include <algorithm>

namespace morv {

namespace {

constexpr std::string_view blanks = " \t";
constexpr std::string_view tagName = "tag:";
constexpr std::string_view kindName = "kind:";

struct Word {
    std::string_view whole;
    std::string_view value; ///< of a token, without its quotes
    bool isFinished = false;
};

bool begins(std::string_view text, std::string_view name) {
    return text.size() >= name.size() && pathKey(text.substr(0, name.size())) == name;
}

std::size_t nameLength(std::string_view text) {
    return begins(text, tagName) ? tagName.size() : begins(text, kindName) ? kindName.size() : 0;
}

/// `text` begins with a token's name of `name` bytes.
Word quotedWord(std::string_view text, std::size_t name) {
    const auto close = text.find('"', name + 1);
    const bool isClosed = close != std::string_view::npos;
    return {text.substr(0, isClosed ? close + 1 : close),
            text.substr(name + 1, isClosed ? close - name - 1 : close), isClosed};
}

Word nextWord(std::string_view text, TokenEnding ending) {
    const auto name = nameLength(text);
    if (name > 0 && name < text.size() && text[name] == '"') {
        auto word = quotedWord(text, name);
        word.isFinished |= ending == TokenEnding::meant;
        return word;
    }
    const auto end = text.find_first_of(blanks);
    const auto whole = text.substr(0, end);
    return {whole, name > 0 ? whole.substr(std::min(name, whole.size())) : std::string_view(),
            end != std::string_view::npos || ending == TokenEnding::meant};
}

} // namespace

std::optional<FileKind> kindNamed(std::string_view name) {
    const auto key = pathKey(name);
    for (const auto kind : allFileKinds)
        if (key == pathKey(rawValue(kind)) || key == pathKey(title(kind)))
            return kind;
    return std::nullopt;
}

SearchTokens searchTokens(std::string_view typed, TokenEnding ending) {
    SearchTokens tokens;
    while (!typed.empty()) {
        if (blanks.find(typed.front()) != std::string_view::npos) {
            // Blanks around what was taken out are not kept; all others are the user's own.
            if (!tokens.text.empty())
                tokens.text += typed.front();
            typed.remove_prefix(1);
            continue;
        }
        const auto word = nextWord(typed, ending);
        const bool isTag = begins(word.whole, tagName);
        const bool isToken = isTag || begins(word.whole, kindName);
        const auto kind = isTag ? std::nullopt : kindNamed(word.value);
        if (isToken && !word.isFinished)
            tokens.open = word.whole;
        else if (isTag && !word.value.empty())
            tokens.tag = std::string(word.value);
        else if (isToken && kind)
            tokens.kind = kind;
        else
            tokens.text += word.whole;
        typed.remove_prefix(word.whole.size());
        // One blank before a token and one behind it are one where the token was.
        const bool isTaken = tokens.text.empty() || blanks.find(tokens.text.back()) != std::string::npos;
        if (isToken && tokens.open.empty() && isTaken && !typed.empty() &&
            blanks.find(typed.front()) != std::string_view::npos)
            typed.remove_prefix(1);
    }
    return tokens;
}

} // namespace morv
