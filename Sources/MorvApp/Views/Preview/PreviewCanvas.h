// A picture that can be looked at closely: fitted, enlarged, moved. It does not read; it says how many pixels
// it could use, and shows what it has until it is given more. Main thread.
//
// Scale       1 is one pixel of the original on one pixel of the screen; of a page its printed size at 96 dots
//             an inch. A fitted picture is never enlarged, a fitted page fills the place.
#pragma once

#include <QImage>
#include <QPixmap>
#include <QWidget>

namespace morv {

class PreviewCanvas : public QWidget {
    Q_OBJECT

public:
    enum class Content : std::uint8_t { picture, page, poster };
    enum class Hands : std::uint8_t { off, zoom };

    PreviewCanvas(Hands hands, QWidget* parent);

    /// Something else: it is fitted. `natural` in pixels of the original, or points of a page; empty: as large
    /// as `image` is.
    void begin(const QImage& image, QSize natural, Content content);
    /// The same, in other resolution, or the next page of the same document: place and scale stay.
    void refine(const QImage& image, QSize natural);
    void clear();
    bool isEmpty() const { return picture_.isNull(); }

    bool fits() const { return fits_; }
    double scale() const;
    void zoomBy(double factor);
    void zoomToFit();
    void zoomToNatural();
    /// Pixels of the longest side that would be sharp now.
    int wantedSide() const;
    /// Where the picture stands, in this widget's coordinates.
    QRectF pictureRect() const;

    QSize sizeHint() const override { return {320, 240}; }

Q_SIGNALS:
    /// Scale, fit or size; wantedSide() may be another.
    void scaleChanged();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    void take(const QImage& image, QSize natural);
    double fittingScale() const;
    double smallestScale() const;
    void zoomAround(double scale, QPointF anchor);
    void setFit();
    bool canPan() const;
    void keepInSight();
    void updateCursor();
    void paintPlaySign(QPainter& painter, const QRectF& place) const;

    const Hands hands_;
    Content content_ = Content::picture;
    QPixmap picture_;
    QSizeF natural_; ///< pixels of the screen at scale 1
    bool fits_ = true;
    double scale_ = 1; ///< while it does not fit
    QPointF offset_;   ///< of the picture's middle from the widget's
    QPointF dragged_;  ///< where the pointer was
    bool isDragging_ = false;
};

} // namespace morv
