#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

#include <optional>
#include <sys/types.h>
#include <vector>

namespace wharf {

// What Wharf recorded about one top-level window and its process. Filled from X
// properties and /proc by the workspace; the matcher never reads anything itself.
struct WindowMetadata {
    quint32 window = 0;
    std::optional<pid_t> pid;               // none when the window names no process
    std::vector<pid_t> ancestors;           // parent, grandparent, ... of `pid`
    QString wmInstance;                     // WM_CLASS, first string
    QString wmClass;                        // WM_CLASS, second string
    QString gtkApplicationId;               // _GTK_APPLICATION_ID
    QString kdeDesktopFile;                 // _KDE_NET_WM_DESKTOP_FILE
    QString launchedDesktopFile;            // GIO_LAUNCHED_DESKTOP_FILE of the process
    pid_t launchedDesktopFilePid = 0;       // GIO_LAUNCHED_DESKTOP_FILE_PID of the process
    QString flatpakId;                      // [Application] name of /proc/PID/root/.flatpak-info
    QString snapName;                       // from the snap.<name>.<app> cgroup
    QString snapApp;
    QString executable;                     // resolved /proc/PID/exe, empty when unreadable
    QStringList commandLine;                // /proc/PID/cmdline
};

// The facts of one desktop entry that matching needs.
struct DesktopEntryRecord {
    QString id;             // desktop-file id without ".desktop"
    QString path;
    QString name;           // localized Name
    QString iconName;       // Icon: a theme name or an absolute path
    QString startupWMClass;
    QString program;        // Exec (or TryExec) program after skipping interpreters, basename
    QString resolvedProgram; // basename of that program with symbolic links resolved
    QString flatpakId;      // X-Flatpak
    QString webAppId;       // --app-id=<id> of a browser web app
    QString steamGameId;    // <id> of steam://rungameid/<id>
    bool shown = true;      // listed in menus (not NoDisplay, not for another desktop)
};

// Per-application quirks as data: interpreters to look past, and explicit
// WM_CLASS / executable to entry mappings. Read from the shipped defaults and the
// user's rules file.
class MatchRules {
public:
    static MatchRules defaults();
    // Adds the rules in `text`; each malformed line is described in `errors` and skipped.
    void parse(const QString& text, const QString& origin, QStringList* errors = nullptr);

    bool isInterpreter(const QString& programBaseName) const;
    std::optional<QString> entryForWmClass(const QString& wmClass) const;
    std::optional<QString> entryForExecutable(const QString& executableBaseName) const;

private:
    QStringList interpreters_;
    QHash<QString, QString> byWmClass_;     // lower-cased class -> desktop-file id
    QHash<QString, QString> byExecutable_;  // executable base name -> desktop-file id
};

// All desktop entries, indexed by every key matching looks at.
class DesktopEntryIndex {
public:
    DesktopEntryIndex() = default;
    explicit DesktopEntryIndex(std::vector<DesktopEntryRecord> entries);

    // Every installed entry GIO knows about (XDG data dirs), programs resolved on PATH.
    static DesktopEntryIndex fromInstalledEntries(const MatchRules& rules);
    // The record of the entry file at `path` as GIO reads it; none when GIO rejects it.
    static std::optional<DesktopEntryRecord> recordForFile(const QString& path, const MatchRules& rules);

    const std::vector<DesktopEntryRecord>& entries() const { return entries_; }
    const DesktopEntryRecord* byId(const QString& id) const;           // exact, else case-insensitive
    const DesktopEntryRecord* byPath(const QString& path) const;
    const DesktopEntryRecord* byWmClass(const QString& wmClass) const; // StartupWMClass, id, last id part
    const DesktopEntryRecord* byFlatpakId(const QString& appId) const;
    const DesktopEntryRecord* byWebAppId(const QString& appId) const;
    const DesktopEntryRecord* bySteamGameId(const QString& gameId) const;
    const DesktopEntryRecord* byProgram(const QString& programBaseName) const;

private:
    const DesktopEntryRecord* find(const QHash<QString, int>& map, const QString& key) const;

    std::vector<DesktopEntryRecord> entries_;
    QHash<QString, int> byId_;
    QHash<QString, int> byLowerId_;
    QHash<QString, int> byPath_;
    QHash<QString, int> byStartupWMClass_;
    QHash<QString, int> byLastIdPart_;
    QHash<QString, int> byFlatpakId_;
    QHash<QString, int> byWebAppId_;
    QHash<QString, int> bySteamGameId_;
    QHash<QString, int> byProgram_;
};

struct MatchResult {
    enum class Via {
        launchHint, flatpak, snap, applicationId, wmClass, webApp, steamGame, executable, rule, unmatched
    };
    Via via = Via::unmatched;
    const DesktopEntryRecord* entry = nullptr; // null when unmatched
    // Windows with equal keys form one application: the entry id, else a key from the
    // window's class or executable.
    QString groupKey;
};

// WM_CLASS read leniently: instance and class; one string without a separator is both,
// blanks around either are dropped, and nothing usable gives two empty strings.
std::pair<QString, QString> parseWmClass(const QByteArray& property);

// The program a command line really runs: interpreters and their options are skipped
// in favour of the script or class they run ("python3 -u /opt/x/tool.py" -> "tool.py").
QString effectiveProgram(const QStringList& arguments, const MatchRules& rules);

// Matches one window to a desktop entry; first rule that hits wins.
MatchResult matchWindow(const WindowMetadata& window, const DesktopEntryIndex& index, const MatchRules& rules);

QString toString(MatchResult::Via via);

} // namespace wharf
