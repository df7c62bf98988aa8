#pragma once

#include "platform/callback_list.h"

namespace wharf {

// The desktop's look as far as the dock cares: its colour scheme and whether the
// user asked for less motion. Values are cached; `onChange` fires when either changes, and when
// the icon theme does.
class DesktopAppearance {
public:
    virtual ~DesktopAppearance() = default;

    virtual bool isDark() const = 0;
    virtual bool reduceMotion() const = 0;

    CallbackList<> onChange;
};

} // namespace wharf
