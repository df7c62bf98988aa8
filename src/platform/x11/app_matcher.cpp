#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

#include "platform/x11/app_matcher.h"

#include "platform/x11/default_rules.h"

#include <QFileInfo>
#include <QStandardPaths>
#include <QRegularExpression>

#include <algorithm>
#include <memory>

namespace wharf {

namespace {

struct GFreeDeleter {
    void operator()(void* p) const { g_free(p); }
};
using GCharPtr = std::unique_ptr<char, GFreeDeleter>;

struct GStrvDeleter {
    void operator()(char** p) const { g_strfreev(p); }
};
using GStrvPtr = std::unique_ptr<char*, GStrvDeleter>;

QString baseName(const QString& path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    return slash < 0 ? path : path.mid(slash + 1);
}

QString withoutDesktopSuffix(QString id)
{
    if (id.endsWith(QLatin1String(".desktop"), Qt::CaseInsensitive))
        id.chop(8);
    return id;
}

// "python3.11" and "python3" are "python"; "wine64" stays unless listed.
QString withoutVersion(const QString& name)
{
    qsizetype end = name.size();
    while (end > 0 && (name.at(end - 1).isDigit() || name.at(end - 1) == QLatin1Char('.')))
        --end;
    return name.left(end);
}

bool isEnvironmentAssignment(const QString& argument)
{
    const qsizetype eq = argument.indexOf(QLatin1Char('='));
    return eq > 0 && !argument.left(eq).contains(QLatin1Char('/'));
}

// Index of the argument that names the program really run, -1 when there is none.
qsizetype effectiveArgumentIndex(const QStringList& arguments, const MatchRules& rules)
{
    static const QStringList optionsWithValue = {
        QStringLiteral("-cp"), QStringLiteral("-classpath"), QStringLiteral("--class-path"),
        QStringLiteral("-p"), QStringLiteral("--module-path"), QStringLiteral("-W"), QStringLiteral("-X"),
    };
    static const QStringList optionsNamingProgram = {QStringLiteral("-jar"), QStringLiteral("-m")};

    qsizetype i = 0;
    qsizetype lastInterpreter = -1;
    const qsizetype n = arguments.size();
    while (i < n) {
        const QString& argument = arguments.at(i);
        if (argument.isEmpty() || argument.startsWith(QLatin1Char('%'))) {
            ++i;
            continue;
        }
        const QString base = baseName(argument);
        if (!rules.isInterpreter(base))
            return i;
        lastInterpreter = i++;
        // The interpreter's own options and settings come before the program.
        while (i < n) {
            const QString& option = arguments.at(i);
            if (optionsNamingProgram.contains(option))
                return i + 1 < n ? i + 1 : lastInterpreter;
            if (optionsWithValue.contains(option)) {
                i += 2;
            } else if ((option.startsWith(QLatin1Char('-')) && option.size() > 1)
                       || (base == QLatin1String("env") && isEnvironmentAssignment(option))) {
                ++i;
            } else {
                break;
            }
        }
    }
    return lastInterpreter;
}

void insertFirst(QHash<QString, int>& map, const QString& key, int index)
{
    if (!key.isEmpty() && !map.contains(key))
        map.insert(key, index);
}

QString desktopString(GDesktopAppInfo* info, const char* key)
{
    GCharPtr value(g_desktop_app_info_get_string(info, key));
    return value ? QString::fromUtf8(value.get()) : QString();
}

QString resolvedProgramName(const QString& program)
{
    if (program.isEmpty())
        return {};
    GCharPtr found(g_find_program_in_path(program.toLocal8Bit().constData()));
    if (!found)
        return {};
    const QString canonical = QFileInfo(QString::fromLocal8Bit(found.get())).canonicalFilePath();
    return canonical.isEmpty() ? QString() : baseName(canonical);
}

std::optional<DesktopEntryRecord> recordFor(GDesktopAppInfo* info, const MatchRules& rules)
{
    const char* filename = g_desktop_app_info_get_filename(info);
    if (!filename)
        return std::nullopt;
    DesktopEntryRecord record;
    record.path = QString::fromLocal8Bit(filename);
    const char* id = g_app_info_get_id(G_APP_INFO(info));
    record.id = withoutDesktopSuffix(id ? QString::fromUtf8(id) : baseName(record.path));
    const char* name = g_app_info_get_name(G_APP_INFO(info));
    record.name = name ? QString::fromUtf8(name) : record.id;
    record.iconName = desktopString(info, "Icon");
    if (const char* wmClass = g_desktop_app_info_get_startup_wm_class(info))
        record.startupWMClass = QString::fromUtf8(wmClass);
    record.flatpakId = desktopString(info, "X-Flatpak");
    record.shown = g_app_info_should_show(G_APP_INFO(info));

    QStringList arguments;
    if (const char* commandLine = g_app_info_get_commandline(G_APP_INFO(info))) {
        char** argv = nullptr;
        if (g_shell_parse_argv(commandLine, nullptr, &argv, nullptr)) {
            const GStrvPtr owned(argv);
            for (char** a = argv; *a; ++a)
                arguments << QString::fromUtf8(*a);
        }
    }
    const QString tryExec = desktopString(info, "TryExec");
    const qsizetype index = effectiveArgumentIndex(arguments, rules);
    QString programArgument = index >= 0 ? arguments.at(index) : QString();
    if (programArgument.isEmpty() || (rules.isInterpreter(baseName(programArgument)) && !tryExec.isEmpty()))
        programArgument = tryExec;
    record.program = baseName(programArgument);
    record.resolvedProgram = resolvedProgramName(programArgument);

    static const QRegularExpression steamGame(QStringLiteral("steam://rungameid/(\\d+)"));
    for (const QString& argument : std::as_const(arguments)) {
        if (argument.startsWith(QLatin1String("--app-id=")))
            record.webAppId = argument.mid(9);
        const auto game = steamGame.match(argument);
        if (game.hasMatch())
            record.steamGameId = game.captured(1);
    }
    return record;
}

} // namespace

// ---- MatchRules ----

MatchRules MatchRules::defaults()
{
    MatchRules rules;
    rules.parse(QString::fromUtf8(defaultMatchRules), QStringLiteral("built-in rules"));
    return rules;
}

void MatchRules::parse(const QString& text, const QString& origin, QStringList* errors)
{
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (qsizetype number = 0; number < lines.size(); ++number) {
        const QString line = lines.at(number).trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        auto fail = [&](const QString& why) {
            if (errors)
                errors->append(QStringLiteral("%1:%2: %3: \"%4\"").arg(origin).arg(number + 1).arg(why, line));
        };
        const qsizetype space = line.indexOf(QLatin1Char(' '));
        const QString keyword = space < 0 ? line : line.left(space);
        const QString rest = space < 0 ? QString() : line.mid(space + 1).trimmed();
        if (keyword == QLatin1String("interpreter")) {
            const QStringList names = rest.split(QLatin1Char(' '), Qt::SkipEmptyParts);
            if (names.isEmpty())
                fail(QStringLiteral("interpreter needs at least one program name"));
            for (const QString& name : names) {
                if (!interpreters_.contains(name))
                    interpreters_ << name;
            }
            continue;
        }
        if (keyword != QLatin1String("wmclass") && keyword != QLatin1String("exe")) {
            fail(QStringLiteral("unknown rule (expected interpreter, wmclass or exe)"));
            continue;
        }
        const qsizetype eq = rest.indexOf(QLatin1Char('='));
        const QString key = eq < 0 ? QString() : rest.left(eq).trimmed();
        const QString id = eq < 0 ? QString() : withoutDesktopSuffix(rest.mid(eq + 1).trimmed());
        if (key.isEmpty() || id.isEmpty() || key.contains(QLatin1Char(' ')) || id.contains(QLatin1Char(' '))) {
            fail(QStringLiteral("expected \"%1 <name> = <desktop-file id>\"").arg(keyword));
            continue;
        }
        if (keyword == QLatin1String("wmclass"))
            byWmClass_.insert(key.toLower(), id);
        else
            byExecutable_.insert(key, id);
    }
}

bool MatchRules::isInterpreter(const QString& programBaseName) const
{
    return !programBaseName.isEmpty()
        && (interpreters_.contains(programBaseName) || interpreters_.contains(withoutVersion(programBaseName)));
}

std::optional<QString> MatchRules::entryForWmClass(const QString& wmClass) const
{
    const auto it = byWmClass_.constFind(wmClass.toLower());
    return it == byWmClass_.cend() ? std::nullopt : std::optional<QString>(*it);
}

std::optional<QString> MatchRules::entryForExecutable(const QString& executableBaseName) const
{
    const auto it = byExecutable_.constFind(executableBaseName);
    return it == byExecutable_.cend() ? std::nullopt : std::optional<QString>(*it);
}

// ---- DesktopEntryIndex ----

DesktopEntryIndex::DesktopEntryIndex(std::vector<DesktopEntryRecord> entries) : entries_(std::move(entries))
{
    // Entries shown in menus win over hidden helpers that share a key, then the user's
    // own entries over the system's, as the data dirs rank them.
    QStringList dirs{QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)};
    dirs += QString::fromLocal8Bit(qgetenv("XDG_DATA_DIRS")).split(QLatin1Char(':'), Qt::SkipEmptyParts);
    auto rank = [&dirs](const DesktopEntryRecord& entry) {
        for (qsizetype i = 0; i < dirs.size(); ++i) {
            if (entry.path.startsWith(dirs.at(i) + QLatin1String("/applications/")))
                return i;
        }
        return dirs.size();
    };
    std::vector<std::pair<qsizetype, DesktopEntryRecord>> ranked;
    ranked.reserve(entries_.size());
    for (DesktopEntryRecord& entry : entries_) {
        const qsizetype r = rank(entry);
        ranked.emplace_back(r, std::move(entry));
    }
    std::stable_sort(ranked.begin(), ranked.end(), [](const auto& a, const auto& b) {
        if (a.second.shown != b.second.shown)
            return a.second.shown;
        return a.first < b.first;
    });
    for (size_t i = 0; i < ranked.size(); ++i)
        entries_[i] = std::move(ranked[i].second);
    for (int i = 0; i < static_cast<int>(entries_.size()); ++i) {
        const DesktopEntryRecord& entry = entries_[i];
        insertFirst(byId_, entry.id, i);
        insertFirst(byLowerId_, entry.id.toLower(), i);
        insertFirst(byPath_, entry.path, i);
        insertFirst(byStartupWMClass_, entry.startupWMClass.toLower(), i);
        const qsizetype dot = entry.id.lastIndexOf(QLatin1Char('.'));
        if (dot >= 0)
            insertFirst(byLastIdPart_, entry.id.mid(dot + 1).toLower(), i);
        insertFirst(byFlatpakId_, entry.flatpakId, i);
        insertFirst(byWebAppId_, entry.webAppId, i);
        insertFirst(bySteamGameId_, entry.steamGameId, i);
        // Web apps and games run their launcher's program; that program means the launcher.
        if (entry.webAppId.isEmpty() && entry.steamGameId.isEmpty()) {
            insertFirst(byProgram_, entry.program, i);
            insertFirst(byProgram_, entry.resolvedProgram, i);
        }
    }
}

