#include "MorvApp/Views/Workspaces/WorkspaceColours.h"

#include <QPainter>
#include <QPixmap>
#include <map>

namespace morv {

QColor workspaceColour(std::string_view name) {
    static const std::map<std::string_view, QColor> colours{
        {"teal", QColor::fromRgbF(0.04F, 0.46F, 0.49F)},
        {"saffron", QColor::fromRgbF(0.87F, 0.47F, 0.02F)},
        {"sapphire", QColor::fromRgbF(0.13F, 0.39F, 0.83F)},
        {"coral", QColor::fromRgbF(0.78F, 0.19F, 0.30F)},
        {"plum", QColor::fromRgbF(0.49F, 0.26F, 0.58F)},
        {"graphite", QColor::fromRgbF(0.29F, 0.33F, 0.39F)}};
    const auto found = colours.find(name);
    return found == colours.end() ? colours.at("graphite") : found->second;
}

QIcon workspaceMark(std::string_view name) {
    QIcon icon;
    for (const int size : {16, 32}) {
        QPixmap picture(size, size);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(workspaceColour(name));
        painter.drawEllipse(QRectF(size * 0.19, size * 0.19, size * 0.62, size * 0.62));
        painter.end();
        icon.addPixmap(picture);
    }
    return icon;
}

} // namespace morv
