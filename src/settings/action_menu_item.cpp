#include "settings/action_menu_item.h"

#include <QKeySequence>

namespace wharf {

QString menuText(QString title) { return title.replace(QLatin1Char('&'), QLatin1String("&&")); }

QString shownMenuText(const QString& text)
{
    QString shown;
    shown.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] == QLatin1Char('&') && ++i == text.size())
            break;
        shown += text[i];
    }
    return shown;
}

ActionMenuItem::ActionMenuItem(const QString& title, const QString& keyEquivalent,
                               std::function<void()> handler, QObject* parent)
    : QAction(menuText(title), parent), handler(std::move(handler))
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
