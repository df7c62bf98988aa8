// The Trash tile against the real Trash: files trashed by other programs, emptying and a failure
// over D-Bus, and a second volume's Trash while it is mounted.
#include "dock_e2e_client.h"

#include <QDBusReply>
#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <unistd.h>

namespace wharf::e2e {
namespace {

// Waits until the Trash tile is `full` or not.
bool becomes(DockClient& client, bool full, int timeoutMs = 3000)
{
    return E2eSession::waitFor([&] {
        const auto trash = client.item(QStringLiteral("kind"), QStringLiteral("trash"));
        return trash && (*trash)[QStringLiteral("full")].toBool() == full;
    }, timeoutMs);
}

// (Emptying from the menu and dropping files on the tile are the operations and pointer tests' part.)
TEST(Trash, TheTileFollowsTheHomeTrashAndASecondVolumesUntilItIsUnmounted)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    ASSERT_NE(session.startWharf(), nullptr);
    DockClient trash(session);
    ASSERT_TRUE(becomes(trash, false, 10000)) << "the Trash item reports an empty Trash";

    // Another program trashes a file (GIO, as file managers do).
    const QString report = writeFile(session.home() + QStringLiteral("/report.txt"));
    RunResult gio = session.run(QStringLiteral("gio"), {QStringLiteral("trash"), report});
    ASSERT_EQ(gio.exitCode, 0) << gio.err.toStdString();
    EXPECT_TRUE(becomes(trash, true));
    EXPECT_EQ(QDBusReply<QString>(trash.call(QStringLiteral("EmptyTrash"))).value(), QString());
    EXPECT_TRUE(becomes(trash, false));

    // A file that is not there: the first failure names it, and the Trash stays empty.
    const QDBusReply<QString> missing =
        trash.call(QStringLiteral("MoveToTrash"), {QStringList{session.home() + QStringLiteral("/nothing")}});
    EXPECT_TRUE(missing.value().startsWith(QStringLiteral("nothing: "))) << missing.value().toStdString();
    EXPECT_TRUE(becomes(trash, false));

    // A small ext4 volume: GIO trashes on real disk file systems only (not on tmpfs).
    const QString volume = session.root() + QStringLiteral("/volume");
    QDir().mkpath(volume);
    const QString image = session.root() + QStringLiteral("/volume.img");
    QFile(image).open(QIODevice::WriteOnly);
    QFile(image).resize(8 << 20);
    const QString mkfs = QStandardPaths::findExecutable(QStringLiteral("mkfs.ext4"), {QStringLiteral("/usr/sbin"), QStringLiteral("/sbin")});
    const RunResult formatted = session.run(mkfs.isEmpty() ? QStringLiteral("mkfs.ext4") : mkfs, {QStringLiteral("-q"), QStringLiteral("-F"), image});
    const RunResult mounted = formatted.exitCode == 0
        ? session.run(QStringLiteral("mount"), {QStringLiteral("-o"), QStringLiteral("loop"), image, volume})
        : formatted;
    if (mounted.exitCode != 0)
        GTEST_SKIP() << "this machine does not allow mounting a volume: " << mounted.err.toStdString();
    struct Unmount {
        E2eSession& session;
        QString path;
        bool done = false;
        void now()
        {
            if (!done)
                done = session.run(QStringLiteral("umount"), {path}).exitCode == 0;
        }
        ~Unmount() { now(); }
    } unmount{session, volume};

    // Another program trashes a file there: GIO makes $top/.Trash-$uid, which Wharf learns of
    // from the new mount and its watch on the volume.
    const QString film = writeFile(volume + QStringLiteral("/film.mkv"));
    gio = session.run(QStringLiteral("gio"), {QStringLiteral("trash"), film});
    ASSERT_EQ(gio.exitCode, 0) << gio.err.toStdString();
    EXPECT_TRUE(QFile::exists(volume + QStringLiteral("/.Trash-") + QString::number(::getuid()) + QStringLiteral("/files/film.mkv")));
    EXPECT_TRUE(becomes(trash, true));

    unmount.now();
    ASSERT_TRUE(unmount.done);
    EXPECT_TRUE(becomes(trash, false)) << "the unmounted volume's Trash no longer counts";
}

} // namespace
} // namespace wharf::e2e
