#pragma once

#include "platform/result.h"

#include <QString>

namespace wharf {

// Starting Wharf with the desktop session: an XDG autostart entry, wharf.desktop in the user's
// autostart folder.
class LoginItem {
public:
    // `folder` empty: $XDG_CONFIG_HOME/autostart. `program`: the command the entry runs.
    explicit LoginItem(QString folder = {}, QString program = {});

    QString entryPath() const;
    // True when the entry exists and the session would start it (not Hidden, not disabled for GNOME).
    bool isEnabled() const;
    // Writes or removes the entry; on failure nothing else changed.
    Status setEnabled(bool enabled);

private:
    QString folder;
    QString program;
};

} // namespace wharf
