#include "MorvApp/Views/Inspector/InspectorPanel.h"

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Inspector/InspectorFacts.h"
#include "MorvApp/Views/Tags/TagEditor.h"
#include "MorvApp/Views/Theme/MediaImage.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvCore/Foundation/ByteCount.h"

#include <QApplication>
#include <QClipboard>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QScrollArea>
#include <QToolButton>
#include <QVBoxLayout>
#include <initializer_list>
#include <string_view>

namespace morv {

namespace {

using namespace std::chrono_literals;
/// What was told before stays for so long: nothing blinks while a local disk answers.
constexpr auto patience = 250ms;
constexpr int pictureSide = 96;
constexpr int pictureWidth = 188;
constexpr double frameRadius = 4;

QLabel* heading(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setObjectName(QStringLiteral("heading"));
    return label;
}

/// As large as it may be, in a frame with a hairline.
QPixmap framed(const MediaPicture& picture, const QSize& room, qreal density) {
    const auto image = imageOf(picture);
    auto size = QSizeF(picture.width, picture.height).scaled(QSizeF(room), Qt::KeepAspectRatio);
    if (size.width() * density > picture.width)
        size = QSizeF(picture.width, picture.height) / density;
    QPixmap pixmap((size * density).toSize().expandedTo({1, 1}));
    pixmap.setDevicePixelRatio(density);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    const QRectF whole({}, size);
    QPainterPath frame;
    frame.addRoundedRect(whole.adjusted(0.5, 0.5, -0.5, -0.5), frameRadius, frameRadius);
    painter.setClipPath(frame);
    painter.drawImage(whole, image);
    painter.setClipping(false);
    painter.setPen(QPen(Theme::shared().colours().separator, 1));
    painter.drawPath(frame);
    return pixmap;
}

QVBoxLayout* columnIn(QWidget* widget) {
    auto* column = new QVBoxLayout(widget);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(Space::small);
    return column;
}

} // namespace

InspectorPanel::InspectorPanel(AppModel& app, QWidget* parent)
    : QFrame(parent), app_(app), model_(app, this) {
    setObjectName(QStringLiteral("inspector"));
    setAccessibleName(QStringLiteral("Inspector"));
    auto* whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->setSpacing(0);
    whole->addWidget(buildBar());
    scroll_ = new QScrollArea(this);
    scroll_->setObjectName(QStringLiteral("inspectorScroll"));
    scroll_->setWidgetResizable(true);
    scroll_->setFrameShape(QFrame::NoFrame);
    scroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll_->setFocusPolicy(Qt::StrongFocus);
    setFocusProxy(scroll_);
    content_ = new QWidget(scroll_);
    content_->setObjectName(QStringLiteral("inspectorContent"));
    column_ = new QVBoxLayout(content_);
    column_->setContentsMargins(Space::large, Space::small, Space::large, Space::large);
    column_->setSpacing(Space::large);
    buildHead();
    buildTags();
    general_ = addSection(QStringLiteral("General"));
    media_ = addSection(QStringLiteral("Content"));
    permissions_ = addSection(QStringLiteral("Permissions"));
    more_ = addSection(QStringLiteral("More"));
    buildChecksum();
    column_->addStretch(1);
    scroll_->setWidget(content_);
    whole->addWidget(scroll_, 1);

    connect(&model_, &InspectorModel::subjectChanged, this, &InspectorPanel::followSubject);
    connect(&model_, &InspectorModel::informationChanged, this, &InspectorPanel::updateInformation);
    connect(&model_, &InspectorModel::insightChanged, this, &InspectorPanel::updateInsight);
    connect(&model_, &InspectorModel::mediaChanged, this, &InspectorPanel::updateMedia);
    connect(&model_, &InspectorModel::checksumChanged, this, &InspectorPanel::updateChecksum);
    connect(&Theme::shared(), &Theme::changed, this, [this] {
        icons_.clear();
        folders_.clear();
        updatePicture();
    });
    connect(&app_.services().appearances, &FolderAppearanceStore::revisionChanged, this,
            &InspectorPanel::updatePicture);
    patience_.setSingleShot(true);
    patience_.setInterval(patience);
    connect(&patience_, &QTimer::timeout, this, &InspectorPanel::showSubject);
    showSubject();
}

QWidget* InspectorPanel::buildBar() {
    auto* bar = new QWidget(this);
    auto* row = new QHBoxLayout(bar);
    row->setContentsMargins(Space::large, Space::small, Space::small, 0);
    row->addWidget(heading(QStringLiteral("Info"), bar), 1);
    auto* close = new QToolButton(bar);
    close->setObjectName(QStringLiteral("inspectorClose"));
    close->setText(QStringLiteral("✕"));
    close->setToolTip(QStringLiteral("Hide the inspector"));
    close->setAccessibleName(QStringLiteral("Hide the inspector"));
    close->setFocusPolicy(Qt::TabFocus);
    connect(close, &QToolButton::clicked, this, &InspectorPanel::closed);
    row->addWidget(close);
    return bar;
}

void InspectorPanel::buildHead() {
    auto* head = new QWidget(content_);
    auto* column = columnIn(head);
    column->setSpacing(Space::tiny);
    picture_ = new QLabel(head);
    picture_->setObjectName(QStringLiteral("inspectorPicture"));
    picture_->setAlignment(Qt::AlignCenter);
    picture_->setFixedHeight(pictureSide + Space::small);
    column->addWidget(picture_);
    name_ = new ValueText(head, 3);
    name_->setObjectName(QStringLiteral("inspectorName"));
    name_->setAlignment(Qt::AlignHCenter);
    auto font = name_->font();
    font.setWeight(QFont::DemiBold);
    name_->setFont(font);
    column->addWidget(name_);
    kind_ = new ValueText(head, 2);
    kind_->setObjectName(QStringLiteral("inspectorKind"));
    kind_->setAlignment(Qt::AlignHCenter);
    column->addWidget(kind_);
    note_ = new ValueText(head, 4);
    note_->setObjectName(QStringLiteral("inspectorNote"));
    note_->setAlignment(Qt::AlignHCenter);
    column->addWidget(note_);
    column_->addWidget(head);
}

void InspectorPanel::buildTags() {
    tagSection_ = new QWidget(content_);
    auto* column = columnIn(tagSection_);
    column->addWidget(heading(QStringLiteral("Tags"), tagSection_));
    tags_ = new TagEditor(tagSection_);
    tags_->setSource([this] { return knownTags(app_); });
    column->addWidget(tags_);
    tagNote_ = new ValueText(tagSection_);
    column->addWidget(tagNote_);
    connect(tags_, &TagEditor::added, this, [this](const std::string& tag) { changeTags({.add = {tag}}); });
    connect(tags_, &TagEditor::removed, this,
            [this](const std::string& tag) { changeTags({.remove = {tag}}); });
    column_->addWidget(tagSection_);
}

InspectorPanel::Section InspectorPanel::addSection(const QString& title) {
    auto* section = new QWidget(content_);
    auto* column = columnIn(section);
    column->addWidget(heading(title, section));
    auto* facts = new FactList(section);
    column->addWidget(facts);
    column_->addWidget(section);
    return {section, facts};
}

void InspectorPanel::setFacts(const Section& section, const std::vector<Fact>& facts) {
    section.facts->setFacts(facts);
    section.whole->setVisible(!facts.empty());
}

void InspectorPanel::buildChecksum() {
    checksumSection_ = new QWidget(content_);
    auto* column = columnIn(checksumSection_);
    column->addWidget(heading(QStringLiteral("Checksum"), checksumSection_));
    checksumText_ = new ValueText(checksumSection_, 4);
    checksumText_->setObjectName(QStringLiteral("checksum"));
    column->addWidget(checksumText_);
    auto* row = new QHBoxLayout;
    checksumButton_ = new QPushButton(checksumSection_);
    checksumButton_->setObjectName(QStringLiteral("checksumButton"));
    row->addWidget(checksumButton_);
    checksumCopy_ = new QToolButton(checksumSection_);
    checksumCopy_->setText(QStringLiteral("Copy"));
    checksumCopy_->setAccessibleName(QStringLiteral("Copy the checksum"));
    checksumCopy_->setFocusPolicy(Qt::TabFocus);
    row->addWidget(checksumCopy_);
    row->addStretch(1);
    column->addLayout(row);
    connect(checksumButton_, &QPushButton::clicked, this, [this] {
        if (!isShown())
            return;
        if (model_.checksum().phase == InspectorModel::Checksum::Phase::running)
            model_.cancelChecksum();
        else
            model_.computeChecksum();
    });
    connect(checksumCopy_, &QToolButton::clicked, this,
            [this] { QApplication::clipboard()->setText(checksumText_->text()); });
    column_->addWidget(checksumSection_);
}

bool InspectorPanel::hasKeyboard() const {
    return isAncestorOf(QApplication::focusWidget());
}

void InspectorPanel::showEvent(QShowEvent* event) {
    QFrame::showEvent(event);
    model_.setPictureSide(static_cast<int>(pictureWidth * devicePixelRatioF()));
    model_.setActive(true);
}

void InspectorPanel::hideEvent(QHideEvent* event) {
    model_.setActive(false);
    QFrame::hideEvent(event);
}

void InspectorPanel::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape)
        return Q_EMIT ended();
    // Nothing typed in here reaches the files.
    event->accept();
}

