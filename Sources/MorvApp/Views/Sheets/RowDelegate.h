// Rows with room to breathe, all of one height, so that a list of thousands never measures each of them.
#pragma once

#include "MorvApp/Views/Theme/Text.h"

#include <QStyledItemDelegate>

namespace morv {

class RowDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const override {
        return {80, option.fontMetrics.height() + 12};
    }

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
        QStyledItemDelegate::initStyleOption(option, index);
        option->text = inOwnDirection(option->text);
    }
};

} // namespace morv
