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
    for (const auto& row : rows)
        EXPECT_EQ(skipsVolume({row.root, row.type}), row.skipped) << row.root << " " << row.type;
}

TEST(TrashDirectories, VolumeTrashFollowsTheStickyAndSymlinkRules)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString root = dir.path();
    // Volumes on the home Trash's device are covered by the home Trash: keep the home elsewhere.
    if (!QFileInfo("/dev/shm").isDir())
        GTEST_SKIP() << "needs a second file system at /dev/shm";
    const QString home = "/dev/shm/wharf-test-home/Trash";

    const auto volume = [&](const QString& name) {
        QDir().mkpath(root + '/' + name);
        return root + '/' + name;
    };
    const QString sticky = volume("sticky");
    QDir().mkpath(sticky + "/.Trash");
    ::chmod(QFile::encodeName(sticky + "/.Trash").constData(), 01777);
    const QString plain = volume("plain");
    QDir().mkpath(plain + "/.Trash");
    ::chmod(QFile::encodeName(plain + "/.Trash").constData(), 0777);
    const QString linked = volume("linked");
    QFile::link(sticky + "/.Trash", linked + "/.Trash");
    const QString bare = volume("bare");

    const std::vector<MountedVolume> volumes{
        {sticky, "ext4"},  {plain, "ext4"},
        {linked, "ext4"},  {bare, "vfat"},
        {sticky, "ext4"},  // mounted twice: examined once
        {volume("nfs"), "nfs"},
        {root + "/missing", "ext4"},
    };
    EXPECT_EQ(trashDirectories(home, volumes, 1000),
              (QStringList{home, sticky + "/.Trash/1000", sticky + "/.Trash-1000", plain + "/.Trash-1000",
                           linked + "/.Trash-1000", bare + "/.Trash-1000"}));

    // The home Trash's own device (here: the same temporary folder) adds nothing.
    EXPECT_EQ(trashDirectories(root + "/home/Trash", volumes, 1000), QStringList{root + "/home/Trash"});
}

TEST(TrashDirectories, FolderStates)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString emptyFolder = dir.filePath("empty");
    const QString fullFolder = dir.filePath("full");
    const QString hiddenOnly = dir.filePath("hidden");
    const QString notAFolder = dir.filePath("file");
    QDir().mkpath(emptyFolder);
    QDir().mkpath(fullFolder + "/sub");
    QDir().mkpath(hiddenOnly);
    QFile(hiddenOnly + "/.hidden").open(QIODevice::WriteOnly);
    QFile(notAFolder).open(QIODevice::WriteOnly);
    const QString missing = dir.filePath("missing");

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
