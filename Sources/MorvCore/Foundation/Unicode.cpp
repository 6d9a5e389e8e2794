#include "MorvCore/Foundation/Unicode.h"

#include "MorvCore/Foundation/Mutex.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/coll.h>
#include <unicode/normalizer2.h>
#include <unicode/utf8.h>

namespace morv {

namespace {

bool isASCII(std::string_view text) {
    constexpr std::uint64_t highBits = 0x8080808080808080;
    std::size_t i = 0;
    for (; i + sizeof highBits <= text.size(); i += sizeof highBits) {
        std::uint64_t word;
        std::memcpy(&word, text.data() + i, sizeof word);
        if (word & highBits)
            return false;
    }
    for (; i < text.size(); ++i) {
        if (static_cast<unsigned char>(text[i]) >= 0x80)
            return false;
    }
    return true;
}

icu::StringPiece piece(std::string_view text) {
    return {text.data(), static_cast<std::int32_t>(text.size())};
}

const icu::Normalizer2& composer() {
    UErrorCode status = U_ZERO_ERROR;
    const auto* instance = icu::Normalizer2::getNFCInstance(status);
    if (U_FAILURE(status))
        throw std::runtime_error("The Unicode tables cannot be read.");
    return *instance;
}

/// `text` is valid UTF-8.
std::string composedUTF8(std::string_view text) {
    std::string result;
    icu::StringByteSink<std::string> sink(&result, static_cast<std::int32_t>(text.size()));
    UErrorCode status = U_ZERO_ERROR;
    composer().normalizeUTF8(0, piece(text), sink, nullptr, status);
    if (U_FAILURE(status))
        throw std::bad_alloc();
    return result;
}

// ICU's macro narrows in ways that it has checked itself.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
/// The scalar at `i`, which moves past it; below 0 for what is not UTF-8.
UChar32 nextScalar(std::string_view bytes, std::int32_t& i) {
    const auto length = static_cast<std::int32_t>(bytes.size());
    UChar32 scalar;
    U8_NEXT(bytes.data(), i, length, scalar);
    return scalar;
}
#pragma GCC diagnostic pop

void appendScalar(std::string& text, UChar32 scalar) {
    char bytes[U8_MAX_LENGTH];
    std::int32_t length = 0;
    U8_APPEND_UNSAFE(bytes, length, scalar);
    text.append(bytes, static_cast<std::size_t>(length));
}

constexpr UChar32 replacement = 0xFFFD;

/// Appends each scalar of `bytes` after `shown` has mapped it; what is not UTF-8 is the replacement
/// character.
template <class Shown>
std::string mapped(std::string_view bytes, Shown shown) {
    std::string text;
    text.reserve(bytes.size() + 8);
    const auto length = static_cast<std::int32_t>(bytes.size());
    for (std::int32_t i = 0; i < length;) {
        const auto scalar = nextScalar(bytes, i);
        appendScalar(text, scalar < 0 ? replacement : shown(scalar));
    }
    return text;
}

UChar32 visible(UChar32 scalar) {
    constexpr UChar32 controlPictures = 0x2400, deletePicture = 0x2421, substitutePicture = 0x2426;
    if (scalar < 0x20)
        return controlPictures + scalar;
    if (scalar == 0x7F)
        return deletePicture;
    const bool isControl = scalar < 0xA0 && scalar >= 0x80;
    const bool breaksLine = scalar == 0x2028 || scalar == 0x2029;
    const bool isBidirectional = scalar == 0x061C || scalar == 0x200E || scalar == 0x200F ||
                                 (scalar >= 0x202A && scalar <= 0x202E) ||
                                 (scalar >= 0x2066 && scalar <= 0x2069);
    return isControl || breaksLine || isBidirectional ? substitutePicture : scalar;
}

} // namespace

bool isValidUTF8(std::string_view bytes) {
    if (isASCII(bytes))
        return true;
    const auto length = static_cast<std::int32_t>(bytes.size());
    for (std::int32_t i = 0; i < length;) {
        if (nextScalar(bytes, i) < 0)
            return false;
    }
    return true;
}

std::string composed(std::string_view text) {
    if (isASCII(text) || !isValidUTF8(text))
        return std::string(text);
    return composedUTF8(text);
}

std::string pathKey(std::string_view path) {
    std::string key;
    if (isASCII(path)) {
        key.reserve(path.size());
        for (const char c : path)
            key.push_back(c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c);
        return key;
    }
    if (!isValidUTF8(path))
        return std::string(path);
    const auto canonical = composedUTF8(path);
    icu::StringByteSink<std::string> sink(&key, static_cast<std::int32_t>(canonical.size()));
    UErrorCode status = U_ZERO_ERROR;
    icu::CaseMap::utf8ToLower("", 0, piece(canonical), sink, nullptr, status);
    if (U_FAILURE(status))
        throw std::bad_alloc();
    return key;
}

std::strong_ordering canonicalOrder(std::string_view a, std::string_view b) {
    if (isASCII(a) && isASCII(b))
        return a <=> b;
    if (const auto order = composed(a) <=> composed(b); order != 0)
        return order;
    return a <=> b;
}

std::string displayText(std::string_view bytes) {
    return mapped(bytes, visible);
}

std::string repairedUTF8(std::string_view bytes) {
    if (isValidUTF8(bytes))
        return std::string(bytes);
    return mapped(bytes, [](UChar32 scalar) { return scalar; });
}

namespace NameCollation {

namespace {

std::string environmentLocale() {
    for (const char* variable : {"LC_ALL", "LC_COLLATE", "LANG"}) {
        if (const char* value = std::getenv(variable); value && *value)
            return value;
    }
    return {};
}

std::unique_ptr<icu::Collator> makeCollator(const std::string& name) {
    const bool isRoot = name.empty() || name == "POSIX" || name == "C" || name.starts_with("C.");
    const auto locale = isRoot ? icu::Locale::getRoot() : icu::Locale::createCanonical(name.c_str());
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Collator> collator(icu::Collator::createInstance(locale, status));
    if (U_FAILURE(status))
        throw std::runtime_error("The Unicode tables cannot be read.");
    collator->setStrength(icu::Collator::TERTIARY);
    collator->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
    collator->setAttribute(UCOL_NORMALIZATION_MODE, UCOL_ON, status);
    return collator;
}

/// The collator that every thread clones. A change of locale is seen by its generation.
struct Shared {
    Mutex mutex;
    std::unique_ptr<icu::Collator> prototype MORV_GUARDED_BY(mutex);
    std::atomic<unsigned> generation = 1;
};

Shared& shared() {
    static Shared state;
    return state;
}

/// A collator may be used by many threads only for reading keys; a clone for each thread needs no such care.
const icu::Collator& threadCollator() {
    thread_local unsigned generation = 0;
    thread_local std::unique_ptr<icu::Collator> collator;
    auto& state = shared();
    if (const auto current = state.generation.load(std::memory_order_acquire); generation != current) {
        const MutexLock lock(state.mutex);
        if (!state.prototype)
            state.prototype = makeCollator(environmentLocale());
        collator.reset(state.prototype->clone());
        generation = current;
    }
    return *collator;
}

} // namespace

void setLocale(const std::string& locale) {
    auto prototype = makeCollator(locale);
    auto& state = shared();
    const MutexLock lock(state.mutex);
    state.prototype = std::move(prototype);
    state.generation.fetch_add(1, std::memory_order_release);
}

std::strong_ordering compare(std::string_view a, std::string_view b) {
    const auto first = repairedUTF8(a), second = repairedUTF8(b);
    UErrorCode status = U_ZERO_ERROR;
    const auto order = threadCollator().compareUTF8(piece(first), piece(second), status);
    if (order != UCOL_EQUAL)
        return order == UCOL_LESS ? std::strong_ordering::less : std::strong_ordering::greater;
    return composed(a) <=> composed(b);
}

std::string sortKey(std::string_view name) {
    const auto text = icu::UnicodeString::fromUTF8(piece(repairedUTF8(name)));
    const auto& collator = threadCollator();
    std::uint8_t buffer[512];
    const auto length = collator.getSortKey(text, buffer, static_cast<std::int32_t>(sizeof buffer));
    std::string key;
    if (length <= static_cast<std::int32_t>(sizeof buffer)) {
        key.reserve(static_cast<std::size_t>(length) + name.size());
        key.assign(reinterpret_cast<const char*>(buffer), static_cast<std::size_t>(length));
    } else {
        key.resize(static_cast<std::size_t>(length));
        collator.getSortKey(text, reinterpret_cast<std::uint8_t*>(key.data()), length);
    }
    // Names that the locale holds equal ("1" and "01") still need an order. The collation key ends in a zero
    // byte that is nowhere else in it, so what follows decides only between equal keys.
    return key += composed(name);
}

} // namespace NameCollation

} // namespace morv
