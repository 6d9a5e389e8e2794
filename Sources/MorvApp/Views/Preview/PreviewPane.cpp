#include "MorvApp/Views/Preview/PreviewPane.h"

#include "MorvApp/Views/Preview/ArchiveListView.h"
#include "MorvApp/Views/Preview/PreviewBar.h"
#include "MorvApp/Views/Preview/PreviewCanvas.h"
#include "MorvApp/Views/Preview/PreviewStateView.h"
#include "MorvApp/Views/Preview/TextPreviewView.h"
#include "MorvApp/Views/Sheets/FolderGlance.h"
#include "MorvApp/Views/Theme/FolderArt.h"
#include "MorvApp/Views/Theme/MediaImage.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvCore/Foundation/Errors.h"

#include <QKeyEvent>
#include <QLabel>
#include <QScrollArea>
#include <QScrollBar>
#include <QStackedWidget>
#include <QTreeView>
#include <QVBoxLayout>
#include <algorithm>
#include <cerrno>
#include <cmath>

namespace morv {

namespace {

/// A preview that is ready within this time never says that it is being made.
constexpr int patience = 250;
/// While somebody zooms or resizes, sharper pictures wait for the end of it.
constexpr int sharpenDelay = 120;
constexpr int typePicture = 128;
constexpr int signPicture = 64;
constexpr int smallestSide = 64; ///< asked for while nothing has been laid out
constexpr double zoomStep = 1.25;

bool isGone(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const PosixError& error) {
        return error.code() == ENOENT || error.code() == ENOTDIR;
    } catch (...) {
        return false;
    }
}

/// The file is there and could be read, but not made into a picture.
bool isOfContent(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const MediaError&) {
        return true;
    } catch (...) {
        return false;
    }
}

QLabel* addLabel(const char* role, QWidget* owner) {
    auto* label = new QLabel(owner);
    label->setObjectName(QLatin1String(role));
    label->setTextFormat(Qt::PlainText);
    return label;
}

} // namespace

PreviewPane::PreviewPane(AppModel& app, Detail detail, QWidget* parent)
    : QWidget(parent), app_(app), detail_(detail), stack_(new QStackedWidget(this)),
      canvas_(new PreviewCanvas(isViewer() ? PreviewCanvas::Hands::zoom : PreviewCanvas::Hands::off, stack_)),
      text_(new TextPreviewView(
          isViewer() ? TextPreviewView::LineNumbers::show : TextPreviewView::LineNumbers::hide, stack_)),
      archive_(new ArchiveListView(stack_)), state_(new PreviewStateView(stack_)),
      waiting_(addLabel("secondary", stack_)), tasks_(app.services().pools) {
    setObjectName(QStringLiteral("previewPane"));
    waiting_->setText(QStringLiteral("Loading…"));
    waiting_->setAlignment(Qt::AlignCenter);
    for (auto* page :
         {static_cast<QWidget*>(canvas_), static_cast<QWidget*>(text_), static_cast<QWidget*>(archive_),
          static_cast<QWidget*>(state_), static_cast<QWidget*>(waiting_)})
        stack_->addWidget(page);
    // What they would do with these keys is less than what the preview does.
    text_->installEventFilter(this);
    archive_->list().installEventFilter(this);
    if (isViewer())
        buildViewer();
    else
        buildColumn();
    patience_.setSingleShot(true);
    sharpen_.setSingleShot(true);
    connect(&patience_, &QTimer::timeout, this, [this] { showContent(waiting_); });
    connect(&sharpen_, &QTimer::timeout, this, &PreviewPane::askForMore);
    connect(canvas_, &PreviewCanvas::scaleChanged, this, [this] {
        updateScale();
        if (askedSide_ > 0)
            sharpen_.start(sharpenDelay);
    });
    connect(&Theme::shared(), &Theme::changed, this, [this] {
        icons_.clear();
        if (entry_ && content() == state_)
            begin();
    });
    clear();
}

PreviewPane::~PreviewPane() = default;

