#pragma once

#include "platform/workspace.h"

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QString>
#include <QStringList>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace wharf {

// A scriptable desktop for unit tests: set the running programs, icons, names,
// desktop-file ids and default applications; actions are recorded, not performed.
// Icons need a QGuiApplication (QT_QPA_PLATFORM=offscreen is enough).
class FakeWorkspace : public Workspace {
public:
    std::vector<RunningApplicationRef> running;
    pid_t currentPid = 1;
    std::map<QString, QIcon> icons;                  // path -> icon; else one made per path
    std::map<QString, QString> names;                // path -> display name; else the file name
    std::map<QString, QString> bundleIDs;            // path -> desktop-file id
    std::optional<QString> fileManager;
    std::optional<QString> webBrowser;
    QString ownLocation = "/usr/share/applications/wharf.desktop";

    QStringList actions;        // "activate:<key>", "launch:<path> <uris>", "open:<path>", ...
    bool refuseActions = false; // actions fail with "refused"

    // How often the model asked for an icon; its cache is checked against this.
    mutable int iconRequests = 0;

    // A running program; `location` is its desktop entry or executable; `pid` none when unknown.
    static RunningApplication app(const QString& key, std::optional<pid_t> pid, std::optional<QString> location,
                                  std::optional<QString> bundleID = std::nullopt,
                                  const QString& name = {})
    {
        return {.key = key, .processIdentifier = pid, .processIdentifiers = {}, .windows = {},
                .bundleLocation = std::move(location), .bundleIdentifier = std::move(bundleID),
                .localizedName = name.isEmpty() ? key : name, .icon = {}};
    }

    // Adds a running program and announces it, as the desktop would.
    void launch(RunningApplication a)
    {
        running.push_back(std::make_shared<const RunningApplication>(std::move(a)));
        notifications.notify(WorkspaceNotification::didLaunchApplication);
    }

    void quit(const QString& key)
    {
        std::erase_if(running, [&](const RunningApplicationRef& a) { return a->key == key; });
        notifications.notify(WorkspaceNotification::didTerminateApplication);
    }

    // Replaces one program's snapshot (e.g. to make it active) without notifying.
    void update(const QString& key, const std::function<void(RunningApplication&)>& change)
    {
        for (auto& ref : running) {
            if (ref->key == key) {
                auto copy = *ref;
                change(copy);
                ref = std::make_shared<const RunningApplication>(std::move(copy));
            }
        }
    }

    std::vector<RunningApplicationRef> runningApplications() const override { return running; }
    pid_t currentProcessIdentifier() const override { return currentPid; }

    QIcon iconForFile(const QString& path) const override
    {
        ++iconRequests;
        if (const auto set = icons.find(path); set != icons.end())
            return set->second;
        auto found = generated.find(path);
        if (found == generated.end()) {
            QPixmap pixmap(16, 16);
            pixmap.fill(QColor::fromRgb(uint(qHash(path)) | 0xff000000u));
            found = generated.emplace(path, QIcon(pixmap)).first;
        }
        return found->second;
    }

    QString displayName(const QString& path) const override
    {
        return names.contains(path) ? names.at(path) : path.section('/', -1);
    }

    std::optional<QString> bundleIdentifier(const QString& path) const override
    {
        return bundleIDs.contains(path) ? std::optional(bundleIDs.at(path)) : std::nullopt;
    }

    std::optional<QString> fileManagerLocation() const override { return fileManager; }
    std::optional<QString> webBrowserLocation() const override { return webBrowser; }
    QString ownBundleLocation() const override { return ownLocation; }

    Status activate(const RunningApplication& a, std::uint32_t) override { return record("activate:" + a.key); }
    Status hide(const RunningApplication& a) override { return record("hide:" + a.key); }
    Status unhide(const RunningApplication& a) override { return record("unhide:" + a.key); }
    Status terminate(const RunningApplication& a) override { return record("terminate:" + a.key); }
    Status launchApplication(const QString& entryPath, const QStringList& uris, std::uint32_t) override
    {
        return record("launch:" + entryPath + (uris.isEmpty() ? QString() : ' ' + uris.join(' ')));
    }
    Status openLocation(const QString& path, std::uint32_t) override
    {
        const Status recorded = record("open:" + path);
        return refusedLocations.contains(path) ? Status(Error{"refused"}) : recorded;
    }
    Status showInFiles(const QString& path) override { return record("show:" + path); }
    // Records "copy:<from> <to>" or "move:<from> <to>"; fails for sources in `failingTransfers`.
    Status transferFile(const QString& source, const QString& destination, bool copy) override
    {
        actions.append((copy ? "copy:" : "move:") + source + ' ' + destination);
        return failingTransfers.contains(source) ? Status(Error{"No such file or directory"}) : Status();
    }
    void beep() override { actions.append("beep"); }
    Result<QString> writeDesktopEntry(const RunningApplication& a) override
    {
        if (const Status recorded = record("entry:" + a.key); !recorded)
            return recorded.error();
        return "/home/user/.local/share/applications/wharf-" + a.key + ".desktop";
    }
    void watchLocations(const QStringList& paths) override { watched = paths; }

    QStringList watched;
    QStringList refusedLocations;                   // openLocation fails for these
    QStringList failingTransfers;                   // transferFile fails for these sources

private:
    Status record(const QString& action)
    {
        actions.append(action);
        return refuseActions ? Status(Error{"refused"}) : Status();
    }

    mutable std::map<QString, QIcon> generated;
};

} // namespace wharf
