#include "stacks/stack_preferences.h"

#include "support/temp_preferences.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <unistd.h>

using namespace wharf;

namespace {

class StackPreferencesTest : public testing::Test, protected test::TempPreferences {
protected:
    StackPreferencesTest()
    {
        for (const char* folder : {"home/Downloads", "home/Work", "home/Téléchargements"})
            QDir(dir.path()).mkpath(folder);
    }
    QString path(const QString& name) const { return dir.filePath(name); }
    QJsonObject storedJson() const
    {
        return QJsonDocument::fromJson(store->value(StackPreferences::settingsKey).toByteArray()).object();
    }
};

TEST_F(StackPreferencesTest, FirstLookupStoresTheDefaults)
{
    const StackSettings downloads{StackViewMode::automatic, StackSortOrder::dateAdded, StackDisplayMode::stack};
    const struct {
        const char* name;
        QString folder;
        StackSettings expected;
    } rows[] = {
        {"Downloads by name", path("home/Downloads"), downloads},
        {"any letter case", path("elsewhere/DOWNLOADS"), downloads},
        {"the XDG download dir", path("home/Téléchargements"), downloads},
        {"a plain folder", path("home/Work"), StackSettings{}},
    };
    StackPreferences stacks(preferences, path("home/téléchargements"));
    int changes = 0;
    stacks.onChange = [&](const QString&) { ++changes; };
    for (const auto& row : rows) {
        EXPECT_EQ(stacks.settings(row.folder), row.expected) << row.name;
        EXPECT_TRUE(storedJson().contains(stacks.normalizedPath(row.folder))) << row.name;
    }
    EXPECT_EQ(changes, 0) << "a first lookup is no change";
}

TEST_F(StackPreferencesTest, ChangesPersistNotifyOnceAndSurviveARestart)
{
    ASSERT_EQ(::symlink(path("home/Work").toLocal8Bit(), path("link").toLocal8Bit()), 0);
    const StackSettings grid{StackViewMode::grid, StackSortOrder::kind, StackDisplayMode::stack};
    {
        StackPreferences stacks(preferences);
        QStringList told;
        stacks.onChange = [&](const QString& folder) { told << "owner:" + folder; };
        auto subscription = stacks.preferencesChanged.add([&](const QString& folder) { told << "stack:" + folder; });
        stacks.setSettings(grid, path("link"));
        stacks.setSettings(grid, path("home/Work"));
        EXPECT_EQ(told, (QStringList{"owner:" + path("link"), "stack:" + path("link")}));
        EXPECT_EQ(stacks.settings(path("home/./Work")), grid) << "link and folder share one entry";
        EXPECT_EQ(stacks.settingsByPath().size(), 1u);
    }
    StackPreferences reloaded(preferences);
    EXPECT_EQ(reloaded.settings(path("home/Work")), grid);
}

TEST_F(StackPreferencesTest, ABadStoredBlobLoadsAsNothingAndIsReplacedOnWrite)
{
    const char* blobs[] = {
        R"({"/a":{"viewMode":"carousel","sortOrder":"name","displayMode":"folder"}})",
        R"({"/a":{"viewMode":"fan","sortOrder":"name"}})",
        "not json",
    };
    for (const char* blob : blobs) {
        SCOPED_TRACE(blob);
        store->setValue(StackPreferences::settingsKey, QByteArray(blob));
        StackPreferences stacks(preferences);
        EXPECT_TRUE(stacks.settingsByPath().empty());
        EXPECT_EQ(store->value(StackPreferences::settingsKey).toByteArray(), QByteArray(blob)) << "kept until a write";
        stacks.setSettings({StackViewMode::fan, {}, {}}, "/a");
        EXPECT_EQ(storedJson().value("/a").toObject().value("viewMode").toString(), "fan");
    }
}

} // namespace