void PreviewPane::buildViewer() {
    setFocusPolicy(Qt::StrongFocus);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    const auto addLine = [&] {
        auto* line = new QFrame(this);
        line->setObjectName(QStringLiteral("separator"));
        line->setFixedHeight(1);
        column->addWidget(line);
    };
    bar_ = new PreviewBar(this);
    column->addWidget(bar_);
    addLine();
    auto* glancePage = new QWidget(stack_);
    auto* margins = new QVBoxLayout(glancePage);
    margins->setContentsMargins(Space::large, Space::large, Space::large, Space::medium);
    glance_ = new FolderGlance(app_, glancePage);
    margins->addWidget(glance_);
    stack_->addWidget(glancePage);
    stack_->setObjectName(QStringLiteral("previewStage"));
    column->addWidget(stack_, 1);
    caption_ = addLabel("previewCaption", this);
    caption_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    caption_->setAlignment(Qt::AlignCenter);
    column->addWidget(caption_);
    connect(bar_, &PreviewBar::pageWanted, this, &PreviewPane::turnPage);
    connect(bar_, &PreviewBar::zoomed, canvas_, &PreviewCanvas::zoomBy);
    connect(bar_, &PreviewBar::fitWanted, canvas_, &PreviewCanvas::zoomToFit);
    connect(bar_, &PreviewBar::naturalWanted, canvas_, &PreviewCanvas::zoomToNatural);
    connect(bar_, &PreviewBar::openWanted, this, &PreviewPane::open);
}

void PreviewPane::buildColumn() {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(Space::large, Space::large, Space::large, Space::large);
    column->setSpacing(Space::small);
    stack_->setMinimumHeight(typePicture + Space::large);
    column->addWidget(stack_, 3);
    archive_->layout()->setContentsMargins(0, 0, 0, 0);
    name_ = addLabel("heading", this);
    name_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    column->addWidget(name_);
    factsView_ = new PreviewFacts(this);
    auto* room = new QScrollArea(this);
    room->setFrameShape(QFrame::NoFrame);
    room->setWidgetResizable(true);
    room->setWidget(factsView_);
    // What stands behind the column shows.
    room->viewport()->setAutoFillBackground(false);
    factsView_->setAutoFillBackground(false);
    room->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    column->addWidget(room, 2);
}

QWidget* PreviewPane::content() const {
    auto* page = stack_->currentWidget();
    return glance_ && page == glance_->parentWidget() ? glance_ : page;
}

void PreviewPane::show(const FileEntry& entry) {
    if (entry_ == entry && !isGone_)
        return;
    entry_ = entry;
    begin();
}

void PreviewPane::clear() {
    reading_.cancel();
    wish_.reset();
    patience_.stop();
    sharpen_.stop();
    entry_.reset();
    facts_.clear();
    detailText_.clear();
    pages_ = askedSide_ = 0;
    showTitle();
    state_->setState({{},
                      isViewer() ? QStringLiteral("Nothing selected") : QString(),
                      isViewer() ? QStringLiteral("Select an item to look at it here.") : QString(),
                      {}});
    showContent(state_);
}

void PreviewPane::begin() {
    isGone_ = false;
    reading_.cancel();
    wish_.reset();
    sharpen_.stop();
    page_ = pages_ = askedSide_ = 0;
    facts_ = factsOf(*entry_);
    listingFacts_ = facts_.size();
    dimensionsText_.clear();
    detailText_ = shownKind(*entry_);
    if (!entry_->isNavigable())
        detailText_ += QStringLiteral(" · ") + ours(entry_->formattedSize());
    showTitle();
    original_.reset();
    patience_.start(patience);
    if (entry_->isSymbolicLink && entry_->availability == FileAvailability::local)
        followLink();
    else
        showSubject();
}

