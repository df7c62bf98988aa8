// `wharf --list-items` only reads: whatever the settings file holds, it stays as it was.
#include "shell/list_items_command.h"

#include "doubles/fake_workspace.h"
#include "support/files.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace wharf {
namespace {

TEST(ListItemsCommand, NeverWritesTheSettingsFile)
{
    const struct {
        const char* name;
        std::optional<QByteArray> contents; // nullopt: no file
    } rows[] = {
        {"absent file stays absent", std::nullopt},
        {"no pins yet (the import is not saved)", QByteArray("[General]\niconSize=40\n")},
        {"unparsable file", QByteArray("[General\niconSize=40\n")},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        QTemporaryDir dir;
        const QString path = dir.filePath("wharf/wharf.conf");
        const QDateTime old = QDateTime::currentDateTimeUtc().addDays(-3);
        if (row.contents) {
            ASSERT_TRUE(test::writeFile(path, *row.contents));
            QFile file(path);
            ASSERT_TRUE(file.open(QIODevice::ReadOnly));
            ASSERT_TRUE(file.setFileTime(old, QFileDevice::FileModificationTime));
        }
        FakeWorkspace workspace;
        workspace.webBrowser = "/usr/share/applications/browser.desktop";

        EXPECT_EQ(runListItems(workspace, path, [] { return false; }), 0);

        if (!row.contents) {
            EXPECT_FALSE(QFileInfo::exists(path));
            continue;
        }
        EXPECT_EQ(test::readFile(path), *row.contents);
        EXPECT_EQ(QFileInfo(path).lastModified().toSecsSinceEpoch(), old.toSecsSinceEpoch());
        EXPECT_EQ(QDir(dir.filePath("wharf")).entryList(QDir::Files).size(), 1)
            << "no copy or sibling was written either";
    }
}

} // namespace
} // namespace wharf
