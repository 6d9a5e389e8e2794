// The desktop's Trash service (GVfs, through GIO), which empties Trash on every drive and shows it.
//
// Threading   safe from any thread; calls block, and never for longer than they say
#pragma once

#include <chrono>
#include <stop_token>

namespace morv {

inline constexpr std::chrono::milliseconds emptyTrashLimit{60'000};

/// Asks the service to delete each item of Trash. An item that it refuses does not stop the others.
/// Throws FinderTrashFailure: notReached when the service is missing or refused before anything was asked of
/// it; timedOut when `limit` has passed, however far it got; else the GIO code of the first item it refused,
/// and how many there were. Throws CancellationError when `stop` was requested. In either case what was asked
/// last may still be under way.
void emptySystemTrash(std::chrono::milliseconds limit, const std::stop_token& stop);

/// Shows Trash with the desktop's own file manager: the default handler, but never Morv itself, which shows
/// folders only. Throws FileOperationError::unavailable with a sentence when there is none or it does not
/// start.
void openSystemTrash();

} // namespace morv
