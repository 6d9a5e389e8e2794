#include "MorvApp/Views/Theme/PlaceSymbols.h"

#include <QIconEngine>
#include <QPainter>
#include <algorithm>
#include <array>

namespace morv {

namespace {

constexpr std::array symbols = {
    FolderSymbol{"folder", "Folder",
                 "M 3 7 Q 3 5 5 5 L 9 5 L 11.2 7.4 L 19 7.4 Q 21 7.4 21 9.4 L 21 17.4 Q 21 19.4 19 19.4 "
                 "L 5 19.4 Q 3 19.4 3 17.4 Z"},
    FolderSymbol{"drive", "Drive",
                 "R 3 13 18 6.6 2 M 3.5 13.8 L 6 6.6 Q 6.5 5 8.2 5 L 15.8 5 Q 17.5 5 18 6.6 L 20.5 13.8",
                 "O 17.2 16.3 1.2"},
    FolderSymbol{"stick", "Removable drive", "R 7.2 9 9.6 12 2 M 9.4 9 L 9.4 3.4 L 14.6 3.4 L 14.6 9"},
    FolderSymbol{"eject", "Eject", "M 5 14.4 L 12 6 L 19 14.4 Z M 5 18.6 L 19 18.6"},
    FolderSymbol{"server", "Server",
                 "R 4 3.8 16 6.8 1.8 R 4 13.4 16 6.8 1.8 M 11.4 7.2 L 16 7.2 M 11.4 16.8 L 16 16.8",
                 "O 7.8 7.2 1.2 O 7.8 16.8 1.2"},
    FolderSymbol{
        "cloud", "Cloud",
        "M 7 18.8 C 3.8 18.8 2.4 16.6 2.4 14.5 C 2.4 12.3 4 10.5 6.2 10.3 C 6.6 7.3 9 5.3 12 5.3 "
        "C 15 5.3 17.3 7.3 17.8 9.9 C 20.2 10.1 21.6 12.1 21.6 14.3 C 21.6 16.8 19.8 18.8 17.4 18.8 Z"},
    FolderSymbol{"search", "Search", "O 10.6 10.6 6.8 M 15.6 15.6 L 20.8 20.8"},
    FolderSymbol{"trash", "Trash",
                 "M 4 6.4 L 20 6.4 M 9 6.2 L 9.6 3.6 L 14.4 3.6 L 15 6.2 M 5.8 6.6 L 6.7 18.8 "
                 "Q 6.8 20.6 8.6 20.6 L 15.4 20.6 Q 17.2 20.6 17.3 18.8 L 18.2 6.6 M 10 10.4 L 10.3 16.6 "
                 "M 14 10.4 L 13.7 16.6"},
    FolderSymbol{"chevron.right", "Closed", "M 9.5 6 L 15.5 12 L 9.5 18"},
    FolderSymbol{"chevron.down", "Open", "M 6 9.5 L 12 15.5 L 18 9.5"},
    FolderSymbol{"settings.general", "General",
                 "M 3 7 L 13 7 M 19 7 L 21 7 O 16 7 2.6 M 3 17 L 5 17 M 11 17 L 21 17 O 8 17 2.6"},
    FolderSymbol{"settings.keys", "Keys",
                 "R 2.6 6 18.8 12 2.4 M 6.5 10 L 6.5 10.2 M 10.2 10 L 10.2 10.2 M 13.8 10 L 13.8 10.2 "
                 "M 17.5 10 L 17.5 10.2 M 7.5 14.2 L 16.5 14.2"},
    FolderSymbol{"settings.appearance", "Appearance",
                 "O 12 12 8.6 M 12 3.4 L 12 20.6 M 12 8 L 19.4 8 M 12 12 L 20.6 12 M 12 16 L 19.4 16"},
    FolderSymbol{"settings.suggestions", "Suggestions",
                 "M 9 17.4 L 15 17.4 M 10 20.6 L 14 20.6 M 9 17.4 C 9 14.4 5.6 13.4 5.6 9.4 "
                 "C 5.6 5.6 8.6 3 12 3 C 15.4 3 18.4 5.6 18.4 9.4 C 18.4 13.4 15 14.4 15 17.4"},
    FolderSymbol{"settings.developer", "Developer tools",
                 "R 2.8 4.2 18.4 15.6 2.4 M 6.8 9 L 10 12 L 6.8 15 M 12 15 L 16.6 15"},
    FolderSymbol{"settings.data", "Data",
                 "M 4 6 C 4 2.4 20 2.4 20 6 C 20 9.6 4 9.6 4 6 M 4 6 L 4 18 C 4 21.6 20 21.6 20 18 "
                 "L 20 6 M 4 12 C 4 15.6 20 15.6 20 12"},
};

class SymbolEngine : public QIconEngine {
public:
    SymbolEngine(const FolderSymbol& symbol, const QColor& colour) : symbol_(symbol), colour_(colour) {}

    void paint(QPainter* painter, const QRect& place, QIcon::Mode mode, QIcon::State) override {
        auto colour = colour_;
        if (mode == QIcon::Disabled)
            colour.setAlphaF(colour.alphaF() * 0.55F);
        const int side = std::min(place.width(), place.height());
        QRectF square(0, 0, side, side);
        square.moveCenter(QRectF(place).center());
        drawSymbol(*painter, symbol_, square, colour);
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        QPixmap result(size);
        result.fill(Qt::transparent);
        QPainter painter(&result);
        paint(&painter, QRect(QPoint(), size), mode, state);
        return result;
    }
    QIconEngine* clone() const override { return new SymbolEngine(*this); }

private:
    const FolderSymbol& symbol_;
    QColor colour_;
};

} // namespace

std::span<const FolderSymbol> placeSymbols() {
    return symbols;
}

const FolderSymbol& placeSymbol(std::string_view name) {
    const auto found = std::ranges::find(symbols, name, &FolderSymbol::name);
    if (found != symbols.end())
        return *found;
    const auto* onFolders = folderSymbol(name);
    return onFolders ? *onFolders : symbols.front();
}

QIcon placeIcon(std::string_view name, const QColor& colour) {
    return QIcon(new SymbolEngine(placeSymbol(name), colour));
}

} // namespace morv
