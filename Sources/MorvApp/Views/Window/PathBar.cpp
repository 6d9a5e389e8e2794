#include "MorvApp/Views/Window/PathBar.h"

#include "MorvApp/Views/Drag/DropArea.h"
#include "MorvApp/Views/Theme/Announcement.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Window/GitBadge.h"
#include "MorvCore/Platform/UserFolders.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMouseEvent>
#include <QToolButton>
#include <algorithm>

namespace morv {

namespace {

constexpr int barHeight = 36;
constexpr int widestCrumb = 220;
/// A path of a record may have more folders than any bar, and than anybody walks up.
constexpr std::size_t mostCrumbs = 64;
/// The badge has this part of the bar at most.
constexpr int badgeShare = 3;

} // namespace

PathBar::PathBar(AppModel& app, QWidget* parent)
    : QFrame(parent), app_(app), pane_(&app.currentPane()), git_(app.services().pools),
      completion_(app.services().pools) {
    setObjectName(QStringLiteral("pathField"));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setCursor(Qt::IBeamCursor);
    setToolTip(QStringLiteral("Click beside the folders, or press Ctrl+L, to type a path"));
    layout_ = new QHBoxLayout(this);
    layout_->setContentsMargins(Space::tiny, 2, Space::small, 2);
    layout_->setSpacing(0);
    overflow_ = new QToolButton(this);
    overflow_->setObjectName(QStringLiteral("crumb"));
    overflow_->setText(QStringLiteral("…"));
    overflow_->setAccessibleName(QStringLiteral("Folders further up"));
    overflow_->setCursor(Qt::ArrowCursor);
    connect(overflow_, &QToolButton::clicked, this, &PathBar::showHiddenFolders);
    layout_->addWidget(overflow_);
    layout_->addStretch(1);
    // There is always a place beside the folders to click on.
    layout_->addSpacing(Space::large);
    badge_ = new GitBadge(git_, this);
    layout_->addWidget(badge_);
    connect(&git_, &GitStatusModel::changed, this, &PathBar::fit);
    const auto followSetting = [this] { git_.setWanted(app_.services().defaults.showsGitStatus()); };
    connect(&app_.services().defaults, &UserDefaults::showsGitStatusChanged, this, followSetting);
    followSetting();
    editor_ = new QLineEdit(this);
    editor_->setAccessibleName(QStringLiteral("Path"));
    editor_->installEventFilter(this);
    editor_->hide();
    connect(editor_, &QLineEdit::returnPressed, this, &PathBar::commit);
    connect(editor_, &QLineEdit::textEdited, this, [this] { showHint({}); });
    connect(&completion_, &PathCompletion::completed, this, &PathBar::takeCompletion);
    setPane(app.currentPane());
    acceptDrops();
}

void PathBar::acceptDrops() {
    const auto crumbAt = [this](QPoint point) {
        return std::ranges::find_if(crumbs_, [point](const Crumb& crumb) {
            return crumb.button->isVisible() && crumb.button->geometry().contains(point);
        });
    };
    auto* drops = new DropArea(app_, *this, [this, crumbAt](QPoint point) {
        const auto crumb = crumbAt(point);
        return crumb == crumbs_.end() ? std::nullopt : std::optional(DropPlace::into(crumb->folder));
    });
    connect(drops, &DropArea::rested, this, [this, crumbAt](QPoint point) {
        if (const auto crumb = crumbAt(point); crumb != crumbs_.end())
            app_.drag().openFolder(app_.activePane(), crumb->folder);
    });
    connect(drops, &DropArea::targetChanged, this, [this, drops] {
        for (const auto& crumb : crumbs_)
            crumb.button->setDown(drops->target() && drops->target()->folder == crumb.folder);
    });
}

void PathBar::setPane(PaneModel& pane) {
    disconnect(following_);
    pane_ = &pane;
    following_ = connect(pane_, &PaneModel::locationChanged, this, &PathBar::rebuild);
    rebuild();
}

QSize PathBar::sizeHint() const {
    return {400, barHeight};
}

QSize PathBar::minimumSizeHint() const {
    return {240, barHeight};
}

bool PathBar::isEditing() const {
    return editor_->isVisible();
}

void PathBar::rebuild() {
    endEditing();
    git_.setLocation(pane_->location());
    for (auto& crumb : crumbs_) {
        // A crumb may be the button whose click brought us here.
        for (QWidget* part : {static_cast<QWidget*>(crumb.button), crumb.arrow})
            if (part) {
                layout_->removeWidget(part);
                part->hide();
                part->deleteLater();
            }
    }
    crumbs_.clear();

    std::vector<FileURL> way{pane_->location()};
    const auto home = homeFolder();
    while (!way.back().isRoot() && way.back() != home && way.size() < mostCrumbs)
        way.push_back(way.back().parent());
    std::ranges::reverse(way);

    int place = 1;
    for (const auto& folder : way) {
        QLabel* arrow = nullptr;
        if (!crumbs_.empty()) {
            arrow = new QLabel(QStringLiteral("›"), this);
            arrow->setObjectName(QStringLiteral("secondary"));
            layout_->insertWidget(place++, arrow);
        }
        auto* button = new QToolButton(this);
        button->setObjectName(&folder == &way.back() ? QStringLiteral("lastCrumb") : QStringLiteral("crumb"));
        button->setCursor(Qt::ArrowCursor);
        button->setFocusPolicy(Qt::TabFocus);
        const auto name = folder == home    ? QStringLiteral("Home")
                          : folder.isRoot() ? QStringLiteral("Computer")
                                            : shownBriefly(folder.lastComponent());
        button->setToolTip(shownBriefly(folder.path()));
        button->setAccessibleName(name);
        button->setText(buttonText(button->fontMetrics().elidedText(name, Qt::ElideMiddle, widestCrumb)));
        connect(button, &QToolButton::clicked, this, [this, folder] { Q_EMIT folderChosen(folder); });
        layout_->insertWidget(place++, button);
        button->show();
        if (arrow)
            arrow->show();
        crumbs_.push_back({folder, button, arrow});
    }
    fit();
}

void PathBar::fit() {
    badge_->fitInto(width() / badgeShare);
    const int badge = badge_->hasContent() ? badge_->width() : 0;
    // The folders nearest to the present one matter most: what does not fit is left out from the front.
    const int room = width() - layout_->contentsMargins().left() - layout_->contentsMargins().right() -
                     Space::large - badge - overflow_->sizeHint().width();
    int used = 0;
    std::size_t hidden = 0;
    for (std::size_t i = crumbs_.size(); i-- > 0;) {
        used += crumbs_[i].button->sizeHint().width() +
                (crumbs_[i].arrow ? crumbs_[i].arrow->sizeHint().width() : 0);
        if (used > room && i + 1 < crumbs_.size()) {
            hidden = i + 1;
            break;
        }
    }
    const bool editing = isEditing();
    badge_->setVisible(badge_->hasContent() && !editing);
    for (std::size_t i = 0; i < crumbs_.size(); ++i) {
        crumbs_[i].button->setVisible(i >= hidden && !editing);
        if (crumbs_[i].arrow)
            crumbs_[i].arrow->setVisible(i >= hidden && !editing);
    }
    overflow_->setVisible(hidden > 0 && !editing);
}

void PathBar::showHiddenFolders() {
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    for (const auto& crumb : crumbs_)
        if (!crumb.button->isVisible())
            connect(menu->addAction(buttonText(crumb.button->accessibleName())), &QAction::triggered, this,
                    [this, folder = crumb.folder] { Q_EMIT folderChosen(folder); });
    menu->popup(overflow_->mapToGlobal(QPoint(0, overflow_->height())));
}

void PathBar::beginEditing() {
    originalText_ = shownBriefly(pane_->location().path());
    completion_.begin(typedBytes(originalText_), pane_->location());
    editor_->setText(originalText_);
    editor_->setGeometry(rect());
    editor_->show();
    editor_->raise();
    editor_->selectAll();
    editor_->setFocus(Qt::ShortcutFocusReason);
    fit();
}

void PathBar::endEditing() {
    if (!isEditing())
        return;
    const bool hadFocus = editor_->hasFocus();
    completion_.end();
    showHint({});
    editor_->hide();
    fit();
    if (hadFocus)
        Q_EMIT editingEnded();
}

void PathBar::commit() {
    const auto text = editor_->text();
    if (app_.developerTools().executePathInput(typedBytes(text), pane_->location()))
        return endEditing();
    const bool isSame = text == originalText_ || text.trimmed().isEmpty();
    const auto target = locationOf(text);
    endEditing();
    if (!isSame)
        app_.open(target);
}

FileURL PathBar::locationOf(const QString& text) const {
    const auto known = completion_.location(typedBytes(text));
    return known ? *known : typedLocation(text, pane_->location());
}

void PathBar::complete(PathCompletion::Direction direction) {
    const auto text = editor_->text();
    const auto cut = text.lastIndexOf(QLatin1Char('/')) + 1;
    const auto prefix = text.left(cut);
    completion_.complete(
        {typedBytes(prefix), typedBytes(text.mid(cut)), cut == 0 ? pane_->location() : locationOf(prefix)},
        direction);
}

void PathBar::takeCompletion(const std::string& typed, const std::string& text, const std::string& hint) {
    // What was typed meanwhile stands.
    if (!isEditing() || typedBytes(editor_->text()) != typed)
        return;
    if (text != typed)
        editor_->setText(ours(text));
    showHint(ours(hint));
}

void PathBar::showHint(const QString& hint) {
    editor_->setAccessibleDescription(hint);
    if (hint.isEmpty()) {
        if (hint_)
            hint_->hide();
        return;
    }
    if (!hint_) {
        hint_ = new QLabel(window());
        hint_->setObjectName(QStringLiteral("pathHint"));
        hint_->setTextFormat(Qt::PlainText);
        hint_->setAttribute(Qt::WA_TransparentForMouseEvents);
    }
    hint_->setText(hint);
    hint_->adjustSize();
    hint_->move(mapTo(window(), QPoint(0, height() + 2)));
    hint_->show();
    hint_->raise();
    announce(*hint_);
}

bool PathBar::event(QEvent* event) {
    if (event->type() == QEvent::WindowActivate || event->type() == QEvent::WindowDeactivate)
        git_.setActive(event->type() == QEvent::WindowActivate);
    return QFrame::event(event);
}

bool PathBar::takeKey(const QKeyEvent& event) {
    switch (event.key()) {
    case Qt::Key_Escape:
        endEditing();
        return true;
    case Qt::Key_Tab:
        complete(PathCompletion::Direction::forwards);
        return true;
    case Qt::Key_Backtab:
        complete(PathCompletion::Direction::backwards);
        return true;
    default:
        return false;
    }
}

void PathBar::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton)
        beginEditing();
}

void PathBar::resizeEvent(QResizeEvent*) {
    editor_->setGeometry(rect());
    fit();
}

bool PathBar::eventFilter(QObject* watched, QEvent* event) {
    if (watched == editor_ && event->type() == QEvent::ShortcutOverride &&
        editsText(*static_cast<const QKeyEvent*>(event))) {
        event->accept();
        return true;
    }
    if (watched == editor_ && event->type() == QEvent::KeyPress &&
        takeKey(*static_cast<const QKeyEvent*>(event)))
        return true;
    if (watched == editor_ && event->type() == QEvent::FocusOut) {
        const auto reason = static_cast<QFocusEvent*>(event)->reason();
        if (reason != Qt::ActiveWindowFocusReason && reason != Qt::PopupFocusReason)
            endEditing();
    }
    return QFrame::eventFilter(watched, event);
}

} // namespace morv