void InspectorPanel::clearFacts() {
    for (const auto& section : {general_, media_, permissions_, more_})
        setFacts(section, {});
    checksumSection_->hide();
    note_->hide();
}

void InspectorPanel::followSubject() {
    if (!model_.item())
        showSubject();
    else if (!patience_.isActive())
        patience_.start();
}

void InspectorPanel::showSubject() {
    patience_.stop();
    shown_ = model_.item();
    if (const auto& summary = model_.summary())
        return showSeveral(*summary);
    clearFacts();
    tagSection_->hide();
    const auto& item = model_.item();
    name_->setText(!item            ? QStringLiteral("Nothing to inspect")
                   : item->isRoot() ? QStringLiteral("Computer")
                                    : shownBriefly(item->lastComponent()),
                   item ? ValueText::Tone::plain : ValueText::Tone::secondary);
    scroll_->setAccessibleName(QStringLiteral("About ") + name_->text());
    kind_->setText(item ? QStringLiteral("Reading…") : QString(), ValueText::Tone::secondary);
    picture_->clear();
    updateChecksum();
}

bool InspectorPanel::isShown() const {
    return shown_ == model_.item();
}

void InspectorPanel::changeTags(const TagChange& change) {
    // The tags that were clicked may be those of the item before.
    if (isShown())
        model_.changeTags(change);
}

