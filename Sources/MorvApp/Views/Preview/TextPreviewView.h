// A text to be read: monospaced, with the numbers of its lines, or as a plain beginning of it. Main thread.
//
// Lines without end (a program's output, a minified script) would be shaped as a whole by the text layout; so
// they are laid out in pieces. Line numbers and what is copied know nothing of the pieces.
// Colours come later, or never, and move nothing: they lie over the layout of lines, not in the text.
#pragma once

#include "MorvApp/Model/TextHighlighter.h"

#include <QPlainTextEdit>
#include <vector>

namespace morv {

struct PreviewText;

class TextPreviewView : public QPlainTextEdit {
    Q_OBJECT

public:
    enum class LineNumbers : std::uint8_t { hide, show };

    TextPreviewView(LineNumbers numbers, QWidget* parent);

    /// Without colours.
    void setPreview(const PreviewText& preview);
    /// Once for each text, in its UTF-16 units: in its order, none over another.
    void setHighlights(std::vector<TextHighlight> highlights);
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
    void showHighlights();

    QWidget* margin_ = nullptr; ///< null: no numbers
    int lines_ = 0;
    std::vector<TextHighlight> highlights_;
};

} // namespace morv
