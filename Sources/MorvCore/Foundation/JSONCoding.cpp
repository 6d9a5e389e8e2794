#include "MorvCore/Foundation/JSONCoding.h"

#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Foundation/Unicode.h"

#include <fmt/format.h>

namespace morv::json {

namespace {

[[noreturn]] void fail(std::string_view expected) {
    throw DecodingError(fmt::format("A saved record is damaged: it holds a value that is not {}.", expected));
}

} // namespace

std::string dump(const Value& value) {
    return value.dump(-1, ' ', false, Value::error_handler_t::replace);
}

Value parse(std::string_view text) {
    auto value = Value::parse(text.begin(), text.end(), nullptr, false);
    if (value.is_discarded())
        throw DecodingError("A saved record is damaged: it is not valid JSON.");
    return value;
}

void decode(const Value& value, std::string& out) {
    if (!value.is_string())
        fail("text");
    out = value.get<std::string>();
}

void decode(const Value& value, bool& out) {
    if (!value.is_boolean())
        fail("true or false");
    out = value.get<bool>();
}

void decode(const Value& value, std::int64_t& out) {
    if (!value.is_number_integer() ||
        (value.is_number_unsigned() && value.get<std::uint64_t>() > std::uint64_t{INT64_MAX}))
        fail("a whole number");
    out = value.get<std::int64_t>();
}

void decode(const Value& value, double& out) {
    if (!value.is_number())
        fail("a number");
    out = value.get<double>();
}

void decode(const Value& value, Date& out) {
    decode(value, out.sinceReference);
}

void decode(const Value& value, UUID& out) {
    const auto id = value.is_string() ? UUID::parse(value.get_ref<const std::string&>()) : std::nullopt;
    if (!id)
        fail("a UUID");
    out = *id;
}

void decode(const Value& value, FileURL& out) {
    const auto url = value.is_string() ? FileURL::parse(value.get_ref<const std::string&>()) : std::nullopt;
    if (!url)
        fail("a file URL");
    out = *url;
}

std::string keyOf(const FileURL& url) {
    return isValidUTF8(url.path()) ? url.path() : url.absoluteString();
}

FileURL urlOfKey(std::string_view key) {
    if (key.starts_with('/'))
        return FileURL::fromPath(key);
    if (auto url = FileURL::parse(key))
        return *url;
    fail("a path");
}

const Value& requireArray(const Value& value) {
    if (!value.is_array())
        fail("a list");
    return value;
}

const Value& requireObject(const Value& value) {
    if (!value.is_object())
        fail("an object");
    return value;
}

const Value& require(const Value& object, const char* key) {
    const auto found = requireObject(object).find(key);
    if (found == object.end())
        throw DecodingError(fmt::format("A saved record is damaged: “{}” is missing.", key));
    return *found;
}

} // namespace morv::json