void InspectorPanel::updateInformation() {
    if (patience_.isActive())
        showSubject();
    if (model_.state() == InspectorModel::State::failed)
        return showProblem(shownBriefly(model_.problem()));
    const auto& information = *model_.information();
    updateInsight();
    updateMedia();
    const auto note = noteLine(information);
    note_->setText(note, information.leadsNowhere ? ValueText::Tone::warning : ValueText::Tone::secondary);
    note_->setVisible(!note.isEmpty());
    setFacts(permissions_, permissionFacts(information));
    setFacts(more_, furtherFacts(information));
    updateTags();
    checksumSection_->setVisible(information.isRegular &&
                                 information.entry.availability == FileAvailability::local);
}

void InspectorPanel::updateInsight() {
    if (const auto& information = model_.information(); information && isShown()) {
        kind_->setText(kindLine(*information, model_.insight()), ValueText::Tone::secondary);
        setFacts(general_, generalFacts(*information, model_.insight()));
    }
}

void InspectorPanel::updatePicture() {
    const auto density = devicePixelRatioF();
    if (model_.summary()) {
        picture_->setPixmap(icons_.named(QStringLiteral("edit-copy"), pictureSide / 2, density));
        return;
    }
    const auto& information = model_.information();
    if (!information)
        return;
    if (const auto& media = model_.media(); media && media->picture) {
        picture_->setPixmap(framed(media->picture, {pictureWidth, pictureSide}, density));
        return;
    }
    const auto& entry = information->entry;
    picture_->setPixmap(
        entry.isNavigable()
            ? folders_.folder(app_.services().appearances.appearance(entry.url()), pictureSide, density)
            : icons_.file(entry, pictureSide, density));
}

