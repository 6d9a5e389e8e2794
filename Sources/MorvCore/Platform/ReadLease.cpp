#include "MorvCore/Platform/ReadLease.h"

#include <csignal>
#include <fcntl.h>

namespace morv {

namespace {

bool take(int descriptor) {
    // Breaking a lease sends SIGIO, which would end the process; SIGURG is ignored by default.
    return fcntl(descriptor, F_SETSIG, SIGURG) == 0 && fcntl(descriptor, F_SETLEASE, F_RDLCK) == 0;
}

void giveBack(int descriptor) {
    fcntl(descriptor, F_SETLEASE, F_UNLCK);
}

} // namespace

bool nobodyIsWriting(int descriptor) {
    if (!take(descriptor))
        return false;
    giveBack(descriptor);
    return true;
}

ReadLease::ReadLease(int descriptor) : descriptor_(descriptor), granted_(take(descriptor)) {}

ReadLease::~ReadLease() {
    if (granted_)
        giveBack(descriptor_);
}

bool ReadLease::isHeld() const {
    return granted_ && fcntl(descriptor_, F_GETLEASE) == F_RDLCK;
}

} // namespace morv
