#include "MorvCore/Operations/SafeArchiveService.h"

#include "MorvCore/Operations/Operations.h"

namespace morv::SafeArchiveService {

Descriptor compress(const Work&) {
    throw FileOperationError::unsupported("Morv cannot make ZIP archives yet.");
}

} // namespace morv::SafeArchiveService
