// Keyboard mode of the dock view: the selection, its keys and what assistive technology hears.
#include "dock/dock_view.h"

#include "dock/dock_keyboard.h"
#include "dock/dock_panel.h"
#include "dock/dock_tile.h"

#include <QAccessible>
#include <QKeyEvent>
#include <QPointer>

namespace wharf {

void DockView::beginKeyboardNavigation(std::uint32_t eventTime)
{
    auto* panel = qobject_cast<DockPanel*>(window());
    if (entryList.empty() || !panel)
        return;
    interaction.keyboardIndex = 0;
    connect(panel, &DockPanel::keyboardModeChanged, this, &DockView::keyboardModeChanged, Qt::UniqueConnection);
    setFocusPolicy(Qt::StrongFocus);
    panel->setKeyboardMode(true, eventTime);
    setFocus(Qt::ShortcutFocusReason);
    layoutDirty = true;
    ensureTicking();
    tick();
    announceSelection();
}

void DockView::endKeyboardNavigation(std::uint32_t eventTime)
{
    if (!interaction.keyboardIndex)
        return;
    interaction.keyboardIndex.reset();
    layoutDirty = true;
    ensureTicking();
    if (auto* panel = qobject_cast<DockPanel*>(window()))
        panel->setKeyboardMode(false, eventTime);
}

void DockView::keyboardModeChanged(bool on)
{
    if (on)
        return;
    // The panel resigned the keyboard (Escape, an activation, or another window took it).
    setFocusPolicy(Qt::NoFocus);
    clearFocus();
    if (interaction.keyboardIndex) {
        interaction.keyboardIndex.reset();
        layoutDirty = true;
        ensureTicking();
    }
}

void DockView::keepSelectionInRange()
{
    if (!interaction.keyboardIndex)
        return;
    if (entryList.empty()) {
        endKeyboardNavigation();
        return;
    }
    interaction.keyboardIndex = std::min(*interaction.keyboardIndex, int(entryList.size()) - 1);
}

void DockView::keyPressEvent(QKeyEvent* event)
{
    const auto* panel = qobject_cast<const DockPanel*>(window());
    const auto outcome = DockKeyboard::press(event->key(), interaction.keyboardIndex, int(entryList.size()));
    if (!panel || !panel->keyboardMode() || outcome.command == DockKeyboard::Command::none) {
        QWidget::keyPressEvent(event);
        return;
    }
    const auto eventTime = static_cast<std::uint32_t>(event->timestamp());
    switch (outcome.command) {
    case DockKeyboard::Command::select:
        interaction.keyboardIndex = outcome.index;
        announceSelection();
        break;
    case DockKeyboard::Command::showMenu:
        showEntryMenu(outcome.index, eventTime);
        break;
    case DockKeyboard::Command::leave:
        endKeyboardNavigation(eventTime);
        break;
    case DockKeyboard::Command::activate:
        activateEntry(outcome.index, eventTime);
        return;
    case DockKeyboard::Command::none:
        break;
    }
    layoutDirty = true;
    ensureTicking();
    tick();
}

bool DockView::focusNextPrevChild(bool next)
{
    // Tab and Shift+Tab move the selection, not the focus, while the dock has the keyboard.
    if (interaction.keyboardIndex)
        return false;
    return QWidget::focusNextPrevChild(next);
}

void DockView::focusInEvent(QFocusEvent* event)
{
    QWidget::focusInEvent(event);
    // Qt announces the view itself as focused after this event; the selected tile is what has
    // the focus, so it is announced once Qt is done.
    const QPointer<DockView> self(this);
    QMetaObject::invokeMethod(this, [self] {
        if (self)
            self->announceSelection();
    }, Qt::QueuedConnection);
}

void DockView::announceSelection()
{
    const auto index = interaction.keyboardIndex;
    if (!index || *index < 0 || *index >= int(tileList.size()))
        return;
    QAccessibleEvent focus(tileList[std::size_t(*index)], QAccessible::Focus);
    if (context.accessibilityEvent)
        context.accessibilityEvent(&focus);
    else
        QAccessible::updateAccessibility(&focus);
}

} // namespace wharf
