#include "MorvApp/Views/Window/PathBar.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
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

} // namespace

PathBar::PathBar(PaneModel& pane, QWidget* parent) : QFrame(parent), pane_(&pane) {
    setObjectName(QStringLiteral("pathField"));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setCursor(Qt::IBeamCursor);
    setToolTip(QStringLiteral("Click beside the folders, or press Ctrl+L, to type a path"));
    layout_ = new QHBoxLayout(this);
    layout_->setContentsMargins(Space::tiny, 2, Space::huge, 2);
    layout_->setSpacing(0);
    overflow_ = new QToolButton(this);
    overflow_->setObjectName(QStringLiteral("crumb"));
    overflow_->setText(QStringLiteral("…"));
    overflow_->setAccessibleName(QStringLiteral("Folders further up"));
    overflow_->setCursor(Qt::ArrowCursor);
    connect(overflow_, &QToolButton::clicked, this, &PathBar::showHiddenFolders);
    layout_->addWidget(overflow_);
    layout_->addStretch(1);
    editor_ = new QLineEdit(this);
    editor_->setAccessibleName(QStringLiteral("Path"));
    editor_->installEventFilter(this);
    editor_->hide();
    connect(editor_, &QLineEdit::returnPressed, this, &PathBar::commit);
    setPane(pane);
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
    return {160, barHeight};
}

bool PathBar::isEditing() const {
    return editor_->isVisible();
}

void PathBar::rebuild() {
    endEditing();
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
    while (!way.back().isRoot() && way.back() != home)
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
        auto name = folder == home    ? QStringLiteral("Home")
                    : folder.isRoot() ? QStringLiteral("Computer")
                                      : shown(folder.lastComponent());
        button->setToolTip(shown(folder.path()));
        name = button->fontMetrics().elidedText(name, Qt::ElideMiddle, widestCrumb);
        button->setText(name.replace(QLatin1Char('&'), QLatin1String("&&")));
        connect(button, &QToolButton::clicked, this,
                [this, folder] { pane_->navigate(folder, PaneModel::History::record); });
        layout_->insertWidget(place++, button);
        button->show();
        if (arrow)
            arrow->show();
        crumbs_.push_back({folder, button, arrow});
    }
    fit();
}

void PathBar::fit() {
    // The folders nearest to the present one matter most: what does not fit is left out from the front.
    const int room = width() - layout_->contentsMargins().left() - layout_->contentsMargins().right() -
                     overflow_->sizeHint().width();
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
            connect(menu->addAction(crumb.button->text()), &QAction::triggered, this,
                    [this, folder = crumb.folder] { pane_->navigate(folder, PaneModel::History::record); });
    menu->popup(overflow_->mapToGlobal(QPoint(0, overflow_->height())));
}

void PathBar::beginEditing() {
    originalText_ = shown(pane_->location().path());
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
    editor_->hide();
    fit();
    if (hadFocus)
        Q_EMIT editingEnded();
}

void PathBar::commit() {
    const auto text = editor_->text();
    const bool isSame = text == originalText_ || text.trimmed().isEmpty();
    const auto target = isSame ? pane_->location() : typedLocation(text, pane_->location());
    endEditing();
    if (!isSame)
        pane_->navigate(target, PaneModel::History::record);
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
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
        endEditing();
        return true;
    }
    if (watched == editor_ && event->type() == QEvent::FocusOut) {
        const auto reason = static_cast<QFocusEvent*>(event)->reason();
        if (reason != Qt::ActiveWindowFocusReason && reason != Qt::PopupFocusReason)
            endEditing();
    }
    return QFrame::eventFilter(watched, event);
}

} // namespace morv
