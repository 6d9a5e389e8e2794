#include "MorvApp/Views/Sheets/IntroductionArt.h"

#include "MorvApp/Views/Theme/FolderArt.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Theme/Type.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>

namespace morv {

namespace {

/// What the scenes are drawn on; they stand in the middle of the widget.
constexpr QSizeF stage{480, 200};
constexpr double lineHeight = 26;
constexpr double cardRadius = 10;
constexpr double keyEdge = 72;

class Scene {
public:
    Scene(QPainter& painter, const QFont& font)
        : painter_(painter), colours_(Theme::shared().colours()), font_(font) {}

    void plan() {
        file(QPointF(34, 30), 0.55);
        file(QPointF(34, 78), 0.75);
        file(QPointF(34, 126), 0.65);
        arrow(QPointF(150, 100), QPointF(236, 100));
        const QRectF target(262, 20, 184, 160);
        card(target);
        folder(QPointF(280, 36));
        for (int i = 0; i < 3; ++i)
            plannedLine(QPointF(280, 92 + i * lineHeight), 0.8 - 0.15 * i);
    }

    void review() {
        const QRectF sheet(110, 12, 260, 176);
        card(sheet);
        for (int i = 0; i < 4; ++i) {
            const QPointF at(132, 34 + i * lineHeight);
            box(at, i != 2);
            bar(at + QPointF(28, 3), i == 2 ? 90 : 150 - 22 * (i % 2), i == 2 ? 0.35 : 0.8);
        }
        button(QRectF(226, 146, 56, 26), false);
        button(QRectF(290, 146, 64, 26), true);
    }

    void receipt() {
        const QRectF paper(150, 8, 180, 184);
        QPainterPath outline(paper.topLeft());
        outline.lineTo(paper.topRight());
        outline.lineTo(paper.bottomRight());
        constexpr int teeth = 12;
        for (int i = 1; i <= teeth; ++i)
            outline.lineTo(paper.right() - i * paper.width() / teeth, paper.bottom() - (i % 2 ? 7 : 0));
        outline.closeSubpath();
        painter_.setPen(QPen(colours_.separator, 1.2));
        painter_.setBrush(colours_.raised);
        painter_.drawPath(outline);
        for (int i = 0; i < 4; ++i) {
            const QPointF at(170, 30 + i * lineHeight);
            tick(at + QPointF(8, 8), colours_.success);
            bar(at + QPointF(26, 3), 100 - 14 * (i % 3), 0.8);
        }
        wayBack(QPointF(390, 96));
    }