void InspectorPanel::updateMedia() {
    std::vector<Fact> facts;
    if (const auto& media = model_.media())
        for (const auto& fact : media->facts)
            facts.push_back({shown(fact.title), shown(fact.value)});
    setFacts(media_, facts);
    updatePicture();
}

void InspectorPanel::updateTags() {
    std::vector<EditedTag> tags;
    QString note;
    auto tone = ValueText::Tone::secondary;
    if (const auto& summary = model_.summary()) {
        for (const auto& tag : summary->tags)
            tags.push_back(
                {tag.name, 0,
                 tag.carriers == summary->count ? TagChip::Presence::all : TagChip::Presence::some});
    } else if (const auto& information = model_.information()) {
        for (const auto& tag : information->tags)
            tags.push_back({tag.name, tag.colour, TagChip::Presence::all});
        if (information->linkTarget)
            note = QStringLiteral("A link carries no tags.");
        if (information->tagProblem) {
            note = shown(*information->tagProblem);
            tone = ValueText::Tone::warning;
        }
    }
    tags_->setTags(tags);
    // What cannot be read must not be replaced by what is typed here.
    tags_->setVisible(note.isEmpty());
    tagNote_->setText(note, tone);
    tagNote_->setVisible(!note.isEmpty());
    tagSection_->show();
}

void InspectorPanel::updateChecksum() {
    using Phase = InspectorModel::Checksum::Phase;
    const auto& checksum = model_.checksum();
    const bool isRunning = checksum.phase == Phase::running;
    checksumButton_->setText(isRunning ? QStringLiteral("Cancel") : QStringLiteral("Compute SHA-256"));
    checksumButton_->setVisible(checksum.phase != Phase::done);
    checksumCopy_->setVisible(checksum.phase == Phase::done);
    checksumText_->setVisible(checksum.phase != Phase::none);
    if (isRunning && model_.information())
        checksumText_->setText(QStringLiteral("%1 of %2 read")
                                   .arg(ours(formatByteCount(checksum.read)),
                                        ours(formatByteCount(model_.information()->entry.size))),
                               ValueText::Tone::secondary);
    else
        checksumText_->setText(shown(checksum.text), checksum.phase == Phase::failed
                                                         ? ValueText::Tone::warning
                                                         : ValueText::Tone::plain);
}

void InspectorPanel::showSeveral(const SelectionSummary& summary) {
    clearFacts();
    updatePicture();
    name_->setText(shownCount(summary.count) + QStringLiteral(" selected"));
    kind_->setText(countLine(summary), ValueText::Tone::secondary);
    scroll_->setAccessibleName(QStringLiteral("About ") + name_->text());
    setFacts(general_, summaryFacts(summary));
    updateTags();
}

void InspectorPanel::showProblem(const QString& sentence) {
    clearFacts();
    tagSection_->hide();
    kind_->setText(QStringLiteral("Cannot be read"), ValueText::Tone::warning);
    note_->setText(sentence, ValueText::Tone::secondary);
    note_->show();
    picture_->setPixmap(icons_.named(QStringLiteral("dialog-warning"), pictureSide / 2, devicePixelRatioF()));
}

} // namespace morv