void PreviewPane::followLink() {
    reading_ = tasks_.run(
        TaskLane::reading,
        [url = entry_->url()](const std::stop_token& stop) { return previewOriginal(url, stop); },
        [this](FileEntry original) {
            detailText_ += QStringLiteral(" · ") + shownPath(original.url());
            facts_.emplace_back(QStringLiteral("Original"), shownPath(original.url()));
            listingFacts_ = facts_.size();
            original_ = std::move(original);
            showTitle();
            showSubject();
        },
        [this](const std::exception_ptr& failure) { showFailure(failure); });
}

void PreviewPane::showSubject() {
    switch (previewSubject(subject(), app_.services().mediaDecoder.get())) {
    case PreviewSubject::unreadable:
        return showPlain(QStringLiteral("This item cannot be read."));
    case PreviewSubject::cloud:
        return showPlain(
            QStringLiteral("This file is in the cloud and not on this computer. Opening it downloads it."));
    case PreviewSubject::downloading:
        return showPlain(QStringLiteral("This file is still being downloaded."));
    case PreviewSubject::folder:
        return glanceAtFolder();
    case PreviewSubject::media:
        return decode(fittingSide());
    case PreviewSubject::archive:
        return readArchive();
    case PreviewSubject::text:
        return readText();
    case PreviewSubject::plain:
        return showPlain();
    }
}

void PreviewPane::showTitle() {
    const auto name = entry_ ? shown(entry_->name) : QString();
    setAccessibleName(entry_ ? QStringLiteral("Preview of ") + name : QStringLiteral("Preview"));
    if (bar_) {
        bar_->setTitle(name, detailText_);
        bar_->setOpenable(entry_.has_value());
    }
    if (name_) {
        name_->setToolTip(name);
        factsView_->setFacts(facts_);
    }
    elide();
}

void PreviewPane::elide() {
    const int room = width() - 2 * Space::large;
    if (name_)
        name_->setText(name_->fontMetrics().elidedText(name_->toolTip(), Qt::ElideMiddle, room));
    if (caption_)
        caption_->setText(caption_->fontMetrics().elidedText(captionText_, Qt::ElideRight, room));
}

void PreviewPane::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    elide();
}

void PreviewPane::showContent(QWidget* content) {
    patience_.stop();
    stack_->setCurrentWidget(glance_ && content == glance_ ? glance_->parentWidget() : content);
    if (content != canvas_)
        canvas_->clear();
    if (glance_ && content != glance_)
        glance_->clear();
    if (caption_) {
        QStringList parts;
        for (auto i = listingFacts_; i < facts_.size(); ++i)
            if (facts_[i].second != dimensionsText_) // the bar has them
                parts << facts_[i].first + QStringLiteral(" ") + facts_[i].second;
        captionText_ = parts.join(QStringLiteral("  ·  "));
        caption_->setVisible(content == canvas_ && !captionText_.isEmpty());
        caption_->setToolTip(captionText_);
        elide();
    }
    updateScale();
}

QPixmap PreviewPane::picture(int size) {
    if (subject().isNavigable() && !subject().isSymbolicLink)
        return FolderArt::render(app_.services().appearances.appearance(subject().url()),
                                 Theme::shared().appearance(), size, devicePixelRatioF());
    return icons_.file(subject(), size, devicePixelRatioF());
}

void PreviewPane::showPlain(const QString& sentence) {
    state_->setState({picture(typePicture), isViewer() ? shown(entry_->name) : QString(), sentence,
                      isViewer() ? facts_ : std::vector<ShownFact>()});
    showContent(state_);
}

void PreviewPane::showFailure(const std::exception_ptr& failure) {
    if (isGone(failure))
        return showGone();
    if (isOfContent(failure))
        return showPlain(shown(sentence(failure)));
    showSign(QStringLiteral("“%1” cannot be shown").arg(shown(entry_->name)), shown(sentence(failure)));
}

void PreviewPane::showGone() {
    if (!entry_ || isGone_)
        return;
    reading_.cancel();
    wish_.reset();
    isGone_ = true;
    showSign(QStringLiteral("“%1” is no longer there").arg(shown(entry_->name)),
             QStringLiteral("It has been moved, renamed or removed."));
}

