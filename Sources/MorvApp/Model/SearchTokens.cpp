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
    std::string value; ///< of a token, without its quotes
    bool isFinished = false;
};

bool isEscape(std::string_view text, std::size_t at) {
    return text[at] == '\\' && at + 1 < text.size() && (text[at + 1] == '"' || text[at + 1] == '\\');
}

bool begins(std::string_view text, std::string_view name) {
    return text.size() >= name.size() && pathKey(text.substr(0, name.size())) == name;
}

std::size_t nameLength(std::string_view text) {
    return begins(text, tagName) ? tagName.size() : begins(text, kindName) ? kindName.size() : 0;
}

/// `text` begins with a token's name of `name` bytes and a quote.
Word quotedWord(std::string_view text, std::size_t name) {
    Word word;
    auto at = name + 1;
    for (; at < text.size() && text[at] != '"'; ++at) {
        if (isEscape(text, at))
            ++at;
        word.value += text[at];
    }
    word.isFinished = at < text.size();
    word.whole = text.substr(0, at + 1);
    return word;
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
    return {whole, name > 0 ? std::string(whole.substr(std::min(name, whole.size()))) : std::string(),
            end != std::string_view::npos || ending == TokenEnding::meant};
}

} // namespace

std::string quotedValue(std::string_view value) {
    std::string quoted = "\"";
    for (const char each : value) {
        if (each == '"' || each == '\\')
            quoted += '\\';
        quoted += each;
    }
    return quoted + '"';
}

std::string tokenValue(std::string_view token) {
    return nextWord(token, TokenEnding::meant).value;
}

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
            tokens.tag = word.value;
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