DesktopEntryIndex DesktopEntryIndex::fromInstalledEntries(const MatchRules& rules)
{
    std::vector<DesktopEntryRecord> records;
    GList* all = g_app_info_get_all();
    for (GList* node = all; node; node = node->next) {
        if (G_IS_DESKTOP_APP_INFO(node->data)) {
            if (auto record = recordFor(G_DESKTOP_APP_INFO(node->data), rules))
                records.push_back(std::move(*record));
        }
    }
    g_list_free_full(all, g_object_unref);
    return DesktopEntryIndex(std::move(records));
}

std::optional<DesktopEntryRecord> DesktopEntryIndex::recordForFile(const QString& path, const MatchRules& rules)
{
    GDesktopAppInfo* info = g_desktop_app_info_new_from_filename(path.toLocal8Bit().constData());
    if (!info)
        return std::nullopt;
    auto record = recordFor(info, rules);
    g_object_unref(info);
    return record;
}

const DesktopEntryRecord* DesktopEntryIndex::find(const QHash<QString, int>& map, const QString& key) const
{
    if (key.isEmpty())
        return nullptr;
    const auto it = map.constFind(key);
    return it == map.cend() ? nullptr : &entries_[*it];
}

const DesktopEntryRecord* DesktopEntryIndex::byId(const QString& id) const
{
    const QString bare = withoutDesktopSuffix(id);
    if (const auto* entry = find(byId_, bare))
        return entry;
    return find(byLowerId_, bare.toLower());
}

