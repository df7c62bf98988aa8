#include "shell/key_equivalents.h"

#include <QKeyEvent>
#include <QWidget>

namespace wharf {

KeyEquivalents::KeyEquivalents(std::function<void()> showSettings, std::function<void()> quit, QObject* parent)
    : QObject(parent), showSettings(std::move(showSettings)), quit(std::move(quit))
{
}

bool KeyEquivalents::eventFilter(QObject* watched, QEvent* event)
{
    // A key reaches the focus widget first; taking it there keeps it from every other handler.
    if (event->type() != QEvent::KeyPress || !watched->isWidgetType())
        return false;
    const auto* key = static_cast<QKeyEvent*>(event);
    if ((key->modifiers() & ~Qt::KeypadModifier) != Qt::ControlModifier)
        return false;
    if (key->key() == Qt::Key_Comma && showSettings) {
        showSettings();
        return true;
    }
    if (key->key() == Qt::Key_Q && quit) {
        quit();
        return true;
    }
    return false;
}

} // namespace wharf
