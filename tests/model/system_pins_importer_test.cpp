// Seeding the pins from the desktop's own dock: GNOME's favourites, then Plank's launchers.
#include "model/system_pins_importer.h"

#include "doubles/fake_native_dock.h"
#include "support/files.h"

#include <QHash>
#include <QTemporaryDir>
#include <QUrl>

#include <gtest/gtest.h>

namespace wharf {
namespace {

class FakeEntryLocator : public DesktopEntryLocator {
public:
    std::optional<QString> entryLocation(const QString& id) const override
    {
        return locations.contains(id) ? std::optional(locations.value(id)) : std::nullopt;
    }
    QHash<QString, QString> locations;
};

class SystemPinsImporterTest : public ::testing::Test {
protected:
    QTemporaryDir dir;

    QString touch(const QString& name)
    {
        const QString path = dir.filePath(name);
        EXPECT_TRUE(test::writeFile(path));
        return path;
    }

    QString plankFolder() const { return dir.filePath("plank"); }

    void writeDockItem(const QString& name, const QString& launcher)
    {
        EXPECT_TRUE(test::writeFile(plankFolder() + '/' + name,
                                    "[PlankDockItemPreferences]\nLauncher=" + launcher.toUtf8() + "\n"));
    }

    std::vector<DockModel::Pin> import(const QStringList& favorites, const QHash<QString, QString>& installed)
    {
        auto dock = std::make_unique<FakeNativeDock>();
        dock->favorites = favorites;
        auto index = std::make_unique<FakeEntryLocator>();
        index->locations = installed;
        return SystemPinsImporter(std::move(dock), std::move(index), plankFolder()).systemPins();
    }
};

TEST_F(SystemPinsImporterTest, WithoutUsableFavouritesPlankLaunchersSeedThePins)
{
    const QString files = touch("apps/files.desktop");
    const QString notes = touch("notes.txt");
    QDir().mkpath(dir.filePath("Projects"));
    writeDockItem("a-files.dockitem", QUrl::fromLocalFile(files).toString());
    writeDockItem("b-projects.dockitem", dir.filePath("Projects/"));
    writeDockItem("c-notes.dockitem", QUrl::fromLocalFile(notes).toString());
    writeDockItem("d-web.dockitem", "https://example.org/");
    writeDockItem("e-gone.dockitem", QUrl::fromLocalFile(dir.filePath("gone.desktop")).toString());
    touch("plank/settings");

    // Favourites resolve first (checked end to end); an entry the index knows whose file has gone
    // counts as unknown.
    const QHash<QString, QString> installed{{"gone.desktop", dir.filePath("gone.desktop")}};
    for (const QStringList& favorites : {QStringList(), QStringList{"uninstalled.desktop"},
                                         QStringList{"gone.desktop"}}) {
        SCOPED_TRACE(favorites.join(',').toStdString());
        const auto pins = import(favorites, installed);
        ASSERT_EQ(pins.size(), 3u);
        EXPECT_EQ(pins[0], (DockModel::Pin{files, DockItem::Kind::application, std::nullopt}));
        EXPECT_EQ(pins[1], (DockModel::Pin{dir.filePath("Projects"), DockItem::Kind::folder, std::nullopt}))
            << "a trailing slash is dropped";
        EXPECT_EQ(pins[2], (DockModel::Pin{notes, DockItem::Kind::file, std::nullopt}));
    }
}

TEST_F(SystemPinsImporterTest, NothingToReadGivesNoPinsAndResolvingFavouritesHidePlank)
{
    EXPECT_TRUE(import({}, {}).empty());
    const QString mail = touch("apps/mail.desktop");
    writeDockItem("other.dockitem", touch("apps/other.desktop"));
    EXPECT_EQ(import({"mail.desktop"}, {{"mail.desktop", mail}}),
              (std::vector<DockModel::Pin>{{mail, DockItem::Kind::application, std::nullopt}}))
        << "Plank is not read while favourites resolve";
}

} // namespace
} // namespace wharf
