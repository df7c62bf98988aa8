// Where the Trash lives on each volume, and how one folder's contents read as a state.
#include "trash/trash_directories.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace wharf {
namespace {

using namespace TrashDirectories;

TEST(TrashDirectories, NetworkAndPseudoFileSystemsAreSkipped)
{
    const struct {
        const char* root;
        const char* type;
        bool skipped;
    } rows[] = {
        {"/media/usb", "ext4", false},          {"/mnt/ntfs", "fuseblk", false},    {"/mnt/ram", "tmpfs", false},
        {"/run/media/me/disk", "exfat", false}, {"/mnt/share", "nfs4", true},       {"/home/me/remote", "fuse.sshfs", true},
        {"/snap/core/1", "squashfs", true},     {"/run/user/1000", "tmpfs", true},  {"", "ext4", true},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(skipsVolume({QString::fromLatin1(row.root), QString::fromLatin1(row.type)}), row.skipped)
            << row.root << " " << row.type;
    }
}

TEST(TrashDirectories, VolumeTrashFollowsTheStickyAndSymlinkRules)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString root = dir.path();
    // Volumes on the home Trash's device are covered by the home Trash: keep the home elsewhere.
    if (!QFileInfo(QStringLiteral("/dev/shm")).isDir())
        GTEST_SKIP() << "needs a second file system at /dev/shm";
    const QString home = QStringLiteral("/dev/shm/wharf-test-home/Trash");

    const auto volume = [&](const QString& name) {
        QDir().mkpath(root + QLatin1Char('/') + name);
        return root + QLatin1Char('/') + name;
    };
    const QString sticky = volume(QStringLiteral("sticky"));
    QDir().mkpath(sticky + QStringLiteral("/.Trash"));
    ::chmod(QFile::encodeName(sticky + QStringLiteral("/.Trash")).constData(), 01777);
    const QString plain = volume(QStringLiteral("plain"));
    QDir().mkpath(plain + QStringLiteral("/.Trash"));
    ::chmod(QFile::encodeName(plain + QStringLiteral("/.Trash")).constData(), 0777);
    const QString linked = volume(QStringLiteral("linked"));
    QFile::link(sticky + QStringLiteral("/.Trash"), linked + QStringLiteral("/.Trash"));
    const QString bare = volume(QStringLiteral("bare"));

    const std::vector<MountedVolume> volumes{
        {sticky, QStringLiteral("ext4")},  {plain, QStringLiteral("ext4")},
        {linked, QStringLiteral("ext4")},  {bare, QStringLiteral("vfat")},
        {sticky, QStringLiteral("ext4")},  // mounted twice: examined once
        {volume(QStringLiteral("nfs")), QStringLiteral("nfs")},
        {root + QStringLiteral("/missing"), QStringLiteral("ext4")},
    };
    EXPECT_EQ(trashDirectories(home, volumes, 1000),
              (QStringList{home, sticky + QStringLiteral("/.Trash/1000"), sticky + QStringLiteral("/.Trash-1000"),
                           plain + QStringLiteral("/.Trash-1000"), linked + QStringLiteral("/.Trash-1000"),
                           bare + QStringLiteral("/.Trash-1000")}));

    // The home Trash's own device (here: the same temporary folder) adds nothing.
    EXPECT_EQ(trashDirectories(root + QStringLiteral("/home/Trash"), volumes, 1000),
              QStringList{root + QStringLiteral("/home/Trash")});
}

TEST(TrashDirectories, FolderStates)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString emptyFolder = dir.filePath(QStringLiteral("empty"));
    const QString fullFolder = dir.filePath(QStringLiteral("full"));
    const QString hiddenOnly = dir.filePath(QStringLiteral("hidden"));
    const QString notAFolder = dir.filePath(QStringLiteral("file"));
    QDir().mkpath(emptyFolder);
    QDir().mkpath(fullFolder + QStringLiteral("/sub"));
    QDir().mkpath(hiddenOnly);
    QFile(hiddenOnly + QStringLiteral("/.hidden")).open(QIODevice::WriteOnly);
    QFile(notAFolder).open(QIODevice::WriteOnly);
    const QString missing = dir.filePath(QStringLiteral("missing"));

    EXPECT_EQ(directoryState(missing), TrashState::empty);
    EXPECT_EQ(directoryState(hiddenOnly), TrashState::full);
    EXPECT_EQ(directoryState(notAFolder), TrashState::unknown);

    EXPECT_EQ(combinedState({missing, emptyFolder}), TrashState::empty);
    EXPECT_EQ(combinedState({notAFolder, emptyFolder}), TrashState::unknown);
    EXPECT_EQ(combinedState({notAFolder, fullFolder}), TrashState::full);
    EXPECT_EQ(combinedState({}), TrashState::unknown);
}

} // namespace
} // namespace wharf
