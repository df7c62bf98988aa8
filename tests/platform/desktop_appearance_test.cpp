// The desktop's colour scheme, reduce-motion and icon theme, as the dock reads them.
#include <gio/gio.h>

#include "platform/x11/desktop_appearance_linux.h"
#include "platform/x11/icon_theme_setup.h"
#include "support/wait_for.h"

#include <gtest/gtest.h>

namespace wharf {
namespace {

TEST(IconThemes, Choice)
{
    const QStringList all{"Adwaita", "hicolor", "Papirus", "breeze"};
    const QStringList bare{"hicolor"};
    struct Row {
        const char* name;
        QString current;
        QString gnome;
        QStringList installed;
        QString theme;
        QString fallback;
    };
    const Row rows[] = {
        {"a desktop session's own theme is kept", "breeze", "Papirus", all, "breeze", "Adwaita"},
        {"without a session GNOME's theme is used", "hicolor", "Papirus", all, "Papirus", "Adwaita"},
        {"an empty theme name counts as no session", "", "Papirus", all, "Papirus", "Adwaita"},
        {"GNOME's theme is not installed", "hicolor", "Yaru", all, "Adwaita", "hicolor"},
        {"a session theme that is not installed", "Yaru", "", all, "Adwaita", "hicolor"},
        {"only hicolor", "hicolor", "Papirus", bare, "hicolor", "hicolor"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(chooseIconThemes(row.current, row.gnome, row.installed), std::pair(row.theme, row.fallback))
            << row.name;
}

// The portal's colour scheme, then the real GNOME settings through GSettings' in-memory backend
// (set up in main).
TEST(DesktopAppearance, FollowsThePortalAndGnomeSettings)
{
    EXPECT_EQ(DesktopAppearanceLinux::darkFromPortalValue(1), true);
    EXPECT_EQ(DesktopAppearanceLinux::darkFromPortalValue(2), false);
    EXPECT_EQ(DesktopAppearanceLinux::darkFromPortalValue(0), std::nullopt) << "no preference: ask GNOME";
    EXPECT_EQ(DesktopAppearanceLinux::darkFromPortalValue(7), std::nullopt);

    GSettingsSchemaSource* source = g_settings_schema_source_get_default();
    g_autoptr(GSettingsSchema) schema =
        source ? g_settings_schema_source_lookup(source, "org.gnome.desktop.interface", TRUE) : nullptr;
    if (!schema || !g_settings_schema_has_key(schema, "color-scheme"))
        GTEST_SKIP() << "GNOME's interface settings are not installed";
    g_autoptr(GSettings) settings = g_settings_new("org.gnome.desktop.interface");
    g_settings_set_string(settings, "color-scheme", "prefer-dark");
    g_settings_set_boolean(settings, "enable-animations", FALSE);

    DesktopAppearanceLinux appearance;
    EXPECT_TRUE(appearance.isDark());
    EXPECT_TRUE(appearance.reduceMotion());

    int changes = 0;
    const Subscription subscription = appearance.onChange.add([&] { ++changes; });
    g_settings_set_string(settings, "color-scheme", "default");
    waitFor([&] { return changes > 0; });
    EXPECT_EQ(changes, 1);
    EXPECT_FALSE(appearance.isDark());
    EXPECT_TRUE(appearance.reduceMotion());
}

} // namespace
} // namespace wharf
