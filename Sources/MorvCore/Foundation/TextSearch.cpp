#include "MorvCore/Foundation/TextSearch.h"

#include "MorvCore/Foundation/Unicode.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <stdexcept>
#include <unicode/coleitr.h>
#include <unicode/stsearch.h>
#include <unicode/tblcoll.h>
#include <unicode/uchar.h>
#include <vector>

namespace morv {

namespace {

// Control characters weigh nothing in a collation: only text without them may be compared byte by byte.
constexpr char notPlain = '\0';

constexpr std::array<char, 256> makeLowered() {
    std::array<char, 256> table{};
    for (unsigned c = 0x20; c < 0x7F; ++c)
        table[c] = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    return table;
}

constexpr auto loweredTable = makeLowered();

char lowered(char c) {
    return loweredTable[static_cast<unsigned char>(c)];
}

bool isPlain(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return lowered(c) != notPlain; });
}

bool containsLowered(std::string_view text, std::string_view query) {
    if (text.size() < query.size())
        return false;
    const char first = query.front();
    const auto last = text.size() - query.size();
    for (std::size_t start = 0; start <= last; ++start) {
        if (lowered(text[start]) != first)
            continue;
        std::size_t i = 1;
        while (i < query.size() && lowered(text[start + i]) == query[i])
            ++i;
        if (i == query.size())
            return true;
    }
    return false;
}

icu::UnicodeString wide(std::string_view text) {
    return icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
}

void require(UErrorCode status) {
    if (U_FAILURE(status))
        throw std::runtime_error("The Unicode tables cannot be read.");
}

/// For names in Latin letters, which ASCII text each letter would match by the collation's primary weights
/// ("é" is "e", "ß" is "ss", a soft hyphen is nothing). A weight that no ASCII character has becomes noMatch.
///
/// A name whose skeleton does not contain the query is not a match; one whose skeleton does is looked at by
/// the collation's own search, which also knows where a match may begin and end.
class LatinSkeletons {
public:
    static const LatinSkeletons& shared() {
        static const LatinSkeletons table;
        return table;
    }

    /// Appends the skeleton of `name`; false when it holds anything that this table does not know.
    bool append(std::string_view name, std::string& skeleton) const {
        for (std::size_t i = 0; i < name.size(); ++i) {
            const auto byte = static_cast<unsigned char>(name[i]);
            if (byte < 0x80) {
                if (lowered(name[i]) == notPlain)
                    return false;
                skeleton += lowered(name[i]);
                continue;
            }
            // Two bytes of UTF-8 hold U+0080 to U+07FF.
            if (byte < 0xC2 || byte > 0xC9 || i + 1 == name.size())
                return false;
            const auto next = static_cast<unsigned char>(name[++i]);
            const auto letter = static_cast<unsigned>((byte & 0x1F) << 6 | (next & 0x3F));
            if ((next & 0xC0) != 0x80 || letter < first || letter > last || !known_[letter - first])
                return false;
            skeleton += texts_[letter - first];
        }
        return true;
    }

private:
    static constexpr unsigned first = 0xA0;
    static constexpr unsigned last = 0x24F;
    static constexpr unsigned middleDot = 0xB7; ///< weighs otherwise after an "l"
    static constexpr char noMatch = '\x01';

    LatinSkeletons() {
        UErrorCode status = U_ZERO_ERROR;
        const std::unique_ptr<icu::Collator> collator(
            icu::Collator::createInstance(icu::Locale::getRoot(), status));
        require(status);
        const auto& rules = static_cast<icu::RuleBasedCollator&>(*collator);
        std::map<std::int32_t, char> ascii;
        std::set<std::int32_t> partial; // of characters that need more than one element
        for (char c = 0x20; c < 0x7F; ++c) {
            const auto weights = primaries(rules, static_cast<unsigned char>(c));
            if (weights.size() == 1)
                ascii.emplace(weights.front(), lowered(c));
            else
                partial.insert(weights.begin(), weights.end());
        }
        for (unsigned letter = first; letter <= last; ++letter) {
            bool isKnown = letter != middleDot;
            for (const auto weight : primaries(rules, letter)) {
                const auto found = ascii.find(weight);
                texts_[letter - first] += found == ascii.end() ? noMatch : found->second;
                isKnown = isKnown && !partial.contains(weight);
            }
            known_[letter - first] = isKnown;
        }
    }

