#include "takeover/dock_preference_backup.h"
#include "takeover/process_identity.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

namespace wharf {
namespace {

TEST(DockPreferenceBackup, ValidationAcceptsExactlyOneEntryPerManagedKey)
{
    const QStringList managed{"autohide", "show-delay"};
    const QByteArray value = encodeDockValue({"b", "false"});
    struct Row {
        const char* name;
        std::function<void(DockPreferenceBackup&)> edit;
        bool valid;
    };
    const std::vector<Row> rows{
        {"one saved, one missing", [](DockPreferenceBackup&) {}, true},
        {"all missing", [&](DockPreferenceBackup& b) { b.values.clear(); b.missing = managed; }, true},
        {"version 2", [](DockPreferenceBackup& b) { b.version = 2; }, false},
        {"key both saved and missing", [](DockPreferenceBackup& b) { b.missing.append("autohide"); }, false},
        {"only one key covered", [](DockPreferenceBackup& b) { b.missing.clear(); }, false},
        {"unknown key saved", [&](DockPreferenceBackup& b) { b.values.insert("dock-fixed", value); }, false},
        {"missing listed twice", [](DockPreferenceBackup& b) { b.missing.append("show-delay"); }, false},
    };
    for (const Row& row : rows) {
        DockPreferenceBackup backup;
        backup.values.insert("autohide", value);
        backup.missing = {"show-delay"};
        row.edit(backup);
        EXPECT_EQ(isValidBackup(backup, managed), row.valid) << row.name;
    }
}

// A property list array written by hand; libplist reads this XML form as it reads the binary one.
QByteArray plistArray(const QByteArray& items) { return "<plist><array>" + items + "</array></plist>"; }

TEST(DockPreferenceBackup, SavedValueIsAOneElementArray)
{
    const NativeDockValue value{"s", "'it\\'s \"quoted\" – ü'"};
    EXPECT_EQ(decodeDockValue(encodeDockValue(value)), value);
    const QByteArray yes("<dict><key>type</key><string>b</string><key>text</key><string>true</string></dict>");
    EXPECT_EQ(decodeDockValue(plistArray(yes)), (NativeDockValue{"b", "true"}));
    // An empty array, two elements, a bare boolean element.
    for (const QByteArray& bytes : {plistArray({}), plistArray(yes + yes), plistArray("<true/>")})
        EXPECT_FALSE(decodeDockValue(bytes)) << bytes.toStdString();
}

TEST(ProcessIdentity, StartTimeIsFieldTwentyTwoAndAnUnreapedProcessHasNone)
{
    // The command name may hold spaces and parentheses; 19 fields lie between the state and the start time.
    const QByteArray tail = " 1 1 1 0 -1 4194560 100 0 0 0 5 3 0 0 20 0 1 0 12345 1000 200";
    EXPECT_EQ(processStartFromStat("42 (a) (b c) S" + tail, 100), "123:450000");
    EXPECT_FALSE(processStartFromStat("42 (wharf) S 1 1", 100));

    // Ended but not yet reaped: the owner of a backup in this state is gone.
    const pid_t child = fork();
    if (child == 0)
        _exit(0);
    siginfo_t info{};
    waitid(P_PID, child, &info, WEXITED | WNOWAIT);
    EXPECT_FALSE(processStart(child));
    waitpid(child, nullptr, 0);
}

} // namespace
} // namespace wharf
