// One entry to be looked at: a picture, a page, a text, what a folder or an archive holds, or its type and
// what is known of it. Nothing is read on the main thread.
//
// Invariants  I1  what is on the screen belongs to entry(), or, for at most 250 ms, to the one before it; an
//                 answer that comes after another entry was asked for is dropped
//             I2  what is held in the cloud, unreadable or incomplete is never opened
//             I3  a picture is asked for at the size at which it is seen, and again when that grows; the one
//                 that is there stays until the other has come
// Threading   confined to the main thread
#pragma once

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Model/MediaDecoder.h"
#include "MorvApp/Model/PreviewReading.h"
#include "MorvApp/Views/Preview/PreviewFacts.h"
#include "MorvApp/Views/Theme/IconCache.h"

#include <QTimer>
#include <QWidget>

class QLabel;
class QStackedWidget;

namespace morv {

class ArchiveListView;
class FolderGlance;
class PreviewBar;
class PreviewCanvas;
class PreviewFacts;
class PreviewStateView;
class TextPreviewView;

class PreviewPane : public QWidget {
    Q_OBJECT

public:
    /// viewer: all there is to see, with buttons and keys. column: a picture above the facts, for a column
    /// beside files; it takes no keys.
    enum class Detail : std::uint8_t { viewer, column };

    PreviewPane(AppModel& app, Detail detail, QWidget* parent = nullptr);
    ~PreviewPane() override;

    using QWidget::show;
    /// The same entry again changes nothing, unless it has been modified since.
    void show(const FileEntry& entry);
    /// Nothing is shown; a sentence says so in the viewer.
    void clear();
    /// The entry is no longer where it was: a sentence takes its place.
    void showGone();
    const std::optional<FileEntry>& entry() const { return entry_; }

    /// A plain folder in the active pane, anything else with its default application.
    void open();
    void turnPage(int by);

    PreviewCanvas& canvas() { return *canvas_; }
    TextPreviewView& text() { return *text_; }
    ArchiveListView& archive() { return *archive_; }
    PreviewStateView& state() { return *state_; }
    /// Which of them is on the screen.
    QWidget* content() const;

Q_SIGNALS:
    /// open() was asked for.
    void opened();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool isViewer() const { return detail_ == Detail::viewer; }
    void buildViewer();
    void buildColumn();
    void begin();
    void followLink();
    void showSubject();
    /// What is looked at: the entry, or what it leads to.
    const FileEntry& subject() const { return original_ ? *original_ : *entry_; }
    void showTitle();
    void elide();
    void showContent(QWidget* content);
    void showPlain(const QString& sentence = {});
    void showSign(const QString& title, const QString& text);
    void showFailure(const std::exception_ptr& failure);
    QPixmap picture(int size);
    void readText();
    void highlight(const QString& text);
    void readArchive();
    void glanceAtFolder();
    int fittingSide() const;
    /// Of at most so many pixels on its longest side.
    void decode(int wanted);
    void showMedia(DecodedMedia media);
    void askForMore();
    bool hasPages() const;
    void updateScale();
    void scroll(int key);

    AppModel& app_;
    const Detail detail_;
    PreviewBar* bar_ = nullptr; ///< of the viewer
    QStackedWidget* stack_;
    PreviewCanvas* canvas_;
    TextPreviewView* text_;
    ArchiveListView* archive_;
    PreviewStateView* state_;
    QLabel* waiting_;
    FolderGlance* glance_ = nullptr;    ///< of the viewer
    QLabel* name_ = nullptr;            ///< of the column
    PreviewFacts* factsView_ = nullptr; ///< of the column
    QLabel* caption_ = nullptr;         ///< of the viewer: the decoder's facts, in one line
    IconCache icons_;

    std::optional<FileEntry> entry_;
    std::optional<FileEntry> original_; ///< of a link, once it is known
    bool isGone_ = false;
    std::vector<ShownFact> facts_;
    std::size_t listingFacts_ = 0; ///< of facts_, those that the file does not say of itself
    QString detailText_;
    QString dimensionsText_; ///< within detailText_
    QString captionText_;
    int page_ = 0;      ///< wanted
    int shownPage_ = 0; ///< of the picture that is there
    int pages_ = 0;     ///< 0: nothing has been decoded yet
    int askedSide_ = 0; ///< pixels of the picture that is there or under way; 0: no picture yet
    QTimer patience_;
    QTimer sharpen_;
    FolderInsightWish wish_; ///< of the column
    TaskHandle reading_;
    TaskScope tasks_; ///< last: its end drops every continuation before the fields go
};

} // namespace morv