    static std::vector<std::int32_t> primaries(const icu::RuleBasedCollator& rules, unsigned letter) {
        const icu::UnicodeString text(static_cast<UChar32>(letter));
        const std::unique_ptr<icu::CollationElementIterator> elements(
            rules.createCollationElementIterator(text));
        UErrorCode status = U_ZERO_ERROR;
        std::vector<std::int32_t> weights;
        for (auto element = elements->next(status);
             U_SUCCESS(status) && element != icu::CollationElementIterator::NULLORDER;
             element = elements->next(status))
            if (const auto weight = icu::CollationElementIterator::primaryOrder(element); weight != 0)
                weights.push_back(weight);
        require(status);
        return weights;
    }

    std::array<std::string, last - first + 1> texts_;
    std::array<bool, last - first + 1> known_{};
};

} // namespace

struct TextSearch::Engine {
    explicit Engine(std::string_view query) {
        UErrorCode status = U_ZERO_ERROR;
        collator.reset(icu::Collator::createInstance(icu::Locale::getRoot(), status));
        require(status);
        collator->setStrength(icu::Collator::PRIMARY);
        collator->setAttribute(UCOL_NORMALIZATION_MODE, UCOL_ON, status);
        require(status);
        // The searcher needs a text from the beginning; each name replaces it.
        search = std::make_unique<icu::StringSearch>(wide(query), text = wide("."),
                                                     static_cast<icu::RuleBasedCollator*>(collator.get()),
                                                     nullptr, status);
        require(status);
    }

    bool isFoundIn(std::string_view name) {
        text = wide(name);
        UErrorCode status = U_ZERO_ERROR;
        search->setText(text, status);
        const auto place = search->first(status);
        return U_SUCCESS(status) && place != USEARCH_DONE;
    }

    std::unique_ptr<icu::Collator> collator;
    icu::UnicodeString text;
    std::unique_ptr<icu::StringSearch> search;
};

std::string trimmed(std::string_view text) {
    if (!isValidUTF8(text))
        return std::string(text);
    auto units = wide(text);
    std::int32_t start = 0, end = units.length();
    while (start < end && u_isUWhiteSpace(units.char32At(start)))
        ++start;
    while (end > start && u_isUWhiteSpace(units.char32At(end - 1)))
        --end;
    std::string result;
    units.tempSubStringBetween(start, end).toUTF8String(result);
    return result;
}

TextSearch::TextSearch(std::string_view query)
    : query_(query), isPlain_(isPlain(query)), isBytes_(!isValidUTF8(query)) {
    if (isPlain_)
        std::ranges::transform(query_, std::back_inserter(lowered_), lowered);
}

TextSearch::TextSearch(TextSearch&&) noexcept = default;
TextSearch::~TextSearch() = default;

bool TextSearch::isFoundIn(std::string_view text) {
    if (query_.empty())
        return true;
    if (text.empty())
        return false;
    if (isBytes_)
        return text.find(query_) != std::string_view::npos;
    if (isPlain_ && isPlain(text))
        return containsLowered(text, lowered_);
    if (isPlain_) {
        skeleton_.clear();
        if (LatinSkeletons::shared().append(text, skeleton_) && skeleton_.find(lowered_) == std::string::npos)
            return false;
    }
    if (!engine_)
        engine_ = std::make_unique<Engine>(query_);
    return engine_->isFoundIn(repairedUTF8(text));
}

} // namespace morv