const DesktopEntryRecord* DesktopEntryIndex::byPath(const QString& path) const { return find(byPath_, path); }

const DesktopEntryRecord* DesktopEntryIndex::byWmClass(const QString& wmClass) const
{
    const QString key = wmClass.trimmed().toLower();
    if (const auto* entry = find(byStartupWMClass_, key))
        return entry;
    if (const auto* entry = find(byLowerId_, key))
        return entry;
    return find(byLastIdPart_, key);
}

const DesktopEntryRecord* DesktopEntryIndex::byFlatpakId(const QString& appId) const
{
    if (const auto* entry = find(byFlatpakId_, appId))
        return entry;
    return find(byId_, appId);
}

const DesktopEntryRecord* DesktopEntryIndex::byWebAppId(const QString& appId) const
{
    return find(byWebAppId_, appId);
}

const DesktopEntryRecord* DesktopEntryIndex::bySteamGameId(const QString& gameId) const
{
    return find(bySteamGameId_, gameId);
}

const DesktopEntryRecord* DesktopEntryIndex::byProgram(const QString& programBaseName) const
{
    return find(byProgram_, programBaseName);
}

// ---- matching ----

std::pair<QString, QString> parseWmClass(const QByteArray& property)
{
    QStringList parts;
    for (const QByteArray& part : property.split('\0')) {
        const QString text = QString::fromUtf8(part).trimmed();
        if (!text.isEmpty())
            parts << text;
    }
    if (parts.isEmpty())
        return {};
    return {parts.first(), parts.size() > 1 ? parts.at(1) : parts.first()};
}

