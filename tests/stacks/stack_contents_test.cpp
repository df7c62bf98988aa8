#include "stacks/stack_contents.h"

#include "support/files.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

using namespace wharf;

namespace {

QStringList titles(const std::vector<StackEntry>& entries)
{
    QStringList out;
    for (const StackEntry& entry : entries)
        out << entry.title;
    return out;
}

QDateTime at(int day) { return QDateTime(QDate(2024, 1, day), QTime(12, 0), Qt::UTC); }

StackEntry entry(const QString& title, std::optional<QDateTime> modified = {}, std::optional<QDateTime> created = {},
                 const QString& kind = {}, const QString& file = {})
{
    return {.url = QUrl::fromLocalFile("/f/" + (file.isEmpty() ? title : file)), .title = title,
            .modificationDate = modified, .creationDate = created, .kind = kind};
}

TEST(StackContentsTest, SkipsDotFilesAndNamesTheFolderHidesAndKindsFallBackToTheExtension)
{
    QTemporaryDir dir;
    for (const char* name : {".DS_Store", ".localized", "secret.txt", "notes.txt", "plainname", "data.zzqq"})
        ASSERT_TRUE(test::writeFile(dir.filePath(name)));
    ASSERT_TRUE(test::writeFile(dir.filePath(".hidden"), "secret.txt\n\nnot-there\n"));
    const auto result = StackContents::load(dir.path(), {StackViewMode::automatic, StackSortOrder::name, {}});
    ASSERT_TRUE(result.ok());
    EXPECT_EQ(titles(result.value()), (QStringList{"data.zzqq", "notes.txt", "plainname"}));
    std::map<QString, QString> kinds;
    for (const StackEntry& e : result.value())
        kinds[e.title] = e.kind;
    EXPECT_EQ(kinds["plainname"], "");
    EXPECT_EQ(kinds["data.zzqq"], "ZZQQ");
    EXPECT_FALSE(kinds["notes.txt"].isEmpty());
    EXPECT_NE(kinds["notes.txt"], "TXT") << "a known type has a description";
}

TEST(StackContentsTest, AFolderThatCannotBeListedFailsWithTheSystemError)
{
    QTemporaryDir dir;
    ASSERT_TRUE(test::writeFile(dir.filePath("plain.txt")));
    const auto missing = StackContents::load(dir.filePath("missing"), {});
    ASSERT_FALSE(missing.ok());
    EXPECT_EQ(missing.error().code, ENOENT);

    const auto notFolder = StackContents::load(dir.filePath("plain.txt"), {});
    ASSERT_FALSE(notFolder.ok());
    EXPECT_EQ(notFolder.error().code, ENOTDIR);
    EXPECT_TRUE((StackLoadError{EACCES, {}}.isPermissionError()));
}

TEST(StackContentsTest, OddItemsAreStillListedOnce)
{
    QTemporaryDir dir;
    // A link to itself, a dangling link, a name that is not UTF-8 and a link back to the folder.
    ASSERT_EQ(::symlink("loop", dir.filePath("loop").toLocal8Bit()), 0);
    ASSERT_EQ(::symlink("nowhere", dir.filePath("dangling").toLocal8Bit()), 0);
    ASSERT_EQ(::symlink(".", dir.filePath("self").toLocal8Bit()), 0);
    const QByteArray latin1 = dir.path().toLocal8Bit() + "/caf\xe9.txt";
    const int fd = ::open(latin1.constData(), O_CREAT | O_WRONLY, 0644);
    ASSERT_GE(fd, 0);
    ::close(fd);
    QDir(dir.path()).mkdir("sub");

    const auto result = StackContents::load(dir.path(), {});
    ASSERT_TRUE(result.ok());
    ASSERT_EQ(result.value().size(), 5u);
    std::map<QString, StackEntry> byTitle;
    for (const StackEntry& e : result.value())
        byTitle[e.title] = e;
    EXPECT_FALSE(byTitle["loop"].isDirectory);
    EXPECT_FALSE(byTitle["loop"].modificationDate);
    EXPECT_TRUE(byTitle["self"].isDirectory);
    EXPECT_TRUE(byTitle["sub"].isDirectory);
    EXPECT_EQ(byTitle["sub"].kind, "Folder");
    EXPECT_TRUE(byTitle["sub"].modificationDate);
    EXPECT_TRUE(std::ranges::any_of(result.value(), [](const StackEntry& e) { return e.title.startsWith("caf"); }));
}

TEST(StackSort, Orders)
{
    const struct Row {
        const char* name;
        StackSortOrder order;
        std::vector<StackEntry> entries;
        QStringList expected;
    } rows[] = {
        {"case ignored", StackSortOrder::name, {entry("Banana"), entry("apple")}, {"apple", "Banana"}},
        {"equal titles by url", StackSortOrder::name,
         {entry("same", {}, {}, {}, "b"), entry("same", {}, {}, {}, "a")}, {"same", "same"}},
        {"modified newest first", StackSortOrder::dateModified,
         {entry("old", at(1)), entry("new", at(5))}, {"new", "old"}},
        {"equal dates by title", StackSortOrder::dateModified, {entry("b", at(1)), entry("a", at(1))}, {"a", "b"}},
        {"added orders by created, then modified, undated last", StackSortOrder::dateAdded,
         {entry("none"), entry("created", at(1), at(9)), entry("modified", at(5))}, {"created", "modified", "none"}},
        {"created falls back to modified", StackSortOrder::dateCreated,
         {entry("c", {}, at(2)), entry("m", at(3))}, {"m", "c"}},
        {"kind then title", StackSortOrder::kind,
         {entry("z", {}, {}, "Image"), entry("y", {}, {}, "image"), entry("a", {}, {}, "Text")}, {"y", "z", "a"}},
    };
    for (const Row& row : rows)
        EXPECT_EQ(titles(StackContents::sorted(row.entries, row.order)), row.expected) << row.name;
    EXPECT_EQ(StackContents::sorted(rows[1].entries, StackSortOrder::name)[0].path(), "/f/a") << "a tie by url";
}

TEST(StackViewModeResolution, AutomaticPicksFanOnlyWhenItFits)
{
    const struct {
        const char* name;
        StackViewMode requested;
        long count;
        double height;
        StackViewMode expected;
    } rows[] = {
        {"seven fit exactly", StackViewMode::automatic, 7, 558, StackViewMode::fan},
        {"seven just too tall", StackViewMode::automatic, 7, 557.9, StackViewMode::grid},
        {"empty is a grid", StackViewMode::automatic, 0, 5000, StackViewMode::grid},
        {"a chosen mode stays", StackViewMode::list, 1, 100, StackViewMode::list},
    };
    for (const auto& row : rows)
        EXPECT_EQ(StackContents::resolvedViewMode(row.requested, row.count, row.height), row.expected) << row.name;
}

} // namespace
