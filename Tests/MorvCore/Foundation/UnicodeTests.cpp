#include "MorvCore/Foundation/Unicode.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

using namespace morv;

namespace {

const std::string nfc = "Caf\u00E9";
const std::string nfd = "Cafe\u0301";
const std::string notUTF8 = "caf\xE9";

/// Names that fool comparisons: composed and not, digits, case, controls, empty, beyond UTF-8.
const std::vector<std::string> difficultNames = {
    "",  "a",      "A",       "b",      "Photo 2.png", "Photo 10.png",  "Photo 02.png", nfc,
    nfd, notUTF8,  "caf\xE8", "a\x01",  "a\x02",       "\u00DF",        "ss",           "\u0130",
    "i", "\uFB01", "fi",      "\uFFFD", "\xFF",        "\xED\xA0\x80",  "\U0001F600",   "\uFF5E",
    "1", "01",     "001",     "-",      "_",           "e\u0301\u0323", "e\u0323\u0301"};

} // namespace

TEST(Unicode, pathKeysAreEqualForPathsThatLookTheSame) {
    const struct {
        const char* name;
        std::string path, key;
    } rows[] = {{"plain", "/Home/FILE.TXT", "/home/file.txt"},
                {"composed", "/" + nfc, "/caf\u00E9"},
                {"decomposed", "/CAFE\u0301", "/caf\u00E9"},
                {"full lower case", "\u0130", "i\u0307"},
                {"final sigma", "\u039F\u03A3", "\u03BF\u03C2"},
                {"no folding", "STRA\u00DFE", "stra\u00DFe"},
                {"not UTF-8", "/CAF\xE9", "/CAF\xE9"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(pathKey(row.path), row.key);
    }
}

TEST(Unicode, canonicalOrderIsTotalAndFollowsTheComposedBytes) {
    EXPECT_TRUE(canonicallyLess(nfd, nfc)) << "equal forms: the raw bytes decide";
    EXPECT_TRUE(canonicallyLess("Cafez", nfd)) << "compared as composed, not as stored";
    EXPECT_TRUE(canonicallyLess("\uFF5E", "\U0001F600")) << "bytes, not UTF-16 units";
    for (const auto& a : difficultNames)
        for (const auto& b : difficultNames) {
            EXPECT_EQ(canonicalOrder(a, b) == 0, a == b);
            EXPECT_TRUE((canonicalOrder(a, b) < 0) == (canonicalOrder(b, a) > 0)) << a << " / " << b;
        }
}

TEST(Unicode, shownTextCannotRearrangeItsSentence) {
    EXPECT_EQ(displayText("a\nb\x1B\x7F"), "a\u240Ab\u241B\u2421");
    EXPECT_EQ(displayText("photo\u202Egpj.exe\u2066\u0085"), "photo\u2426gpj.exe\u2426\u2426");
    EXPECT_EQ(displayText(notUTF8 + nfc), "caf\uFFFD" + nfc);
    EXPECT_EQ(displayText(std::string_view("\0", 1)), "\u2400");
    EXPECT_EQ(repairedUTF8("a\n\xC3"), "a\n\uFFFD") << "only repaired";
    EXPECT_FALSE(isValidUTF8("\xED\xA0\x80")) << "a surrogate";
    EXPECT_FALSE(isValidUTF8("long enough for words \xC0\xAF")) << "an overlong form";
}

TEST(NameCollation, keysAgreeWithComparingAndOnlyEqualNamesAreEqual) {
    const auto sign = [](std::strong_ordering order) { return order < 0 ? -1 : order > 0 ? 1 : 0; };
    for (const auto& a : difficultNames)
        for (const auto& b : difficultNames) {
            SCOPED_TRACE(displayText(a) + " / " + displayText(b));
            EXPECT_EQ(sign(NameCollation::compare(a, b)),
                      sign(NameCollation::sortKey(a) <=> NameCollation::sortKey(b)));
            EXPECT_EQ(NameCollation::compare(a, b) == 0, composed(a) == composed(b));
        }
    EXPECT_LT(NameCollation::sortKey(std::string(2000, 'a')), NameCollation::sortKey(std::string(2001, 'a')));
}

TEST(NameCollation, ordersAsTheUserReads) {
    NameCollation::setLocale("en_GB.UTF-8");
    EXPECT_TRUE(NameCollation::compare("Photo 2.png", "Photo 10.png") < 0);
    EXPECT_TRUE(NameCollation::compare("apple", "Banana") < 0);
    EXPECT_TRUE(NameCollation::compare("\u00F6l", "zebra") < 0);
    std::thread([] { EXPECT_TRUE(NameCollation::compare("\u00F6l", "zebra") < 0); }).join();
    NameCollation::setLocale("sv_SE");
    EXPECT_TRUE(NameCollation::compare("\u00F6l", "zebra") > 0)
        << "a changed locale reaches a thread that compared";
    NameCollation::setLocale("C.UTF-8");
    EXPECT_TRUE(NameCollation::compare("Photo 2.png", "Photo 10.png") < 0)
        << "also where no locale is chosen";
}
