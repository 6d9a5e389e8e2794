#include "MorvCore/Operations/SafeArchiveService.h"

#include "MorvCore/Operations/Operations.h"

namespace morv::SafeArchiveService {

Descriptor extract(const Work&) {
    throw FileOperationError::unsupported("Morv cannot extract ZIP archives yet.");
}

} // namespace morv::SafeArchiveService
