#include "takeover/dock_preference_backup.h"
#include "takeover/process_identity.h"

#include <plist/plist.h>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace wharf {
namespace {

const QStringList managed{QStringLiteral("autohide"), QStringLiteral("show-delay")};

DockPreferenceBackup sampleBackup()
{
    DockPreferenceBackup backup;
    backup.token = QStringLiteral("9E1B2C3D-0000-4000-8000-00000000AA11");
    backup.ownerPID = 4242;
    backup.ownerStart = QStringLiteral("1234:560000");
    backup.values.insert(QStringLiteral("autohide"), encodeDockValue({QStringLiteral("b"), QStringLiteral("false")}));
    backup.missing = {QStringLiteral("show-delay")};
    return backup;
}

TEST(DockPreferenceBackup, ValidationAcceptsExactlyOneEntryPerManagedKey)
{
    struct Row {
        const char* name;
        std::function<void(DockPreferenceBackup&)> edit;
        bool valid;
    };
    const QByteArray value = encodeDockValue({QStringLiteral("d"), QStringLiteral("0.5")});
    const std::vector<Row> rows{
        {"one saved, one missing", [](DockPreferenceBackup&) {}, true},
        {"all missing", [](DockPreferenceBackup& b) { b.values.clear(); b.missing = managed; }, true},
        {"all saved", [&](DockPreferenceBackup& b) { b.missing.clear(); b.values.insert(QStringLiteral("show-delay"), value); }, true},
        {"version 2", [](DockPreferenceBackup& b) { b.version = 2; }, false},
        {"version 0", [](DockPreferenceBackup& b) { b.version = 0; }, false},
        {"key both saved and missing", [](DockPreferenceBackup& b) { b.missing.append(QStringLiteral("autohide")); }, false},
        {"only one key covered", [](DockPreferenceBackup& b) { b.missing.clear(); }, false},
        {"unknown key saved", [&](DockPreferenceBackup& b) { b.values.insert(QStringLiteral("dock-fixed"), value); }, false},
        {"unknown key missing", [](DockPreferenceBackup& b) { b.missing.append(QStringLiteral("dock-fixed")); }, false},
        {"missing listed twice", [](DockPreferenceBackup& b) { b.missing.append(QStringLiteral("show-delay")); }, false},
    };
    for (const Row& row : rows) {
        DockPreferenceBackup backup = sampleBackup();
        row.edit(backup);
        EXPECT_EQ(isValidBackup(backup, managed), row.valid) << row.name;
    }
}

TEST(DockPreferenceBackup, RecordSurvivesTheFileFormat)
{
    DockPreferenceBackup backup = sampleBackup();
    backup.ownerPID = 2147483647;
    const auto decoded = decodeBackup(encodeBackup(backup));
    ASSERT_TRUE(std::holds_alternative<DockPreferenceBackup>(decoded)) << std::get<QString>(decoded).toStdString();
    EXPECT_EQ(std::get<DockPreferenceBackup>(decoded), backup);
    EXPECT_EQ(encodeBackup(backup).left(8), QByteArray("bplist00"));
}

// Builds a backup dictionary by hand, as someone editing the file would.
QByteArray handMade(const std::function<void(plist_t)>& edit)
{
    plist_t root = plist_new_dict();
    plist_dict_set_item(root, "version", plist_new_uint(1));
    plist_dict_set_item(root, "token", plist_new_string("T"));
    plist_dict_set_item(root, "ownerPID", plist_new_uint(7));
    plist_dict_set_item(root, "ownerStart", plist_new_string("1:2"));
    plist_dict_set_item(root, "values", plist_new_dict());
    plist_dict_set_item(root, "missing", plist_new_array());
    edit(root);
    char* bytes = nullptr;
    uint32_t length = 0;
    plist_to_xml(root, &bytes, &length);
    QByteArray result(bytes, length);
    plist_to_xml_free(bytes);
    plist_free(root);
    return result;
}

TEST(DockPreferenceBackup, DecodingRejectsWhatIsNotARecord)
{
    struct Row {
        const char* name;
        QByteArray bytes;
    };
    const std::vector<Row> rows{
        {"empty file", QByteArray()},
        {"text", QByteArray("autohide=true\n")},
        {"truncated", encodeBackup(sampleBackup()).left(40)},
        {"array at the top", handMade([](plist_t) {}).replace("<dict>", "<array>").replace("</dict>", "</array>")},
        {"no token", handMade([](plist_t d) { plist_dict_remove_item(d, "token"); })},
        {"version as text", handMade([](plist_t d) { plist_dict_set_item(d, "version", plist_new_string("1")); })},
        {"pid beyond 32 bits", handMade([](plist_t d) { plist_dict_set_item(d, "ownerPID", plist_new_uint(1ULL << 40)); })},
        {"value not data", handMade([](plist_t d) { plist_dict_set_item(plist_dict_get_item(d, "values"), "autohide", plist_new_bool(1)); })},
        {"missing holds a number", handMade([](plist_t d) { plist_array_append_item(plist_dict_get_item(d, "missing"), plist_new_uint(3)); })},
    };
    for (const Row& row : rows)
        EXPECT_TRUE(std::holds_alternative<QString>(decodeBackup(row.bytes))) << row.name;
    // A hand edit that keeps the shape is read (and judged by validation).
    EXPECT_TRUE(std::holds_alternative<DockPreferenceBackup>(decodeBackup(handMade([](plist_t) {}))));
}

TEST(DockPreferenceBackup, SavedValuesKeepTheirTypeAndText)
{
    const std::vector<NativeDockValue> values{
        {QStringLiteral("b"), QStringLiteral("false")},
        {QStringLiteral("d"), QStringLiteral("0.10000000000000001")},
        {QStringLiteral("u"), QStringLiteral("uint32 7")},
        {QStringLiteral("s"), QStringLiteral("'it\\'s \"quoted\" – ünïcode'")},
        {QStringLiteral("as"), QStringLiteral("@as []")},
        {QStringLiteral("a{sv}"), QStringLiteral("{'a': <int64 -1>}")},
    };
    for (const NativeDockValue& value : values) {
        const auto decoded = decodeDockValue(encodeDockValue(value));
        ASSERT_TRUE(decoded) << value.type.toStdString();
        EXPECT_EQ(*decoded, value);
    }
}

QByteArray arrayOf(const std::vector<plist_t>& items)
{
    plist_t array = plist_new_array();
    for (plist_t item : items)
        plist_array_append_item(array, item);
    char* bytes = nullptr;
    uint32_t length = 0;
    plist_to_bin(array, &bytes, &length);
    QByteArray result(bytes, length);
    plist_to_bin_free(bytes);
    plist_free(array);
    return result;
}

plist_t element(const char* type, const char* text)
{
    plist_t dict = plist_new_dict();
    plist_dict_set_item(dict, "type", plist_new_string(type));
    plist_dict_set_item(dict, "text", plist_new_string(text));
    return dict;
}

TEST(DockPreferenceBackup, SavedValueMustBeAOneElementArray)
{
    struct Row {
        const char* name;
        QByteArray bytes;
    };
    const std::vector<Row> rows{
        {"empty array", arrayOf({})},
        {"two elements", arrayOf({element("b", "true"), element("b", "false")})},
        {"bare boolean element", arrayOf({plist_new_bool(1)})},
        {"element without text", arrayOf({plist_new_dict()})},
        {"not a property list", QByteArray("\x01\x02garbage")},
    };
    for (const Row& row : rows)
        EXPECT_FALSE(decodeDockValue(row.bytes)) << row.name;
    EXPECT_TRUE(decodeDockValue(arrayOf({element("b", "true")})));
}

TEST(ProcessIdentity, StartTimeComesFromTheFieldAfterTheCommandName)
{
    // 19 fields between the state and the start time; the command name holds ") (" on purpose.
    const QByteArray tail = " 1 1 1 0 -1 4194560 100 0 0 0 5 3 0 0 20 0 1 0 12345 1000 200";
    struct Row {
        const char* name;
        QByteArray stat;
        std::optional<QString> start;
    };
    const std::vector<Row> rows{
        {"plain", "42 (wharf) S" + tail, QStringLiteral("123:450000")},
        {"name with parentheses", "42 (a) (b c) R" + tail, QStringLiteral("123:450000")},
        {"zombie", "42 (wharf) Z" + tail, std::nullopt},
        {"dead", "42 (wharf) X" + tail, std::nullopt},
        {"too short", "42 (wharf) S 1 1", std::nullopt},
        {"no name", "42 wharf S" + tail, std::nullopt},
    };
    for (const Row& row : rows)
        EXPECT_EQ(processStartFromStat(row.stat, 100), row.start) << row.name;
}

TEST(ProcessIdentity, OnlyLiveProcessesHaveAStartTime)
{
    const auto own = processStart(getpid());
    ASSERT_TRUE(own);
    EXPECT_EQ(processStart(getpid()), own);
    EXPECT_FALSE(processStart(-1));
    EXPECT_FALSE(processStart(0));

    usleep(20'000);
    const pid_t child = fork();
    if (child == 0) {
        pause();
        _exit(0);
    }
    ASSERT_GT(child, 0);
    EXPECT_TRUE(processStart(child));
    EXPECT_NE(processStart(child), own);
    const UniqueFd pidfd = openPidfd(child);
    EXPECT_TRUE(pidfd.valid());
    kill(child, SIGKILL);
    // Ended but not reaped: a zombie is gone for identity purposes.
    siginfo_t info{};
    waitid(P_PID, child, &info, WEXITED | WNOWAIT);
    EXPECT_FALSE(processStart(child));
    waitpid(child, nullptr, 0);
    EXPECT_FALSE(processStart(child));
    EXPECT_FALSE(openPidfd(child).valid());
}

} // namespace
} // namespace wharf
