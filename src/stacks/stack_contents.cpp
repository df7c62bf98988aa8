#include "stacks/stack_contents.h"

#include <QCollatorSortKey>
#include <QFile>
#include <QLocale>
#include <QMimeDatabase>
#include <QSet>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <limits>
#include <memory>
#include <numeric>
#include <sys/stat.h>

namespace wharf {

bool StackLoadError::isPermissionError() const
{
    return code == EPERM || code == EACCES;
}

namespace StackContents {

namespace {

struct DirCloser {
    void operator()(DIR* dir) const { ::closedir(dir); }
};
using DirHandle = std::unique_ptr<DIR, DirCloser>;

std::optional<QDateTime> fromTimestamp(const statx_timestamp& stamp)
{
    return QDateTime::fromMSecsSinceEpoch(stamp.tv_sec * 1000 + stamp.tv_nsec / 1000000, Qt::UTC);
}

// Names the file manager hides besides dot files: one per line in the folder's ".hidden".
QSet<QByteArray> hiddenNames(int dirFd)
{
    QSet<QByteArray> names;
    const int fd = ::openat(dirFd, ".hidden", O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return names;
    QFile file;
    if (file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        // A listing never stalls on a huge or endless ".hidden".
        const QByteArray contents = file.read(1 << 20);
        for (const QByteArray& line : contents.split('\n')) {
            if (!line.isEmpty())
                names.insert(line);
        }
    } else {
        ::close(fd);
    }
    return names;
}

qint64 sortDate(const StackEntry& entry, StackSortOrder order)
{
    constexpr qint64 distantPast = std::numeric_limits<qint64>::min();
    auto first = [](std::initializer_list<const std::optional<QDateTime>*> dates) {
        for (const auto* date : dates) {
            if (*date)
                return (*date)->toMSecsSinceEpoch();
        }
        return distantPast;
    };
    switch (order) {
    case StackSortOrder::dateAdded:
        // A Linux folder keeps no date an item was added to it: the creation date stands in for it,
        // then the modification date.
        return first({&entry.creationDate, &entry.modificationDate});
    case StackSortOrder::dateModified:
        return first({&entry.modificationDate, &entry.creationDate});
    case StackSortOrder::dateCreated:
        return first({&entry.creationDate, &entry.modificationDate});
    case StackSortOrder::name:
    case StackSortOrder::kind:
        break;
    }
    return distantPast;
}

} // namespace

QCollator collator()
{
    QLocale locale;
    if (locale.language() == QLocale::C)
        locale = QLocale(QLocale::English, QLocale::UnitedStates);
    QCollator collator(locale);
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    return collator;
}

Result<std::vector<StackEntry>, StackLoadError> load(const QString& folder, const StackSettings& settings)
{
    const QByteArray encodedFolder = QFile::encodeName(folder);
    const DirHandle dir(::opendir(encodedFolder.constData()));
    if (!dir) {
        const int code = errno;
        return StackLoadError{code, QString::fromLocal8Bit(std::strerror(code))};
    }
    const int dirFd = ::dirfd(dir.get());
    const QSet<QByteArray> hidden = hiddenNames(dirFd);
    const QMimeDatabase mimeTypes;
    const QString base = folder.endsWith(QLatin1Char('/')) ? folder : folder + QLatin1Char('/');

    std::vector<StackEntry> entries;
    errno = 0;
    while (const dirent* item = ::readdir(dir.get())) {
        const QByteArray name(item->d_name);
        if (name.startsWith('.') || hidden.contains(name))
            continue;
        StackEntry entry;
        entry.title = QFile::decodeName(name);
        entry.url = QUrl::fromLocalFile(base + entry.title);

        // Follows symbolic links; a dangling link or a loop keeps every attribute absent.
        struct statx info {};
        if (::statx(dirFd, name.constData(), AT_STATX_SYNC_AS_STAT, STATX_TYPE | STATX_MTIME | STATX_BTIME, &info)
            == 0) {
            entry.isDirectory = (info.stx_mask & STATX_TYPE) && S_ISDIR(info.stx_mode);
            if (info.stx_mask & STATX_MTIME)
                entry.modificationDate = fromTimestamp(info.stx_mtime);
            // Linux records no "date added": birth time where the file system keeps one.
            if (info.stx_mask & STATX_BTIME)
                entry.creationDate = fromTimestamp(info.stx_btime);
        }
        if (entry.isDirectory) {
            entry.kind = QStringLiteral("Folder");
        } else {
            const QMimeType type = mimeTypes.mimeTypeForFile(entry.title, QMimeDatabase::MatchExtension);
            if (!type.isDefault() && !type.comment().isEmpty()) {
                entry.kind = type.comment();
            } else {
                const qsizetype dot = entry.title.lastIndexOf(QLatin1Char('.'));
                entry.kind = dot > 0 ? entry.title.mid(dot + 1).toUpper() : QString();
            }
        }
        entries.push_back(std::move(entry));
    }
    return sorted(std::move(entries), settings.sortOrder);
}

std::vector<StackEntry> sorted(std::vector<StackEntry> entries, StackSortOrder order)
{
    // Sort keys are built once per entry: comparing them is far cheaper than collating strings.
    const QCollator collation = collator();
    std::vector<QCollatorSortKey> titleKeys;
    std::vector<QCollatorSortKey> kindKeys;
    std::vector<qint64> dates(entries.size());
    titleKeys.reserve(entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i) {
        titleKeys.push_back(collation.sortKey(entries[i].title));
        if (order == StackSortOrder::kind)
            kindKeys.push_back(collation.sortKey(entries[i].kind));
        dates[i] = sortDate(entries[i], order);
    }
    const bool byDate = order == StackSortOrder::dateAdded || order == StackSortOrder::dateModified
        || order == StackSortOrder::dateCreated;

    std::vector<std::size_t> indices(entries.size());
    std::iota(indices.begin(), indices.end(), 0);
    std::stable_sort(indices.begin(), indices.end(), [&](std::size_t a, std::size_t b) {
        if (byDate && dates[a] != dates[b])
            return dates[a] > dates[b]; // newest first
        if (order == StackSortOrder::kind) {
            if (const int c = kindKeys[a].compare(kindKeys[b]); c != 0)
                return c < 0;
        }
        if (const int c = titleKeys[a].compare(titleKeys[b]); c != 0)
            return c < 0;
        return entries[a].url.toString() < entries[b].url.toString();
    });

    std::vector<StackEntry> out;
    out.reserve(entries.size());
    for (const std::size_t i : indices)
        out.push_back(std::move(entries[i]));
    return out;
}

StackViewMode resolvedViewMode(StackViewMode requested, long itemCount, double availableHeight)
{
    if (requested != StackViewMode::automatic)
        return requested;
    const bool fits = double(std::max(itemCount, 0L)) * 62 + 124 <= availableHeight;
    return itemCount >= 1 && itemCount <= 7 && fits ? StackViewMode::fan : StackViewMode::grid;
}

} // namespace StackContents

} // namespace wharf
