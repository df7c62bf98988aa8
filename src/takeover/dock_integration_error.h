#pragma once

#include "platform/result.h"

namespace wharf {

// The one failure of the native dock takeover; `message` is the user-visible description.
// Takeover operations return Status or Result<T> carrying it.
using DockIntegrationError = Error;

} // namespace wharf
