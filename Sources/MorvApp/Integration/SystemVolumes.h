// The volumes as GIO's monitor tells them (UDisks and GVfs behind it where they run, else the mount table).
//
// Invariants  I1  nothing is asked of a volume itself; what a sync client keeps is looked up on a worker
//             I2  unmounting has no time limit of ours: it lasts as long as unwritten data
// Threading   confined to the main thread, whose event loop has to be GLib's (Qt's own choice on Linux)
#pragma once

#include "MorvApp/Model/TaskScope.h"
#include "MorvApp/Model/VolumeSource.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace morv {

class SystemVolumes : public VolumeSource {
    Q_OBJECT

public:
    /// Has no volumes before begin().
    explicit SystemVolumes(TaskPools& pools, QObject* parent = nullptr);
    ~SystemVolumes() override;

    /// Waits for services of the desktop to start and to answer, which takes some tens of milliseconds: not
    /// before the first window can be seen. Nothing more when it has begun.
    void begin();

    const std::vector<Volume>& mountedVolumes() const override { return mounted_; }
    const std::vector<Volume>& cloudLocations() const override { return cloud_; }
    void refresh() override;
    void eject(const FileURL& url, QObject* context, Ejected done) override;

private:
    class Monitors;
    struct Lists {
        std::vector<Volume> mounted;
        std::vector<Volume> network;
    };

    void changed();

    std::vector<Volume> mounted_;
    std::vector<Volume> cloud_;
    std::unique_ptr<Monitors> monitors_;
    bool refreshing_ = false;
    TaskHandle looking_;
    TaskScope tasks_;
};

} // namespace morv
