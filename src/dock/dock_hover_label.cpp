#include "dock/dock_hover_label.h"

namespace wharf {

void DockHoverLabel::show(std::optional<int>, const std::vector<DockTile*>&) {}

} // namespace wharf
