#include "settings/action_menu_item.h"

#include <QKeySequence>

namespace wharf {

ActionMenuItem::ActionMenuItem(const QString& title, const QString& keyEquivalent,
                               std::function<void()> handler, QObject* parent)
    : QAction(QString(title).replace(QLatin1Char('&'), QLatin1String("&&")), parent), handler(std::move(handler))
{
    if (!keyEquivalent.isEmpty())
        setShortcut(QKeySequence(keyEquivalent));
    connect(this, &QAction::triggered, this, [this] { invoke(); });
}

void ActionMenuItem::invoke() const
{
    if (handler)
        handler();
}

} // namespace wharf
