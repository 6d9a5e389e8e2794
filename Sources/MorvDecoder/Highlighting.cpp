#include "MorvDecoder/Highlighting.h"

#include "MorvDecoder/Decoding.h"

#include <array>
#include <boost/make_shared.hpp>
#include <chrono>
#include <srchilite/formattermanager.h>
#include <srchilite/formatterparams.h>
#include <srchilite/langdefmanager.h>
#include <srchilite/langmap.h>
#include <srchilite/languageinfer.h>
#include <srchilite/regexrulefactory.h>
#include <srchilite/sourcehighlighter.h>
#include <sstream>
#include <vector>

namespace morv::decoder {

namespace {

/// Where the library's package keeps its definitions: no setting of the user's leads elsewhere.
constexpr const char* definitions = MORV_SOURCE_HIGHLIGHT_DIRECTORY;
constexpr std::string_view withoutLanguage = "nohilite.lang";
/// More than the longest first line that names an interpreter.
constexpr std::size_t firstLines = 512;
/// The beginning of a text is worth more than all of it too late.
constexpr std::chrono::seconds longest{1};

struct Element {
    const char* name; ///< in the definitions
    DecodedStyle style;
};
/// What is not listed (symbols, brackets, what a definition has for itself alone) is plain.
constexpr std::array elements = {
    Element{"comment", DecodedStyle::comment},    Element{"todo", DecodedStyle::comment},
    Element{"string", DecodedStyle::string},      Element{"valquote", DecodedStyle::string},
    Element{"regexp", DecodedStyle::string},      Element{"specialchar", DecodedStyle::string},
    Element{"file", DecodedStyle::string},        Element{"path", DecodedStyle::string},
    Element{"url", DecodedStyle::string},         Element{"value", DecodedStyle::string},
    Element{"keyword", DecodedStyle::keyword},    Element{"section", DecodedStyle::keyword},
    Element{"type", DecodedStyle::type},          Element{"usertype", DecodedStyle::type},
    Element{"classname", DecodedStyle::type},     Element{"selector", DecodedStyle::type},
    Element{"number", DecodedStyle::number},      Element{"date", DecodedStyle::number},
    Element{"time", DecodedStyle::number},        Element{"ip", DecodedStyle::number},
    Element{"port", DecodedStyle::number},        Element{"preproc", DecodedStyle::preprocessor},
    Element{"label", DecodedStyle::preprocessor}, Element{"difflines", DecodedStyle::preprocessor},
    Element{"function", DecodedStyle::function},  Element{"predef_func", DecodedStyle::function},
    Element{"variable", DecodedStyle::variable},  Element{"predef_var", DecodedStyle::variable},
    Element{"attribute", DecodedStyle::variable}, Element{"property", DecodedStyle::variable},
    Element{"key", DecodedStyle::variable},       Element{"keyquote", DecodedStyle::variable},
    Element{"argument", DecodedStyle::variable},  Element{"newfile", DecodedStyle::inserted},
    Element{"oldfile", DecodedStyle::removed},
};

/// A style for each byte of one line, which the library tells piece by piece, from the first to the last.
class Line {
public:
    void begin(std::size_t length) {
        styles_.assign(length, DecodedStyle::plain);
        told_ = 0;
    }
    void tell(std::size_t length, DecodedStyle style) {
        const auto end = std::min(told_ + length, styles_.size());
        std::fill(styles_.begin() + static_cast<std::ptrdiff_t>(told_),
                  styles_.begin() + static_cast<std::ptrdiff_t>(end), style);
        told_ = end;
    }
    DecodedStyle operator[](std::size_t byte) const { return styles_[byte]; }

private:
    std::vector<DecodedStyle> styles_;
    std::size_t told_ = 0;
};

class StyleTeller : public srchilite::Formatter {
public:
    StyleTeller(Line& line, DecodedStyle style) : line_(line), style_(style) {}
    void format(const std::string& piece, const srchilite::FormatterParams*) override {
        line_.tell(piece.size(), style_);
    }

private:
    Line& line_;
    DecodedStyle style_;
};

/// Never destroyed, as the process ends without that; definitions that were read once are kept.
struct Library {
    Library() {
        for (const auto& element : elements)
            tellers.addFormatter(element.name, boost::make_shared<StyleTeller>(line, element.style));
    }

    Line line;
    srchilite::RegexRuleFactory rules;
    srchilite::LangDefManager languages{&rules};
    srchilite::LangMap names{definitions, "lang.map"};
    srchilite::FormatterManager tellers{boost::make_shared<StyleTeller>(line, DecodedStyle::plain)};
};

/// Empty where it is not known.
std::string languageOf(Library& library, const std::string& name, std::string_view text) {
    std::string named = library.names.getMappedFileNameFromFileName(name);
    if (named.empty() || text.starts_with("#!")) {
        std::istringstream beginning{std::string(text.substr(0, firstLines))};
        std::string interpreter = srchilite::LanguageInfer().infer(beginning);
        // "python3"
        interpreter.resize(interpreter.find_last_not_of("0123456789") + 1);
        const auto inferred = library.names.getMappedFileName(interpreter);
        if (!inferred.empty())
            named = inferred;
    }
    return named == withoutLanguage ? std::string() : named;
}

srchilite::HighlightStatePtr rulesFor(Library& library, const std::string& name, std::string_view text) {
    try {
        const auto language = languageOf(library, name, text);
        if (!language.empty())
            return library.languages.getHighlightState(definitions, language);
    } catch (const std::exception&) {
        // Where places cannot be confined, nothing can be opened any more.
    }
    throw Refusal(DecoderRefusal::unknown);
}

/// Where the highlights of a text are put down.
class Highlights {
public:
    explicit Highlights(std::span<DecodedHighlight> place) : place_(place) {}

    std::size_t count() const { return count_; }
    /// False: there is no room for more.
    bool add(std::size_t start, std::string_view text, const Line& line) {
        auto current = DecodedStyle::plain;
        for (std::size_t i = 0; i < text.size(); ++i) {
            // To the library each byte is a character; to those who see it a character has one colour.
            const bool isWithin = (static_cast<unsigned char>(text[i]) & 0xC0U) == 0x80U;
            const bool isNew = !isWithin && line[i] != current;
            if (isNew)
                current = line[i];
            if (current == DecodedStyle::plain)
                continue;
            if (isNew && count_ == place_.size())
                return false;
            if (isNew)
                place_[count_++] = {static_cast<std::uint32_t>(start + i), 0, current};
            ++place_[count_ - 1].length;
        }
        return true;
    }

private:
    std::span<DecodedHighlight> place_;
    std::size_t count_ = 0;
};

} // namespace

std::size_t highlight(const std::string& name, std::string_view text, std::span<DecodedHighlight> place) {
    Highlights highlights(place);
    static auto& library = *new Library;
    srchilite::SourceHighlighter highlighter(rulesFor(library, name, text));
    highlighter.setFormatterManager(&library.tellers);
    highlighter.setOptimize(false);
    const auto end = std::chrono::steady_clock::now() + longest;
    for (std::size_t start = 0; start < text.size() && std::chrono::steady_clock::now() < end;) {
        const auto line = text.substr(start, text.find('\n', start) - start);
        library.line.begin(line.size());
        try {
            highlighter.highlightParagraph(std::string(line));
        } catch (const std::exception&) {
            // It has counted its tries and given up on this line.
        }
        if (!highlights.add(start, line, library.line))
            break;
        start += line.size() + 1;
    }
    return highlights.count();
}

} // namespace morv::decoder
