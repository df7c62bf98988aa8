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

// A count, its visibility, progress, attention and values of the wrong type are followed on
// screen by the decorations end-to-end test; these are the values it does not send.
TEST(UnityLauncherEntries, OtherWidthsOutOfRangeValuesAndRepeats)
{
    LauncherEntry entry;
    EXPECT_TRUE(apply(entry, "{'count': <uint32 7>, 'progress': <1.7>, 'quicklist': <'/menu'>, 'urgent': <true>}"));
    EXPECT_EQ(entry, (LauncherEntry{7, false, 1.0, false, true}));
    EXPECT_FALSE(apply(entry, "{'urgent': <true>}")) << "a repeat changes nothing";
    EXPECT_FALSE(apply(entry, "{'progress': <inf>}"));
    EXPECT_FALSE(apply(entry, "('count', <int64 1>)")) << "not a dictionary";
    EXPECT_TRUE(apply(entry, "{'count': <uint64 18446744073709551615>}"));
    EXPECT_EQ(entry.count, std::numeric_limits<qint64>::max());
}

} // namespace
} // namespace wharf
