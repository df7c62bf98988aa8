#include "platform/x11/app_matcher.h"
#include "platform/x11/process_reader.h"

#include <gtest/gtest.h>

namespace wharf {
namespace {

const QString applications = WHARF_TEST_DATA_DIR "/applications/";

const DesktopEntryIndex& fixtureIndex()
{
    static const DesktopEntryIndex index = DesktopEntryIndex::fromInstalledEntries(MatchRules::defaults());
    return index;
}

// Window 0x1a00007 of process 4242 with the given WM_CLASS; `edit` adds the other facts.
WindowMetadata windowWithClass(const QString& instance, const QString& wmClass,
                               const std::function<void(WindowMetadata&)>& edit = {})
{
    WindowMetadata window;
    window.window = 0x1a00007;
    window.pid = 4242;
    window.wmInstance = instance;
    window.wmClass = wmClass;
    if (edit)
        edit(window);
    return window;
}

struct MatchCase {
    const char* name;
    WindowMetadata window;
    const char* expectedEntry; // empty: unmatched
    MatchResult::Via expectedVia;
    const char* expectedGroup = nullptr; // checked when not null
};

TEST(MatchWindow, MatchesEntry)
{
    using Via = MatchResult::Via;
    using W = WindowMetadata;
    // The launch hint a launcher left in the environment, with the process's executable when given.
    const auto launchedBy = [](const char* entry, pid_t launcher, std::vector<pid_t> ancestors = {},
                               const char* executable = nullptr) {
        return [=](W& w) {
            w.launchedDesktopFile = applications + entry;
            w.launchedDesktopFilePid = launcher ? launcher : *w.pid;
            w.ancestors = ancestors;
            if (executable)
                w.executable = executable;
        };
    };
    // The process's executable and command line.
    const auto running = [](const char* executable, const QStringList& commandLine) {
        return [=](W& w) {
            w.executable = executable;
            w.commandLine = commandLine;
        };
    };
    const MatchCase cases[] = {
        // A pinned launcher must not get a second, unnamed running icon. The hidden helper entry
        // runs the same program; the visible entry wins.
        {"pinnedLauncherWithoutClassByExecutable",
         windowWithClass({}, {}, [](W& w) { w.executable = "/usr/bin/example-editor"; }), "org.example.Editor",
         Via::executable},

        // Web apps belong to their own entry, never to the browser.
        {"webAppByStartupWMClassDespiteBrowserHint",
         windowWithClass("crx_abcdefghijklmnop", "Chromium",
                         launchedBy("chromium.desktop", 0, {}, "/usr/lib/chromium/chromium")),
         "chrome-abcdefghijklmnop-Default", Via::webApp},
        {"webAppByAppIdArgument", windowWithClass("crx_qrstuvwx", "Chromium"), "chrome-qrstuvwx-Default", Via::webApp},
        {"unknownWebAppStaysApartFromBrowser",
         windowWithClass("crx_unknownapp", "Chromium", [](W& w) { w.executable = "/usr/bin/chromium"; }), "",
         Via::unmatched, "wmclass:crx_unknownapp"},
        {"browserWindowItself", windowWithClass("chromium", "Chromium"), "chromium", Via::wmClass},

        // Steam games run under Steam's process tree and environment.
        {"steamGameUnderSteamsLaunchHint",
         windowWithClass("steam_app_620", "steam_app_620",
                         launchedBy("steam.desktop", 100, {200, 100},
                                    "/home/u/.steam/steamapps/common/Portal 2/portal2_linux")),
         "portal-2", Via::steamGame},
        {"steamGameWithoutEntryNotSteam", windowWithClass("steam_app_999", "Steam_App_999", launchedBy("steam.desktop", 0)),
         "", Via::unmatched, "wmclass:steam_app_999"},

        // A class that differs from the entry's only in case.
        {"javaAppClassInOtherCase",
         windowWithClass("sun-awt-X11-XFramePeer", "org-example-javaapp",
                         running("/usr/lib/jvm/java-17-openjdk-amd64/bin/java",
                                 {"java", "-jar", "/opt/javaapp/javaapp.jar"})),
         "org.example.JavaApp", Via::wmClass},
        {"usersOwnEntryWinsOverSystemEntry", windowWithClass("viewer", "ExampleViewer"), "my-viewer", Via::wmClass},
        {"classMatchesLastIdComponent", windowWithClass("konsole", "Konsole"), "org.kde.konsole", Via::wmClass},

        // Sandboxed applications and application ids set by the toolkit.
        {"snapAppNamedDifferentlyFromSnap",
         windowWithClass("tool", "Tool",
                         [](W& w) {
                             w.snapName = "mysnap";
                             w.snapApp = "tool";
                         }),
         "mysnap_tool", Via::snap},
        {"flatpakAppId", windowWithClass("flat", "Flat", [](W& w) { w.flatpakId = "org.example.Flat"; }),
         "org.example.Flat", Via::flatpak},
        {"gtkApplicationId",
         windowWithClass("gnome-text-editor", "Gnome-text-editor",
                         [](W& w) { w.gtkApplicationId = "org.gnome.TextEditor"; }),
         "org.gnome.TextEditor", Via::applicationId},
        {"kdeDesktopFileWithoutSuffix",
         windowWithClass("unknown", "Unknown", [](W& w) { w.kdeDesktopFile = "org.kde.konsole"; }), "org.kde.konsole",
         Via::applicationId},

        // Wrapper scripts and interpreters (a launch through a wrapper script is the workspace
        // end-to-end test's); a launch hint inherited from an unrelated launch is stale.
        {"staleLaunchHintIgnored", windowWithClass("xclock", "XClock", launchedBy("clock-wrapper.desktop", 77, {499, 300})),
         "", Via::unmatched, "wmclass:xclock"},
        {"wrapperScriptRunByShell",
         windowWithClass({}, {}, running("/usr/bin/dash", {"/bin/sh", "/usr/local/bin/run-clock.sh"})),
         "clock-wrapper", Via::executable},
        {"pythonScriptBehindInterpreter",
         windowWithClass("tk", "Tk", running("/usr/bin/python3.11", {"python3", "-u", "/usr/share/tool/tool.py"})),
         "org.example.Tool", Via::executable},

        // Broken or missing metadata, and the user's own rules.
        {"noClassNoPid", windowWithClass({}, {}, [](W& w) { w.pid.reset(); }), "", Via::unmatched, "window:1a00007"},
        {"blankClassGroupsByExecutable", windowWithClass("  ", {}, [](W& w) { w.executable = "/opt/odd/odd-app"; }), "",
         Via::unmatched, "exe:/opt/odd/odd-app"},
        {"userRuleForClass",
         windowWithClass("mystery-app", "Mystery-App", [](W& w) { w.executable = "/opt/mystery/mystery"; }),
         "org.example.Editor", Via::rule},
        {"userRuleForExecutable", windowWithClass("mb", "Mb", [](W& w) { w.executable = "/opt/mystery/mystery-bin"; }),
         "org.example.Tool", Via::rule},
    };
    MatchRules rules = MatchRules::defaults();
    rules.parse("wmclass Mystery-App = org.example.Editor\nexe mystery-bin = org.example.Tool\n", "rules.conf");
    for (const MatchCase& c : cases) {
        SCOPED_TRACE(c.name);
        const MatchResult result = matchWindow(c.window, fixtureIndex(), rules);
        const QString expected = c.expectedEntry;
        EXPECT_EQ(result.entry ? result.entry->id.toStdString() : std::string(), expected.toStdString());
        EXPECT_EQ(toString(result.via).toStdString(), toString(c.expectedVia).toStdString());
        EXPECT_EQ(result.groupKey.toStdString(), c.expectedGroup ? std::string(c.expectedGroup) : expected.toStdString());
    }
}

TEST(DesktopEntryIndex, ReadsWhatMatchingNeedsAndSkipsBrokenEntries)
{
    const DesktopEntryIndex& index = fixtureIndex();
    EXPECT_EQ(index.byId("broken"), nullptr) << "not a desktop entry";
    EXPECT_EQ(index.byId("missing-program"), nullptr) << "TryExec names a missing program";
    EXPECT_FALSE(DesktopEntryIndex::recordForFile(applications + "broken.desktop", MatchRules::defaults()));

    const DesktopEntryRecord* tool = index.byId("org.example.Tool.desktop");
    ASSERT_NE(tool, nullptr);
    EXPECT_EQ(tool->path, applications + "org.example.Tool.desktop");
    // A web app runs the browser's program but must not be found by it.
    EXPECT_EQ(index.byProgram("chromium")->id, "chromium");
    EXPECT_EQ(index.byProgram("steam")->id, "steam");
    // An entry without Exec is kept but matches by no program.
    EXPECT_NE(index.byId("no-exec"), nullptr);
    EXPECT_EQ(index.byProgram(QString()), nullptr);
}

TEST(EffectiveProgram, LooksPastInterpretersAndTheirOptions)
{
    const MatchRules rules = MatchRules::defaults();
    const std::pair<QStringList, const char*> rows[] = {
        {{"/usr/bin/xterm", "-e", "top"}, "xterm"},
        {{"python3.11", "-m", "mytool"}, "mytool"},
        {{"java", "-Xmx1g", "-jar", "/opt/a/app.jar"}, "app.jar"},
        {{"java", "-cp", "/a:/b", "org.x.Main"}, "org.x.Main"},
        {{"env", "A=1", "bash", "/opt/run.sh"}, "run.sh"},
        {{"wine64", "C:/Games/game.exe"}, "game.exe"},
        {{"/usr/bin/python3"}, "python3"},
        {{"%U"}, ""},
        {{}, ""},
    };
    for (const auto& [arguments, program] : rows)
        EXPECT_EQ(effectiveProgram(arguments, rules).toStdString(), std::string(program))
            << arguments.join(' ').toStdString();
}

TEST(MatchRules, BadLinesAreReportedAndGoodOnesKept)
{
    MatchRules rules;
    QStringList errors;
    rules.parse("# comment\n"
                "wmclass Foo = foo.desktop\n"
                "wmclass = nothing\n"
                "frobnicate x\n"
                "exe a b = c\n"
                "interpreter\n"
                "exe foo-bin = foo\n",
                "user.conf", &errors);
    ASSERT_EQ(errors.size(), 4);
    EXPECT_TRUE(errors.at(0).startsWith("user.conf:3:")) << errors.at(0).toStdString();
    EXPECT_TRUE(errors.at(1).startsWith("user.conf:4:"));
    EXPECT_EQ(rules.entryForWmClass("FOO"), "foo");
    EXPECT_EQ(rules.entryForExecutable("foo-bin"), "foo");
    EXPECT_FALSE(rules.entryForExecutable("a"));
}

TEST(WindowProperties, WmClassIsReadLeniently)
{
    const struct {
        QByteArray property;
        const char* instance;
        const char* wmClass;
    } rows[] = {
        {QByteArray("xterm\0XTerm\0", 12), "xterm", "XTerm"},
        {QByteArray("solo\0", 5), "solo", "solo"},
        {QByteArray(), "", ""},
        {QByteArray(" pad \0 Pad \0extra\0", 18), "pad", "Pad"},
    };
    for (const auto& row : rows) {
        const auto [instance, wmClass] = parseWmClass(row.property);
        EXPECT_EQ(instance.toStdString(), std::string(row.instance)) << row.property.toHex().toStdString();
        EXPECT_EQ(wmClass.toStdString(), std::string(row.wmClass)) << row.property.toHex().toStdString();
    }
}

TEST(ProcessFiles, OddContentsParseOrGiveNothing)
{
    // The command name may hold spaces and parentheses; fields count from the last ')'.
    const QByteArray stat = "1234 (evil) S 99 (x) R 77 1 1 0 -1 4194560 0 0 0 0 0 0 0 0 20 0 1 0 555555 0 0";
    EXPECT_EQ(parentFromStat(stat), 77);
    EXPECT_FALSE(parentFromStat("garbage"));
    EXPECT_EQ(startTimeFromStat(stat), 555555u);
    EXPECT_FALSE(startTimeFromStat("1234 (short) S 1 2 3"));

    EXPECT_EQ(snapFromCgroup("0::/user.slice/user-1000.slice/user@1000.service/app.slice/"
                             "snap.firefox.firefox-1f2e8a90-22c1-4ad7-b3f5-0d5e6f7a8b9c.scope\n"),
              std::make_pair(QStringLiteral("firefox"), QStringLiteral("firefox")));
    EXPECT_EQ(snapFromCgroup("0::/app.slice/snap.my-snap.my-app.scope\n"),
              std::make_pair(QStringLiteral("my-snap"), QStringLiteral("my-app")));
    EXPECT_EQ(snapFromCgroup("0::/user.slice/app.slice/app-gnome-xterm-42.scope\n"), std::make_pair(QString(), QString()));
    EXPECT_EQ(flatpakIdFromInfo("[Instance]\nname=wrong\n[Application]\nname=org.example.Flat\nruntime=x\n"),
              "org.example.Flat");
    EXPECT_EQ(flatpakIdFromInfo("name=org.no.Group\n"), QString());
    EXPECT_EQ(splitNulSeparated(QByteArray("a\0b c\0\0", 7)), (QStringList{"a", "b c"}));
    // A window shown over ssh -X names a process of its own machine.
    for (const char* machine : {"", "box", "BOX.lan", "localhost"})
        EXPECT_EQ(localProcess(7, machine, "box"), 7) << machine;
    EXPECT_EQ(localProcess(7, "far", "box"), std::nullopt);
    EXPECT_EQ(localProcess(0, "box", "box"), std::nullopt);
}

} // namespace
} // namespace wharf
