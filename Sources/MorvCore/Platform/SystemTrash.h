// The user's Trash: the freedesktop.org Trash specification 1.0, written directly.
//
// Protocol    choose the trash of the item's own mount -> reserve "info/NAME.trashinfo" exclusively and flush
//             it -> one no-replace rename into "files/NAME" -> flush both folders
// Invariants  I1  an item is only ever renamed, never copied, and never onto another item
//             I2  an item in "files" always has its information beside it; a failure removes the reservation
//             I3  returned => the rename and the information are on the device
// Threading   stateless; safe to call from any thread
#pragma once

#include "MorvCore/Foundation/FileURL.h"

namespace morv::SystemTrash {

/// Moves `item` to the trash of its mount and returns its place in "files".
/// Throws FileOperationError::unavailable when that mount has no usable trash, invalid for what may not be
/// trashed (mount points, "lost+found", a trash folder, what is inside one or around it), PosixError
/// otherwise; the item is then where it was, unless the sentence says that it is in Trash.
FileURL trash(const FileURL& item);

/// The item has left its place in "files" by a rename of ours: removes its information file, if it has one.
/// `place` is what trash() returned. Never throws: a stale information file shows no item.
void forget(const FileURL& place) noexcept;

} // namespace morv::SystemTrash
