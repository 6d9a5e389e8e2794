#include "MorvCore/Operations/AppleDouble.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace {

using namespace morv;
using AppleDouble::Attributes;

std::string bytes(std::initializer_list<std::string_view> parts) {
    std::string result;
    for (const auto part : parts)
        result.append(part);
    return result;
}

std::string_view zeros(std::size_t count) {
    static const std::string many(64, '\0');
    return std::string_view(many).substr(0, count);
}

using namespace std::string_view_literals;

/// A comment, Finder information and a fork, as another program would lay them out.
std::string byHand() {
    return bytes({"\x00\x05\x16\x07\x00\x02\x00\x00Mac OS X        \x00\x02"sv,
                  "\x00\x00\x00\x09\x00\x00\x00\x32\x00\x00\x00\x63"sv, // 32 + 2 + 36 + 24 + 5 bytes from 50
                  "\x00\x00\x00\x02\x00\x00\x00\x95\x00\x00\x00\x04"sv, // 4 bytes from 149
                  "TEXTttxt", zeros(24), zeros(2),
                  // no tag; the attributes end at 149, their values begin at 144 and have 5 bytes
                  "ATTR\x00\x00\x00\x00\x00\x00\x00\x95\x00\x00\x00\x90\x00\x00\x00\x05"sv, zeros(12),
                  "\x00\x00\x00\x01"sv, // no flags; one attribute
                  "\x00\x00\x00\x90\x00\x00\x00\x05\x00\x00\x0Cxdg.comment\x00\x00"sv, "hello", "fork"});
}

Attributes sorted(Attributes attributes) {
    std::ranges::sort(attributes);
    return attributes;
}

const Attributes ofByHand = {{"user.com.apple.FinderInfo", "TEXTttxt" + std::string(24, '\0')},
                             {"user.com.apple.ResourceFork", "fork"},
                             {"user.xdg.comment", "hello"}};

TEST(AppleDouble, isTheFormatThatOthersReadAndWrite) {
    EXPECT_EQ(AppleDouble::encode(ofByHand), byHand());
    const auto read = AppleDouble::decode(byHand());
    ASSERT_TRUE(read);
    EXPECT_EQ(sorted(*read), ofByHand);
    // Entries that say nothing of attributes, and neither table nor fork.
    const auto plain = bytes({"\x00\x05\x16\x07\x00\x02\x00\x00"sv, zeros(16), "\x00\x02"sv,
                              "\x00\x00\x00\x03\x00\x00\x00\x52\x00\x00\x00\x04"sv,
                              "\x00\x00\x00\x09\x00\x00\x00\x32\x00\x00\x00\x20"sv, zeros(32), "name"});
    EXPECT_EQ(AppleDouble::decode(plain), Attributes());
}

TEST(AppleDouble, everyAttributeComesBack) {
    const std::string every = [] {
        std::string all;
        for (int byte = 0; byte < 256; ++byte)
            all.push_back(static_cast<char>(byte));
        return all;
    }();
    const std::vector<Attributes> rows = {
        {},
        {{"user.empty", ""}},
        {{"user.a", "1"}, {"user.ab", "22"}, {"user.abc", every}, {"user.abcd", "4444"}},
        {{"user." + std::string(250, 'n'), every}, {"user.Größe", "10"}, {"user.user.", "twice"}},
        {{"user.com.apple.FinderInfo", std::string(32, '\0')}, {"user.com.apple.ResourceFork", ""}},
        {{"user.com.apple.FinderInfo", every}},
        {{"user.com.apple.FinderInfo", std::string(32, 'i')}, {"user.com.apple.ResourceFork", every}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.empty() ? "nothing" : row.front().first);
        const auto read = AppleDouble::decode(AppleDouble::encode(row));
        ASSERT_TRUE(read);
        EXPECT_EQ(sorted(*read), sorted(row));
    }
}

TEST(AppleDouble, whatIsNotWellFormedIsNothing) {
    const auto sound = byHand();
    for (std::size_t length = 0; length < sound.size(); ++length)
        EXPECT_FALSE(AppleDouble::decode(sound.substr(0, length))) << length;
    const struct {
        const char* name;
        std::size_t at;
        std::string_view bytes;
    } rows[] = {
        {"another magic number", 3, "\x06"},
        {"version 1", 5, "\x01"},
        {"more entries than fit", 24, "\xFF\xFF"},
        {"Finder information beyond the end", 34, "\x00\x00\x00\x68"sv},
        {"Finder information too short", 34, "\x00\x00\x00\x1F"sv},
        {"a fork from beyond the end", 42, "\xFF\xFF\xFF\xFF"},
        {"two Finder informations", 38, "\x00\x00\x00\x09\x00\x00\x00\x32\x00\x00\x00\x20"sv},
        {"more attributes than fit", 118, "\x00\x02"sv},
        {"a value beyond the end", 120, "\x00\x00\x00\x95"sv},
        {"a value that is too long", 124, "\xFF\xFF\xFF\xFF"},
        {"a name without its end", 130, "\x0B"},
        {"no name", 130, "\x01\x00"sv},
        {"a name with a zero byte", 132, "\x00"sv},
        {"a name that is not UTF-8", 132, "\xFF"},
        {"values that share bytes", 120, "\x00\x00\x00\x00\x00\x00\x00\x99"sv},
    };
    for (const auto& row : rows) {
        auto broken = sound;
        broken.replace(row.at, row.bytes.size(), row.bytes);
        EXPECT_FALSE(AppleDouble::decode(broken)) << row.name;
    }
    const Attributes twice = {{"user.same", "1"}, {"user.same", "2"}};
    EXPECT_FALSE(AppleDouble::decode(AppleDouble::encode(twice)));
}

TEST(AppleDouble, noMoreNamesThanTheKernelLists) {
    Attributes attributes;
    for (int i = 0; i < 256; ++i) // 256 bytes each with their zero byte
        attributes.emplace_back("user." + std::to_string(1000 + i) + std::string(246, 'n'), "");
    EXPECT_EQ(AppleDouble::decode(AppleDouble::encode(attributes)), attributes);
    attributes.emplace_back("user.m", "");
    EXPECT_FALSE(AppleDouble::decode(AppleDouble::encode(attributes)));
}

TEST(AppleDouble, flippedBitsReadNothingBeyondTheFile) {
    for (std::size_t at = 0; at < byHand().size(); ++at) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            auto broken = byHand();
            broken[at] = static_cast<char>(static_cast<unsigned char>(broken[at]) ^ 1U << bit);
            // On the heap with its exact length, where the sanitizer sees a byte too far.
            const std::vector<char> exact(broken.begin(), broken.end());
            const auto read = AppleDouble::decode({exact.data(), exact.size()});
            std::size_t total = 0;
            for (const auto& attribute : read.value_or(Attributes()))
                total += attribute.second.size();
            EXPECT_LE(total, exact.size());
        }
    }
}

TEST(AppleDouble, sidecarsAndMembersFindEachOther) {
    for (const auto& [member, sidecar] : {std::pair("b", "__MACOSX/._b"), std::pair("a/b", "__MACOSX/a/._b"),
                                          std::pair("a/._b", "__MACOSX/a/._._b")}) {
        EXPECT_EQ(AppleDouble::sidecarName(member), sidecar);
        EXPECT_EQ(AppleDouble::memberOf(sidecar), member);
    }
    for (const auto* other :
         {"a/._b", "__MACOSX", "__MACOSX/", "__MACOSX/a/b", "__MACOSX/a/._", "__MACOSX/._a/b"})
        EXPECT_FALSE(AppleDouble::memberOf(other)) << other;
}

} // namespace
