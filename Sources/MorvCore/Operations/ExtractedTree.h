// What came out of an archive, looked at on disk instead of being believed.
//
// The walk holds one descriptor for each level and follows no link. A level below the deepest that an archive
// may have is somebody else's work and ends it.
//
// Threading   stateless
#pragma once

#include "MorvCore/Platform/FileStat.h"

#include <cstdint>
#include <functional>
#include <stop_token>
#include <string>

namespace morv::ExtractedTree {

using Visit = std::function<void(int folder, const std::string& name, const FileStat& info)>;

/// Visits every item below the open folder `staging`, a folder before what is in it, in no order. Throws
/// PosixError for an item without a record, FileOperationError::unavailable with `unreadable` for a folder that
/// cannot be read, FileOperationError::changed for one that is too deep, CancellationError before any item.
void forEachItem(int staging, const char* unreadable, const std::stop_token& stop, const Visit& visit);

/// Throws FileOperationError unless everything below `staging` is a folder or a file with one name, at most
/// `mostItems` of them, and no more bytes than an archive may make. Otherwise as forEachItem.
void inspect(int staging, std::int64_t mostItems, const std::stop_token& stop);

[[noreturn]] void refuseMismatch();

} // namespace morv::ExtractedTree
