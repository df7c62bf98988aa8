#include "platform/x11/dash_to_dock_native_dock.h"

#include "takeover_test_support.h"

#include <gtest/gtest.h>

namespace wharf {
namespace {

class DashToDockNativeDockTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(test::dashToDockSchemaAvailable()) << test::missingSchemaHint;
        for (const NativeDockKey& key : DashToDockNativeDock::hidingKeys())
            dock.reset(key.name);
    }
    DashToDockNativeDock dock;
};

TEST_F(DashToDockNativeDockTest, HidingValuesFitTheRealSchemaAndReadBackExactly)
{
    ASSERT_TRUE(dock.isInstalled());
    const auto keys = dock.managedKeys();
    ASSERT_EQ(keys.size(), 5u);
    for (const NativeDockKey& key : keys) {
        EXPECT_FALSE(dock.userValue(key.name)) << key.name.toStdString();
        ASSERT_TRUE(dock.write(key.name, key.hidingValue)) << key.name.toStdString();
    }
    ASSERT_TRUE(dock.synchronize());
    const auto stored = test::readKeyfileValues(test::defaultKeyfile(), test::dashToDockKeys());
    for (const NativeDockKey& key : keys) {
        EXPECT_EQ(dock.userValue(key.name), key.hidingValue) << key.name.toStdString();
        EXPECT_EQ(stored.value(key.name), key.hidingValue) << key.name.toStdString();
    }
    EXPECT_EQ(dock.userValue(QStringLiteral("show-delay"))->text, QStringLiteral("1000.0"));
}

TEST_F(DashToDockNativeDockTest, ValuesOfEveryKindRoundTripAndResetLeavesNoUserValue)
{
    struct Row {
        const char* key;
        NativeDockValue value;
    };
    const std::vector<Row> rows{
        {"autohide", {QStringLiteral("b"), QStringLiteral("false")}},
        {"show-delay", {QStringLiteral("d"), QStringLiteral("0.10000000000000001")}},
        {"dock-position", {QStringLiteral("s"), QStringLiteral("'LEFT'")}},
        {"dash-max-icon-size", {QStringLiteral("i"), QStringLiteral("64")}},
        {"preferred-monitor-by-connector", {QStringLiteral("s"), QStringLiteral("'HDMI-1 \"ü\"'")}},
    };
    for (const Row& row : rows) {
        const QString key = QString::fromLatin1(row.key);
        ASSERT_TRUE(dock.write(key, row.value)) << row.key;
        const auto read = dock.userValue(key);
        ASSERT_TRUE(read) << row.key;
        // What is read must write back to the same value.
        ASSERT_TRUE(dock.write(key, *read)) << row.key;
        EXPECT_EQ(dock.userValue(key), read) << row.key;
        EXPECT_EQ(read->type, row.value.type) << row.key;
        ASSERT_TRUE(dock.reset(key));
        EXPECT_FALSE(dock.userValue(key)) << row.key;
    }
}

TEST_F(DashToDockNativeDockTest, RejectsValuesTheSchemaDoesNotTake)
{
    struct Row {
        const char* name;
        const char* key;
        NativeDockValue value;
    };
    const std::vector<Row> rows{
        {"integer for a boolean", "autohide", {QStringLiteral("i"), QStringLiteral("1")}},
        {"type and text disagree", "autohide", {QStringLiteral("b"), QStringLiteral("1")}},
        {"unparsable text", "show-delay", {QStringLiteral("d"), QStringLiteral("1.0.0")}},
        {"invalid type string", "show-delay", {QStringLiteral("dd("), QStringLiteral("1.0")}},
        {"unknown key", "no-such-key", {QStringLiteral("b"), QStringLiteral("true")}},
        {"enum outside its choices", "dock-position", {QStringLiteral("s"), QStringLiteral("'MIDDLE'")}},
    };
    for (const Row& row : rows) {
        EXPECT_FALSE(dock.accepts(QString::fromLatin1(row.key), row.value)) << row.name;
        EXPECT_FALSE(dock.write(QString::fromLatin1(row.key), row.value)) << row.name;
    }
    EXPECT_FALSE(dock.userValue(QStringLiteral("autohide")));
    EXPECT_FALSE(dock.userValue(QStringLiteral("no-such-key")));
}

} // namespace
} // namespace wharf
