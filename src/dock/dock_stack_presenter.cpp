#include "dock/dock_stack_presenter.h"

#include <utility>

namespace wharf {

void DockStackPresenter::close()
{
    if (auto close = std::exchange(closeStack, nullptr))
        close();
}

} // namespace wharf