void PreviewPane::showSign(const QString& title, const QString& text) {
    const auto sign = icons_.named(QStringLiteral("dialog-warning"), signPicture, devicePixelRatioF());
    state_->setState({sign, title, text, {}});
    showContent(state_);
}

void PreviewPane::readText() {
    reading_ = tasks_.run(
        TaskLane::reading,
        [url = subject().url()](const std::stop_token& stop) { return readPreviewText(url, stop); },
        [this](const PreviewText& preview) {
            if (!preview.encoding)
                return showPlain();
            if (preview.text.isEmpty())
                return showPlain(QStringLiteral("This file is empty."));
            detailText_ += QStringLiteral(" · ") + QLatin1String(preview.encoding);
            if (!preview.isWhole)
                detailText_ += QStringLiteral(" · The first megabyte is shown");
            showTitle();
            text_->setPreview(preview);
            showContent(text_);
            highlight(preview.text);
        },
        [this](const std::exception_ptr& failure) { showFailure(failure); });
}

void PreviewPane::highlight(const QString& text) {
    if (!app_.services().textHighlighter)
        return;
    reading_ = tasks_.run(
        TaskLane::reading,
        [highlighter = app_.services().textHighlighter, name = subject().name,
         text](const std::stop_token& stop) { return previewHighlights(*highlighter, name, text, stop); },
        [this](std::vector<TextHighlight> highlights) { text_->setHighlights(std::move(highlights)); },
        [](const std::exception_ptr&) {
            // A text without colours is a preview, too.
        });
}

void PreviewPane::readArchive() {
    reading_ = tasks_.run(
        TaskLane::reading,
        [url = subject().url()](const std::stop_token& stop) { return readPreviewArchive(url, stop); },
        [this](const PreviewArchive& archive) {
            archive_->setArchive(archive);
            showContent(archive_);
        },
        [this](const std::exception_ptr& failure) { showFailure(failure); });
}

void PreviewPane::glanceAtFolder() {
    if (isViewer()) {
        glance_->setFolder(subject());
        return showContent(glance_);
    }
    showPlain();
    wish_ = app_.services().insights.request(subject(), [this](const FolderInsight& insight) {
        facts_.emplace_back(QStringLiteral("Contents"), shown(insight.error.value_or(insight.countLabel())));
        if (!insight.error)
            facts_.emplace_back(QStringLiteral("Scanned size"), ours(insight.sizeLabel()));
        showTitle();
    });
}

/// The longest side of the place: of the stage, as the canvas itself has none before it is first on it.
int PreviewPane::fittingSide() const {
    const int side = std::max({stack_->width(), stack_->height(), smallestSide});
    return static_cast<int>(std::ceil(side * devicePixelRatioF()));
}

void PreviewPane::decode(int wanted) {
    const int side = std::min(wanted, MediaRequest::largestSide);
    reading_.cancel();
    askedSide_ = side;
    reading_ = tasks_.run(
        TaskLane::reading,
        [decoder = app_.services().mediaDecoder,
         request = MediaRequest{subject().url(), side, page_}](const std::stop_token& stop) {
            if (stop.stop_requested())
                throw CancellationError();
            return decoder->decode(request, stop);
        },
        [this](DecodedMedia media) { showMedia(std::move(media)); },
        [this](const std::exception_ptr& failure) {
            // A picture that could not be made sharper stays as it is.
            if (pages_ == 0 || page_ != shownPage_)
                showFailure(failure);
        });
}

