#pragma once

#include "model/dock_item.h"

#include <QDBusContext>
#include <QJsonArray>
#include <QJsonObject>
#include <QObject>
#include <QRect>
#include <QRectF>
#include <QString>

#include <functional>
#include <optional>
#include <vector>

namespace wharf {

// One dock window as scripts see it; frames in global screen coordinates.
struct DockSnapshot {
    QString display;
    bool overlay = false;
    bool mapped = false;
    QRect frame;
    std::vector<QString> entryIDs;
    std::vector<QRectF> tiles;
    std::optional<int> hoveredIndex;
};

QJsonArray docksJson(const std::vector<DockSnapshot>& docks);

// The session bus API of a running Wharf (com.tamberly.Wharf at /com/tamberly/Wharf), used by
// scripts and the end-to-end tests. Documented in the README.
class WharfDBusService : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.tamberly.Wharf")

public:
    static inline const QString serviceName = QStringLiteral("com.tamberly.Wharf");
    static inline const QString objectPath = QStringLiteral("/com/tamberly/Wharf");

    struct Source {
        std::function<std::vector<DockItem>()> items;
        std::function<std::vector<DockSnapshot>()> docks;
        std::function<quint64()> framesRendered;
        std::function<void()> focusDock;
        std::function<bool(const QString& id)> activate;
        std::function<void()> quit;
        // Stacks: open (or toggle off) a folder tile's stack, read it, change its view mode.
        std::function<bool(const QString& id, QString* error)> openStack;
        std::function<QJsonObject()> stack;
        std::function<bool(const QString& id, const QString& mode, QString* error)> setStackViewMode;
    };

    explicit WharfDBusService(QObject* parent = nullptr) : QObject(parent) {}

    // Filled once the dock is up; until then every list is empty.
    Source source;

public Q_SLOTS:
    // The items in dock order, as a JSON array of the objects `wharf --list-items` prints.
    Q_SCRIPTABLE QString Items() const;
    // Every dock window with its tile frames, as a JSON array.
    Q_SCRIPTABLE QString Docks() const;
    // The tile under the pointer in the first dock that has one; -1 when none.
    Q_SCRIPTABLE int HoveredIndex() const;
    // Frames drawn by all dock windows since launch; for benchmarks and diagnostics.
    Q_SCRIPTABLE qulonglong FramesRendered() const;
    // Gives the dock under the pointer the keyboard, like the global shortcut.
    Q_SCRIPTABLE void FocusDock();
    // Opens the stack of the pinned folder `id` over its tile; the same id again closes it.
    Q_SCRIPTABLE void OpenStack(const QString& id);
    // The open stack as a JSON object (mode, frame, shown entries, selection, preview).
    Q_SCRIPTABLE QString Stack() const;
    // Sets the view mode (automatic, fan, grid, list) of the folder `id`; an open stack follows.
    Q_SCRIPTABLE void SetStackViewMode(const QString& id, const QString& mode);
    // Does what a click on the tile `id` does (for now: restores a minimized window's tile,
    // "window-<id>"); false when there is no such tile.
    Q_SCRIPTABLE bool Activate(const QString& id);
    // Quits through the normal shutdown, which gives the desktop's dock back.
    Q_SCRIPTABLE void Quit();
};

} // namespace wharf
