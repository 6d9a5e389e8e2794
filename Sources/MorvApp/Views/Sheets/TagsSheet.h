// The tags of the selected items: what all of them carry, what some of them carry, and what could be added. Items
// keep the tags that nobody touches. Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Sheets/Sheet.h"
#include "MorvApp/Views/Tags/TagEditor.h"

#include <map>
#include <string>
#include <vector>

namespace morv {

class FlowLayout;

class TagsSheet : public Sheet {
    Q_OBJECT

public:
    TagsSheet(AppModel& app, QWidget* window);

private:
    void add(const std::string& tag);
    void remove(const std::string& tag);
    void refill();
    TagChange change() const;
    void apply();

    AppModel& app_;
    const std::vector<FileURL> items_; ///< the window may be sent elsewhere while the sheet is up
    std::map<std::string, TagChip::Presence> before_;
    std::vector<EditedTag> tags_;
    std::vector<std::string> known_;
    TagEditor* editor_;
    QWidget* offered_;
    FlowLayout* offeredFlow_;
    QLabel* note_;
};

} // namespace morv
