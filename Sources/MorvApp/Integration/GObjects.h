// Ownership of GLib's objects and texts.
#pragma once

#include <gio/gio.h>
#include <memory>
#include <string>

namespace morv {

struct GObjectRelease {
    void operator()(void* object) const { g_object_unref(object); }
};
template <class T>
using GHandle = std::unique_ptr<T, GObjectRelease>;

struct GTextRelease {
    void operator()(char* text) const { g_free(text); }
};
using GText = std::unique_ptr<char, GTextRelease>;

/// Receives an error of GLib's; converts to what the call wants.
class GFailure {
public:
    GFailure() = default;
    ~GFailure() { g_clear_error(&error_); }
    GFailure(const GFailure&) = delete;
    GFailure& operator=(const GFailure&) = delete;

    operator GError**() { return &error_; } // NOLINT(google-explicit-constructor)
    std::string sentence(const char* otherwise) const { return error_ ? error_->message : otherwise; }
    const GError* get() const { return error_; }

private:
    GError* error_ = nullptr;
};

} // namespace morv
