// The settings window's controls over a real preference store, and the autostart entry.
#include "settings/dock_preferences.h"
#include "shell/login_item.h"
#include "shell/settings_controller.h"
#include "takeover/system_dock_integration.h"

#include "doubles/fake_native_dock.h"

#include <QCheckBox>
#include <QFile>
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
    LoginItem login(dir.filePath(QStringLiteral("autostart")), QStringLiteral("/opt/my \"odd\" $dir/wharf"));
    EXPECT_FALSE(login.isEnabled());
    ASSERT_TRUE(login.setEnabled(true).ok());
    EXPECT_TRUE(login.isEnabled());
    QFile file(login.entryPath());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(file.readAll());
    EXPECT_TRUE(text.contains(QStringLiteral("Exec=\"/opt/my \\\\\"odd\\\\\" \\\\$dir/wharf\"\n"))) << text.toStdString();

    // An entry the user switched off in GNOME's settings does not count as on.
    QSettings edited(login.entryPath(), QSettings::IniFormat);
    edited.setValue(QStringLiteral("Desktop Entry/X-GNOME-Autostart-enabled"), QStringLiteral("false"));
    edited.sync();
    EXPECT_FALSE(login.isEnabled());

    ASSERT_TRUE(login.setEnabled(false).ok());
    EXPECT_FALSE(QFile::exists(login.entryPath()));
    EXPECT_TRUE(login.setEnabled(false).ok()) << "removing an absent entry is not an error";
}

TEST(SettingsWindowPlacement, StaysOnAnExistingDisplay)
{
    const std::vector<DisplayArea> displays = {{QStringLiteral("LEFT"), QRect(0, 0, 1920, 1050)},
                                               {QStringLiteral("RIGHT"), QRect(1920, 0, 1280, 1024)}};
    const QSize frame(510, 700);
    struct Row {
        const char* name;
        std::optional<WindowPlacement> saved;
        QPoint expected;
    };
    const Row rows[] = {
        {"nothing saved: centred on the primary", std::nullopt, QPoint(705, 175)},
        {"where it was left", WindowPlacement{QStringLiteral("RIGHT"), QPoint(2000, 100)}, QPoint(2000, 100)},
        {"partly off its display's right and bottom edges", WindowPlacement{QStringLiteral("RIGHT"), QPoint(3000, 900)},
         QPoint(2690, 324)},
        {"above and left of its display", WindowPlacement{QStringLiteral("RIGHT"), QPoint(1800, -40)},
         QPoint(1920, 0)},
        {"its display is gone", WindowPlacement{QStringLiteral("HDMI-2"), QPoint(4000, 100)}, QPoint(705, 175)},
    };
    for (const auto& row : rows)
        EXPECT_EQ(restoredWindowPosition(row.saved, frame, displays), row.expected) << row.name;

    // Taller than the display: its title bar stays reachable.
    const QPoint tall = restoredWindowPosition(WindowPlacement{QStringLiteral("LEFT"), QPoint(10, 500)},
                                               QSize(510, 1400), displays);
    EXPECT_EQ(tall, QPoint(10, 0));
}

class SettingsControllerTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    DockPreferences preferences{std::make_shared<QSettings>(dir.filePath("wharf.conf"), QSettings::IniFormat)};
    int changes = 0;
    std::vector<QString> errors;
    Subscription counting = preferences.onChange.add([this] { ++changes; });

    std::unique_ptr<SettingsController> controller(SystemDockIntegration& integration, LoginItem& login)
    {
        SettingsController::Context context;
        context.preferences = &preferences;
        context.integration = &integration;
        context.loginItem = &login;
        auto window = std::make_unique<SettingsController>(context);
        window->presentError = [this](const QString& text, const QString& informative) {
            errors.push_back(text + QLatin1Char('\n') + informative);
        };
        return window;
    }
};

TEST_F(SettingsControllerTest, ControlsWriteTheirSettingsAndAnnounceEachChange)
{
    auto dock = std::make_unique<FakeNativeDock>();
    dock->installed = false;
    SystemDockIntegration integration(std::move(dock), dir.filePath(QStringLiteral("data")));
    LoginItem login(dir.filePath(QStringLiteral("autostart")));
    auto window = controller(integration, login);

    EXPECT_EQ(window->magnifyLabel->text(), QStringLiteral("1.6×")) << "the default 1.65 with one decimal";
    window->magnifySlider->triggerAction(QAbstractSlider::SliderSingleStepAdd); // what the arrow key does
    EXPECT_DOUBLE_EQ(preferences.magnification(), 1.70);
    EXPECT_EQ(window->magnifyLabel->text(), QStringLiteral("1.7×"));

    window->autoHideButton->click();
    EXPECT_TRUE(preferences.autoHide());
    EXPECT_EQ(changes, 2);

    window->iconSlider->setValue(window->iconSlider->maximum());
    EXPECT_DOUBLE_EQ(preferences.dockWidthFraction(), 0.98);
    EXPECT_EQ(window->sizeLabel->text(), QStringLiteral("98%"));

    // Without a desktop dock the compatibility box cannot do anything.
    EXPECT_FALSE(window->replaceButton->isEnabled());
    EXPECT_TRUE(window->replaceButton->isChecked());
}

TEST_F(SettingsControllerTest, AFailedLoginChangeRevertsTheBoxAndShowsTheError)
{
    auto dock = std::make_unique<FakeNativeDock>();
    dock->installed = false;
    SystemDockIntegration integration(std::move(dock), dir.filePath(QStringLiteral("data")));
    QFile blocker(dir.filePath(QStringLiteral("autostart")));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    LoginItem login(blocker.fileName());
    auto window = controller(integration, login);

    window->loginButton->click();
    EXPECT_FALSE(window->loginButton->isChecked());
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_TRUE(errors.front().contains(blocker.fileName())) << "the message names the folder";
    EXPECT_EQ(changes, 0) << "a login change is not a dock setting";

    ASSERT_TRUE(QFile::remove(blocker.fileName()));
    window->loginButton->click();
    EXPECT_TRUE(window->loginButton->isChecked());
    EXPECT_TRUE(login.isEnabled());
    window->refresh();
    EXPECT_TRUE(window->loginButton->isChecked()) << "rebuilt from the real state";
}

TEST_F(SettingsControllerTest, RemembersWhereItWasClosedAndIgnoresAnUnreadablePosition)
{
    auto dock = std::make_unique<FakeNativeDock>();
    dock->installed = false;
    SystemDockIntegration integration(std::move(dock), dir.filePath(QStringLiteral("data")));
    LoginItem login(dir.filePath(QStringLiteral("autostart")));
    auto window = controller(integration, login);
    window->present();
    window->move(60, 0);
    window->close();
    ASSERT_TRUE(window->savedPlacement());
    EXPECT_EQ(window->savedPlacement()->position, QPoint(60, 0));
    EXPECT_EQ(changes, 0) << "the position is no dock setting";

    // A hand-edited value of another type counts as none: the window opens centred.
    preferences.defaults().setValue(SettingsController::positionKey, QStringLiteral("left"));
    EXPECT_FALSE(window->savedPlacement());
    window->present();
    EXPECT_NE(window->pos(), QPoint(60, 0));
}

} // namespace
} // namespace wharf
