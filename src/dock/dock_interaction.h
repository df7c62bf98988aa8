#pragma once

#include <QPointF>
#include <QRectF>
#include <QString>
#include <QUrl>

#include <optional>
#include <vector>

namespace wharf {

// What letting go of another program's drag would do now: the tile it lands on, else none, and
// where pinned entries would go.
struct DockPendingDrop {
    std::optional<int> target;
    int index = 0;
    bool copies = false;
};

// The dock's own tile being dragged, and the slot it holds in the row (none once it has left the
// row's applications).
struct DockOwnDrag {
    QString id;
    std::optional<int> slot;
};

class DockTile;

// Pointer clicks and drags on tiles, drops from other programs, reordering inside the dock and
// keyboard mode come here. The tick asks it where the keyboard centres magnification and lets it
// reorder the targets while an entry is dragged along the row. Layout coordinates (y up).
class DockInteraction {
public:
    // A press becomes a drag once the pointer has moved further than this from where it went down.
    static constexpr double dragThreshold = 5;
    // A pinned item dropped this far above the icons' top leaves the dock.
    static constexpr double removalMargin = 75;
    // The reorder slot moves once the pointer is this far past a neighbour's centre.
    static constexpr double slotHysteresis = 3;

    // Centre of magnification chosen by the keyboard selection, if any (layout x).
    std::optional<double> magnificationInput(const std::vector<QRectF>& resting) const;
    // The pointer magnifies only while no entry is dragged inside the dock.
    bool pointerMagnifies() const { return activeDragID.isEmpty(); }
    // Moves the dragged entry (at `draggedIndex`) into its reorder slot; the others close up.
    void reorderTargets(std::vector<QRectF>& targets, std::optional<int> draggedIndex) const;

    // The tile a press at `point` belongs to: its frame, else (while the dock is shown) its click
    // frame, so presses below an application icon reach it.
    static std::optional<int> hitTest(const QPointF& point, const std::vector<DockTile*>& tiles,
                                      double hiddenAmount);
    static bool movedFarEnough(const QPointF& down, const QPointF& now);
    // The slot an application dragged to `x` occupies, starting from `slot`. Slot 0 belongs to the
    // file manager; `lastSlot` is the last application's.
    static int followPointer(int slot, double x, const std::vector<QRectF>& slots, int lastSlot);
    // Where an item dropped at `x` goes: before the first frame whose centre lies right of `x`,
    // else at the last index (0 for an empty row).
    static int insertionIndex(double x, const std::vector<QRectF>& frames);
    // Whether a drag of the dock's own item that ended at `endY` (global, y down) above the dock
    // window whose bottom edge is at `windowBottom` unpins it.
    static bool endsAboveRow(double endY, double windowBottom, const std::vector<QRectF>& frames);

    // Ends an in-dock drag: nothing dragged, no slot, no drop mark.
    void clearDrag();
    // Forgets the drag of another program that left or dropped.
    void clearDrop();

    QString activeDragID;              // entry dragged inside the dock
    std::optional<int> dropIndex;      // insertion mark for a drop without a reorder slot
    std::optional<int> reorderSlot;    // slot the dragged entry occupies
    std::vector<QRectF> reorderSlots;  // resting frames captured when the drag began
    std::optional<int> keyboardIndex;  // keyboard selection
    std::optional<int> dropTarget;     // tile a drop from another program would land on
    QList<QUrl> draggedURLs;           // the files of the drag from another program now over the dock
    // What the last answer to that program promised. The drop does the same: the keys may be up by
    // the time the drop is read, but the program has already been told.
    std::optional<bool> dropCopies;
    std::optional<QPointF> dropPoint;  // where that program's drag was last answered, in layout points
};

} // namespace wharf
