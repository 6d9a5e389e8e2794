// What the inspector tells: of the one selected item, of the folder itself when nothing is selected, or of
// several items together.
//
// Protocol    setActive(true) while an inspector is seen; hidden, nothing is read
// Invariants  I1  information() is always about item(): an answer that comes after the selection has gone on is
//                 dropped
//             I2  a selection that runs through a thousand items is followed a few times a second, and only the
//                 last of them is sure to be read
//             I3  what the selection says by itself (counts, sizes, common tags) costs no disk
// Threading   confined to the main thread; items are read on workers
#pragma once

#include "MorvApp/Model/FolderInsightCache.h"
#include "MorvApp/Model/MediaDecoder.h"
#include "MorvApp/Model/TagChange.h"
#include "MorvApp/Model/TaskScope.h"
#include "MorvCore/Inspection/ItemInformation.h"

#include <QObject>
#include <QTimer>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace morv {

class AppModel;

/// A tag of several items.
struct SharedTag {
    std::string name;
    std::size_t carriers = 0;

    friend bool operator==(const SharedTag&, const SharedTag&) = default;
};

struct SelectionSummary {
    std::size_t count = 0;
    std::size_t folders = 0;
    std::int64_t bytes = 0; ///< of what is no folder
    std::map<FileKind, std::size_t> kinds;
    std::vector<SharedTag> tags; ///< by name

    friend bool operator==(const SelectionSummary&, const SelectionSummary&) = default;
};
SelectionSummary summarise(const std::vector<const FileEntry*>& entries);

class InspectorModel : public QObject {
    Q_OBJECT

public:
    enum class State : std::uint8_t { nothing, reading, ready, failed };
    struct Checksum {
        enum class Phase : std::uint8_t { none, running, done, failed };
        Phase phase = Phase::none;
        std::int64_t read = 0; ///< bytes
        std::string text;      ///< the digits, or the sentence of the failure
    };

    explicit InspectorModel(AppModel& app, QObject* parent = nullptr);
    ~InspectorModel() override;

    void setActive(bool active);
    /// The one item. Absent with several, and where there is nothing to tell of.
    const std::optional<FileURL>& item() const { return item_; }
    State state() const { return state_; }
    /// While the same item is read again, what was read before.
    const std::optional<ItemInformation>& information() const { return information_; }
    /// The sentence of State::failed.
    const std::string& problem() const { return problem_; }
    const std::optional<FolderInsight>& insight() const { return insight_; }
    /// Picture and facts of the item's content, once they are decoded; absent when there are none.
    const std::optional<DecodedMedia>& media() const { return media_; }
    /// Pixels of the longest side of the picture.
    void setPictureSide(int pixels) { pictureSide_ = pixels; }
    /// Of several items; they are selected in the current pane.
    const std::optional<SelectionSummary>& summary() const { return summary_; }
    const Checksum& checksum() const { return checksum_; }

    void computeChecksum();
    void cancelChecksum();
    /// Adds and removes tags of all that is inspected; an operation that can be undone.
    void changeTags(const TagChange& change);

Q_SIGNALS:
    /// Another item, or other items.
    void subjectChanged();
    void informationChanged();
    void insightChanged();
    void mediaChanged();
    void checksumChanged();

private:
    void followSoon();
    void follow();
    void begin(const std::optional<FileURL>& item);
    void read();
    /// Whether what has ended is the last question that was asked.
    bool isAnswer(std::uint64_t question);
    void endReading();
    void cancelReading();
    void receive(ItemInformation information);
    void decode();
    void cancelDecoding();

    AppModel& app_;
    bool isActive_ = false;
    bool isReading_ = false;
    bool readsAgain_ = false;
    int unanswered_ = 0; ///< workers on their way, also about items that are left by now
    std::uint64_t question_ = 0;
    bool isDecoded_ = false; ///< or is being decoded
    QTimer rest_;
    std::optional<FileURL> item_;
    State state_ = State::nothing;
    std::optional<ItemInformation> information_;
    std::string problem_;
    std::optional<FolderInsight> insight_;
    FolderInsightWish wish_;
    std::optional<DecodedMedia> media_;
    int pictureSide_ = 256;
    std::optional<SelectionSummary> summary_;
    Checksum checksum_;
    std::stop_source reading_;
    TaskHandle hashing_;
    TaskHandle decoding_;
    TaskScope tasks_;
};

} // namespace morv
