// Messages with attachments through xdg-email, which knows the desktop's mail program.
//
// The files are arguments of their own behind "--attach", as absolute paths in their own bytes: no shell sees them,
// and no name reads as an option. The program lives on in a session of its own when Morv ends.
#pragma once

#include "MorvApp/Model/ItemSender.h"

namespace morv {

class MailSender : public ItemSender {
public:
    /// `program` is looked up on PATH unless it is a path.
    explicit MailSender(std::string program = "xdg-email") : program_(std::move(program)) {}

    void sendByMail(const std::vector<FileURL>& files, const std::stop_token& stop) const override;

private:
    const std::string program_;
};

} // namespace morv