    void keys(const IntroductionArt::Keys& keys) {
        painter_.setFont(font_);
        const QFontMetricsF metrics(font_);
        double widest = 0;
        for (const auto& [key, text] : keys)
            widest = std::max(widest, metrics.horizontalAdvance(key));
        const double capWidth = widest + 24;
        const double top = (stage.height() - 36.0 * static_cast<double>(keys.size())) / 2;
        for (std::size_t i = 0; i < keys.size(); ++i) {
            const bool mirrors = painter_.layoutDirection() == Qt::RightToLeft;
            const QRectF cap(mirrors ? stage.width() - keyEdge - capWidth : keyEdge,
                             top + 4 + 36.0 * static_cast<double>(i), capWidth, 28);
            painter_.setPen(QPen(colours_.separator, 1.2));
            painter_.setBrush(colours_.separator);
            painter_.drawRoundedRect(cap.translated(0, 2), 6, 6);
            painter_.setBrush(colours_.raised);
            painter_.drawRoundedRect(cap, 6, 6);
            painter_.setPen(colours_.text);
            painter_.drawText(cap, Qt::AlignCenter, keys[i].first);
            painter_.setPen(colours_.secondaryText);
            auto text = cap;
            text.setWidth(stage.width() - keyEdge - capWidth - 16);
            text.moveLeft(mirrors ? cap.left() - 16 - text.width() : cap.right() + 16);
            painter_.drawText(text, Qt::AlignVCenter | Qt::AlignLeft, keys[i].second);
        }
    }

private:
    QColor faint(double strength) const {
        auto colour = colours_.secondaryText;
        colour.setAlphaF(static_cast<float>(strength * 0.6));
        return colour;
    }
    void card(const QRectF& rect) {
        painter_.setPen(QPen(colours_.separator, 1.2));
        painter_.setBrush(colours_.raised);
        painter_.drawRoundedRect(rect, cardRadius, cardRadius);
    }
    void bar(QPointF at, double width, double strength) {
        painter_.setPen(Qt::NoPen);
        painter_.setBrush(faint(strength));
        painter_.drawRoundedRect(QRectF(at, QSizeF(width, 10)), 5, 5);
    }
    void file(QPointF at, double length) {
        const QRectF row(at, QSizeF(108, 38));
        painter_.setPen(QPen(colours_.separator, 1.2));
        painter_.setBrush(colours_.raised);
        painter_.drawRoundedRect(row, 7, 7);
        painter_.setPen(QPen(colours_.secondaryText, 1.5));
        painter_.setBrush(Qt::NoBrush);
        painter_.drawRoundedRect(QRectF(at + QPointF(11, 9), QSizeF(15, 20)), 3, 3);
        bar(at + QPointF(36, 14), 62 * length + 4, 0.8);
    }
    void folder(QPointF at) {
        FolderAppearance look;
        look.color = "teal";
        // The picture is made for the density that it is drawn at.
        const auto density = painter_.device()->devicePixelRatioF();
        painter_.drawPixmap(QRectF(at, QSizeF(44, 44)),
                            FolderArt::render(look, Theme::shared().appearance(), 44, density), QRectF());
        bar(at + QPointF(58, 18), 78, 1);
    }
    /// A place that is still empty.
    void plannedLine(QPointF at, double length) {
        QPen pen(colours_.accent, 1.4, Qt::DashLine);
        pen.setDashPattern({3, 3});
        painter_.setPen(pen);
        painter_.setBrush(Qt::NoBrush);
        painter_.drawRoundedRect(QRectF(at, QSizeF(148 * length, 16)), 5, 5);
    }
    void arrow(QPointF from, QPointF to) {
        painter_.setPen(QPen(colours_.accent, 2.4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter_.setBrush(Qt::NoBrush);
        painter_.drawLine(from, to);
        painter_.drawPolyline(QPolygonF({to + QPointF(-9, -8), to, to + QPointF(-9, 8)}));
    }
    void tick(QPointF middle, const QColor& colour) {
        painter_.setPen(QPen(colour, 2.4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter_.setBrush(Qt::NoBrush);
        painter_.drawPolyline(
            QPolygonF({middle + QPointF(-5, 0), middle + QPointF(-1, 4), middle + QPointF(6, -5)}));
    }
    void box(QPointF at, bool isChecked) {
        const QRectF square(at, QSizeF(16, 16));
        painter_.setPen(QPen(isChecked ? colours_.accent : colours_.secondaryText, 1.4));
        painter_.setBrush(isChecked ? QBrush(colours_.accent) : Qt::NoBrush);
        painter_.drawRoundedRect(square, 4, 4);
        if (isChecked)
            tick(square.center(), colours_.accentText);
    }
    void button(const QRectF& rect, bool isDefault) {
        painter_.setPen(isDefault ? QPen(Qt::NoPen) : QPen(colours_.separator, 1.2));
        painter_.setBrush(isDefault ? colours_.accent : colours_.raised);
        painter_.drawRoundedRect(rect, 6, 6);
        painter_.setPen(Qt::NoPen);
        auto text = isDefault ? colours_.accentText : colours_.secondaryText;
        painter_.setBrush(text);
        painter_.drawRoundedRect(QRectF(rect.center() - QPointF(14, 3), QSizeF(28, 6)), 3, 3);
    }
    /// A bow that ends in an arrow to the left.
    void wayBack(QPointF middle) {
        painter_.setPen(QPen(colours_.accent, 2.4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter_.setBrush(Qt::NoBrush);
        QPainterPath bow(middle + QPointF(-26, 26));
        bow.lineTo(middle + QPointF(6, 26));
        bow.cubicTo(middle + QPointF(34, 26), middle + QPointF(34, -14), middle + QPointF(6, -14));
        bow.lineTo(middle + QPointF(-28, -14));
        painter_.drawPath(bow);
        const auto tip = middle + QPointF(-30, -14);
        painter_.drawPolyline(QPolygonF({tip + QPointF(10, -9), tip, tip + QPointF(10, 9)}));
    }

    QPainter& painter_;
    const ThemeColours& colours_;
    QFont font_;
};

} // namespace

IntroductionArt::IntroductionArt(Keys keys, QWidget* parent) : QWidget(parent), keys_(std::move(keys)) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(&Theme::shared(), &Theme::changed, this, qOverload<>(&QWidget::update));
}

void IntroductionArt::show(IntroductionScene scene) {
    scene_ = scene;
    update();
}

QSize IntroductionArt::sizeHint() const {
    return (stage + QSizeF(0, 2 * Space::medium)).toSize();
}

void IntroductionArt::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const auto& colours = Theme::shared().colours();
    painter.setPen(QPen(colours.separator, 1));
    painter.setBrush(colours.content);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 8, 8);
    painter.translate((width() - stage.width()) / 2, (height() - stage.height()) / 2);
    // What is read from right to left also goes from right to left; texts would be mirrored with it.
    if (isRightToLeft() && scene_ != IntroductionScene::keys) {
        painter.translate(stage.width(), 0);
        painter.scale(-1, 1);
    }
    Scene scene(painter, font());
    switch (scene_) {
    case IntroductionScene::plan:
        return scene.plan();
    case IntroductionScene::review:
        return scene.review();
    case IntroductionScene::receipt:
        return scene.receipt();
    case IntroductionScene::keys:
        return scene.keys(keys_);
    }
}

} // namespace morv
