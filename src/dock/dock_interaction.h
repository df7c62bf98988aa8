#pragma once

#include <QRectF>
#include <QString>

#include <optional>
#include <vector>

namespace wharf {

// Pointer clicks and drags on tiles, drops from other programs, reordering inside the dock and
// keyboard mode come here. The tick asks it where the keyboard centres magnification and lets it
// reorder the targets while an entry is dragged along the row.
class DockInteraction {
public:
    // Centre of magnification chosen by the keyboard selection, if any (layout x).
    std::optional<double> magnificationInput(const std::vector<QRectF>& resting) const;
    // The pointer magnifies only while no entry is dragged inside the dock.
    bool pointerMagnifies() const { return activeDragID.isEmpty(); }
    // Moves the dragged entry's target into its reorder slot.
    void reorderTargets(std::vector<QRectF>& targets) const;

    QString activeDragID;            // entry dragged inside the dock
    std::optional<int> dropIndex;    // insertion mark for a drop without a reorder slot
    std::optional<int> reorderSlot;  // slot the dragged entry occupies
    std::optional<int> keyboardIndex; // keyboard selection
};

} // namespace wharf
