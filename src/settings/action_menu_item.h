#pragma once

#include <QAction>
#include <QString>

#include <functional>

namespace wharf {

// The text for a menu entry titled `title` (a file's, a window's name): shown as written, an
// ampersand marking no mnemonic.
QString menuText(QString title);
// What a menu shows of an entry's text: "&&" as "&", and nothing of a single "&" (a mnemonic).
QString shownMenuText(const QString& text);

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
