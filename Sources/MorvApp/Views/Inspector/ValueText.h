// A text of any length in the width that there is: broken anywhere where it has to be, cut after a few lines,
// whole in its tooltip and on the clipboard. Main thread.
#pragma once

#include <QWidget>

class QTextLayout;

namespace morv {

class ValueText : public QWidget {
    Q_OBJECT

public:
    enum class Tone : std::uint8_t { plain, secondary, warning };

    explicit ValueText(QWidget* parent, int mostLines = 4);

    void setText(const QString& text, Tone tone = Tone::plain);
    const QString& text() const { return text_; }
    void setAlignment(Qt::Alignment alignment) { alignment_ = alignment; }

    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    /// The number of lines that are shown.
    int layOut(QTextLayout& layout, int width) const;

    QString text_;
    Tone tone_ = Tone::plain;
    Qt::Alignment alignment_ = Qt::AlignLeading;
    const int mostLines_;
};

} // namespace morv
