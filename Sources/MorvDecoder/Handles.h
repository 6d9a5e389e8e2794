// Ownership of the objects of C libraries.
#pragma once

#include <glib-object.h>
#include <memory>

namespace morv::decoder {

struct GObjectRelease {
    void operator()(void* object) const { g_object_unref(object); }
};
template <class T>
using GHandle = std::unique_ptr<T, GObjectRelease>;

struct GMemoryRelease {
    void operator()(void* memory) const { g_free(memory); }
};
using GText = std::unique_ptr<char, GMemoryRelease>;

} // namespace morv::decoder
