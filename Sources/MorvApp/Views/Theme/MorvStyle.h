// The toolkit's style under the style sheet: what rules of that cannot say. Main thread.
#pragma once

#include <QProxyStyle>

namespace morv {

/// The toolkit's own movements take as long as ours, labels show what they are given, and what can be ticked has an
/// outline that is seen on every ground.
class MorvStyle : public QProxyStyle {
    Q_OBJECT

public:
    MorvStyle();

    using QProxyStyle::polish;
    void polish(QWidget* widget) override;
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* answer) const override;
    int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override;
    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override;
};

} // namespace morv
