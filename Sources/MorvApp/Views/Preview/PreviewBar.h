// The line above a large preview: what it is, and the buttons for pages, scale and opening. Main thread.
#pragma once

#include <QFrame>

class QLabel;
class QToolButton;

namespace morv {

class PreviewBar : public QFrame {
    Q_OBJECT

public:
    explicit PreviewBar(QWidget* parent);

    void setTitle(const QString& title, const QString& detail);
    /// From 0; no buttons for less than two pages.
    void setPages(int page, int count);
    /// Of a picture or a page; hides the buttons without one.
    void setScale(bool hasPicture, double scale, bool fits);
    void setOpenable(bool isOpenable);

Q_SIGNALS:
    void pageWanted(int by);
    void zoomed(double factor);
    void fitWanted();
    void naturalWanted();
    void openWanted();

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    QToolButton* addButton(const QString& icon, const QString& name);
    void elide();

    QWidget* words_;
    QLabel* titleLabel_;
    QLabel* detailLabel_;
    QLabel* pageLabel_;
    QToolButton* previousPage_;
    QToolButton* nextPage_;
    QToolButton* zoomOut_;
    QToolButton* scale_;
    QToolButton* zoomIn_;
    QToolButton* open_;
    QString title_;
    QString detail_;
};

} // namespace morv
