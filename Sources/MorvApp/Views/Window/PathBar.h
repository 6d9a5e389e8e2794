// Where the pane is: a button for each folder on the way, or a field to type a path.
// The buttons keep locations in bytes; a typed path is parsed only when it was changed. Main thread.
#pragma once

#include "MorvApp/Model/PaneModel.h"

#include <QFrame>
#include <vector>

class QHBoxLayout;
class QLineEdit;
class QToolButton;

namespace morv {

class PathBar : public QFrame {
    Q_OBJECT

public:
    explicit PathBar(PaneModel& pane, QWidget* parent = nullptr);

    /// Shows another pane's place; the one before may go afterwards.
    void setPane(PaneModel& pane);

    void beginEditing();
    bool isEditing() const;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

Q_SIGNALS:
    /// Editing has ended; the collection wants the keyboard back.
    void editingEnded();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Crumb {
        FileURL folder;
        QToolButton* button;
        QWidget* arrow; ///< before the button; null for the first
    };

    void rebuild();
    void fit();
    void endEditing();
    void commit();
    void showHiddenFolders();

    PaneModel* pane_;
    QMetaObject::Connection following_;
    QHBoxLayout* layout_;
    QToolButton* overflow_;
    std::vector<Crumb> crumbs_;
    QLineEdit* editor_;
    QString originalText_;
};

} // namespace morv
