#include "MorvCore/Foundation/TextSearch.h"

#include <array>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <unicode/stsearch.h>
#include <unicode/tblcoll.h>

namespace morv {
namespace {

/// The collation's own search, without any shortcut.
class Reference {
public:
    Reference() {
        UErrorCode status = U_ZERO_ERROR;
        collator_.reset(icu::Collator::createInstance(icu::Locale::getRoot(), status));
        collator_->setStrength(icu::Collator::PRIMARY);
        collator_->setAttribute(UCOL_NORMALIZATION_MODE, UCOL_ON, status);
    }
    bool isFound(const std::string& query, const std::string& text) {
        UErrorCode status = U_ZERO_ERROR;
        icu::StringSearch search(icu::UnicodeString::fromUTF8(query), icu::UnicodeString::fromUTF8(text),
                                 static_cast<icu::RuleBasedCollator*>(collator_.get()), nullptr, status);
        return search.first(status) != USEARCH_DONE && U_SUCCESS(status);
    }

private:
    std::unique_ptr<icu::Collator> collator_;
};

TEST(TextSearch, shortcutsFindExactlyWhatTheCollationFinds) {
    Reference reference;
    std::mt19937 random(7);
    const auto one = [&](const auto& list) { return std::string(list[random() % list.size()]); };
    constexpr std::array letters = {
        "a", "e", "o", "s",      "ss",     "l", "x", "1",       ".", " ", "_", "E", "é", "ö", "ß",  "ø", "æ",
        "ł", "·", "ñ", "\u00AD", "\u00A0", "ǆ", "ĳ", "e\u0301", "ﬁ", "٣", "²", "ﬀ", "Ж", "ŋ", "ʼn", "¼", "-"};
    constexpr std::array queries = {"e",  "o", "s",  "ss", "ae", "l", "es", "so", "1",  "1.",  " a", "ij",
                                    "dz", "n", "s.", "e1", "_a", "-", "l.", "xe", "oe", "ae1", "f",  "fi"};
    for (const auto* query : queries) {
        TextSearch search(query);
        for (int round = 0; round < 1500; ++round) {
            std::string name;
            for (auto length = 1 + random() % 6; length > 0; --length)
                name += one(letters);
            ASSERT_EQ(search.isFoundIn(name), reference.isFound(query, name)) << query << " in " << name;
        }
        // Every Latin letter by itself and between others.
        for (char32_t letter = 0xA0; letter <= 0x24F; ++letter) {
            std::string text;
            icu::UnicodeString(static_cast<UChar32>(letter)).toUTF8String(text);
            for (const auto& name : {text, "a" + text + "s", text + text, "l" + text + "1"})
                ASSERT_EQ(search.isFoundIn(name), reference.isFound(query, name)) << query << " in " << name;
        }
    }
}

} // namespace
} // namespace morv
