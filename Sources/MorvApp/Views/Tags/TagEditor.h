// The tags of one or several items as chips, and a field that adds to them. It changes nothing itself: it says
// what is wanted and shows what it is given. Main thread.
#pragma once

#include "MorvApp/Views/Tags/TagChip.h"

#include <QWidget>
#include <string>
#include <vector>

class QCompleter;
class QLineEdit;
class QStringListModel;

namespace morv {

class FlowLayout;

struct EditedTag {
    std::string name;
    int colour = 0; ///< as it is stored; 0: by the name
    TagChip::Presence presence = TagChip::Presence::all;

    friend bool operator==(const EditedTag&, const EditedTag&) = default;
};

class TagEditor : public QWidget {
    Q_OBJECT

public:
    explicit TagEditor(QWidget* parent = nullptr);

    void setTags(const std::vector<EditedTag>& tags);
    /// What the field completes to. Asked when the field receives the keyboard.
    void setSource(std::function<std::vector<std::string>()> known) { known_ = std::move(known); }
    QLineEdit& field() { return *field_; }
    /// Takes what stands in the field, as Return would.
    void commit();

Q_SIGNALS:
    void added(const std::string& name);
    void removed(const std::string& name);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    /// True when the key has done something to the tags.
    bool fieldKey(int key);
    void remove(const std::string& name);
    void offerKnown();

    std::function<std::vector<std::string>()> known_;
    std::vector<EditedTag> tags_;
    std::vector<TagChip*> chips_;
    FlowLayout* flow_;
    QLineEdit* field_;
    QCompleter* completer_;
    QStringListModel* words_;
};

} // namespace morv
