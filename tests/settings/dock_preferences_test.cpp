#include "settings/dock_preferences.h"
#include "support/files.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace wharf;

namespace {

class DockPreferencesTest : public testing::Test {
protected:
    // A file per case: Qt caches a settings file it read within the same second.
    std::unique_ptr<DockPreferences> open(const QString& name = "wharf.conf")
    {
        auto preferences = std::make_unique<DockPreferences>(std::make_shared<QSettings>(dir.filePath(name), QSettings::IniFormat));
        subscriptions.push_back(preferences->onChange.add([this] { ++changes; }));
        return preferences;
    }

    QTemporaryDir dir;
    int changes = 0;
    std::vector<Subscription> subscriptions;
};

} // namespace

TEST_F(DockPreferencesTest, StoredValuesAreReadAndWrongTypesReadNeutral)
{
    ASSERT_TRUE(test::writeFile(dir.filePath("wharf.conf"), "[General]\n"
                                                            "magnification=abc\n"
                                                            "dockWidthFraction=nan\n"
                                                            "allDisplays=banana\n"
                                                            "replaceSystemDock=0\n"
                                                            "keepWindowsAboveDock=@ByteArray(xyz)\n"
                                                            "liveCalendarIcon=1\n"
                                                            "restingIconSize=inf\n"));
    const auto p = open();
    EXPECT_EQ(p->magnification(), 1) << "unreadable, then clamped to no magnification";
    EXPECT_EQ(p->dockWidthFraction(), 0);
    EXPECT_FALSE(p->allDisplays());
    EXPECT_FALSE(p->replaceSystemDock());
    EXPECT_FALSE(p->keepWindowsAboveDock());
    EXPECT_TRUE(p->liveCalendarIcon());
    EXPECT_EQ(p->restingIconSize(), 0);
}

TEST_F(DockPreferencesTest, HandEditedSizesAreClampedWhenReadAndKeptInTheFile)
{
    const struct {
        const char* line;
        double iconSize, magnification;
    } rows[] = {
        {"magnification=3.5", 58, 2.2}, {"magnification=0.5", 58, 1.0}, {"iconSize=3", 16, 1.65},
        {"iconSize=400", 96, 1.65},     {"iconSize=40\nmagnification=1.8", 40, 1.8},
    };
    int file = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        const QString name = QStringLiteral("edited%1.conf").arg(++file);
        const QByteArray bytes = QByteArray("[General]\n") + row.line + "\n";
        ASSERT_TRUE(test::writeFile(dir.filePath(name), bytes));
        const auto p = open(name);
        EXPECT_EQ(p->iconSize(), row.iconSize);
        EXPECT_EQ(p->magnification(), row.magnification);
        EXPECT_EQ(test::readFile(dir.filePath(name)), bytes) << "reading never rewrites the user's value";
    }
}

TEST_F(DockPreferencesTest, AppearanceFollowsTheStoredTextThenTheLegacyFlagAndAWriteDropsTheFlag)
{
    const struct {
        std::optional<QString> stored;
        std::optional<QString> legacy;
        DockAppearance expected;
    } rows[] = {
        {{}, "true", DockAppearance::dark},          {{}, "maybe", DockAppearance::light},
        {"light", "true", DockAppearance::light},    {"Dark", "true", DockAppearance::dark},
        {"sepia", {}, DockAppearance::automatic},    {"dark", {}, DockAppearance::dark},
    };
    const auto p = open();
    EXPECT_EQ(p->dockAppearance(), DockAppearance::automatic);
    EXPECT_TRUE(p->defaults().allKeys().isEmpty()) << "reading a fresh user's defaults writes nothing";
    for (const auto& row : rows) {
        p->defaults().clear();
        if (row.stored)
            p->defaults().setValue(DockPreferences::dockAppearanceKey, *row.stored);
        if (row.legacy)
            p->defaults().setValue(DockPreferences::darkDockAppearanceKey, *row.legacy);
        EXPECT_EQ(p->dockAppearance(), row.expected) << row.stored.value_or("-").toStdString() << " "
                                                     << row.legacy.value_or("-").toStdString();
    }

    p->defaults().setValue(DockPreferences::darkDockAppearanceKey, true);
    p->setDockAppearance(DockAppearance::light);
    EXPECT_EQ(p->dockAppearance(), DockAppearance::light);
    EXPECT_FALSE(p->defaults().contains(DockPreferences::darkDockAppearanceKey));
    EXPECT_EQ(changes, 1);
}

TEST_F(DockPreferencesTest, WidthFractionIsClampedAndDropsRestingSize)
{
    const auto p = open();
    const std::pair<double, double> cases[] = {{1.2, 0.98}, {-0.5, 0}, {0.5, 0.5}, {std::nan(""), 0}};
    for (const auto& [written, stored] : cases) {
        changes = 0;
        p->setRestingIconSize(44);
        EXPECT_EQ(p->restingIconSize(), 44);
        EXPECT_EQ(changes, 0) << "the view's own write announces nothing";
        p->setDockWidthFraction(written);
        EXPECT_EQ(p->dockWidthFraction(), stored) << written;
        EXPECT_FALSE(p->defaults().contains(DockPreferences::restingIconSizeKey));
        EXPECT_EQ(changes, 1);
    }
}

TEST_F(DockPreferencesTest, CorruptFileIsKeptAsideAndDefaultsApply)
{
    const QByteArray corrupt("[General\niconSize=40\n");
    ASSERT_TRUE(test::writeFile(dir.filePath("wharf.conf"), corrupt));
    const auto p = open();
    ASSERT_FALSE(p->corruptCopyPath().isEmpty());
    EXPECT_EQ(QFileInfo(p->corruptCopyPath()).dir(), QDir(dir.path()));
    EXPECT_EQ(test::readFile(p->corruptCopyPath()), corrupt);

    EXPECT_EQ(p->iconSize(), 58);
    p->setValue(DockPreferences::autoHideKey, true);
    p->defaults().sync();
    EXPECT_TRUE(open()->autoHide());
    EXPECT_EQ(test::readFile(p->corruptCopyPath()), corrupt);
}
