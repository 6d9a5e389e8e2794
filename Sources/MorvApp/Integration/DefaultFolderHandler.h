// Making Morv what other programs open folders with, and taking that back.
//
// On disk     the association of "inode/directory" in the user's mimeapps.list (through GIO), and
//             "$XDG_DATA_HOME/dbus-1/services/org.freedesktop.FileManager1.service", which comes before the
//             system's own of that name; what stood there before is kept in the user defaults
// Invariants  I1  nothing outside the user's own folders is changed
//             I2  restore() leaves alone what someone else has changed since
// Threading   confined to one thread; waits for small files on the disk of the home folder
// Errors      FileOperationError::unavailable with a sentence; what was done before it stands, and restore()
//             takes it back
#pragma once

#include "MorvApp/Model/FolderHandlerModel.h"
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
    /// The name of what opens folders now; empty when nothing does.
    static std::string currentName();
    /// Does nothing when it is already.
    void makeDefault();
    void restore();

private:
    std::string serviceContent() const;

    FileURL program_;
    UserDefaults& defaults_;
};

/// The same for any thread: each call works on the defaults in `defaultsFile` for itself.
class DesktopFolderHandler : public FolderHandler {
public:
    DesktopFolderHandler(FileURL program, FileURL defaultsFile)
        : program_(std::move(program)), defaultsFile_(std::move(defaultsFile)) {}

    State state() const override;
    void makeDefault() const override;
    void restore() const override;

private:
    FileURL program_;
    FileURL defaultsFile_;
};

} // namespace morv
