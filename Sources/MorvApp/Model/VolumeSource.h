// The volumes and cloud locations of this computer, as the desktop knows them. Shared by all windows.
//
// Protocol    the lists are empty until the first listsChanged(), and are replaced together, each time
//             followed by listsChanged()
// Invariants  I1  asking touches no device: no list, name or mark is looked up on the volume itself
// Threading   confined to the main thread
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <QObject>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace morv {

struct Volume {
    FileURL url;
    std::string name; ///< as the desktop calls it
    bool isInternal = false;
    bool canEject = false; ///< eject() has something to try

    friend bool operator==(const Volume&, const Volume&) = default;
};

class VolumeSource : public QObject {
    Q_OBJECT

public:
    /// Absent when it went well; else the system's sentence.
    using Ejected = std::function<void(const std::optional<std::string>&)>;

    using QObject::QObject;

    /// In the system's order; the volume of the system itself is the first.
    virtual const std::vector<Volume>& mountedVolumes() const = 0;
    /// Folders that a sync client keeps, by name, then network locations.
    virtual const std::vector<Volume>& cloudLocations() const = 0;
    /// Reads the lists again and returns at once.
    virtual void refresh() = 0;
    /// Unmounts what is mounted at `url` and ejects its device where that can be ejected. It may take as long
    /// as unwritten data takes; `done` runs on the main thread, and not at all once `context` has gone.
    virtual void eject(const FileURL& url, QObject* context, Ejected done) = 0;

Q_SIGNALS:
    /// Something was mounted, unmounted or renamed; the lists follow.
    void volumesChanged();
    void listsChanged();
};

} // namespace morv
