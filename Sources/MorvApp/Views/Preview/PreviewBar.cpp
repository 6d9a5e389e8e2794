#include "MorvApp/Views/Preview/PreviewBar.h"

#include "MorvApp/Views/Theme/Theme.h"

#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QToolButton>
#include <cmath>

namespace morv {

namespace {

constexpr int icon = 18;
constexpr double zoomStep = 1.25;

} // namespace

PreviewBar::PreviewBar(QWidget* parent) : QFrame(parent), words_(new QWidget(this)) {
    setObjectName(QStringLiteral("bar"));
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(Space::large, Space::small, Space::small, Space::small);
    row->setSpacing(Space::tiny);
    auto* column = new QVBoxLayout(words_);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(2);
    const auto addLabel = [](const char* role, QWidget* owner) {
        auto* label = new QLabel(owner);
        label->setObjectName(QLatin1String(role));
        label->setTextFormat(Qt::PlainText);
        return label;
    };
    titleLabel_ = addLabel("heading", words_);
    detailLabel_ = addLabel("secondary", words_);
    for (auto* label : {titleLabel_, detailLabel_}) {
        label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
        column->addWidget(label);
    }
    row->addWidget(words_, 1);
    row->addSpacing(Space::small);
    previousPage_ = addButton(QStringLiteral("go-previous"), QStringLiteral("Previous Page"));
    pageLabel_ = addLabel("secondary", this);
    row->addWidget(pageLabel_);
    nextPage_ = addButton(QStringLiteral("go-next"), QStringLiteral("Next Page"));
    row->addSpacing(Space::small);
    zoomOut_ = addButton(QStringLiteral("zoom-out"), QStringLiteral("Zoom Out"));
    scale_ = addButton({}, QStringLiteral("Scale"));
    scale_->setMinimumWidth(fontMetrics().horizontalAdvance(QStringLiteral("1600 %")) + 2 * Space::medium);
    zoomIn_ = addButton(QStringLiteral("zoom-in"), QStringLiteral("Zoom In"));
    row->addSpacing(Space::small);
    open_ = addButton({}, QStringLiteral("Open"));
    open_->setText(QStringLiteral("Open"));
    open_->setToolTip(QStringLiteral("Open with the default application (Ctrl+O)"));
    connect(previousPage_, &QToolButton::clicked, this, [this] { Q_EMIT pageWanted(-1); });
    connect(nextPage_, &QToolButton::clicked, this, [this] { Q_EMIT pageWanted(1); });
    connect(zoomOut_, &QToolButton::clicked, this, [this] { Q_EMIT zoomed(1 / zoomStep); });
    connect(zoomIn_, &QToolButton::clicked, this, [this] { Q_EMIT zoomed(zoomStep); });
    connect(scale_, &QToolButton::clicked, this, [this] {
        if (scale_->property("fits").toBool())
            Q_EMIT naturalWanted();
        else
            Q_EMIT fitWanted();
    });
    connect(open_, &QToolButton::clicked, this, &PreviewBar::openWanted);
    connect(&Theme::shared(), &Theme::changed, this, [this] {
        for (auto* button : findChildren<QToolButton*>())
            if (const auto name = button->property("themeIcon").toString(); !name.isEmpty())
                button->setIcon(QIcon::fromTheme(name));
    });
    setPages(0, 0);
    setScale(false, 1, true);
    setOpenable(false);
}

QToolButton* PreviewBar::addButton(const QString& name, const QString& title) {
    auto* button = new QToolButton(this);
    if (!name.isEmpty()) {
        button->setIcon(QIcon::fromTheme(name));
        button->setProperty("themeIcon", name);
    }
    button->setIconSize({icon, icon});
    button->setToolTip(title);
    button->setAccessibleName(title);
    button->setFocusPolicy(Qt::TabFocus);
    layout()->addWidget(button);
    return button;
}

void PreviewBar::setTitle(const QString& title, const QString& detail) {
    title_ = title;
    detail_ = detail;
    titleLabel_->setToolTip(title);
    detailLabel_->setToolTip(detail);
    elide();
}

void PreviewBar::setPages(int page, int count) {
    const bool hasPages = count > 1;
    for (auto* widget : {static_cast<QWidget*>(previousPage_), static_cast<QWidget*>(pageLabel_),
                         static_cast<QWidget*>(nextPage_)})
        widget->setVisible(hasPages);
    pageLabel_->setText(QStringLiteral("Page %1 of %2").arg(page + 1).arg(count));
    previousPage_->setEnabled(page > 0);
    nextPage_->setEnabled(page + 1 < count);
}

void PreviewBar::setScale(bool hasPicture, double scale, bool fits) {
    for (auto* button : {zoomOut_, scale_, zoomIn_})
        button->setVisible(hasPicture);
    const auto percent = QStringLiteral("%1 %").arg(std::lround(scale * 100));
    scale_->setText(percent);
    scale_->setProperty("fits", fits);
    scale_->setToolTip(fits ? QStringLiteral("Show at full size (1)")
                            : QStringLiteral("Fit to the window (0)"));
    scale_->setAccessibleName(QStringLiteral("Scale: ") + percent);
}

void PreviewBar::setOpenable(bool isOpenable) {
    open_->setVisible(isOpenable);
}

void PreviewBar::resizeEvent(QResizeEvent* event) {
    QFrame::resizeEvent(event);
    elide();
}

void PreviewBar::elide() {
    layout()->activate();
    titleLabel_->setText(titleLabel_->fontMetrics().elidedText(title_, Qt::ElideMiddle, words_->width()));
    detailLabel_->setText(detailLabel_->fontMetrics().elidedText(detail_, Qt::ElideRight, words_->width()));
}

} // namespace morv
