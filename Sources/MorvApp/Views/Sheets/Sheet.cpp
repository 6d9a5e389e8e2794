#include "MorvApp/Views/Sheets/Sheet.h"

#include "MorvApp/Views/Theme/Theme.h"

#include <QApplication>
#include <QFrame>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>
#include <QVariantAnimation>
#include <algorithm>

namespace morv {

namespace {

/// A sheet rises this far while it appears.
constexpr double travel = 12;

} // namespace

Sheet::Sheet(const QString& title, QSize largest, Height height, QWidget* window)
    : QWidget(window), largest_(largest), height_(height), previousFocus_(QApplication::focusWidget()) {
    setAccessibleName(title);
    setFocusPolicy(Qt::NoFocus);
    card_ = new QFrame(this);
    card_->setObjectName(QStringLiteral("card"));
    auto* column = new QVBoxLayout(card_);
    column->setContentsMargins(Space::huge, Space::huge, Space::huge, Space::large);
    column->setSpacing(Space::medium);
    auto* heading = new QLabel(title, card_);
    heading->setObjectName(QStringLiteral("title"));
    heading->setTextFormat(Qt::PlainText);
    column->addWidget(heading);
    body_ = new QVBoxLayout;
    body_->setSpacing(Space::medium);
    column->addLayout(body_, 1);
    buttons_ = new QHBoxLayout;
    buttons_->setSpacing(Space::small);
    buttons_->addStretch(1);
    column->addLayout(buttons_);
    window->installEventFilter(this);
    card_->installEventFilter(this);
}

void Sheet::leave() {
    // At once, and not with the deletion: by then another sheet may have the keyboard.
    const bool isAside = isHidden();
    if (previousFocus_ && previousFocus_->isVisible() && !isAside)
        previousFocus_->setFocus();
    hide();
    deleteLater();
}

void Sheet::stepAside() {
    auto* focused = QApplication::focusWidget();
    ownFocus_ = focused && isAncestorOf(focused) ? focused : nullptr;
    hide();
}

void Sheet::comeBack() {
    place();
    show();
    raise();
    if (ownFocus_)
        ownFocus_->setFocus(Qt::OtherFocusReason);
    else
        focusNextPrevChild(true);
}

void Sheet::guardKeys(KeyGuard::Clock clock) {
    delete guard_;
    guard_ = new KeyGuard(*this, std::move(clock));
}

QLabel* Sheet::addText(const QString& text, const char* role) {
    auto* label = new QLabel(text, card_);
    label->setObjectName(QLatin1String(role));
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    body_->addWidget(label);
    return label;
}

QPushButton* Sheet::addCancel(const QString& title) {
    auto* button = new QPushButton(title, card_);
    connect(button, &QPushButton::clicked, this, &Sheet::cancelled);
    buttons_->addWidget(button);
    return button;
}

QPushButton* Sheet::addAction(const QString& title) {
    auto* button = new QPushButton(title, card_);
    buttons_->insertWidget(actionCount_++, button);
    return button;
}

QPushButton* Sheet::addDefault(const QString& title) {
    default_ = new QPushButton(title, card_);
    default_->setDefault(true);
    buttons_->addWidget(default_);
    return default_;
}

void Sheet::present(QWidget* focus) {
    place();
    show();
    raise();
    focus->setFocus(Qt::OtherFocusReason);
    arrive();
}

void Sheet::arrive() {
    const int duration = Theme::shared().motion().sheet;
    if (duration == 0)
        return;
    auto* arrival = new QVariantAnimation(this);
    arrival->setDuration(duration);
    arrival->setStartValue(0.0);
    arrival->setEndValue(1.0);
    arrival->setEasingCurve(QEasingCurve::OutCubic);
    connect(arrival, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        arrival_ = value.toDouble();
        place();
        update();
    });
    arrival_ = 0;
    place();
    arrival->start(QAbstractAnimation::DeleteWhenStopped);
}

void Sheet::place() {
    const auto whole = parentWidget()->rect();
    setGeometry(whole);
    const QSize room(whole.width() - 2 * Space::huge, whole.height() - 2 * Space::huge);
    auto size = largest_.boundedTo(room);
    if (height_ == Height::fitting) {
        auto* layout = card_->layout();
        const int wanted =
            layout->hasHeightForWidth() ? layout->heightForWidth(size.width()) : card_->sizeHint().height();
        size.setHeight(std::min(size.height(), wanted));
    }
    card_->setGeometry(QRect(QPoint((whole.width() - size.width()) / 2,
                                    (whole.height() - size.height()) / 2 + qRound((1 - arrival_) * travel)),
                             size));
}

void Sheet::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    auto scrim = Theme::shared().colours().scrim;
    scrim.setAlphaF(scrim.alphaF() * static_cast<float>(arrival_));
    painter.fillRect(rect(), scrim);
    // A soft edge under the card; an effect would render the whole card into a picture at every change.
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0, 0, 0, 4));
    for (int spread = 2; spread <= 24; spread += 3)
        painter.drawRoundedRect(card_->geometry().adjusted(-spread, -spread + 4, spread, spread + 4),
                                12 + spread, 12 + spread);
}

void Sheet::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape)
        return Q_EMIT cancelled();
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    // A key that is held down since before the sheet came confirms nothing.
    if (isReturn && !event->isAutoRepeat()) {
        auto* focused = qobject_cast<QAbstractButton*>(QApplication::focusWidget());
        if (focused && card_->isAncestorOf(focused))
            return focused->click();
        if (default_ && default_->isEnabled())
            return default_->click();
    }
    // Nothing typed over a sheet reaches the files behind it.
    event->accept();
}

void Sheet::mousePressEvent(QMouseEvent*) {}

bool Sheet::eventFilter(QObject* watched, QEvent* event) {
    // A card that fits what it holds follows what it holds.
    const bool grows =
        watched == card_ && event->type() == QEvent::LayoutRequest && height_ == Height::fitting;
    if (grows || (watched == parentWidget() && event->type() == QEvent::Resize))
        place();
    return QWidget::eventFilter(watched, event);
}

bool Sheet::focusNextPrevChild(bool next) {
    QList<QWidget*> stops;
    for (auto* widget : card_->findChildren<QWidget*>())
        if (widget->isVisible() && widget->isEnabled() && (widget->focusPolicy() & Qt::TabFocus) != 0 &&
            !widget->focusProxy())
            stops << widget;
    if (stops.isEmpty())
        return false;
    const auto at = stops.indexOf(QApplication::focusWidget());
    const auto count = stops.size();
    const auto target = at < 0 ? 0 : (at + (next ? 1 : count - 1)) % count;
    stops[target]->setFocus(next ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    return true;
}

} // namespace morv
