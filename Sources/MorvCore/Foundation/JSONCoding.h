// How records become JSON text. Only sources include this header; public headers declare
//     std::string toJSON(const T&);
//     void fromJSON(std::string_view, T&);      // throws DecodingError
//
// Dates are numbers (seconds since 2001-01-01 UTC), URLs strings, absent optionals absent keys.
#pragma once

#include "MorvCore/Foundation/Date.h"
#include "MorvCore/Foundation/FileURL.h"
#include "MorvCore/Foundation/UUID.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace morv::json {

using Value = nlohmann::json;

/// Text that is not UTF-8 is repaired with U+FFFD.
std::string dump(const Value& value);
/// Throws DecodingError.
Value parse(std::string_view text);

inline Value encode(const std::string& text) {
    return text;
}
inline Value encode(bool value) {
    return value;
}
inline Value encode(std::int64_t value) {
    return value;
}
inline Value encode(double value) {
    return value;
}
inline Value encode(const Date& date) {
    return date.sinceReference;
}
inline Value encode(const UUID& id) {
    return id.text();
}
inline Value encode(const FileURL& url) {
    return url.absoluteString();
}

void decode(const Value& value, std::string& out);
void decode(const Value& value, bool& out);
void decode(const Value& value, std::int64_t& out);
void decode(const Value& value, double& out);
void decode(const Value& value, Date& out);
void decode(const Value& value, UUID& out);
void decode(const Value& value, FileURL& out);

/// A path as the key of an object: as it is, or as a file URL when it is not UTF-8 and would not come back.
std::string keyOf(const FileURL& url);
/// Throws DecodingError for what is neither.
FileURL urlOfKey(std::string_view key);

template <class T>
Value encode(const std::vector<T>& list) {
    auto array = Value::array();
    for (const auto& element : list)
        array.push_back(encode(element));
    return array;
}
/// Each throws DecodingError when the value is none.
const Value& requireArray(const Value& value);
const Value& requireObject(const Value& value);
template <class T>
void decode(const Value& value, std::vector<T>& out) {
    out.clear();
    for (const auto& element : requireArray(value))
        decode(element, out.emplace_back());
}

template <class T>
void put(Value& object, const char* key, const T& value) {
    object[key] = encode(value);
}
template <class T>
void put(Value& object, const char* key, const std::optional<T>& value) {
    if (value)
        object[key] = encode(*value);
}

/// The value of a required key. Throws DecodingError when it is missing.
const Value& require(const Value& object, const char* key);

template <class T>
void take(const Value& object, const char* key, T& out) {
    decode(require(object, key), out);
}
template <class T>
void take(const Value& object, const char* key, std::optional<T>& out) {
    const auto found = object.find(key);
    if (found == object.end() || found->is_null()) {
        out.reset();
    } else {
        decode(*found, out.emplace());
    }
}

} // namespace morv::json
