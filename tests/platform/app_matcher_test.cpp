#include "platform/x11/app_matcher.h"
#include "platform/x11/process_reader.h"

#include <gtest/gtest.h>

namespace wharf {
namespace {

const QString applications = QStringLiteral(WHARF_TEST_DATA_DIR "/applications/");

const DesktopEntryIndex& fixtureIndex()
{
    static const DesktopEntryIndex index = DesktopEntryIndex::fromInstalledEntries(MatchRules::defaults());
    return index;
}

MatchRules rulesWithUserFile()
{
    MatchRules rules = MatchRules::defaults();
    rules.parse(QStringLiteral("wmclass Mystery-App = org.example.Editor\nexe mystery-bin = org.example.Tool\n"),
                QStringLiteral("rules.conf"));
    return rules;
}

WindowMetadata windowWithClass(const QString& instance, const QString& wmClass)
{
    WindowMetadata window;
    window.window = 0x400001;
    window.pid = 4242;
    window.wmInstance = instance;
    window.wmClass = wmClass;
    return window;
}

struct MatchCase {
    const char* name;
    WindowMetadata window;
    const char* expectedEntry; // empty: unmatched
    MatchResult::Via expectedVia;
    const char* expectedGroup; // checked when not null
};

void PrintTo(const MatchCase& c, std::ostream* os) { *os << c.name; }

std::vector<MatchCase> matchCases()
{
    using Via = MatchResult::Via;
    std::vector<MatchCase> cases;
    auto add = [&](const char* name, WindowMetadata window, const char* entry, Via via, const char* group = nullptr) {
        cases.push_back({name, std::move(window), entry, via, group});
    };

    // A pinned launcher must not get a second, unnamed running icon.
    add("pinnedLauncherByStartupWMClass", windowWithClass("example-editor", "ExampleEditor"),
        "org.example.Editor", Via::wmClass);
    {
        WindowMetadata w = windowWithClass({}, {});
        w.executable = QStringLiteral("/usr/bin/example-editor");
        add("pinnedLauncherWithoutClassByExecutable", w, "org.example.Editor", Via::executable);
    }
    {
        // The hidden helper entry runs the same program; the visible entry wins.
        WindowMetadata w = windowWithClass(QStringLiteral("ed"), QStringLiteral("Ed"));
        w.commandLine = {QStringLiteral("example-editor"), QStringLiteral("--new-window")};
        add("sharedProgramPrefersShownEntry", w, "org.example.Editor", Via::executable);
    }

    // Web apps belong to their own entry, never to the browser.
    {
        WindowMetadata w = windowWithClass(QStringLiteral("crx_abcdefghijklmnop"), QStringLiteral("Chromium"));
        w.launchedDesktopFile = applications + QStringLiteral("chromium.desktop");
        w.launchedDesktopFilePid = *w.pid;
        w.executable = QStringLiteral("/usr/lib/chromium/chromium");
        add("webAppByStartupWMClassDespiteBrowserHint", w, "chrome-abcdefghijklmnop-Default", Via::webApp);
    }
    add("webAppByAppIdArgument", windowWithClass(QStringLiteral("crx_qrstuvwx"), QStringLiteral("Chromium")),
        "chrome-qrstuvwx-Default", Via::webApp);
    {
        WindowMetadata w = windowWithClass(QStringLiteral("crx_unknownapp"), QStringLiteral("Chromium"));
        w.executable = QStringLiteral("/usr/bin/chromium");
        add("unknownWebAppStaysApartFromBrowser", w, "", Via::unmatched, "wmclass:crx_unknownapp");
    }
    add("browserWindowItself", windowWithClass(QStringLiteral("chromium"), QStringLiteral("Chromium")), "chromium",
        Via::wmClass);

    // Steam games run under Steam's process tree and environment.
    {
        WindowMetadata w = windowWithClass(QStringLiteral("steam_app_620"), QStringLiteral("steam_app_620"));
        w.launchedDesktopFile = applications + QStringLiteral("steam.desktop");
        w.launchedDesktopFilePid = 100;
        w.ancestors = {200, 100};
        w.executable = QStringLiteral("/home/u/.steam/steamapps/common/Portal 2/portal2_linux");
        add("steamGameUnderSteamsLaunchHint", w, "portal-2", Via::steamGame);
    }
    {
        WindowMetadata w = windowWithClass(QStringLiteral("steam_app_999"), QStringLiteral("Steam_App_999"));
        w.launchedDesktopFile = applications + QStringLiteral("steam.desktop");
        w.launchedDesktopFilePid = *w.pid;
        add("steamGameWithoutEntryNotSteam", w, "", Via::unmatched, "wmclass:steam_app_999");
    }
    add("steamClientItself", windowWithClass(QStringLiteral("steamwebhelper"), QStringLiteral("Steam")), "steam",
        Via::wmClass);

    // Classes that differ from the entry only in case.
    {
        WindowMetadata w = windowWithClass(QStringLiteral("sun-awt-X11-XFramePeer"),
                                           QStringLiteral("org-example-javaapp"));
        w.executable = QStringLiteral("/usr/lib/jvm/java-17-openjdk-amd64/bin/java");
        w.commandLine = {QStringLiteral("java"), QStringLiteral("-jar"), QStringLiteral("/opt/javaapp/javaapp.jar")};
        add("javaAppClassInOtherCase", w, "org.example.JavaApp", Via::wmClass);
    }
    add("electronAppClassInOtherCase", windowWithClass(QStringLiteral("code"), QStringLiteral("code")), "code",
        Via::wmClass);
    add("usersOwnEntryWinsOverSystemEntry", windowWithClass(QStringLiteral("viewer"), QStringLiteral("ExampleViewer")),
        "my-viewer", Via::wmClass);
    add("classMatchesLastIdComponent", windowWithClass(QStringLiteral("konsole"), QStringLiteral("Konsole")),
        "org.kde.konsole", Via::wmClass);

    // Sandboxed applications.
    {
        WindowMetadata w = windowWithClass(QStringLiteral("firefox"), QStringLiteral("firefox"));
        w.snapName = QStringLiteral("firefox");
        w.snapApp = QStringLiteral("firefox");
        add("snapEntryNamedSnapUnderscoreApp", w, "firefox_firefox", Via::snap);
    }
    {
        WindowMetadata w = windowWithClass(QStringLiteral("tool"), QStringLiteral("Tool"));
        w.snapName = QStringLiteral("mysnap");
        w.snapApp = QStringLiteral("tool");
        add("snapAppNamedDifferentlyFromSnap", w, "mysnap_tool", Via::snap);
    }
    {
        WindowMetadata w = windowWithClass(QStringLiteral("flat"), QStringLiteral("Flat"));
        w.flatpakId = QStringLiteral("org.example.Flat");
        add("flatpakAppId", w, "org.example.Flat", Via::flatpak);
    }

    // Application ids set by the toolkit.
    {
        WindowMetadata w = windowWithClass(QStringLiteral("gnome-text-editor"), QStringLiteral("Gnome-text-editor"));
        w.gtkApplicationId = QStringLiteral("org.gnome.TextEditor");
        add("gtkApplicationId", w, "org.gnome.TextEditor", Via::applicationId);
    }
    {
        WindowMetadata w = windowWithClass(QStringLiteral("unknown"), QStringLiteral("Unknown"));
        w.kdeDesktopFile = QStringLiteral("org.kde.konsole");
        add("kdeDesktopFileWithoutSuffix", w, "org.kde.konsole", Via::applicationId);
    }

    // Wrapper scripts and interpreters.
    {
        WindowMetadata w = windowWithClass(QStringLiteral("xclock"), QStringLiteral("XClock"));
        w.launchedDesktopFile = applications + QStringLiteral("clock-wrapper.desktop");
        w.launchedDesktopFilePid = 499;
        w.ancestors = {499, 300};
        add("wrapperScriptChildKeepsLaunchHint", w, "clock-wrapper", Via::launchHint);
    }
    {
        WindowMetadata w = windowWithClass(QStringLiteral("xclock"), QStringLiteral("XClock"));
        w.launchedDesktopFile = applications + QStringLiteral("clock-wrapper.desktop");
        w.launchedDesktopFilePid = 77; // inherited from an unrelated launch
        w.ancestors = {499, 300};
        add("staleLaunchHintIgnored", w, "", Via::unmatched, "wmclass:xclock");
    }
    {
        WindowMetadata w = windowWithClass({}, {});
        w.executable = QStringLiteral("/usr/bin/dash");
        w.commandLine = {QStringLiteral("/bin/sh"), QStringLiteral("/usr/local/bin/run-clock.sh")};
        add("wrapperScriptRunByShell", w, "clock-wrapper", Via::executable);
    }
    {
        WindowMetadata w = windowWithClass(QStringLiteral("tk"), QStringLiteral("Tk"));
        w.executable = QStringLiteral("/usr/bin/python3.11");
        w.commandLine = {QStringLiteral("python3"), QStringLiteral("-u"), QStringLiteral("/usr/share/tool/tool.py")};
        add("pythonScriptBehindInterpreter", w, "org.example.Tool", Via::executable);
    }

    // Broken or missing metadata.
    {
        WindowMetadata w;
        w.window = 0x1a00007;
        add("noClassNoPid", w, "", Via::unmatched, "window:1a00007");
    }
    {
        WindowMetadata w = windowWithClass(QStringLiteral("  "), {});
        w.executable = QStringLiteral("/opt/odd/odd-app");
        add("blankClassGroupsByExecutable", w, "", Via::unmatched, "exe:/opt/odd/odd-app");
    }
    {
        WindowMetadata w = windowWithClass(QStringLiteral("mystery-app"), QStringLiteral("Mystery-App"));
        w.executable = QStringLiteral("/opt/mystery/mystery");
        add("userRuleForClass", w, "org.example.Editor", Via::rule);
    }
    {
        WindowMetadata w = windowWithClass(QStringLiteral("mb"), QStringLiteral("Mb"));
        w.executable = QStringLiteral("/opt/mystery/mystery-bin");
        add("userRuleForExecutable", w, "org.example.Tool", Via::rule);
    }
    {
        WindowMetadata w = windowWithClass(QStringLiteral("missing"), QStringLiteral("Missing"));
        add("entryWhoseProgramIsMissingNeverMatches", w, "", Via::unmatched, "wmclass:missing");
    }
    return cases;
}

class MatchWindowTest : public ::testing::TestWithParam<MatchCase> {};

TEST_P(MatchWindowTest, MatchesEntry)
{
    const MatchCase& c = GetParam();
    const MatchResult result = matchWindow(c.window, fixtureIndex(), rulesWithUserFile());
    const QString expected = QString::fromUtf8(c.expectedEntry);
    EXPECT_EQ(result.entry ? result.entry->id.toStdString() : std::string(), expected.toStdString());
    EXPECT_EQ(toString(result.via).toStdString(), toString(c.expectedVia).toStdString());
    if (c.expectedGroup)
        EXPECT_EQ(result.groupKey.toStdString(), std::string(c.expectedGroup));
    else
        EXPECT_EQ(result.groupKey, expected);
}

INSTANTIATE_TEST_SUITE_P(Rows, MatchWindowTest, ::testing::ValuesIn(matchCases()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(MatchWindow, SeveralProcessesAndWindowsOfOneApplicationShareAGroup)
{
    const MatchRules rules = MatchRules::defaults();
    WindowMetadata first = windowWithClass(QStringLiteral("example-editor"), QStringLiteral("ExampleEditor"));
    WindowMetadata second = first;
    second.window = 0x400099;
    second.pid = 5151;
    WindowMetadata unmatchedA = windowWithClass(QStringLiteral("xeyes"), QStringLiteral("XEyes"));
    WindowMetadata unmatchedB = unmatchedA;
    unmatchedB.pid = 6161;
    EXPECT_EQ(matchWindow(first, fixtureIndex(), rules).groupKey, matchWindow(second, fixtureIndex(), rules).groupKey);
    EXPECT_EQ(matchWindow(unmatchedA, fixtureIndex(), rules).groupKey,
              matchWindow(unmatchedB, fixtureIndex(), rules).groupKey);
    EXPECT_NE(matchWindow(first, fixtureIndex(), rules).groupKey,
              matchWindow(unmatchedA, fixtureIndex(), rules).groupKey);
}

TEST(DesktopEntryIndex, ReadsWhatMatchingNeedsAndSkipsBrokenEntries)
{
    const DesktopEntryIndex& index = fixtureIndex();
    EXPECT_EQ(index.byId(QStringLiteral("broken")), nullptr) << "not a desktop entry";
    EXPECT_EQ(index.byId(QStringLiteral("missing-program")), nullptr) << "TryExec names a missing program";
    EXPECT_FALSE(DesktopEntryIndex::recordForFile(applications + QStringLiteral("broken.desktop"),
                                                  MatchRules::defaults()));
    EXPECT_FALSE(DesktopEntryIndex::recordForFile(QStringLiteral("/nonexistent/x.desktop"), MatchRules::defaults()));

    const DesktopEntryRecord* tool = index.byId(QStringLiteral("org.example.Tool.desktop"));
    ASSERT_NE(tool, nullptr);
    EXPECT_EQ(tool->program, QStringLiteral("tool.py"));
    EXPECT_EQ(tool->path, applications + QStringLiteral("org.example.Tool.desktop"));
    const DesktopEntryRecord* game = index.byId(QStringLiteral("portal-2"));
    ASSERT_NE(game, nullptr);
    EXPECT_EQ(game->steamGameId, QStringLiteral("620"));
    EXPECT_EQ(game->name, QStringLiteral("Portal 2"));
    // A web app runs the browser's program but must not be found by it.
    EXPECT_EQ(index.byProgram(QStringLiteral("chromium"))->id, QStringLiteral("chromium"));
    EXPECT_EQ(index.byProgram(QStringLiteral("steam"))->id, QStringLiteral("steam"));
    // An entry without Exec is kept but matches by no program.
    EXPECT_NE(index.byId(QStringLiteral("no-exec")), nullptr);
    EXPECT_EQ(index.byProgram(QString()), nullptr);
}

TEST(EffectiveProgram, LooksPastInterpretersAndTheirOptions)
{
    const MatchRules rules = MatchRules::defaults();
    const struct {
        QStringList arguments;
        const char* program;
    } rows[] = {
        {{QStringLiteral("/usr/bin/xterm"), QStringLiteral("-e"), QStringLiteral("top")}, "xterm"},
        {{QStringLiteral("python3.11"), QStringLiteral("-m"), QStringLiteral("mytool")}, "mytool"},
        {{QStringLiteral("java"), QStringLiteral("-Xmx1g"), QStringLiteral("-jar"), QStringLiteral("/opt/a/app.jar")},
         "app.jar"},
        {{QStringLiteral("java"), QStringLiteral("-cp"), QStringLiteral("/a:/b"), QStringLiteral("org.x.Main")},
         "org.x.Main"},
        {{QStringLiteral("env"), QStringLiteral("GDK_BACKEND=x11"), QStringLiteral("/usr/bin/gedit")}, "gedit"},
        {{QStringLiteral("env"), QStringLiteral("A=1"), QStringLiteral("bash"), QStringLiteral("/opt/run.sh")},
         "run.sh"},
        {{QStringLiteral("wine64"), QStringLiteral("C:/Games/game.exe")}, "game.exe"},
        {{QStringLiteral("/usr/bin/python3")}, "python3"},
        {{QStringLiteral("%U")}, ""},
        {{}, ""},
    };
    for (const auto& row : rows)
        EXPECT_EQ(effectiveProgram(row.arguments, rules).toStdString(), std::string(row.program))
            << row.arguments.join(QLatin1Char(' ')).toStdString();
}

TEST(MatchRules, BadLinesAreReportedAndGoodOnesKept)
{
    MatchRules rules;
    QStringList errors;
    rules.parse(QStringLiteral("# comment\n"
                               "wmclass Foo = foo.desktop\n"
                               "wmclass = nothing\n"
                               "frobnicate x\n"
                               "exe a b = c\n"
                               "interpreter\n"
                               "exe foo-bin = foo\n"),
                QStringLiteral("user.conf"), &errors);
    ASSERT_EQ(errors.size(), 4);
    EXPECT_TRUE(errors.at(0).startsWith(QStringLiteral("user.conf:3:"))) << errors.at(0).toStdString();
    EXPECT_TRUE(errors.at(1).startsWith(QStringLiteral("user.conf:4:")));
    EXPECT_EQ(rules.entryForWmClass(QStringLiteral("FOO")), QStringLiteral("foo"));
    EXPECT_EQ(rules.entryForExecutable(QStringLiteral("foo-bin")), QStringLiteral("foo"));
    EXPECT_FALSE(rules.entryForExecutable(QStringLiteral("a")));
}

TEST(WindowProperties, WmClassIsReadLeniently)
{
    const struct {
        QByteArray property;
        const char* instance;
        const char* wmClass;
    } rows[] = {
        {QByteArray("xterm\0XTerm\0", 12), "xterm", "XTerm"},
        {QByteArray("Single"), "Single", "Single"},
        {QByteArray("solo\0", 5), "solo", "solo"},
        {QByteArray("\0\0", 2), "", ""},
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
              QStringLiteral("org.example.Flat"));
    EXPECT_EQ(flatpakIdFromInfo("name=org.no.Group\n"), QString());
    EXPECT_EQ(splitNulSeparated(QByteArray("a\0b c\0\0", 7)), (QStringList{QStringLiteral("a"), QStringLiteral("b c")}));
}

} // namespace
} // namespace wharf