void PreviewPane::showMedia(DecodedMedia media) {
    const QSize natural(media.naturalWidth, media.naturalHeight);
    const auto image = imageOf(media.picture);
    const bool isRefined = pages_ != 0;
    shownPage_ = page_;
    pages_ = std::max(media.pageCount, 1);
    if (!isRefined) {
        if (media.pageCount == 0 && !natural.isEmpty()) {
            dimensionsText_ = QStringLiteral("%1 × %2").arg(natural.width()).arg(natural.height());
            detailText_ += QStringLiteral(" · ") + dimensionsText_;
        }
        addFacts(facts_, media.facts);
        showTitle();
    }
    if (image.isNull()) {
        askedSide_ = 0;
        return showPlain();
    }
    if (isRefined)
        canvas_->refine(image, natural);
    else
        canvas_->begin(image, natural,
                       media.pageCount > 0                 ? PreviewCanvas::Content::page
                       : subject().kind == FileKind::video ? PreviewCanvas::Content::poster
                                                           : PreviewCanvas::Content::picture);
    showContent(canvas_);
}

void PreviewPane::askForMore() {
    if (askedSide_ == 0 || pages_ == 0 || content() != canvas_)
        return;
    // A little less than sharp is not worth decoding the file again.
    constexpr double worthwhile = 1.15;
    const int wanted = std::min(canvas_->wantedSide(), MediaRequest::largestSide);
    if (wanted > askedSide_ * worthwhile)
        decode(wanted);
}

void PreviewPane::updateScale() {
    if (!bar_)
        return;
    const bool hasPicture = content() == canvas_ && !canvas_->isEmpty();
    bar_->setPages(page_, hasPages() ? pages_ : 0);
    bar_->setScale(hasPicture, canvas_->scale(), canvas_->fits());
}

/// Also while a sentence stands for one of them that cannot be shown: the others may be whole.
bool PreviewPane::hasPages() const {
    return content() == canvas_ || (content() == state_ && pages_ > 1 && !isGone_);
}

void PreviewPane::turnPage(int by) {
    const int page = std::clamp(page_ + by, 0, std::max(0, pages_ - 1));
    if (page == page_ || !hasPages())
        return;
    page_ = page;
    updateScale();
    decode(std::max(canvas_->wantedSide(), smallestSide));
}

void PreviewPane::open() {
    if (!entry_)
        return;
    app_.open(entry_->url());
    Q_EMIT opened();
}

void PreviewPane::scroll(int key) {
    QScrollBar* bar = nullptr;
    if (content() == text_)
        bar = text_->verticalScrollBar();
    else if (content() == archive_)
        bar = archive_->list().verticalScrollBar();
    if (!bar)
        return;
    switch (key) {
    case Qt::Key_PageUp:
        return bar->triggerAction(QAbstractSlider::SliderPageStepSub);
    case Qt::Key_PageDown:
        return bar->triggerAction(QAbstractSlider::SliderPageStepAdd);
    case Qt::Key_Home:
        return bar->triggerAction(QAbstractSlider::SliderToMinimum);
    default:
        return bar->triggerAction(QAbstractSlider::SliderToMaximum);
    }
}

void PreviewPane::keyPressEvent(QKeyEvent* event) {
    if (!isViewer())
        return QWidget::keyPressEvent(event);
    switch (event->key()) {
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
        if (hasPages())
            return turnPage(event->key() == Qt::Key_PageUp ? -1 : 1);
        return scroll(event->key());
    case Qt::Key_Home:
    case Qt::Key_End:
        if (hasPages())
            return turnPage(event->key() == Qt::Key_Home ? -pages_ : pages_);
        return scroll(event->key());
    case Qt::Key_Plus:
    case Qt::Key_Equal:
        return canvas_->zoomBy(zoomStep);
    case Qt::Key_Minus:
        return canvas_->zoomBy(1 / zoomStep);
    case Qt::Key_0:
        return canvas_->zoomToFit();
    case Qt::Key_1:
        return canvas_->zoomToNatural();
    default:
        return QWidget::keyPressEvent(event);
    }
}

bool PreviewPane::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress)
        return QWidget::eventFilter(watched, event);
    const auto* key = static_cast<QKeyEvent*>(event);
    if (key->matches(QKeySequence::Copy))
        return false;
    // On to this widget, and from here to the window.
    event->ignore();
    return true;
}

} // namespace morv
