// A pane as columns: the first is the pane's own folder, and each further one the folder that is selected in
// the column before it. One column is focused; commands work on its pane (AppModel::currentPane()), and the
// path bar shows its folder. None of this touches the pane's history: the pane stays where it is until the
// user goes somewhere else, searches or chooses another view.
//
// Invariants  I1  a column follows the one folder that is selected in the column before it; any other
//                 selection drops it, and everything behind it, at once
//             I2  behind the focused column stands one column at most, and nothing is selected in it
//             I3  a folder opens when its selection has rested, or by enter(): passing over a hundred folders
//                 reads none of them
//             I4  while the pane is the active one, the focused column's pane is the current one; it has been
//                 taken back, and dropping() been told, before a pane goes
// Threading   confined to the main thread
#pragma once

#include "MorvApp/Model/AppModel.h"

#include <QObject>
#include <QTimer>
#include <chrono>
#include <memory>
#include <optional>
#include <vector>

namespace morv {

class ColumnsModel : public QObject {
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds restTime{150};

    /// Both outlive this.
    ColumnsModel(AppModel& app, PaneModel& pane, QObject* parent = nullptr);
    ~ColumnsModel() override;

    std::size_t count() const { return 1 + children_.size(); }
    PaneModel& column(std::size_t index) const { return index == 0 ? root_ : *children_[index - 1].pane; }
    std::size_t focused() const { return focused_; }
    PaneModel& focusedColumn() const { return column(focused_); }
    /// The one file that is selected in the focused column, once that has rested.
    const std::optional<FileEntry>& preview() const { return preview_; }
    /// What stands behind the focused column is about to be decided.
    bool isResting() const { return rest_.isActive(); }

    /// The keyboard is in this column now.
    void focus(std::size_t index);
    /// Focuses the column that shows `folder`; false when none does.
    bool focusFolder(const FileURL& folder);
    /// Into the one folder that is selected in the focused column, to its first item; false when there is none.
    bool enter();
    /// Back to the column before the focused one; false in the first.
    bool leave();

Q_SIGNALS:
    /// A column was added at the end.
    void added();
    /// The columns from `first` on are about to go: whoever refers to their panes lets go now.
    void dropping(std::size_t first);
    void focusedChanged();
    /// enter() has led to a column whose items are there, and its first item was selected.
    void entered();
    void previewChanged();
    /// What stands behind the focused column is decided.
    void settled();

private:
    struct Child {
        std::unique_ptr<PaneModel> pane;
        EntryKey folder; ///< as it stands in the column before
    };

    void observe(PaneModel& pane);
    std::size_t indexOf(const PaneModel& pane) const;
    void follow(const PaneModel& pane);
    void settle();
    void append(const FileEntry& folder);
    void dropFrom(std::size_t first);
    void restart();
    void setPreview(const FileEntry* entry);
    void selectFirst();
    void takeCurrent();
    void followApp();
    void refreshChildren();
    /// The one item that is selected in the focused column, or null.
    const FileEntry* onlySelected() const;

    AppModel& app_;
    PaneModel& root_;
    std::vector<Child> children_;
    std::size_t focused_ = 0;
    bool isActive_;
    bool awaitsFirst_ = false; ///< the first item is to be selected once the focused column is read
    std::optional<FileEntry> preview_;
    QTimer rest_;
};

} // namespace morv
