#include "shell/app_delegate.h"
#include "shell/applied_preferences.h"
#include "shell/wharf_dbus_service.h"
#include "support/temp_preferences.h"

#include <QJsonObject>

#include <gtest/gtest.h>

namespace wharf {
namespace {

class AppliedPreferencesTest : public ::testing::Test, protected test::TempPreferences {
protected:
    AppliedPreferences applied = AppliedPreferences::current(preferences);
};

TEST_F(AppliedPreferencesTest, ModelSettingsRefreshOnceEach)
{
    const std::pair<const char*, std::function<void()>> rows[] = {
        {"appearance", [&] { preferences.setDockAppearance(applied.dockAppearance == DockAppearance::dark
                                                               ? DockAppearance::light
                                                               : DockAppearance::dark); }},
        {"liveCalendarIcon", [&] { preferences.setValue(DockPreferences::liveCalendarIconKey, !applied.liveCalendarIcon); }},
        {"alwaysEmptyTrashIcon",
         [&] { preferences.setValue(DockPreferences::alwaysEmptyTrashIconKey, !applied.alwaysEmptyTrashIcon); }},
    };
    for (const auto& [name, change] : rows) {
        SCOPED_TRACE(name);
        change();
        EXPECT_TRUE(applied.apply(preferences).refreshModel);
        // The value is remembered: the next notification without a change does nothing.
        EXPECT_FALSE(applied.apply(preferences).refreshModel);
    }
}

TEST(WindowPollTest, OnlyIdentifiersInOrderCount)
{
    const auto windows = [](std::initializer_list<std::uint32_t> ids) {
        std::vector<DockWindow> out;
        for (const auto id : ids)
            out.push_back(DockWindow{id, QStringLiteral("title %1").arg(id), {}, {}, true});
        return out;
    };
    auto retitled = windows({1, 2});
    retitled[0].title = "renamed";
    const struct {
        const char* name;
        std::vector<DockWindow> stored, scanned;
        bool changed;
    } rows[] = {
        {"same ids, same order", windows({1, 2}), windows({1, 2}), false},
        {"other details only", windows({1, 2}), retitled, false},
        {"same ids, other order", windows({1, 2}), windows({2, 1}), true},
        {"one more", windows({1}), windows({1, 2}), true},
    };
    for (const auto& row : rows)
        EXPECT_EQ(windowListChanged(row.stored, row.scanned), row.changed) << row.name;
}

TEST(DockDisplaysTest, TheFirstOfAMirroredPairWinsAndEmptyOutputsCarryNothing)
{
    const QRect left(0, 0, 1920, 1080);
    const QRect right(1920, 0, 1920, 1080);
    const struct {
        const char* name;
        std::vector<QRect> areas;
        std::vector<std::size_t> kept;
    } rows[] = {
        {"the first of a mirrored pair wins", {right, left, right}, {0, 1}},
        {"an empty output carries nothing", {QRect(), left}, {1}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(distinctDisplayAreas(row.areas), row.kept) << row.name;
}

// Every end-to-end test reads tiles through this; what they never see is a retiring tile.
TEST(DocksJsonTest, MoreFramesThanIdentifiersDoNotReadPastTheList)
{
    DockSnapshot dock;
    dock.frame = QRect(1920, 740, 1920, 340);
    dock.entryIDs = {"a"};
    dock.tiles = {QRectF(10, 200, 58, 58), QRectF(80, 200, 58, 58)};
    const QJsonArray tiles = docksJson({dock})[0].toObject()["tiles"].toArray();
    ASSERT_EQ(tiles.size(), 2);
    EXPECT_EQ(tiles[0].toObject()["id"].toString(), "a");
    EXPECT_TRUE(tiles[1].toObject()["id"].isNull());
}

} // namespace
} // namespace wharf
