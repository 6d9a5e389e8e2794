#include "MorvCore/Foundation/Date.h"

#include <ctime>

namespace morv {

Date Date::now() {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return fromUnix(time.tv_sec, time.tv_nsec);
}

} // namespace morv
