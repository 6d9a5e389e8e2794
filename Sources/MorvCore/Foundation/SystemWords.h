// The sentences that name whoever owns the system's Trash: here its Trash service. What another desktop would
// call it is changed in this file only.
#pragma once

#include <string_view>

namespace morv::words {

// MARK: Leases

inline constexpr std::string_view handoffNeedsReview =
    "Morv stopped or could not record the result of this Trash handoff. Check the Trash service and Trash, "
    "then explicitly confirm the Trash service has finished or cancelled. No system action was replayed; "
    "this action cannot be undone by Morv.";
inline constexpr std::string_view handoffCancelled =
    "Cancelled before Trash handoff. No system operation was requested.";

// MARK: Empty Trash

inline constexpr std::string_view emptyTrashLabel = "System Empty Trash (permanent)";
inline constexpr std::string_view emptyTrashBusy =
    "Finish Morv’s active or queued file operations, or review a paused Trash handoff in Activity & "
    "Recovery, before emptying Trash. No Empty Trash command was sent.";
inline constexpr std::string_view emptyTrashNotReserved = "Couldn’t reserve the Trash handoff: ";
inline constexpr std::string_view emptyTrashUnderWay =
    "The Trash service is handling Empty Trash. Follow any confirmation it shows.";
inline constexpr std::string_view emptyTrashReplied =
    "The Trash service replied without a reported error. Actual Trash contents were not verified.";
inline constexpr std::string_view emptyTrashAwaiting =
    "The Trash service replied. Check that its Empty Trash work has finished or been cancelled, then confirm "
    "below. Morv’s queued file operations remain paused.";
inline constexpr std::string_view emptyTrashRejected = "Trash handoff was rejected before processing: ";
inline constexpr std::string_view emptyTrashPaused =
    " Morv’s file operations remain paused until you check the Trash service and confirm it has finished or "
    "been cancelled.";
inline constexpr std::string_view emptyTrashUserChecked =
    " User explicitly checked the Trash service and acknowledged the action finished or was cancelled. No "
    "command was replayed; this is not disk verification or an Undo guarantee.";
inline constexpr std::string_view emptyTrashAcknowledged =
    "Trash handoff acknowledged. Morv’s queued file operations may continue. Permanently emptied items "
    "cannot be restored with Morv Undo.";
inline constexpr std::string_view emptyTrashFoundAgain =
    "A previous Trash handoff needs review. Check the Trash service’s confirmation and progress before "
    "releasing Morv’s queued file operations. Empty Trash will not be sent again. ";

// MARK: Failures

inline constexpr std::string_view trashNotAllowed =
    "The system did not let Morv use its Trash service. Allow it and try again. Morv has not reported the "
    "Trash as emptied.";
inline constexpr std::string_view trashTimedOut =
    "The Trash service did not confirm completion before the request timed out. It may still be working. "
    "Check Trash in the system file manager before trying again. Morv has not verified that the Trash is "
    "empty.";
inline constexpr std::string_view trashCancelled =
    "The Trash service cancelled Empty Trash. Morv has not reported any files as permanently removed.";
inline constexpr std::string_view trashNotConfirmed = "The Trash service did not confirm Empty Trash (error ";
inline constexpr std::string_view trashCheckFirst =
    "Check Trash in the system file manager before trying again.";

// MARK: Opening Trash

inline constexpr std::string_view trashOpened =
    "Opened Trash in the system file manager. Opening it does not remove anything.";
inline constexpr std::string_view trashNotOpened = "Couldn’t open Trash in the system file manager: ";

// MARK: Alerts

inline constexpr std::string_view emptyTrashTitle = "Permanently empty the system Trash?";
inline constexpr std::string_view emptyTrashText =
    "The system’s Trash service will permanently delete ALL items currently in Trash, including Trash on "
    "connected drives as the service handles it. This is not limited to Smart Clean selections or the "
    "selected folder.\n\n"
    "This action is permanent and cannot be undone. Morv’s Undo and Activity recovery can rely on items in "
    "Trash; they cannot restore anything the Trash service permanently removes. Check Trash and finish any "
    "recovery first.\n\n"
    "The Trash service may go on removing items after it has answered. Morv’s file operations stay paused "
    "until you check Trash and acknowledge that its action has finished or been cancelled.";
inline constexpr std::string_view trashFinishedTitle =
    "Has the Trash service finished or cancelled Empty Trash?";
inline constexpr std::string_view trashFinishedText =
    "Continue only after the Trash service’s work has finished or been cancelled. A returned reply or "
    "timeout does not verify that the system action is finished.\n\n"
    "Continuing releases Morv’s paused file operations. It does not resend Empty Trash or make permanently "
    "removed items recoverable.";
inline constexpr std::string_view trashFinishedButton = "The Trash Service Has Finished";

} // namespace morv::words
