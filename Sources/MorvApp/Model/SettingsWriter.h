// Writes what was set into an INI file, on a thread of its own: putting such a file in its place waits for the
// disk, which may be a server's.
//
// Invariants  I1  at most one writing a second, of everything that was set meanwhile
//             I2  only the keys that were set change: what other programs and windows have written beside them stays
//             I3  the end writes what is left, and waits for that no longer than its patience
// Threading   confined to one thread. A file that cannot be written is as good as none
#pragma once

#include "MorvCore/Foundation/Mutex.h"

#include <QString>
#include <QVariant>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <thread>

namespace morv {

class SettingsWriter {
public:
    using Values = std::map<QString, QVariant>;
    /// Runs on the writer's thread.
    using Write = std::function<void(const Values&)>;
    static constexpr std::chrono::seconds usualPatience{3};

    /// Into the INI file of that path.
    explicit SettingsWriter(const QString& file);
    explicit SettingsWriter(Write write, std::chrono::milliseconds patience = usualPatience);
    ~SettingsWriter();
    SettingsWriter(const SettingsWriter&) = delete;
    SettingsWriter& operator=(const SettingsWriter&) = delete;

    void set(const QString& key, const QVariant& value);
    /// Writes now, and waits for it no longer than the patience. Whether nothing is left to write.
    bool save();

private:
    struct State {
        Mutex mutex;
        std::condition_variable changed;
        Values pending MORV_GUARDED_BY(mutex);
        bool isWriting MORV_GUARDED_BY(mutex) = false;
        bool isHurried MORV_GUARDED_BY(mutex) = false;
        bool isEnding MORV_GUARDED_BY(mutex) = false;
    };
    static void run(State& state, const Write& write);

    const Write write_;
    const std::chrono::milliseconds patience_;
    std::shared_ptr<State> state_; ///< a thread that hangs in the system keeps it
    std::thread thread_;           ///< from the first set()
};

} // namespace morv
