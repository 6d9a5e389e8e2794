// What assistive technologies see of a collection: a list whose items are made when somebody asks for them,
// so that a hundred thousand files cost nothing while nobody listens. Behind the items come the buttons of a
// notice and the editor of a name, while there are any. Main thread.
#pragma once

#include <QAccessible>
#include <QAccessibleWidget>
#include <QHash>
#include <cstdint>

namespace morv {

class MorvCollectionView;

class CollectionAccessible : public QAccessibleWidget {
public:
    /// Makes Qt ask for this class; further calls do nothing.
    static void install();
    /// The items stand elsewhere or are others: those that were handed out are void.
    static void itemsChanged(MorvCollectionView& view);
    /// The keyboard is on another item.
    static void currentChanged(MorvCollectionView& view);
    /// Others are selected.
    static void selectionChanged(MorvCollectionView& view);

    explicit CollectionAccessible(MorvCollectionView& view);
    ~CollectionAccessible() override;

    int childCount() const override;
    QAccessibleInterface* child(int index) const override;
    QAccessibleInterface* childAt(int x, int y) const override;
    int indexOfChild(const QAccessibleInterface* child) const override;
    QAccessibleInterface* focusChild() const override;

private:
    /// The item that has the keyboard, as it was told last.
    struct Told {
        std::int64_t current = -1;
        bool isSelected = false;
    };

    /// Null while nobody listens.
    static CollectionAccessible* of(MorvCollectionView& view);
    MorvCollectionView& view() const;
    Told present() const;
    void tellSelection();
    void forgetItems();

    Told told_;
    mutable QHash<int, QAccessible::Id> items_;
};

} // namespace morv
