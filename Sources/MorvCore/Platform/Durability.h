// Getting what was written onto the device. A flush that fails is never tried again: after a failed fsync the
// kernel counts the pages as clean, so a second success would mean nothing.
#pragma once

#include "MorvCore/Foundation/FileURL.h"

namespace morv {

/// fsync of an open file or folder. Throws PosixError with `shown`.
void flushDescriptor(int descriptor, const FileURL& shown);

/// One flush for everything on the descriptor's volume (syncfs), which also reports write errors.
void flushVolume(int descriptor, const FileURL& shown);

/// Makes the entries of a folder durable: created, renamed and removed names. The descriptor was opened for
/// reading.
void flushFolder(int folder, const FileURL& shown);
void flushFolder(const FileURL& folder);

/// Starts writing out a range without waiting for it, so that the final flush has less to do.
void startFlushing(int descriptor, long offset, long length);

} // namespace morv
