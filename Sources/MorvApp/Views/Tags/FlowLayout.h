// Widgets in reading order, in as many rows as the width asks for. One that wants to expand takes what is left of
// its row. Main thread.
#pragma once

#include <QLayout>
#include <QList>

namespace morv {

class FlowLayout : public QLayout {
public:
    FlowLayout(QWidget* parent, int spacing);
    ~FlowLayout() override;

    void insertWidget(int index, QWidget* widget);

    void addItem(QLayoutItem* item) override;
    int count() const override { return static_cast<int>(items_.size()); }
    QLayoutItem* itemAt(int index) const override { return items_.value(index); }
    QLayoutItem* takeAt(int index) override;
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override { return arrange(QRect(0, 0, width, 0), Act::measure); }
    QSize sizeHint() const override { return minimumSize(); }
    QSize minimumSize() const override;
    void setGeometry(const QRect& rect) override;

private:
    enum class Act : std::uint8_t { measure, place };
    /// The height of all rows.
    int arrange(const QRect& rect, Act act) const;

    QList<QLayoutItem*> items_;
};

} // namespace morv
