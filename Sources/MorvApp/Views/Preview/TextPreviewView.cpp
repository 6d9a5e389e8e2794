#include "MorvApp/Views/Preview/TextPreviewView.h"

#include "MorvApp/Model/PreviewReading.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QFontDatabase>
#include <QMimeData>
#include <QPaintEvent>
#include <QPainter>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextLayout>
#include <algorithm>
#include <array>
#include <vector>

namespace morv {

namespace {

constexpr int fewestDigits = 3;
/// State of a block that goes on with the line of the block before it; of others, the line's number.
constexpr int continues = 0;

QColor colourOf(TextStyle style, const ThemeColours& colours) {
    switch (style) {
    case TextStyle::comment:
        return colours.source.comment;
    case TextStyle::string:
        return colours.source.string;
    case TextStyle::keyword:
        return colours.source.keyword;
    case TextStyle::type:
        return colours.source.type;
    case TextStyle::number:
        return colours.source.number;
    case TextStyle::preprocessor:
        return colours.source.preprocessor;
    case TextStyle::function:
        return colours.source.function;
    case TextStyle::variable:
        return colours.source.variable;
    case TextStyle::inserted:
        return colours.success;
    case TextStyle::removed:
        return colours.failure;
    }
    return colours.text;
}

class NumberMargin : public QWidget {
public:
    explicit NumberMargin(TextPreviewView& view) : QWidget(&view), view_(view) {}

protected:
    void paintEvent(QPaintEvent* event) override { view_.paintNumbers(event, *this); }

private:
    TextPreviewView& view_;
};

struct Pieces {
    QString text;
    std::vector<int> states; ///< of each block
};

Pieces inPieces(const QString& text) {
    Pieces result;
    result.text.reserve(text.size() + text.size() / TextPreviewView::longestPiece);
    int line = 0;
    for (qsizetype start = 0; start <= text.size();) {
        auto end = text.indexOf(QLatin1Char('\n'), start);
        if (end < 0)
            end = text.size();
        result.states.push_back(++line);
        while (end - start > TextPreviewView::longestPiece) {
            auto length = TextPreviewView::longestPiece;
            if (text.at(start + length).isLowSurrogate())
                --length;
            result.text += QStringView(text).mid(start, length);
            result.text += QLatin1Char('\n');
            result.states.push_back(continues);
            start += length;
        }
        result.text += QStringView(text).mid(start, end - start);
        if (end < text.size())
            result.text += QLatin1Char('\n');
        start = end + 1;
    }
    // To a text document these two code points, which no text should hold, are ends of blocks.
    for (const char16_t frame : {u'\uFDD0', u'\uFDD1'})
        result.text.replace(QChar(frame), QChar(QChar::ReplacementCharacter));
    return result;
}

} // namespace

TextPreviewView::TextPreviewView(LineNumbers numbers, QWidget* parent) : QPlainTextEdit(parent) {
    setObjectName(QStringLiteral("previewText"));
    setAccessibleName(QStringLiteral("Text of the file"));
    setReadOnly(true);
    setUndoRedoEnabled(false);
    setFrameShape(QFrame::NoFrame);
    setLineWrapMode(QPlainTextEdit::WidgetWidth);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    // Keys that move a cursor nobody sees would be lost: they scroll.
    setTextInteractionFlags(Qt::TextSelectableByMouse);
    document()->setDocumentMargin(Space::medium);
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    setTabStopDistance(4 * fontMetrics().horizontalAdvance(QLatin1Char(' ')));
    if (numbers == LineNumbers::show) {
        margin_ = new NumberMargin(*this);
        connect(this, &QPlainTextEdit::updateRequest, this, [this](const QRect& rect, int dy) {
            if (dy != 0)
                margin_->scroll(0, dy);
            else
                margin_->update(0, rect.y(), margin_->width(), rect.height());
        });
    }
    connect(&Theme::shared(), &Theme::changed, this, &TextPreviewView::retint);
    retint();
}

void TextPreviewView::setPreview(const PreviewText& preview) {
    highlights_.clear();
    const auto pieces = inPieces(preview.text);
    setPlainText(pieces.text);
    lines_ = 0;
    auto block = document()->begin();
    for (const int state : pieces.states) {
        block.setUserState(state);
        lines_ = std::max(lines_, state);
        block = block.next();
    }
    verticalScrollBar()->setValue(0);
    placeMargin();
}

void TextPreviewView::setHighlights(std::vector<TextHighlight> highlights) {
    highlights_ = std::move(highlights);
    if (!highlights_.empty())
        showHighlights();
}

void TextPreviewView::showHighlights() {
    const auto& colours = Theme::shared().colours();
    std::array<QTextCharFormat, static_cast<std::size_t>(TextStyle::removed) + 1> formats;
    for (std::size_t style = 0; style < formats.size(); ++style)
        formats[style].setForeground(colourOf(static_cast<TextStyle>(style), colours));
    auto next = highlights_.cbegin();
    int breaks = 0; // that the text itself does not have
    for (auto block = document()->begin(); block.isValid() && next != highlights_.cend();
         block = block.next()) {
        breaks += block.userState() == continues;
        const auto start = static_cast<std::size_t>(block.position() - breaks);
        const auto end = start + static_cast<std::size_t>(block.length() - 1);
        QList<QTextLayout::FormatRange> ranges;
        for (; next != highlights_.cend() && next->start < end; ++next) {
            const auto from = std::max(next->start, start);
            const auto to = std::min(next->start + next->length, end);
            if (from < to)
                ranges.push_back({static_cast<int>(from - start), static_cast<int>(to - from),
                                  formats[static_cast<std::size_t>(next->style)]});
            if (next->start + next->length > end)
                break; // it goes on in the next block
        }
        if (!ranges.isEmpty())
            block.layout()->setFormats(ranges);
    }
    document()->markContentsDirty(0, document()->characterCount());
}

QMimeData* TextPreviewView::createMimeDataFromSelection() const {
    const auto cursor = textCursor();
    QString text;
    for (auto block = document()->findBlock(cursor.selectionStart());
         block.isValid() && block.position() <= cursor.selectionEnd(); block = block.next()) {
        const bool isFirst = block.contains(cursor.selectionStart());
        if (!isFirst && block.userState() != continues)
            text += QLatin1Char('\n');
        const auto from = std::max(0, cursor.selectionStart() - block.position());
        const auto to = std::min(block.length() - 1, cursor.selectionEnd() - block.position());
        text += QStringView(block.text()).mid(from, to - from);
    }
    auto* copied = new QMimeData;
    copied->setText(text);
    return copied;
}

int TextPreviewView::numbersWidth() const {
    int digits = fewestDigits;
    for (int most = 999; lines_ > most && digits < 9; most = most * 10 + 9)
        ++digits;
    return Space::large + digits * fontMetrics().horizontalAdvance(QLatin1Char('0'));
}

void TextPreviewView::placeMargin() {
    if (!margin_)
        return;
    const int width = numbersWidth();
    const bool isMirrored = layoutDirection() == Qt::RightToLeft;
    setViewportMargins(isMirrored ? 0 : width, 0, isMirrored ? width : 0, 0);
    const auto place = contentsRect();
    margin_->setGeometry(isMirrored ? viewport()->geometry().right() + 1 : place.left(), place.top(), width,
                         place.height());
    margin_->update();
}

void TextPreviewView::paintNumbers(QPaintEvent* event, QWidget& margin) {
    QPainter painter(&margin);
    painter.setFont(font());
    painter.setPen(Theme::shared().colours().secondaryText);
    const auto line = fontMetrics().height();
    for (auto block = firstVisibleBlock(); block.isValid(); block = block.next()) {
        const auto top = qRound(blockBoundingGeometry(block).translated(contentOffset()).top());
        if (top > event->rect().bottom())
            break;
        if (block.userState() != continues)
            painter.drawText(QRect(0, top, margin.width() - Space::small / 2, line), Qt::AlignRight,
                             QString::number(block.userState()));
    }
}

void TextPreviewView::resizeEvent(QResizeEvent* event) {
    QPlainTextEdit::resizeEvent(event);
    placeMargin();
}

void TextPreviewView::changeEvent(QEvent* event) {
    QPlainTextEdit::changeEvent(event);
    if (event->type() == QEvent::LayoutDirectionChange)
        placeMargin();
}

void TextPreviewView::retint() {
    const auto& colours = Theme::shared().colours();
    auto palette = this->palette();
    palette.setColor(QPalette::Base, colours.content);
    palette.setColor(QPalette::Text, colours.text);
    setPalette(palette);
    if (!highlights_.empty())
        showHighlights();
    if (margin_)
        margin_->update();
}

} // namespace morv
