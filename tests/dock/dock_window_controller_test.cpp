// Dock windows on the offscreen platform with a recording window system.
#include "dock/dock_panel.h"
#include "dock/dock_window_controller.h"
#include "model/dock_model.h"
#include "settings/dock_preferences.h"

#include "doubles/fake_dock_window_system.h"
#include "doubles/fake_workspace.h"

#include <QGuiApplication>
#include <QScreen>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace wharf {
namespace {

class DockWindowsTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    DockPreferences preferences{std::make_shared<QSettings>(dir.filePath("wharf.conf"), QSettings::IniFormat)};
    FakeWorkspace workspace;
    DockModel model{workspace, preferences};
    FakeDockWindowSystem system;
    QScreen* screen = QGuiApplication::primaryScreen();

    DockViewContext context()
    {
        DockViewContext c;
        c.model = &model;
        c.preferences = &preferences;
        return c;
    }
};

// Where the dock first sits, beside the window manager's own panels, is checked end to end.
TEST_F(DockWindowsTest, FollowsAnotherProgramsPanelAndRedoesItsStrut)
{
    const QRect g = screen->geometry();
    DockWindowController dock(screen, context(), false, &system);
    dock.setBottomReservation(80);
    system.area = g.adjusted(50, 0, 0, 0); // a panel appears along the left edge
    system.availableAreaChanged.notify();
    EXPECT_EQ(dock.panel().geometry(), QRect(g.x() + 50, g.bottom() + 1 - 340, g.width() - 50, 340));
    EXPECT_EQ(dock.dockView().geometry(), dock.panel().rect());
    EXPECT_EQ(system.windows.back()->reservations, (std::vector<int>{80, 80})) << "the strut is redone from the new edge";
}

TEST_F(DockWindowsTest, InputRegionFollowsTheViewAndStopsAtClose)
{
    DockWindowController dock(screen, context(), false, &system);
    Subscription reload = model.onChange.add([&] { dock.dockView().reload(); });
    FakeWindow& window = *system.windows.back();
    ASSERT_FALSE(window.inputRegions.empty());
    EXPECT_EQ(window.inputRegions.back(), dock.dockView().inputRegion());

    // A new program widens the shelf: the window system hears of the new region.
    const std::size_t before = window.inputRegions.size();
    workspace.launch(FakeWorkspace::app(QStringLiteral("calc"), 42, QStringLiteral("/apps/calc.desktop")));
    ASSERT_TRUE(waitFor([&] { return window.inputRegions.size() > before && !dock.dockView().isAnimating(); }));
    EXPECT_EQ(window.inputRegions.back(), dock.dockView().inputRegion());
    EXPECT_TRUE(entryIDs(dock.dockView()).contains(QStringLiteral("/apps/calc.desktop")));

    dock.close();
    EXPECT_FALSE(dock.isMapped());
    EXPECT_FALSE(dock.dockView().isTicking());
    const std::size_t atClose = window.inputRegions.size();
    workspace.quit(QStringLiteral("calc"));
    model.refresh();
    QCoreApplication::processEvents();
    EXPECT_EQ(window.inputRegions.size(), atClose) << "a closed dock no longer shapes its window";
    reload.reset();
}

TEST(DisplayIdentifierTest, DistinctPerNameAndZeroOnlyWithoutOne)
{
    EXPECT_EQ(DockWindowController::displayIdentifier(QString()), 0u);
    EXPECT_NE(DockWindowController::displayIdentifier(QStringLiteral("LEFT")),
              DockWindowController::displayIdentifier(QStringLiteral("RIGHT")));
    EXPECT_NE(DockWindowController::displayIdentifier(QStringLiteral("eDP-1")), 0u);
}

} // namespace
} // namespace wharf
