// The field that searches the active pane's folder by name, as it is typed, and narrows what is shown by a tag and
// a kind. Tag and kind stand in it as chips: typed ("tag:red", "kind:images"), completed, or chosen from its menu
// (Alt+Down); Backspace before the text takes the last one away.
//
// The tag is a part of the search and looks through everything below the folder; the kind only hides what is of
// another one, in folders and search results alike. A search begins where the pane is; searching the home folder
// goes there, so that Back leads to where it began. Main thread.
#pragma once

#include "MorvCore/Folders/FileEntry.h"

#include <QLineEdit>
#include <QPointer>
#include <optional>
#include <string>
#include <vector>

class QCompleter;
class QStringListModel;
class QToolButton;

namespace morv {

class AppModel;
class PaneModel;
class TagChip;

class SearchField : public QLineEdit {
    Q_OBJECT

public:
    explicit SearchField(AppModel& app, QWidget* parent = nullptr);

    void chooseTag(std::optional<std::string> tag);
    void chooseKind(std::optional<FileKind> kind);
    void searchHome();

Q_SIGNALS:
    /// The keyboard is wanted no more here.
    void ended();

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    enum class Meaning : std::uint8_t { typing, meant };

    void search(const QString& text, Meaning meaning);
    /// Sends the pane what it shall look for; it reads only when that is something else.
    void send(const std::string& query, const std::optional<std::string>& tag);
    void clearAll();
    bool takeLastToken();
    void followPane();
    void updateChips();
    void placeChips();
    void offer(const std::string& open);
    void complete(const QString& word);
    void showMenu();

    AppModel& app_;
    QToolButton* lens_;
    std::vector<TagChip*> chips_; ///< the tag's, then the kind's
    std::optional<std::string> shownTag_;
    std::optional<FileKind> shownKind_;
    QPointer<PaneModel> sentTo_;
    std::string sent_; ///< the query that this field gave its pane
    std::string open_; ///< the token that is being typed
    QCompleter* completer_;
    QStringListModel* words_;
};

} // namespace morv
