#include "dock/dock_keyboard.h"

#include <Qt>

namespace wharf {

DockKeyboard::Outcome DockKeyboard::press(int key, std::optional<int> selection, int count)
{
    if (count <= 0)
        return {};
    const int i = selection && *selection >= 0 && *selection < count ? *selection : 0;
    switch (key) {
    case Qt::Key_Tab:
    case Qt::Key_Right:
        return {Command::select, (i + 1) % count};
    case Qt::Key_Backtab: // Shift+Tab: Qt names it apart from Tab
    case Qt::Key_Left:
        return {Command::select, (i - 1 + count) % count};
    case Qt::Key_Space:
    case Qt::Key_Down:
    case Qt::Key_Up:
    case Qt::Key_Menu:
        return {Command::showMenu, i};
    case Qt::Key_Escape:
        return {Command::leave, i};
    case Qt::Key_Return:
    case Qt::Key_Enter:
        return {Command::activate, i};
    default:
        return {};
    }
}

} // namespace wharf
