#include "MorvApp/Views/Theme/FolderSymbols.h"

#include <QPainter>
#include <algorithm>
#include <array>
#include <charconv>

namespace morv {

namespace {

constexpr double grid = 24;
constexpr double lineWidth = 1.9;

constexpr std::array symbols = {
    FolderSymbol{
        "doc.text", "Document",
        "M 6.5 3 L 14 3 L 19 8 L 19 19.5 Q 19 21 17.5 21 L 6.5 21 Q 5 21 5 19.5 L 5 4.5 Q 5 3 6.5 3 Z "
        "M 14 3 L 14 8 L 19 8 M 8.5 12.5 L 15.5 12.5 M 8.5 16.5 L 15.5 16.5"},
    FolderSymbol{"photo", "Photo", "R 3 4.5 18 15 2.5 M 4 17 L 9 12 L 13 16 L 16 13 L 20.5 17.5",
                 "O 15.6 9.2 1.7"},
    FolderSymbol{"film", "Film",
                 "R 3 4.5 18 15 2 M 7.5 4.5 L 7.5 19.5 M 16.5 4.5 L 16.5 19.5 M 3 9.5 L 7.5 9.5 "
                 "M 3 14.5 L 7.5 14.5 M 16.5 9.5 L 21 9.5 M 16.5 14.5 L 21 14.5"},
    FolderSymbol{"music.note", "Music", "M 9.3 17.6 L 9.3 6 L 19.3 3.8 L 19.3 15.4 M 9.3 10 L 19.3 7.8",
                 "O 6.8 17.6 2.9 O 16.8 15.4 2.9"},
    FolderSymbol{
        "pencil.and.outline", "Drawing",
        "M 12.5 4.5 L 7 4.5 Q 4 4.5 4 7.5 L 4 17 Q 4 20 7 20 L 16.5 20 Q 19.5 20 19.5 17 L 19.5 11.5 "
        "M 18.3 3 L 21 5.7 L 12.2 14.5 L 8.8 15.2 L 9.5 11.8 Z"},
    FolderSymbol{"camera.viewfinder", "Screenshot",
                 "M 3 7.5 L 3 5.5 Q 3 3 5.5 3 L 7.5 3 M 16.5 3 L 18.5 3 Q 21 3 21 5.5 L 21 7.5 "
                 "M 21 16.5 L 21 18.5 Q 21 21 18.5 21 L 16.5 21 M 7.5 21 L 5.5 21 Q 3 21 3 18.5 L 3 16.5 "
                 "R 6.8 8.6 10.4 7.8 1.8 O 12 12.5 1.9"},
    FolderSymbol{"archivebox", "Archive",
                 "R 3 4 18 5 1.5 M 4.8 9 L 4.8 18 Q 4.8 20 6.8 20 L 17.2 20 Q 19.2 20 19.2 18 L 19.2 9 "
                 "M 9.5 13 L 14.5 13"},
    FolderSymbol{"arrow.down.circle", "Downloads",
                 "O 12 12 9.2 M 12 7 L 12 16.6 M 8 12.8 L 12 16.8 L 16 12.8"},
    FolderSymbol{"display", "Desktop", "R 3 4 18 12.5 2 M 12 16.5 L 12 20.4 M 8 20.4 L 16 20.4"},
    FolderSymbol{"app", "Applications",
                 "R 4 4 6.4 6.4 1.8 R 13.6 4 6.4 6.4 1.8 R 4 13.6 6.4 6.4 1.8 R 13.6 13.6 6.4 6.4 1.8"},
    FolderSymbol{
        "books.vertical", "Library",
        "R 3.2 4 4.8 16.5 1 R 8 4 4.8 16.5 1 M 14.4 5.6 L 17.9 4.5 L 21.6 19 L 18 20.1 Z M 3.2 8 L 8 8 "
        "M 8 8 L 12.8 8"},
    FolderSymbol{
        "gearshape", "System",
        "M 10.4 5.6 L 10.4 2.9 L 13.6 2.9 L 13.6 5.6 L 15.4 6.3 L 17.3 4.5 L 19.5 6.7 L 17.7 8.6 "
        "L 18.4 10.4 L 21.1 10.4 L 21.1 13.6 L 18.4 13.6 L 17.7 15.4 L 19.5 17.3 L 17.3 19.5 "
        "L 15.4 17.7 L 13.6 18.4 L 13.6 21.1 L 10.4 21.1 L 10.4 18.4 L 8.6 17.7 L 6.7 19.5 L 4.5 17.3 "
        "L 6.3 15.4 L 5.6 13.6 L 2.9 13.6 L 2.9 10.4 L 5.6 10.4 L 6.3 8.6 L 4.5 6.7 L 6.7 4.5 "
        "L 8.6 6.3 Z O 12 12 2.6"},
    FolderSymbol{"chevron.left.forwardslash.chevron.right", "Code",
                 "M 7.5 7 L 2.7 12 L 7.5 17 M 16.5 7 L 21.3 12 L 16.5 17 M 13.8 4.8 L 10.2 19.2"},
    FolderSymbol{"house", "Home",
                 "M 3.2 11.6 L 12 4 L 20.8 11.6 M 5.8 9.6 L 5.8 19 Q 5.8 20.2 7 20.2 L 17 20.2 "
                 "Q 18.2 20.2 18.2 19 L 18.2 9.6 M 9.8 20 L 9.8 14.4 L 14.2 14.4 L 14.2 20"},
    FolderSymbol{"briefcase", "Work",
                 "R 3 7.5 18 12.5 2 M 8.5 7.5 L 8.5 5.5 Q 8.5 4 10 4 L 14 4 Q 15.5 4 15.5 5.5 L 15.5 7.5 "
                 "M 3 13 L 21 13 M 12 11.8 L 12 14.4"},
    FolderSymbol{"person", "Person",
                 "O 12 7.8 4.2 M 4 20.6 C 4.4 15.4 8.6 14.2 12 14.2 C 15.4 14.2 19.6 15.4 20 20.6"},
    FolderSymbol{"envelope", "Letters", "R 3 5.2 18 13.6 2 M 3.8 6.8 L 12 13.2 L 20.2 6.8"},
    FolderSymbol{"calendar", "Calendar",
                 "R 3.5 5 17 15.5 2.2 M 3.5 10.2 L 20.5 10.2 M 8 2.8 L 8 6.8 M 16 2.8 L 16 6.8"},
    FolderSymbol{"creditcard", "Money", "R 2.6 5.2 18.8 13.6 2.4 M 2.6 10 L 21.4 10 M 6.2 14.9 L 10 14.9"},
    FolderSymbol{"globe", "World",
                 "O 12 12 9.2 M 2.8 12 L 21.2 12 M 12 2.8 C 6.6 7.2 6.6 16.8 12 21.2 "
                 "C 17.4 16.8 17.4 7.2 12 2.8"},
    FolderSymbol{"star", "Star",
                 "M 12 3.2 L 14.5 9.3 L 21.1 9.8 L 16.1 14.1 L 17.6 20.6 L 12 17.1 L 6.4 20.6 L 7.9 14.1 "
                 "L 2.9 9.8 L 9.5 9.3 Z"},
    FolderSymbol{"heart", "Heart",
                 "M 12 20.3 C 5 15.6 2.9 12.2 2.9 8.9 C 2.9 6.1 5 4.2 7.4 4.2 C 9.4 4.2 11.1 5.4 12 7.3 "
                 "C 12.9 5.4 14.6 4.2 16.6 4.2 C 19 4.2 21.1 6.1 21.1 8.9 C 21.1 12.2 19 15.6 12 20.3 Z"},
    FolderSymbol{"bookmark", "Bookmark",
                 "M 6.3 4.8 Q 6.3 3 8.1 3 L 15.9 3 Q 17.7 3 17.7 4.8 L 17.7 20.8 L 12 16.2 L 6.3 20.8 Z"},
    FolderSymbol{"flag", "Flag",
                 "M 5.5 3.2 L 5.5 21 M 5.5 4.4 C 9 2.4 12 7 19 4.4 L 19 13.6 C 12 16.2 9 11.6 5.5 13.6"},
    FolderSymbol{"tag", "Tag",
                 "M 3.3 4.8 Q 3.3 3.3 4.8 3.3 L 11.2 3.3 L 20.4 12.5 Q 21.4 13.5 20.4 14.5 L 14.5 20.4 "
                 "Q 13.5 21.4 12.5 20.4 L 3.3 11.2 Z",
                 "O 8 8 1.6"},
    FolderSymbol{"lock", "Private", "R 5 10.4 14 10.2 2.2 M 8 10.4 L 8 7.4 C 8 2 16 2 16 7.4 L 16 10.4",
                 "O 12 15.4 1.6"},
    FolderSymbol{
        "leaf", "Garden",
        "M 5.4 18.6 C 2.6 9.4 9 4 20.4 3.6 C 20.8 15 15.4 20.8 7.4 17.2 M 3.8 21 C 6 15.4 9.6 12.2 14.4 9.8"},
};

/// Reads the little language of the table, which holds no mistakes: a test draws every symbol.
class PathReader {
public:
    explicit PathReader(std::string_view text) : rest_(text) {}

