#include "MorvCore/Foundation/TextSearch.h"

#include "MorvCore/Foundation/Unicode.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <stdexcept>
#include <unicode/stsearch.h>
#include <unicode/tblcoll.h>
#include <unicode/uchar.h>

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
    if (!engine_)
        engine_ = std::make_unique<Engine>(query_);
    return engine_->isFoundIn(repairedUTF8(text));
}

} // namespace morv
