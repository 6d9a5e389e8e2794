#include "MorvApp/Views/Sheets/TagsSheet.h"

#include "MorvApp/Model/InspectorModel.h"
#include "MorvApp/Views/Tags/FlowLayout.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>

namespace morv {

namespace {

constexpr QSize card{480, 480};
constexpr std::size_t mostOffered = 14;

} // namespace

TagsSheet::TagsSheet(AppModel& app, QWidget* window)
    : Sheet(QStringLiteral("Tags"), card, Height::fitting, window), app_(app),
      items_(app.currentPane().selectedURLs()), known_(knownTags(app)) {
    using Presence = TagChip::Presence;
    const auto selected = app.currentPane().selectedEntries();
    const auto summary = summarise(selected);
    for (const auto& tag : summary.tags) {
        const auto presence = tag.carriers == summary.count ? Presence::all : Presence::some;
        before_.emplace(tag.name, presence);
        tags_.push_back({tag.name, 0, presence});
    }
    addText(selected.size() == 1 ? QStringLiteral("Of “%1”").arg(shown(selected.front()->name))
                                 : QStringLiteral("Of %1").arg(shownCount(selected.size())));
    editor_ = new TagEditor(this);
    editor_->setSource([this] { return known_; });
    body()->addWidget(editor_);
    addText(QStringLiteral("Add one of these"));
    offered_ = new QWidget(this);
    offeredFlow_ = new FlowLayout(offered_, Space::tiny);
    body()->addWidget(offered_);
    note_ =
        addText(QStringLiteral("A dashed tag is on some of the items. Click it to put it on all of them."));
    addCancel(QStringLiteral("Cancel"));
    auto* confirm = addDefault(QStringLiteral("Update Tags"));
    connect(editor_, &TagEditor::added, this, &TagsSheet::add);
    connect(editor_, &TagEditor::removed, this, &TagsSheet::remove);
    connect(this, &Sheet::cancelled, &app_, &AppModel::closeSheet);
    connect(confirm, &QPushButton::clicked, this, &TagsSheet::apply);
    refill();
    present(&editor_->field());
}

void TagsSheet::add(const std::string& tag) {
    const auto found = std::ranges::find(tags_, tag, &EditedTag::name);
    if (found == tags_.end())
        tags_.push_back({tag, 0, TagChip::Presence::all});
    else
        found->presence = TagChip::Presence::all;
    refill();
}

void TagsSheet::remove(const std::string& tag) {
    std::erase_if(tags_, [&](const EditedTag& each) { return each.name == tag; });
    refill();
}

void TagsSheet::refill() {
    editor_->setTags(tags_);
    while (auto* item = offeredFlow_->takeAt(0)) {
        // It may be in the middle of its click.
        item->widget()->hide();
        item->widget()->deleteLater();
        delete item;
    }
    int next = 0;
    for (const auto& tag : known_) {
        if (std::ranges::find(tags_, tag, &EditedTag::name) != tags_.end())
            continue;
        auto* chip = new TagChip(tag, 0, TagChip::Presence::none, offered_);
        connect(chip, &TagChip::completed, this, [this, tag] {
            add(tag);
            editor_->field().setFocus();
        });
        offeredFlow_->insertWidget(next++, chip);
        chip->show();
        if (static_cast<std::size_t>(next) == mostOffered)
            break;
    }
    note_->setVisible(std::ranges::find(tags_, TagChip::Presence::some, &EditedTag::presence) != tags_.end());
    if (isVisible())
        place();
}

TagChange TagsSheet::change() const {
    TagChange change;
    for (const auto& tag : tags_) {
        const auto old = before_.find(tag.name);
        if (tag.presence == TagChip::Presence::all &&
            (old == before_.end() || old->second != TagChip::Presence::all))
            change.add.push_back(tag.name);
    }
    for (const auto& [name, presence] : before_)
        if (std::ranges::find(tags_, name, &EditedTag::name) == tags_.end())
            change.remove.push_back(name);
    return change;
}

void TagsSheet::apply() {
    // What stands in the field is meant, too.
    editor_->commit();
    // Closing the sheet takes this object away.
    auto& app = app_;
    auto items = items_;
    auto wanted = change();
    app.closeSheet();
    app.changeTags(std::move(items), std::move(wanted));
}

} // namespace morv
