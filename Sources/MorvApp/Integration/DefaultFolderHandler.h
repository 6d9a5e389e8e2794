// Making Morv what other programs open folders with, and taking that back.
//
// On disk     the association of "inode/directory" in the user's mimeapps.list (through GIO), and
//             "$XDG_DATA_HOME/dbus-1/services/org.freedesktop.FileManager1.service", which comes before the
//             system's own of that name; what stood there before is kept in the user defaults
// Invariants  I1  nothing outside the user's own folders is changed
//             I2  restore() leaves alone what someone else has changed since
// Threading   confined to the main thread; waits for small files on the disk of the home folder
// Errors      FileOperationError::unavailable with a sentence; what was done before it stands, and restore()
//             takes it back
#pragma once

#include "MorvApp/Model/UserDefaults.h"
#include "MorvCore/Foundation/FileURL.h"

namespace morv {

class DefaultFolderHandler {
public:
    /// `program` is the morv that is to be started; `defaults` outlives this.
    DefaultFolderHandler(FileURL program, UserDefaults& defaults)
        : program_(std::move(program)), defaults_(defaults) {}

    /// Whether folders open with Morv.
    bool isDefault() const;
    /// Does nothing when it is already.
    void makeDefault();
    void restore();

private:
    std::string serviceContent() const;

    FileURL program_;
    UserDefaults& defaults_;
};

} // namespace morv
