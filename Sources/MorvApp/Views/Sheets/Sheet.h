// A card over the window's content, which waits behind a veil. Tab stays inside; Escape cancels. Main thread.
#pragma once

#include "MorvApp/Views/Sheets/KeyGuard.h"

#include <QPointer>
#include <QWidget>

class QFrame;
class QHBoxLayout;
class QLabel;
class QPushButton;
class QVBoxLayout;

namespace morv {

class Sheet : public QWidget {
    Q_OBJECT

public:
    /// A card as high as what it holds, or one that takes the height it may have (for lists).
    enum class Height : std::uint8_t { fitting, full };

    /// Covers `window` from now on and takes the keyboard; the card never outgrows the window.
    Sheet(const QString& title, QSize largest, Height height, QWidget* window);
    /// Goes from the screen, gives the keyboard back to what had it if that is still there, and deletes
    /// itself from the event loop: it may be in the middle of the click that ends it.
    void leave();
    /// Goes from the screen as it is, until comeBack() gives it the keyboard again.
    void stepAside();
    void comeBack();
    /// For one that nobody has asked for just now: it does not take keys that were meant for something else.
    void guardKeys(KeyGuard::Clock clock = std::chrono::steady_clock::now);

Q_SIGNALS:
    void cancelled();

protected:
    QVBoxLayout* body() { return body_; }
    /// Between the title and the body.
    QLabel* addText(const QString& text, const char* role = "secondary");
    QPushButton* addCancel(const QString& title);
    /// At the left, apart from what ends the sheet.
    QPushButton* addAction(const QString& title);
    /// The button of Return.
    QPushButton* addDefault(const QString& title);
    /// Lays the card out; called by a subclass when it is filled.
    void present(QWidget* focus);
    /// Lays it out again, after what it holds has become more or less.
    void place();

    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    bool focusNextPrevChild(bool next) override;

private:
    /// Rises into its place, as far as motion is wanted.
    void arrive();

    QSize largest_;
    Height height_;
    QFrame* card_;
    QVBoxLayout* body_;
    QHBoxLayout* buttons_;
    int actionCount_ = 0;
    double arrival_ = 1; ///< 0 to 1: how far it has come
    QPushButton* default_ = nullptr;
    QPointer<QWidget> previousFocus_;
    QPointer<QWidget> ownFocus_; ///< that has the keyboard again when it comes back
    QPointer<KeyGuard> guard_;
};

} // namespace morv
