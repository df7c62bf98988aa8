// The Trash tile against the real Trash: files trashed by other programs and over D-Bus, emptying,
// and a second volume's Trash.
#include "dock_e2e_client.h"

#include <QDBusInterface>
#include <QDBusReply>
#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <optional>
#include <unistd.h>

namespace wharf::e2e {
namespace {

class TrashClient {
public:
    explicit TrashClient(E2eSession& session)
        : wharf(QStringLiteral("com.tamberly.Wharf"), QStringLiteral("/com/tamberly/Wharf"),
                QStringLiteral("com.tamberly.Wharf"), session.bus()),
          client(session)
    {
        wharf.setTimeout(60000);
    }

    // The Trash tile's "full", or nothing when there is no Trash item.
    std::optional<bool> full()
    {
        for (const QJsonValue& value : client.items()) {
            const QJsonObject item = value.toObject();
            if (item[QStringLiteral("kind")].toString() == QStringLiteral("trash"))
                return item[QStringLiteral("full")].toBool();
        }
        return std::nullopt;
    }

    bool becomes(bool wanted, int timeoutMs = 3000)
    {
        return E2eSession::waitFor([&] { return full() == wanted; }, timeoutMs);
    }

    // The first failure, "" when none; "no reply" when the call itself failed.
    QString call(const QString& method, const QVariantList& args = {})
    {
        const QDBusReply<QString> reply = wharf.callWithArgumentList(QDBus::Block, method, args);
        return reply.isValid() ? reply.value() : QStringLiteral("no reply: ") + reply.error().message();
    }

private:
    QDBusInterface wharf;
    DockClient client;
};

QString writeFile(const QString& path)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    file.open(QIODevice::WriteOnly);
    file.write("contents");
    return path;
}

QStringList entries(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

TEST(Trash, TheTileFollowsTheTrashThroughTrashingAndEmptying)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    ASSERT_NE(session.startWharf(), nullptr);
    TrashClient trash(session);
    ASSERT_TRUE(trash.becomes(false, 10000)) << "the Trash item reports an empty Trash";
    const QString home = session.dataHome() + QStringLiteral("/Trash");

    // Another program trashes a file (GIO, as file managers do).
    const QString report = writeFile(session.home() + QStringLiteral("/report.txt"));
    const RunResult gio = session.run(QStringLiteral("gio"), {QStringLiteral("trash"), report});
    ASSERT_EQ(gio.exitCode, 0) << gio.err.toStdString();
    EXPECT_TRUE(trash.becomes(true));

    // Emptying over D-Bus takes files, records and the size cache.
    writeFile(home + QStringLiteral("/directorysizes"));
    EXPECT_EQ(trash.call(QStringLiteral("EmptyTrash")), QString());
    EXPECT_TRUE(trash.becomes(false));
    EXPECT_TRUE(entries(home + QStringLiteral("/files")).isEmpty());
    EXPECT_TRUE(entries(home + QStringLiteral("/info")).isEmpty());
    EXPECT_FALSE(QFile::exists(home + QStringLiteral("/directorysizes")));

    // Wharf's own "Move to Trash" lands in the real Trash with its record.
    const QString notes = writeFile(session.home() + QStringLiteral("/notes.md"));
    EXPECT_EQ(trash.call(QStringLiteral("MoveToTrash"), {QStringList{notes}}), QString());
    EXPECT_FALSE(QFile::exists(notes));
    EXPECT_TRUE(QFile::exists(home + QStringLiteral("/files/notes.md")));
    EXPECT_TRUE(QFile::exists(home + QStringLiteral("/info/notes.md.trashinfo")));
    EXPECT_TRUE(trash.becomes(true));

    // A file that is not there: a clear error, and the Trash keeps what it had.
    const QString missing = trash.call(QStringLiteral("MoveToTrash"), {QStringList{session.home() + QStringLiteral("/nothing")}});
    EXPECT_TRUE(missing.startsWith(QStringLiteral("nothing: "))) << missing.toStdString();
    EXPECT_TRUE(QFile::exists(home + QStringLiteral("/files/notes.md")));
}

TEST(Trash, ASecondVolumesTrashCountsUntilItIsUnmounted)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    const QString volume = session.root() + QStringLiteral("/volume");
    QDir().mkpath(volume);
    ASSERT_NE(session.startWharf(), nullptr);
    TrashClient trash(session);
    ASSERT_TRUE(trash.becomes(false, 10000));

    // A small ext4 volume: GIO trashes on real disk file systems only (not on tmpfs).
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
    const RunResult gio = session.run(QStringLiteral("gio"), {QStringLiteral("trash"), film});
    ASSERT_EQ(gio.exitCode, 0) << gio.err.toStdString();
    EXPECT_TRUE(QFile::exists(volume + QStringLiteral("/.Trash-") + QString::number(::getuid()) + QStringLiteral("/files/film.mkv")));
    EXPECT_TRUE(trash.becomes(true));

    unmount.now();
    ASSERT_TRUE(unmount.done);
    EXPECT_TRUE(trash.becomes(false)) << "the unmounted volume's Trash no longer counts";
}

} // namespace
} // namespace wharf::e2e
