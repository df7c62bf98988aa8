// Full-screen windows: which displays show one, so that the normal dock gets out of the way
// there and the overlay dock waits at the screen edge.
#include "shell/app_delegate.h"

#include "dock/dock_full_screen_state.h"
#include "dock/dock_window_controller.h"

#include <QGuiApplication>
#include <QScreen>

namespace wharf {

void AppDelegate::wireFullScreen()
{
    DockFullScreenState::Sources sources;
    sources.stacking = windowStacking.get();
    sources.displays = [] {
        std::vector<DockFullScreenState::Display> displays;
        for (QScreen* screen : QGuiApplication::screens()) {
            // Qt keeps a display's origin in device pixels and scales only its size.
            const QRect logical = screen->geometry();
            const qreal scale = screen->devicePixelRatio();
            displays.push_back({screen->name(), QRect(logical.topLeft(), (QSizeF(logical.size()) * scale).toSize())});
        }
        return displays;
    };
    fullScreen = std::make_unique<DockFullScreenState>(std::move(sources));
}

} // namespace wharf
