// Preloaded into a program: writes to MORV_PAINT_LOG when each picture of a window goes to the X server, as
// nanoseconds of the monotonic clock, the size in pixels and the nanoseconds of computing that the process has needed
// so far. The program measured needs no hook of its own.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>

namespace {

long long nanoseconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<long long>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

void note(int width, int height) {
    static std::FILE* const log = [] {
        const char* path = std::getenv("MORV_PAINT_LOG");
        return path ? std::fopen(path, "ae") : nullptr;
    }();
    if (!log)
        return;
    std::fprintf(log, "%lld %d %d %lld\n", nanoseconds(CLOCK_MONOTONIC), width, height,
                 nanoseconds(CLOCK_PROCESS_CPUTIME_ID));
    std::fflush(log);
}

/// The library's own function. It is asked by the library's name: the toolkit's plugin loads it for itself alone.
template <class Function>
Function* original(const char* library, const char* name) {
    return reinterpret_cast<Function*>(dlsym(dlopen(library, RTLD_LAZY | RTLD_LOCAL), name));
}

} // namespace

extern "C" {

xcb_void_cookie_t xcb_shm_put_image(xcb_connection_t* connection, xcb_drawable_t drawable, xcb_gcontext_t gc,
                                    uint16_t totalWidth, uint16_t totalHeight, uint16_t srcX, uint16_t srcY,
                                    uint16_t width, uint16_t height, int16_t x, int16_t y, uint8_t depth,
                                    uint8_t format, uint8_t sendEvent, xcb_shm_seg_t segment,
                                    uint32_t offset) {
    static auto* const real = original<decltype(xcb_shm_put_image)>("libxcb-shm.so.0", "xcb_shm_put_image");
    note(width, height);
    return real(connection, drawable, gc, totalWidth, totalHeight, srcX, srcY, width, height, x, y, depth,
                format, sendEvent, segment, offset);
}

xcb_void_cookie_t xcb_put_image(xcb_connection_t* connection, uint8_t format, xcb_drawable_t drawable,
                                xcb_gcontext_t gc, uint16_t width, uint16_t height, int16_t x, int16_t y,
                                uint8_t leftPad, uint8_t depth, uint32_t length, const uint8_t* data) {
    static auto* const real = original<decltype(xcb_put_image)>("libxcb.so.1", "xcb_put_image");
    note(width, height);
    return real(connection, format, drawable, gc, width, height, x, y, leftPad, depth, length, data);
}
}
