// The desktop's own way to send items to somebody.
#pragma once

#include "MorvCore/Folders/FileEntry.h"
#include "MorvCore/Foundation/FileURL.h"

#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace morv {

/// Safe to share. Blocks: call it on a worker.
class ItemSender {
public:
    ItemSender() = default;
    virtual ~ItemSender() = default;
    ItemSender(const ItemSender&) = delete;
    ItemSender& operator=(const ItemSender&) = delete;

    /// Opens a new message with the files attached, and returns when the program that opens it has ended; that may
    /// be when the message is closed. A stop ends the waiting and nothing else. Throws
    /// FileOperationError::unavailable with a sentence when no message can be opened.
    virtual void sendByMail(const std::vector<FileURL>& files, const std::stop_token& stop) const = 0;
};

/// Why these cannot be attached to a message; nothing when they can.
std::optional<std::string> whyNotSendable(const std::vector<const FileEntry*>& entries);

} // namespace morv
