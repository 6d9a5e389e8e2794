// What the decoder takes from itself before it reads what strangers made. There is no way back.
//
// Memory      an address space of 2 GiB: a picture that needs more ends the process (not in sanitizer builds, which
//             map terabytes)
// Time        ten seconds of processor time for each request; Morv's own deadline is of wall time
// Files       none can be made or written. Where the kernel confines by place (landlock(7)), what packages installed
//             can be read, because documents name fonts that they do not carry, and languages have definitions;
//             nothing of the user's. Elsewhere none can be opened once everything is loaded
// Others      no sockets, no programs, no processes, no signals to others: the system calls that are left are those
//             that memory, threads and reading an open file need
#pragma once

namespace morv::decoder {

/// Limits, places, and the loss of every privilege to come: before there is a second thread. Whether places are
/// confined.
bool beginConfinement();
/// System calls, in every thread: after everything is loaded. False: the kernel refused, and nothing may be read then.
bool confineCalls(bool placesAreConfined);
/// Gives the next request its share of processor time.
void beginProcessorTime();

} // namespace morv::decoder
