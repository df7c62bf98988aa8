#include "dock/dock_interaction.h"

namespace wharf {

std::optional<double> DockInteraction::magnificationInput(const std::vector<QRectF>& resting) const
{
    if (keyboardIndex && *keyboardIndex >= 0 && size_t(*keyboardIndex) < resting.size())
        return resting[size_t(*keyboardIndex)].center().x();
    return std::nullopt;
}

void DockInteraction::reorderTargets(std::vector<QRectF>&) const {}

} // namespace wharf
