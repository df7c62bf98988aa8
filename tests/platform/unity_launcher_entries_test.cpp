// Reading what applications send over the Unity LauncherEntry API.
#include "platform/x11/launcher_entry_receiver.h"
#include "platform/x11/unity_launcher_entries.h"

#include <dbus/dbus.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <vector>

namespace wharf {
namespace {

using MessagePtr = std::unique_ptr<DBusMessage, decltype(&dbus_message_unref)>;

struct Property {
    const char* key;
    int type;
    DBusBasicValue value;
};

// An Update-shaped signal named `member`.
MessagePtr update(const char* member, const char* uri, const std::vector<Property>& properties)
{
    MessagePtr message(dbus_message_new_signal("/x", "com.canonical.Unity.LauncherEntry", member), &dbus_message_unref);
    DBusMessageIter arguments, map;
    dbus_message_iter_init_append(message.get(), &arguments);
    dbus_message_iter_append_basic(&arguments, DBUS_TYPE_STRING, &uri);
    dbus_message_iter_open_container(&arguments, DBUS_TYPE_ARRAY, "{sv}", &map);
    for (const auto& p : properties) {
        DBusMessageIter entry, variant;
        const char signature[2] = {char(p.type), 0};
        dbus_message_iter_open_container(&map, DBUS_TYPE_DICT_ENTRY, nullptr, &entry);
        dbus_message_iter_append_basic(&entry, DBUS_TYPE_STRING, &p.key);
        dbus_message_iter_open_container(&entry, DBUS_TYPE_VARIANT, signature, &variant);
        dbus_message_iter_append_basic(&variant, p.type, &p.value);
        dbus_message_iter_close_container(&entry, &variant);
        dbus_message_iter_close_container(&map, &entry);
    }
    dbus_message_iter_close_container(&arguments, &map);
    return message;
}

// A count, its visibility, progress, attention, values of the wrong type and a Query's answer are
// followed on screen by the decorations end-to-end test; these are the values it does not send.
TEST(UnityLauncherEntries, OtherWidthsOutOfRangeValuesRepeatsAndApplicationURIs)
{
    DBusBasicValue text{}, count{}, progress{};
    text.str = const_cast<char*>("/menu");
    count.u32 = 7;
    progress.dbl = 1.7;
    const auto parsed = LauncherEntryReceiver::parse(
        update("Update", "application://a.desktop",
               {{"count", DBUS_TYPE_UINT32, count},
                {"progress", DBUS_TYPE_DOUBLE, progress},
                {"quicklist", DBUS_TYPE_OBJECT_PATH, text},
                {"count-visible", DBUS_TYPE_STRING, text}})
            .get());
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->first, "application://a.desktop");
    LauncherEntry entry;
    EXPECT_TRUE(UnityLauncherEntries::apply(entry, parsed->second));
    EXPECT_EQ(entry, (LauncherEntry{7, false, 1.0, false, false}));
    EXPECT_FALSE(UnityLauncherEntries::apply(entry, parsed->second)) << "a repeat changes nothing";

    DBusBasicValue notANumber{}, huge{};
    notANumber.dbl = std::numeric_limits<double>::quiet_NaN();
    huge.u64 = std::numeric_limits<dbus_uint64_t>::max();
    const auto odd = LauncherEntryReceiver::parse(
        update("Update", "application://a.desktop",
               {{"progress", DBUS_TYPE_DOUBLE, notANumber}, {"count", DBUS_TYPE_UINT64, huge}})
            .get());
    ASSERT_TRUE(odd);
    EXPECT_TRUE(UnityLauncherEntries::apply(entry, odd->second));
    EXPECT_EQ(entry.count, std::numeric_limits<qint64>::max());
    EXPECT_EQ(entry.progress, 1.0) << "not a number is no progress";

    EXPECT_FALSE(LauncherEntryReceiver::parse(update("Query", "application://a.desktop", {}).get()));

    // Application URIs name desktop entries.
    EXPECT_EQ(UnityLauncherEntries::desktopID("application://org.gnome.Calculator.desktop"), "org.gnome.Calculator");
    for (const char* bad : {"org.gnome.Calculator.desktop", "application://.desktop", "application://x",
                            "application://a/b.desktop", "file:///usr/share/applications/x.desktop"})
        EXPECT_FALSE(UnityLauncherEntries::desktopID(bad)) << bad;
}

} // namespace
} // namespace wharf
