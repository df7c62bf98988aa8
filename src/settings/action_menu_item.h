#pragma once

#include <QAction>
#include <QString>

#include <functional>

namespace wharf {

// A menu item that runs a callback when chosen.
class ActionMenuItem : public QAction {
    Q_OBJECT
public:
    // `keyEquivalent` is QKeySequence text ("Ctrl+Q"); empty for none.
    ActionMenuItem(const QString& title, const QString& keyEquivalent,
                   std::function<void()> handler, QObject* parent = nullptr);

    void invoke() const;

    std::function<void()> handler;
};

} // namespace wharf
