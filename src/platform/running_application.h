#pragma once

#include <QIcon>
#include <QString>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>
#include <sys/types.h>

namespace wharf {

// One running program as the desktop reports it: the top-level windows of one
// program grouped together and matched to a desktop entry. A snapshot taken at
// the moment the workspace was asked; the workspace answers actions by `key`.
struct RunningApplication {
    QString key;                            // stable while the program runs; the workspace's handle
    std::optional<pid_t> processIdentifier; // none when no window names its process
    std::vector<pid_t> processIdentifiers;  // every process with a window in it (several xterms, say)
    std::vector<std::uint32_t> windows;     // its windows: what finds them when no window names a process
    bool isRegular = true;                  // has a normal window that belongs in a task bar
    bool isActive = false;                  // owns the active window
    bool isHidden = false;                  // every window is minimized
    bool demandsAttention = false;          // some window asks for attention
    std::optional<QString> bundleLocation;  // matched desktop entry path, else the resolved executable
    std::optional<QString> bundleIdentifier; // desktop-file id of the matched entry
    QString localizedName;
    QIcon icon;                             // the entry's themed icon, else the window's own icon
};

using RunningApplicationRef = std::shared_ptr<const RunningApplication>;

} // namespace wharf
