#include "dock/dock_interaction.h"

#include "dock/dock_hover.h"
#include "dock/dock_tile.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace wharf {

namespace {

constexpr double hiddenLimit = 0.3;
constexpr double emptyRowHeight = 90;

} // namespace

std::optional<double> DockInteraction::magnificationInput(const std::vector<QRectF>& resting) const
{
    if (keyboardIndex && *keyboardIndex >= 0 && size_t(*keyboardIndex) < resting.size())
        return resting[size_t(*keyboardIndex)].center().x();
    return std::nullopt;
}

void DockInteraction::reorderTargets(std::vector<QRectF>& targets, std::optional<int> draggedIndex) const
{
    const int n = int(targets.size());
    if (activeDragID.isEmpty() || !draggedIndex || !reorderSlot || *draggedIndex < 0 || *draggedIndex >= n
        || *reorderSlot < 0 || *reorderSlot >= n)
        return;
    std::vector<int> order(static_cast<size_t>(n));
    std::iota(order.begin(), order.end(), 0);
    order.erase(order.begin() + *draggedIndex);
    order.insert(order.begin() + *reorderSlot, *draggedIndex);
    std::vector<QRectF> moved(targets.size());
    for (int p = 0; p < n; ++p)
        moved[size_t(order[size_t(p)])] = targets[size_t(p)];
    targets = std::move(moved);
}

std::optional<int> DockInteraction::hitTest(const QPointF& point, const std::vector<DockTile*>& tiles,
                                            double hiddenAmount)
{
    for (size_t i = 0; i < tiles.size(); ++i) {
        if (tiles[i]->frame.contains(point))
            return int(i);
    }
    if (hiddenAmount >= hiddenLimit)
        return std::nullopt;
    for (size_t i = 0; i < tiles.size(); ++i) {
        if (DockHover::clickFrame(*tiles[i]).contains(point))
            return int(i);
    }
    return std::nullopt;
}

bool DockInteraction::movedFarEnough(const QPointF& down, const QPointF& now)
{
    return std::hypot(now.x() - down.x(), now.y() - down.y()) > dragThreshold;
}

int DockInteraction::followPointer(int slot, double x, const std::vector<QRectF>& slots, int lastSlot)
{
    const int count = int(slots.size());
    lastSlot = std::min(lastSlot, count - 1);
    while (slot < lastSlot && x > slots[size_t(slot + 1)].center().x() + slotHysteresis)
        ++slot;
    // Never below 1: the file manager keeps the first place.
    while (slot >= 2 && slot - 1 < count && x < slots[size_t(slot - 1)].center().x() - slotHysteresis)
        --slot;
    return slot;
}

int DockInteraction::insertionIndex(double x, const std::vector<QRectF>& frames)
{
    for (size_t i = 0; i < frames.size(); ++i) {
        if (frames[i].center().x() > x)
            return int(i);
    }
    return std::max(0, int(frames.size()) - 1);
}

bool DockInteraction::endsAboveRow(double endY, double windowBottom, const std::vector<QRectF>& frames)
{
    double top = frames.empty() ? emptyRowHeight : frames.front().bottom();
    for (const auto& frame : frames)
        top = std::max(top, frame.bottom()); // the top edge in layout terms
    return endY < windowBottom - (top + removalMargin);
}

void DockInteraction::clearDrag()
{
    activeDragID.clear();
    reorderSlot.reset();
    reorderSlots.clear();
    dropIndex.reset();
}

void DockInteraction::clearDrop()
{
    draggedURLs.clear();
    dropCopies.reset();
    dropIndex.reset();
    dropTarget.reset();
    dropPoint.reset();
}

} // namespace wharf
