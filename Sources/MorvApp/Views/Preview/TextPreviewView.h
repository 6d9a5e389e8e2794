// A text to be read: monospaced, with the numbers of its lines, or as a plain beginning of it. Main thread.
//
// Lines without end (a program's output, a minified script) would be shaped as a whole by the text layout; so
// they are laid out in pieces. Line numbers and what is copied know nothing of the pieces.
// Nothing is highlighted: Debian 12 has a library for that (KSyntaxHighlighting) for Qt 5 only.
#pragma once

#include <QPlainTextEdit>

namespace morv {

struct PreviewText;

class TextPreviewView : public QPlainTextEdit {
    Q_OBJECT

public:
    enum class LineNumbers : std::uint8_t { hide, show };

    TextPreviewView(LineNumbers numbers, QWidget* parent);

    void setPreview(const PreviewText& preview);
    /// For the margin.
    int numbersWidth() const;
    void paintNumbers(QPaintEvent* event, QWidget& margin);

    static constexpr qsizetype longestPiece = 2000; ///< UTF-16 units

protected:
    QMimeData* createMimeDataFromSelection() const override;
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void placeMargin();
    void retint();

    QWidget* margin_ = nullptr; ///< null: no numbers
    int lines_ = 0;
};

} // namespace morv
