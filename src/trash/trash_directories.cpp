#include "trash/trash_directories.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QStandardPaths>

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace wharf::TrashDirectories {

namespace {

bool underSystemPath(const QString& root)
{
    // Kernel and runtime trees; removable media under /run/media are real volumes.
    for (const char* prefix : {"/proc", "/sys", "/dev", "/run"}) {
        const QString p = QLatin1String(prefix);
        if (root == p || root.startsWith(p + QLatin1Char('/')))
            return !root.startsWith(QStringLiteral("/run/media/"));
    }
    return false;
}

std::optional<dev_t> deviceOf(QString path)
{
    // The nearest existing folder decides: a Trash not yet created lives on its parent's device.
    struct stat info {};
    while (::stat(QFile::encodeName(path).constData(), &info) != 0) {
        if (path == QLatin1String("/") || path.isEmpty())
            return std::nullopt;
        path = QFileInfo(path).absolutePath();
    }
    return info.st_dev;
}

} // namespace

QString homeTrash()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/Trash");
}

bool skipsVolume(const MountedVolume& volume)
{
    static const QSet<QString> pseudo = {
        QStringLiteral("proc"), QStringLiteral("sysfs"), QStringLiteral("devtmpfs"), QStringLiteral("devpts"),
        QStringLiteral("cgroup"), QStringLiteral("cgroup2"), QStringLiteral("mqueue"), QStringLiteral("debugfs"),
        QStringLiteral("tracefs"), QStringLiteral("securityfs"), QStringLiteral("pstore"), QStringLiteral("bpf"),
        QStringLiteral("configfs"), QStringLiteral("fusectl"), QStringLiteral("hugetlbfs"), QStringLiteral("autofs"),
        QStringLiteral("binfmt_misc"), QStringLiteral("efivarfs"), QStringLiteral("rpc_pipefs"), QStringLiteral("nsfs"),
        QStringLiteral("selinuxfs"), QStringLiteral("ramfs"), QStringLiteral("squashfs"), QStringLiteral("iso9660"),
    };
    static const QSet<QString> network = {
        QStringLiteral("nfs"), QStringLiteral("nfs4"), QStringLiteral("cifs"), QStringLiteral("smbfs"),
        QStringLiteral("smb3"), QStringLiteral("ncpfs"), QStringLiteral("afs"), QStringLiteral("ceph"),
        QStringLiteral("glusterfs"), QStringLiteral("9p"), QStringLiteral("davfs"), QStringLiteral("sshfs"),
        QStringLiteral("lustre"),
    };
    const QString type = volume.fileSystemType;
    if (volume.root.isEmpty() || pseudo.contains(type) || network.contains(type) || underSystemPath(volume.root))
        return true;
    // FUSE: only block-device file systems (ntfs-3g, exfat) are local; sshfs, gvfs and the like are not.
    if (type.startsWith(QLatin1String("fuse")))
        return type != QLatin1String("fuseblk");
    return false;
}

QStringList trashDirectories(const QString& homeTrash, const std::vector<MountedVolume>& volumes, uid_t uid)
{
    QStringList out{QDir::cleanPath(homeTrash)};
    const std::optional<dev_t> homeDevice = deviceOf(homeTrash);
    const QString user = QString::number(uid);
    for (const MountedVolume& volume : volumes) {
        if (skipsVolume(volume))
            continue;
        const QString top = QDir::cleanPath(volume.root);
        struct stat info {};
        // Bind-mounted files and volumes on the home device have no Trash of their own.
        if (::stat(QFile::encodeName(top).constData(), &info) != 0 || !S_ISDIR(info.st_mode)
            || (homeDevice && info.st_dev == *homeDevice))
            continue;
        const QString base = top == QLatin1String("/") ? QString() : top;
        const QString shared = base + QStringLiteral("/.Trash");
        struct stat sharedInfo {};
        if (::lstat(QFile::encodeName(shared).constData(), &sharedInfo) == 0 && S_ISDIR(sharedInfo.st_mode)
            && (sharedInfo.st_mode & S_ISVTX))
            out << shared + QLatin1Char('/') + user;
        out << base + QStringLiteral("/.Trash-") + user;
    }
    out.removeDuplicates();
    return out;
}

Result<QStringList> userTrashDirectories(const TrashVolumes& volumes)
{
    auto mounted = volumes.mountedVolumes();
    if (!mounted)
        return mounted.error();
    return trashDirectories(homeTrash(), mounted.value(), ::getuid());
}

QStringList filesFolders(const QStringList& trashDirectories)
{
    QStringList out;
    for (const QString& directory : trashDirectories)
        out << directory + QStringLiteral("/files");
    return out;
}

TrashState directoryState(const QString& folder)
{
    struct Closer {
        void operator()(DIR* dir) const { ::closedir(dir); }
    };
    const std::unique_ptr<DIR, Closer> dir(::opendir(QFile::encodeName(folder).constData()));
    if (!dir)
        return errno == ENOENT ? TrashState::empty : TrashState::unknown;
    for (;;) {
        errno = 0;
        const dirent* entry = ::readdir(dir.get());
        if (!entry)
            return errno == 0 ? TrashState::empty : TrashState::unknown;
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            return TrashState::full;
    }
}

TrashState combinedState(const QStringList& folders)
{
    if (folders.isEmpty())
        return TrashState::unknown;
    bool unknown = false;
    for (const QString& folder : folders) {
        const TrashState state = directoryState(folder);
        if (state == TrashState::full)
            return TrashState::full;
        unknown = unknown || state == TrashState::unknown;
    }
    return unknown ? TrashState::unknown : TrashState::empty;
}

} // namespace wharf::TrashDirectories
