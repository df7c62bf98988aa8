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

// `properties` in GVariant text form: "{'count': <int64 5>}".
bool apply(LauncherEntry& entry, const char* properties)
{
    GVariant* value = g_variant_ref_sink(g_variant_new_parsed(properties));
    const bool changed = UnityLauncherEntries::apply(entry, value);
    g_variant_unref(value);
    return changed;
}

TEST(UnityLauncherEntries, KnownPropertiesOfTheRightTypeAreTaken)
{
    LauncherEntry entry;
    EXPECT_TRUE(apply(entry, "{'count': <int64 5>, 'count-visible': <true>, 'quicklist': <'/menu'>}"));
    EXPECT_EQ(entry, (LauncherEntry{5, true, 0, false, false}));

    // Wrong types are skipped, not read as 0 or false.
    EXPECT_FALSE(apply(entry, "{'count': <'seven'>, 'count-visible': <'no'>, 'urgent': <1>}"));
    EXPECT_EQ(entry.count, 5);
    EXPECT_TRUE(entry.countVisible);

    // Other integer widths count too; progress is held to 0…1; a repeat changes nothing.
    EXPECT_TRUE(apply(entry, "{'count': <uint32 7>, 'progress': <1.7>, 'progress-visible': <true>, 'urgent': <true>}"));
    EXPECT_EQ(entry, (LauncherEntry{7, true, 1.0, true, true}));
    EXPECT_FALSE(apply(entry, "{'urgent': <true>}"));
    EXPECT_FALSE(apply(entry, "{'progress': <inf>}"));
    EXPECT_TRUE(apply(entry, "{'count': <uint64 18446744073709551615>}"));
    EXPECT_EQ(entry.count, std::numeric_limits<qint64>::max());
    // Not a dictionary at all.
    EXPECT_FALSE(apply(entry, "('count', <int64 1>)"));
}

} // namespace
} // namespace wharf
