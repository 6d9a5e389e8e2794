// Draws the rows of the sidebar: a symbol in the text's colour, a name, and how full a volume is. Main thread.
#pragma once

#include <QStyledItemDelegate>

namespace morv {

class Sidebar;
struct SidebarRow;

class SidebarDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    explicit SidebarDelegate(const Sidebar& sidebar);

    static constexpr int rowHeight = 30;
    static constexpr int volumeHeight = 38; ///< with a bar of its space
    static constexpr int headingHeight = 34;
    static constexpr int railHeight = 40;
    static constexpr int gapHeight = 12;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;

private:
    void paintHeading(QPainter& painter, const QStyleOptionViewItem& option, const QString& title,
                      bool isClosed) const;
    void paintBack(QPainter& painter, const QStyleOptionViewItem& option, const SidebarRow& row) const;
    void paintSymbol(QPainter& painter, const QStyleOptionViewItem& option, const SidebarRow& row,
                     QRect place) const;
    void paintName(QPainter& painter, const QStyleOptionViewItem& option, const SidebarRow& row,
                   QRect place) const;
    void paintSpace(QPainter& painter, const SidebarRow& row, QRect place) const;

    const Sidebar& sidebar_;
};

} // namespace morv
