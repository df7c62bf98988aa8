// The settings window's controls over a real preference store, and the autostart entry.
#include "settings/dock_preferences.h"
#include "shell/login_item.h"
#include "shell/settings_controller.h"
#include "takeover/system_dock_integration.h"

#include "doubles/fake_native_dock.h"
#include "support/files.h"

#include <QLabel>
#include <QSettings>
#include <QSlider>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace wharf {
namespace {

TEST(WidthSliderRange, FollowsTheDocksEntriesAndFallsBackWithoutADock)
{
    const auto none = widthSliderRange(std::nullopt, 0.5);
    EXPECT_DOUBLE_EQ(none.minimum, 0.1);
    EXPECT_DOUBLE_EQ(none.maximum, 0.98);
    EXPECT_DOUBLE_EQ(none.value, 0.5);

    const auto few = widthSliderRange(DockSizing{4, 2, 1920, 0.4}, 0.86);
    const auto many = widthSliderRange(DockSizing{40, 20, 1920, 0.9}, 0.86);
    EXPECT_LT(few.minimum, many.minimum) << "more tiles need more room at the smallest size";
    EXPECT_LE(many.maximum, 0.98);
    EXPECT_GE(many.maximum, many.minimum);
    EXPECT_DOUBLE_EQ(few.value, 0.4) << "the value is the dock's actual fraction";

    // A dock too narrow even for the smallest icons: the range collapses instead of inverting.
    const auto cramped = widthSliderRange(DockSizing{200, std::nullopt, 300, 0.98}, 0.86);
    EXPECT_DOUBLE_EQ(cramped.minimum, 0.98);
    EXPECT_DOUBLE_EQ(cramped.maximum, 0.98);
}

TEST(LoginItem, WritesAndRemovesTheAutostartEntry)
{
    QTemporaryDir dir;
    LoginItem login(dir.filePath("autostart"), "/opt/my \"odd\" $dir/wharf");
    ASSERT_TRUE(login.setEnabled(true).ok());
    EXPECT_TRUE(login.isEnabled());
    const QString text = QString::fromUtf8(test::readFile(login.entryPath()));
    EXPECT_TRUE(text.contains("Exec=\"/opt/my \\\\\"odd\\\\\" \\\\$dir/wharf\"\n")) << text.toStdString();

    // An entry the user switched off in GNOME's settings does not count as on.
    QSettings edited(login.entryPath(), QSettings::IniFormat);
    edited.setValue("Desktop Entry/X-GNOME-Autostart-enabled", "false");
    edited.sync();
    EXPECT_FALSE(login.isEnabled());

    ASSERT_TRUE(login.setEnabled(false).ok());
    EXPECT_TRUE(login.setEnabled(false).ok()) << "removing an absent entry is not an error";
}

TEST(SettingsWindowPlacement, StaysOnAnExistingDisplay)
{
    const std::vector<DisplayArea> displays = {{"LEFT", QRect(0, 0, 1920, 1050)},
                                               {"RIGHT", QRect(1920, 0, 1280, 1024)}};
    const QSize frame(510, 700);
    struct Row {
        const char* name;
        std::optional<WindowPlacement> saved;
        QPoint expected;
    };
    const Row rows[] = {
        {"nothing saved: centred on the primary", std::nullopt, QPoint(705, 175)},
        {"partly off its display's right and bottom edges", WindowPlacement{"RIGHT", QPoint(3000, 900)},
         QPoint(2690, 324)},
        {"above and left of its display", WindowPlacement{"RIGHT", QPoint(1800, -40)}, QPoint(1920, 0)},
    };
    for (const auto& row : rows)
        EXPECT_EQ(restoredWindowPosition(row.saved, frame, displays), row.expected) << row.name;

    // Taller than the display: its title bar stays reachable.
    const QPoint tall = restoredWindowPosition(WindowPlacement{"LEFT", QPoint(10, 500)}, QSize(510, 1400), displays);
    EXPECT_EQ(tall, QPoint(10, 0));
}

// The window driven from the keyboard, its login box and where it reopens are checked end to end.
TEST(SettingsController, TheWidthSliderReachesTheLimitAndAnUnreadablePositionCountsAsNone)
{
    QTemporaryDir dir;
    DockPreferences preferences{std::make_shared<QSettings>(dir.filePath("wharf.conf"), QSettings::IniFormat)};
    auto dock = std::make_unique<FakeNativeDock>();
    dock->installed = false;
    SystemDockIntegration integration(std::move(dock), dir.filePath("data"));
    LoginItem login(dir.filePath("autostart"));
    SettingsController window({.preferences = &preferences, .integration = &integration, .loginItem = &login,
                               .dockSizing = {}, .openSystemDockSettings = {}});

    window.iconSlider->setValue(window.iconSlider->maximum());
    EXPECT_DOUBLE_EQ(preferences.dockWidthFraction(), 0.98);
    EXPECT_EQ(window.sizeLabel->text(), "98%");

    preferences.defaults().setValue(SettingsController::positionKey, "left");
    EXPECT_FALSE(window.savedPlacement());
}

} // namespace
} // namespace wharf
