#include "dock/dock_stack_presenter.h"

namespace wharf {

void DockStackPresenter::close() {}

} // namespace wharf
