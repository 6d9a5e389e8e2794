// A tag: its colour, its name, and a cross that takes it away. Main thread.
#pragma once

#include <QAbstractButton>
#include <string>

namespace morv {

class TagChip : public QAbstractButton {
    Q_OBJECT

public:
    /// Whether all of the items carry the tag, or some. A tag of none of them is only offered.
    enum class Presence : std::uint8_t { all, some, none };

    TagChip(std::string name, int storedColour, Presence presence, QWidget* parent);

    const std::string& name() const { return name_; }
    Presence presence() const { return presence_; }
    /// As it stands in a line of text, no wider than that.
    void setSmall(int widest);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

Q_SIGNALS:
    void removed();
    /// A tag of some items, or of none, is wanted on all of them.
    void completed();

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    QRect crossRect() const;
    int crossRoom() const;

    const std::string name_;
    const int storedColour_;
    const Presence presence_;
    int height_;
    int widest_;
};

} // namespace morv
