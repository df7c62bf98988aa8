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

// A count, its visibility, progress, attention and values of the wrong type are followed on
// screen by the decorations end-to-end test; these are the values it does not send.
TEST(UnityLauncherEntries, OtherWidthsOutOfRangeValuesAndRepeats)
{
    LauncherEntry entry;
    EXPECT_TRUE(UnityLauncherEntries::apply(entry, {{QStringLiteral("count"), 7u},
                                                    {QStringLiteral("progress"), 1.7},
                                                    {QStringLiteral("quicklist"), QStringLiteral("/menu")},
                                                    {QStringLiteral("urgent"), true}}));
    EXPECT_EQ(entry, (LauncherEntry{7, false, 1.0, false, true}));
    EXPECT_FALSE(UnityLauncherEntries::apply(entry, {{QStringLiteral("urgent"), true}})) << "a repeat changes nothing";
    EXPECT_FALSE(UnityLauncherEntries::apply(entry, {{QStringLiteral("progress"), std::numeric_limits<double>::quiet_NaN()}}));
    EXPECT_TRUE(UnityLauncherEntries::apply(entry, {{QStringLiteral("count"), std::numeric_limits<qulonglong>::max()}}));
    EXPECT_EQ(entry.count, std::numeric_limits<qint64>::max());
}

} // namespace
} // namespace wharf
