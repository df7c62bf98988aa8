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
        const auto it = locations.constFind(id);
        return it == locations.cend() ? std::nullopt : std::optional<QString>(*it);
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

    QString plankFolder() const { return dir.filePath(QStringLiteral("plank")); }

    void writeDockItem(const QString& name, const QString& launcher)
    {
        EXPECT_TRUE(test::writeFile(plankFolder() + QLatin1Char('/') + name,
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

std::vector<QString> paths(const std::vector<DockModel::Pin>& pins)
{
    std::vector<QString> out;
    for (const auto& pin : pins)
        out.push_back(pin.path);
    return out;
}

TEST_F(SystemPinsImporterTest, WithoutUsableFavouritesPlankLaunchersSeedThePins)
{
    const QString files = touch(QStringLiteral("apps/files.desktop"));
    const QString notes = touch(QStringLiteral("notes.txt"));
    QDir().mkpath(dir.filePath(QStringLiteral("Projects")));
    writeDockItem(QStringLiteral("a-files.dockitem"), QUrl::fromLocalFile(files).toString());
    writeDockItem(QStringLiteral("b-projects.dockitem"), dir.filePath(QStringLiteral("Projects/")));
    writeDockItem(QStringLiteral("c-notes.dockitem"), QUrl::fromLocalFile(notes).toString());
    writeDockItem(QStringLiteral("d-web.dockitem"), QStringLiteral("https://example.org/"));
    writeDockItem(QStringLiteral("e-gone.dockitem"), QUrl::fromLocalFile(dir.filePath("gone.desktop")).toString());
    touch(QStringLiteral("plank/settings"));

    // Favourites resolve first (checked end to end); an entry the index knows whose file has gone
    // counts as unknown.
    const QHash<QString, QString> installed{{QStringLiteral("gone.desktop"), dir.filePath(QStringLiteral("gone.desktop"))}};
    for (const QStringList& favorites : {QStringList(), QStringList{QStringLiteral("uninstalled.desktop")},
                                         QStringList{QStringLiteral("gone.desktop")}}) {
        SCOPED_TRACE(favorites.join(QLatin1Char(',')).toStdString());
        const auto pins = import(favorites, installed);
        ASSERT_EQ(pins.size(), 3u);
        EXPECT_EQ(pins[0], (DockModel::Pin{files, DockItem::Kind::application, std::nullopt}));
        EXPECT_EQ(pins[1], (DockModel::Pin{dir.filePath(QStringLiteral("Projects")), DockItem::Kind::folder, std::nullopt}))
            << "a trailing slash is dropped";
        EXPECT_EQ(pins[2], (DockModel::Pin{notes, DockItem::Kind::file, std::nullopt}));
    }
}

TEST_F(SystemPinsImporterTest, NothingToReadGivesNoPinsAndResolvingFavouritesHidePlank)
{
    EXPECT_TRUE(import({}, {}).empty());
    const QString mail = touch(QStringLiteral("apps/mail.desktop"));
    writeDockItem(QStringLiteral("other.dockitem"), touch(QStringLiteral("apps/other.desktop")));
    EXPECT_EQ(paths(import({QStringLiteral("mail.desktop")}, {{QStringLiteral("mail.desktop"), mail}})),
              std::vector<QString>{mail})
        << "Plank is not read while favourites resolve";
}

} // namespace
} // namespace wharf
