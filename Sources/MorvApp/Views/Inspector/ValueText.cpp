#include "MorvApp/Views/Inspector/ValueText.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QEvent>
#include <QMenu>
#include <QPainter>
#include <QStyle>
#include <QTextLayout>
#include <algorithm>

namespace morv {

namespace {

/// More than any number of lines here has room for.
constexpr qsizetype laidOutAtMost = 2000;
constexpr int narrowest = 48;

} // namespace

ValueText::ValueText(QWidget* parent, int mostLines) : QWidget(parent), mostLines_(mostLines) {
    auto policy = QSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

void ValueText::setText(const QString& text, Tone tone) {
    if (text == text_ && tone == tone_)
        return;
    text_ = text;
    tone_ = tone;
    setAccessibleName(text);
    setToolTip(text.size() > laidOutAtMost ? text.left(laidOutAtMost) + QStringLiteral("…") : text);
    updateGeometry();
    update();
}

int ValueText::layOut(QTextLayout& layout, int width) const {
    QTextOption option(QStyle::visualAlignment(layoutDirection(), alignment_));
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    option.setTextDirection(text_.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
    layout.setTextOption(option);
    int lines = 0;
    qreal y = 0;
    layout.beginLayout();
    while (lines < mostLines_) {
        auto line = layout.createLine();
        if (!line.isValid())
            break;
        line.setLineWidth(std::max(width, narrowest));
        line.setPosition({0, y});
        y += fontMetrics().lineSpacing();
        ++lines;
    }
    layout.endLayout();
    return lines;
}

int ValueText::heightForWidth(int width) const {
    QTextLayout layout(text_.left(laidOutAtMost), font());
    return std::max(layOut(layout, width), 1) * fontMetrics().lineSpacing();
}

QSize ValueText::sizeHint() const {
    return {std::min(fontMetrics().horizontalAdvance(text_.left(200)), 160), heightForWidth(160)};
}

QSize ValueText::minimumSizeHint() const {
    return {narrowest, fontMetrics().lineSpacing()};
}

void ValueText::paintEvent(QPaintEvent*) {
    const auto& colours = Theme::shared().colours();
    QPainter painter(this);
    painter.setPen(tone_ == Tone::secondary ? colours.secondaryText
                   : tone_ == Tone::warning ? colours.warning
                                            : colours.text);
    QTextLayout layout(text_.left(laidOutAtMost), font());
    const int lines = layOut(layout, width());
    for (int i = 0; i < lines; ++i) {
        const auto line = layout.lineAt(i);
        const auto end = line.textStart() + line.textLength();
        if (i + 1 < mostLines_ || end >= text_.size()) {
            line.draw(&painter, {});
            continue;
        }
        // What does not fit loses its middle: both ends of a name or path tell things apart.
        const QRect place(0, static_cast<int>(line.y()), width(), fontMetrics().lineSpacing());
        const auto rest = text_.mid(line.textStart(), laidOutAtMost);
        painter.drawText(place, static_cast<int>(alignment_ | Qt::AlignVCenter) | Qt::TextSingleLine,
                         inOwnDirection(fontMetrics().elidedText(rest, Qt::ElideMiddle, width())));
    }
}

void ValueText::contextMenuEvent(QContextMenuEvent* event) {
    if (text_.isEmpty())
        return;
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    connect(menu->addAction(QStringLiteral("Copy")), &QAction::triggered, this,
            [this] { QApplication::clipboard()->setText(text_); });
    menu->popup(event->globalPos());
}

void ValueText::changeEvent(QEvent* event) {
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
        updateGeometry();
    QWidget::changeEvent(event);
}

} // namespace morv
