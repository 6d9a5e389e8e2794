#include "MorvApp/Views/Sheets/KindBar.h"

#include "MorvApp/Views/Theme/FolderArt.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvCore/Foundation/ByteCount.h"

#include <QGridLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>

namespace morv {

namespace {

constexpr int barHeight = 8;
constexpr int legendColumns = 2;
constexpr int dot = 8;
/// So that a kind that weighs nothing beside a film is still to be seen.
constexpr double leastShare = 0.02;

QColor colourOf(FileKind kind) {
    const auto jewel = FolderArt::jewel(colorOf(kind));
    // Two kinds share a jewel; the second of each is the lighter one.
    return kind == FileKind::audio || kind == FileKind::other ? jewel.lighter(145) : jewel;
}

QPixmap dotOf(FileKind kind, qreal density) {
    QPixmap pixmap(QSize(dot, dot) * density);
    pixmap.setDevicePixelRatio(density);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colourOf(kind));
    painter.drawEllipse(0, 0, dot, dot);
    return pixmap;
}

} // namespace

KindBar::KindBar(QWidget* parent) : QWidget(parent), legend_(new QGridLayout(this)) {
    legend_->setContentsMargins(0, barHeight + Space::small, 0, 0);
    legend_->setHorizontalSpacing(Space::small);
    legend_->setVerticalSpacing(2);
    for (int column = 0; column < legendColumns; ++column)
        legend_->setColumnStretch(2 * column + 1, 1);
}

void KindBar::setInsight(const FolderInsight& insight) {
    parts_.clear();
    while (auto* item = legend_->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    double whole = 0;
    for (const auto& [kind, count] : insight.counts) {
        const auto bytes = insight.kindBytes.find(kind);
        const auto weight = bytes == insight.kindBytes.end() ? 0 : bytes->second;
        const auto share = insight.bytes > 0
                               ? static_cast<double>(weight) / static_cast<double>(insight.bytes)
                               : 1.0 / static_cast<double>(insight.counts.size());
        parts_.push_back({kind, std::max(share, leastShare)});
        whole += parts_.back().share;
        const auto place = static_cast<int>(parts_.size()) - 1;
        const int row = place / legendColumns;
        const int column = 2 * (place % legendColumns);
        auto* mark = new QLabel(this);
        mark->setPixmap(dotOf(kind, devicePixelRatioF()));
        legend_->addWidget(mark, row, column);
        auto* text = new QLabel(
            ours(title(kind)) + QStringLiteral("  %1 · ").arg(count) + ours(formatByteCount(weight)), this);
        text->setObjectName(QStringLiteral("secondary"));
        text->setTextFormat(Qt::PlainText);
        legend_->addWidget(text, row, column + 1);
    }
    for (auto& part : parts_)
        part.share /= whole;
    update();
}

void KindBar::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath rounded;
    rounded.addRoundedRect(QRectF(0, 0, width(), barHeight), barHeight / 2.0, barHeight / 2.0);
    painter.setClipPath(rounded);
    double left = 0;
    for (const auto& part : parts_) {
        const double length = part.share * width();
        const double at = isRightToLeft() ? width() - left - length + 1 : left;
        painter.fillRect(QRectF(at, 0, length - 1, barHeight), colourOf(part.kind));
        left += length;
    }
}

} // namespace morv
