#include "MorvApp/Model/InspectorModel.h"

#include "MorvApp/Model/AppModel.h"

#include <utility>

namespace morv {

namespace {

using namespace std::chrono_literals;
constexpr auto atRest = 80ms;
/// Of the threads that read folders most are left to folders, whatever is selected on a volume that is silent.
constexpr int mostUnanswered = 3;

} // namespace

SelectionSummary summarise(const std::vector<const FileEntry*>& entries) {
    SelectionSummary summary;
    std::map<std::string, std::size_t> carriers;
    for (const auto* entry : entries) {
        ++summary.count;
        ++summary.kinds[entry->kind];
        if (entry->isNavigable())
            ++summary.folders;
        else
            summary.bytes += entry->size;
        for (const auto& tag : entry->tags())
            ++carriers[tag];
    }
    for (auto& [name, count] : carriers)
        summary.tags.push_back({name, count});
    return summary;
}

InspectorModel::InspectorModel(AppModel& app, QObject* parent)
    : QObject(parent), app_(app), tasks_(app.services().pools) {
    rest_.setSingleShot(true);
    rest_.setInterval(atRest);
    connect(&rest_, &QTimer::timeout, this, &InspectorModel::follow);
    connect(&app_, &AppModel::activePaneChanged, this, &InspectorModel::followSoon);
    connect(&app_, &AppModel::activePaneUpdated, this, &InspectorModel::followSoon);
    connect(&app_, &AppModel::selectedWorkspaceChanged, this, &InspectorModel::followSoon);
}

InspectorModel::~InspectorModel() {
    reading_.request_stop();
}

void InspectorModel::setActive(bool active) {
    if (active == isActive_)
        return;
    isActive_ = active;
    if (isActive_)
        return follow();
    rest_.stop();
    cancelReading();
    cancelDecoding();
    cancelChecksum();
    wish_.reset();
}

void InspectorModel::followSoon() {
    // Not put off again and again: a folder that is still being read speaks up all the time.
    if (isActive_ && !rest_.isActive())
        rest_.start();
}

void InspectorModel::follow() {
    const auto& pane = app_.currentPane();
    std::optional<FileURL> item;
    const auto before = std::exchange(summary_, std::nullopt);
    // What is selected behind a workspace cannot be seen.
    if (!app_.selectedWorkspaceID()) {
        const auto selected = pane.selectedEntries();
        if (selected.size() > 1)
            summary_ = summarise(selected);
        else
            item = selected.empty() ? pane.location() : selected.front()->url();
    }
    if (item != item_ || summary_ != before)
        begin(item);
    if (item_)
        read();
}

void InspectorModel::begin(const std::optional<FileURL>& item) {
    cancelReading();
    cancelChecksum();
    checksum_ = {};
    wish_.reset();
    insight_.reset();
    cancelDecoding();
    media_.reset();
    information_.reset();
    item_ = item;
    state_ = item ? State::reading : State::nothing;
    Q_EMIT subjectChanged();
}

void InspectorModel::read() {
    // One question at a time about an item, and few about those before it.
    readsAgain_ = isReading_ || unanswered_ == mostUnanswered;
    if (readsAgain_)
        return;
    isReading_ = true;
    ++unanswered_;
    reading_ = std::stop_source();
    const auto question = ++question_;
    // Not stopped by its handle: that it has ended is to be told, too.
    tasks_.run(
        TaskLane::reading,
        [url = *item_, stop = reading_.get_token()](const std::stop_token&) {
            return readItemInformation(url, stop);
        },
        [this, question](ItemInformation information) {
            if (!isAnswer(question))
                return;
            receive(std::move(information));
            endReading();
        },
        [this, question](const std::exception_ptr& failure) {
            if (!isAnswer(question))
                return;
            state_ = State::failed;
            information_.reset();
            problem_ = sentence(failure);
            Q_EMIT informationChanged();
            endReading();
        });
}

bool InspectorModel::isAnswer(std::uint64_t question) {
    --unanswered_;
    if (question == question_)
        return true;
    if (readsAgain_ && !isReading_)
        read();
    return false;
}

void InspectorModel::endReading() {
    isReading_ = false;
    if (readsAgain_)
        read();
}

void InspectorModel::cancelReading() {
    reading_.request_stop();
    ++question_;
    isReading_ = false;
    readsAgain_ = false;
}

void InspectorModel::receive(ItemInformation information) {
    state_ = State::ready;
    const bool isSame = information_ && information.entry.modifiedAt == information_->entry.modifiedAt &&
                        information.entry.size == information_->entry.size;
    if (!isSame && checksum_.phase == Checksum::Phase::done) {
        checksum_ = {};
        Q_EMIT checksumChanged();
    }
    information_ = std::move(information);
    Q_EMIT informationChanged();
    wish_ = app_.services().insights.request(information_->entry, [this](const FolderInsight& insight) {
        insight_ = insight;
        Q_EMIT insightChanged();
    });
    if (!isSame || !isDecoded_)
        decode();
}

void InspectorModel::cancelDecoding() {
    decoding_.cancel();
    isDecoded_ = false;
}

void InspectorModel::decode() {
    decoding_.cancel();
    isDecoded_ = true;
    const auto& decoder = app_.services().mediaDecoder;
    if (!decoder || !information_->isRegular || !decoder->understands(*item_) ||
        information_->entry.availability != FileAvailability::local)
        return;
    decoding_ = tasks_.run(
        TaskLane::reading,
        [decoder, request = MediaRequest{*item_, pictureSide_, 0}](const std::stop_token& stop) {
            return decoder->decode(request, stop);
        },
        [this](DecodedMedia media) {
            media_ = std::move(media);
            Q_EMIT mediaChanged();
        },
        // What cannot be decoded keeps the icon of its type.
        [this](const std::exception_ptr&) {
            media_.reset();
            Q_EMIT mediaChanged();
        });
}

void InspectorModel::computeChecksum() {
    if (!information_ || !information_->isRegular || checksum_.phase == Checksum::Phase::running)
        return;
    checksum_ = {Checksum::Phase::running, 0, {}};
    Q_EMIT checksumChanged();
    auto text = std::make_shared<std::string>();
    hashing_ = tasks_.stream<std::int64_t>(
        TaskLane::reading,
        [url = *item_, text](const std::stop_token& stop, const auto& emit) {
            *text = contentChecksum(
                url, [&emit](std::int64_t read) { emit(read); }, stop);
        },
        [this](std::int64_t read) {
            checksum_.read = read;
            Q_EMIT checksumChanged();
        },
        [this, text] {
            checksum_ = {Checksum::Phase::done, checksum_.read, *text};
            Q_EMIT checksumChanged();
        },
        [this](const std::exception_ptr& failure) {
            checksum_ = {Checksum::Phase::failed, 0, sentence(failure)};
            Q_EMIT checksumChanged();
        });
}

void InspectorModel::cancelChecksum() {
    hashing_.cancel();
    if (checksum_.phase != Checksum::Phase::running)
        return;
    checksum_ = {};
    Q_EMIT checksumChanged();
}

void InspectorModel::changeTags(const TagChange& change) {
    if (item_)
        app_.changeTags({*item_}, change);
    else if (summary_)
        app_.changeTags(app_.currentPane().selectedURLs(), change);
}

} // namespace morv