    QPainterPath read() {
        QPainterPath path;
        while (const char command = next()) {
            switch (command) {
            case 'M':
                path.moveTo(point());
                break;
            case 'L':
                path.lineTo(point());
                break;
            case 'Q': {
                const auto control = point();
                path.quadTo(control, point());
                break;
            }
            case 'C': {
                const auto first = point();
                const auto second = point();
                path.cubicTo(first, second, point());
                break;
            }
            case 'R': {
                const auto corner = point();
                const auto size = point();
                const double radius = number();
                path.addRoundedRect(QRectF(corner, QSizeF(size.x(), size.y())), radius, radius);
                break;
            }
            case 'O': {
                const auto centre = point();
                const double radius = number();
                path.addEllipse(centre, radius, radius);
                break;
            }
            default:
                path.closeSubpath();
                break;
            }
        }
        return path;
    }

private:
    void skipBlanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(' '), rest_.size())); }
    char next() {
        skipBlanks();
        if (rest_.empty())
            return 0;
        const char command = rest_.front();
        rest_.remove_prefix(1);
        return command;
    }
    double number() {
        skipBlanks();
        double value = 0;
        const auto end = std::from_chars(rest_.data(), rest_.data() + rest_.size(), value).ptr;
        rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
        return value;
    }
    QPointF point() {
        const double x = number();
        return {x, number()};
    }

    std::string_view rest_;
};

} // namespace

std::span<const FolderSymbol> folderSymbols() {
    return symbols;
}

const FolderSymbol* folderSymbol(std::string_view name) {
    const auto found = std::ranges::find(symbols, name, &FolderSymbol::name);
    return found == symbols.end() ? nullptr : &*found;
}

void drawSymbol(QPainter& painter, const FolderSymbol& symbol, const QRectF& square, const QColor& colour) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(square.topLeft());
    painter.scale(square.width() / grid, square.height() / grid);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(colour, lineWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPath(PathReader(symbol.lines).read());
    painter.fillPath(PathReader(symbol.fills).read(), colour);
    painter.restore();
}

} // namespace morv