QString effectiveProgram(const QStringList& arguments, const MatchRules& rules)
{
    const qsizetype index = effectiveArgumentIndex(arguments, rules);
    return index < 0 ? QString() : baseName(arguments.at(index));
}

MatchResult matchWindow(const WindowMetadata& window, const DesktopEntryIndex& index, const MatchRules& rules)
{
    auto hit = [](MatchResult::Via via, const DesktopEntryRecord* entry) {
        return MatchResult{via, entry, entry->id};
    };
    const QString instance = window.wmInstance.trimmed();
    const QString wmClass = window.wmClass.trimmed();

    // Browser web apps and Steam games share their launcher's process tree, environment
    // and often its class: only their own entry may claim them, never the launcher's.
    static const QRegularExpression steamGame(QStringLiteral("^steam_app_(\\d+)$"),
                                              QRegularExpression::CaseInsensitiveOption);
    const bool webApp = instance.startsWith(QLatin1String("crx_"));
    auto steam = steamGame.match(wmClass);
    if (!steam.hasMatch())
        steam = steamGame.match(instance);
    const bool family = webApp || steam.hasMatch();

    if (!family && !window.launchedDesktopFile.isEmpty() && window.launchedDesktopFilePid > 0
        && (window.launchedDesktopFilePid == window.pid
            || std::find(window.ancestors.begin(), window.ancestors.end(), window.launchedDesktopFilePid)
                != window.ancestors.end())) {
        const DesktopEntryRecord* entry = index.byPath(window.launchedDesktopFile);
        if (!entry)
            entry = index.byId(baseName(window.launchedDesktopFile));
        if (entry)
            return hit(MatchResult::Via::launchHint, entry);
    }

    if (const auto* entry = index.byFlatpakId(window.flatpakId))
        return hit(MatchResult::Via::flatpak, entry);
    if (!window.snapName.isEmpty()) {
        const QString app = window.snapApp.isEmpty() ? window.snapName : window.snapApp;
        if (const auto* entry = index.byId(window.snapName + QLatin1Char('_') + app))
            return hit(MatchResult::Via::snap, entry);
    }

    if (const auto* entry = index.byId(window.gtkApplicationId))
        return hit(MatchResult::Via::applicationId, entry);
    if (const auto* entry = index.byId(window.kdeDesktopFile))
        return hit(MatchResult::Via::applicationId, entry);

    if (webApp) {
        const QString appId = instance.mid(4);
        const DesktopEntryRecord* entry = index.byWmClass(instance);
        if (!entry)
            entry = index.byWebAppId(appId);
        return entry ? hit(MatchResult::Via::webApp, entry)
                     : MatchResult{MatchResult::Via::unmatched, nullptr, QStringLiteral("wmclass:") + instance.toLower()};
    }
    if (steam.hasMatch()) {
        const DesktopEntryRecord* entry = index.bySteamGameId(steam.captured(1));
        if (!entry)
            entry = index.byWmClass(steam.captured(0));
        return entry ? hit(MatchResult::Via::steamGame, entry)
                     : MatchResult{MatchResult::Via::unmatched, nullptr,
                                   QStringLiteral("wmclass:steam_app_") + steam.captured(1)};
    }

    for (const QString& name : {wmClass, instance}) {
        if (const auto* entry = index.byWmClass(name))
            return hit(MatchResult::Via::wmClass, entry);
    }

    QStringList programs;
    const QString executable = baseName(window.executable);
    if (!executable.isEmpty() && !rules.isInterpreter(executable))
        programs << executable;
    const QString fromCommandLine = effectiveProgram(window.commandLine, rules);
    if (!fromCommandLine.isEmpty() && !programs.contains(fromCommandLine))
        programs << fromCommandLine;
    for (const QString& program : std::as_const(programs)) {
        if (const auto* entry = index.byProgram(program))
            return hit(MatchResult::Via::executable, entry);
    }

    for (const QString& name : {wmClass, instance}) {
        if (const auto id = rules.entryForWmClass(name)) {
            if (const auto* entry = index.byId(*id))
                return hit(MatchResult::Via::rule, entry);
        }
    }
    for (const QString& program : std::as_const(programs)) {
        if (const auto id = rules.entryForExecutable(program)) {
            if (const auto* entry = index.byId(*id))
                return hit(MatchResult::Via::rule, entry);
        }
    }

    MatchResult unmatched;
    if (!wmClass.isEmpty() || !instance.isEmpty())
        unmatched.groupKey = QStringLiteral("wmclass:") + (wmClass.isEmpty() ? instance : wmClass).toLower();
    else if (!window.executable.isEmpty())
        unmatched.groupKey = QStringLiteral("exe:") + window.executable;
    else if (!window.commandLine.isEmpty())
        unmatched.groupKey = QStringLiteral("exe:") + window.commandLine.first();
    else if (window.pid)
        unmatched.groupKey = QStringLiteral("pid:") + QString::number(*window.pid);
    else
        unmatched.groupKey = QStringLiteral("window:") + QString::number(window.window, 16);
    return unmatched;
}

QString toString(MatchResult::Via via)
{
    switch (via) {
    case MatchResult::Via::launchHint: return QStringLiteral("launchHint");
    case MatchResult::Via::flatpak: return QStringLiteral("flatpak");
    case MatchResult::Via::snap: return QStringLiteral("snap");
    case MatchResult::Via::applicationId: return QStringLiteral("applicationId");
    case MatchResult::Via::wmClass: return QStringLiteral("wmClass");
    case MatchResult::Via::webApp: return QStringLiteral("webApp");
    case MatchResult::Via::steamGame: return QStringLiteral("steamGame");
    case MatchResult::Via::executable: return QStringLiteral("executable");
    case MatchResult::Via::rule: return QStringLiteral("rule");
    case MatchResult::Via::unmatched: return QStringLiteral("unmatched");
    }
    return QStringLiteral("unmatched");
}

} // namespace wharf
