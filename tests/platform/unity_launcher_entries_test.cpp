// Reading what applications send over the Unity LauncherEntry API.
#include "platform/x11/unity_launcher_entries.h"

#include <gtest/gtest.h>

#include <limits>

namespace wharf {
namespace {

TEST(UnityLauncherEntries, ApplicationURIsNameDesktopEntries)
{
    EXPECT_EQ(UnityLauncherEntries::desktopID(QStringLiteral("application://org.gnome.Calculator.desktop")),
              QStringLiteral("org.gnome.Calculator"));
    for (const char* bad : {"org.gnome.Calculator.desktop", "application://.desktop", "application://x",
                            "application://a/b.desktop", "file:///usr/share/applications/x.desktop"})
        EXPECT_FALSE(UnityLauncherEntries::desktopID(QString::fromLatin1(bad))) << bad;
}

TEST(UnityLauncherEntries, KnownPropertiesOfTheRightTypeAreTaken)
{
    LauncherEntry entry;
    EXPECT_TRUE(UnityLauncherEntries::apply(entry, {{QStringLiteral("count"), qlonglong(5)},
                                                    {QStringLiteral("count-visible"), true},
                                                    {QStringLiteral("quicklist"), QStringLiteral("/menu")}}));
    EXPECT_EQ(entry, (LauncherEntry{5, true, 0, false, false}));

    // Wrong types are skipped, not read as 0 or false.
    EXPECT_FALSE(UnityLauncherEntries::apply(entry, {{QStringLiteral("count"), QStringLiteral("seven")},
                                                     {QStringLiteral("count-visible"), QStringLiteral("no")},
                                                     {QStringLiteral("urgent"), 1}}));
    EXPECT_EQ(entry.count, 5);
    EXPECT_TRUE(entry.countVisible);

    // Other integer widths count too; progress is held to 0…1; a repeat changes nothing.
    EXPECT_TRUE(UnityLauncherEntries::apply(entry, {{QStringLiteral("count"), 7u},
                                                    {QStringLiteral("progress"), 1.7},
                                                    {QStringLiteral("progress-visible"), true},
                                                    {QStringLiteral("urgent"), true}}));
    EXPECT_EQ(entry, (LauncherEntry{7, true, 1.0, true, true}));
    EXPECT_FALSE(UnityLauncherEntries::apply(entry, {{QStringLiteral("urgent"), true}}));
    EXPECT_FALSE(UnityLauncherEntries::apply(entry, {{QStringLiteral("progress"), std::numeric_limits<double>::quiet_NaN()}}));
    EXPECT_TRUE(UnityLauncherEntries::apply(entry, {{QStringLiteral("count"), std::numeric_limits<qulonglong>::max()}}));
    EXPECT_EQ(entry.count, std::numeric_limits<qint64>::max());
}

} // namespace
} // namespace wharf
