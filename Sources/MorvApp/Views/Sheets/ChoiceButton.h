// One of several things to choose from by its look: a colour, a symbol. Main thread.
#pragma once

#include <QAbstractButton>
#include <functional>

namespace morv {

class ChoiceButton : public QAbstractButton {
    Q_OBJECT

public:
    /// `draw` fills the rectangle that it is given.
    using Draw = std::function<void(QPainter&, const QRectF&)>;
    enum class Shape : std::uint8_t { round, square };

    ChoiceButton(const QString& title, Shape shape, Draw draw, QWidget* parent);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Shape shape_;
    Draw draw_;
};

} // namespace morv
