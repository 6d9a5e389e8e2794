// How full volumes are: asked on workers, remembered until asked again. Shared by all windows.
//
// Invariants  I1  a volume is asked once at a time: one that never answers costs one thread, however often it
//                 is looked at
//             I2  what was known stays until there is a newer answer
// Threading   confined to the main thread
#pragma once

#include "MorvApp/Model/TaskScope.h"
#include "MorvCore/Foundation/FileURL.h"
#include "MorvCore/Platform/VolumeSpace.h"

#include <QObject>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace morv {

class VolumeSpaces : public QObject {
    Q_OBJECT

public:
    /// Called on a worker; throws when the volume has no answer.
    using Reader = std::function<VolumeSpace(const FileURL&)>;
    enum class State : std::uint8_t {
        asked,
        known,
        silent, ///< asked long ago
        failed
    };
    struct Answer {
        State state = State::asked;
        VolumeSpace space;

        friend bool operator==(const Answer&, const Answer&) = default;
    };

    explicit VolumeSpaces(TaskPools& pools, Reader reader = volumeSpace, QObject* parent = nullptr);

    /// Of the volume that `folder` lies on: what is known now. The first question begins to find it out.
    Answer of(const FileURL& folder);
    /// Asks again about what of() was asked lately, and forgets the rest.
    void refresh();
    /// How long a volume may be silent before that is said: milliseconds.
    void setPatience(int patience) { patience_ = patience; }

    /// "84 GB free of 512 GB"; a volume without size has no words.
    static std::string words(const VolumeSpace& space);

Q_SIGNALS:
    void changed();

private:
    struct Volume {
        Answer answer;
        bool isAsked = false;       ///< a worker is on its way
        bool asksAgain = false;     ///< its answer may be older than what is wanted
        int unwanted = 0;           ///< rounds of refresh() in which nobody asked
        std::uint64_t question = 0; ///< the last one that was put to it
    };

    void ask(const FileURL& folder);
    void losePatience(const FileURL& folder, std::uint64_t question);
    void take(const FileURL& folder, const Answer& answer);

    Reader reader_;
    std::map<FileURL, Volume> volumes_;
    std::size_t unanswered_ = 0;
    std::uint64_t questions_ = 0;
    int patience_;
    TaskScope tasks_;
};

} // namespace morv
