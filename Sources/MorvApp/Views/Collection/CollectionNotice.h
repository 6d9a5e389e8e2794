// What a collection says in place of files: that there are none, that they are being read, or why they cannot
// be shown, and what can be done about it. Main thread.
#pragma once

#include <QString>
#include <QWidget>
#include <cstdint>
#include <functional>
#include <vector>

class QHBoxLayout;
class QPainter;

namespace morv {

class IconCache;

enum class NoticeAction : std::uint8_t { goUp, goBack, tryAgain, cancel, showHidden };

struct CollectionNotice {
    QString symbol; ///< of the icon theme; empty: none
    QString title;
    QString detail;
    std::vector<NoticeAction> actions;

    friend bool operator==(const CollectionNotice&, const CollectionNotice&) = default;
};

/// Draws the words in the middle of `area` and returns where they end.
int paintNoticeWords(QPainter& painter, const QRect& area, const CollectionNotice& notice, IconCache& icons);

/// The buttons beneath the words.
class NoticeButtons : public QWidget {
    Q_OBJECT

public:
    NoticeButtons(QWidget& viewport, std::function<void(NoticeAction)> chosen);

    /// Hides itself when there are none.
    void offer(const std::vector<NoticeAction>& actions);
    void placeBelow(int y);
    /// Those that can be seen.
    std::vector<QWidget*> buttons() const;

private:
    std::function<void(NoticeAction)> chosen_;
    std::vector<NoticeAction> shown_;
    QHBoxLayout* row_;
};

} // namespace morv
