// The global shortcut Ctrl+Alt+D, which gives the keyboard to the dock under the pointer.
#include "shell/app_delegate.h"

#include <QLoggingCategory>
#include <QPointer>

Q_DECLARE_LOGGING_CATEGORY(lcLifecycle)

namespace wharf {

void AppDelegate::unregisterHotKey()
{
    if (hotKey)
        hotKey->remove();
}

void AppDelegate::wireHotKey()
{
    if (!hotKey)
        return;
    const QPointer<AppDelegate> self(this);
    const auto registered = hotKey->registerShortcut([self](std::uint32_t eventTime) {
        if (self)
            self->focusDock(eventTime);
    });
    // Not fatal: the dock runs on without the shortcut.
    if (!registered)
        qCWarning(lcLifecycle, "Keyboard shortcut unavailable: %s", qUtf8Printable(registered.error().errorDescription()));
}

} // namespace wharf
