#pragma once

#include <QString>

namespace wharf {

// The one failure of the native dock takeover; `message` is the user-visible description.
struct DockIntegrationError {
    QString message;

    bool operator==(const DockIntegrationError&) const = default;
};

} // namespace wharf
