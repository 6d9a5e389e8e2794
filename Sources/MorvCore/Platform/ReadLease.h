// Whether anybody could be writing to a file right now.
//
// A read lease (F_SETLEASE, F_RDLCK) is refused by the kernel while any process has the file open for writing
// or mapped shared-writable: exactly the case in which times alone would lie. While one is held, a writer's
// open waits (at most /proc/sys/fs/lease-break-time) and the lease reads as broken.
#pragma once

namespace morv {

/// True when a read lease on `descriptor` (opened for reading) was granted for a moment: nobody could write
/// then. False when it was refused for whatever reason.
bool nobodyIsWriting(int descriptor);

/// A read lease held for a scope: as long as isHeld(), nobody has written to the file since it was granted.
/// Confined to one thread. The descriptor must stay open for as long.
class ReadLease {
public:
    explicit ReadLease(int descriptor);
    ~ReadLease();
    ReadLease(const ReadLease&) = delete;
    ReadLease& operator=(const ReadLease&) = delete;

    /// False when it was refused or somebody has asked for the file since.
    bool isHeld() const;

private:
    int descriptor_;
    bool granted_;
};

} // namespace morv
