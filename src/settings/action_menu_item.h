#pragma once

#include <QAction>
#include <QString>

#include <functional>

namespace wharf {

// A menu item that runs a callback when chosen.
class ActionMenuItem : public QAction {
    Q_OBJECT
public:
    // `title` is shown as written: an ampersand in it (a window's or a folder's name, "Restore
    // System Dock & Quit") marks no mnemonic. `keyEquivalent` is QKeySequence text ("Ctrl+Q");
    // empty for none.
    ActionMenuItem(const QString& title, const QString& keyEquivalent,
                   std::function<void()> handler, QObject* parent = nullptr);

    void invoke() const;

    std::function<void()> handler;
};

} // namespace wharf
