#include "shell/add_items_dialog.h"

#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace wharf;

TEST(AddItemsDialog, TakesFilesAndFoldersTogetherAndNothingThatIsMissing)
{
    QTemporaryDir dir;
    QDir(dir.path()).mkdir("Projects");
    QFile(dir.filePath("notes.txt")).open(QIODevice::WriteOnly);
    AddItemsDialog dialog(dir.path());
    auto* name = dialog.findChild<QLineEdit*>("fileNameEdit");
    ASSERT_NE(name, nullptr);

    // A missing name keeps the dialog open and chooses nothing.
    name->setText("\"missing.txt\"");
    dialog.accept();
    EXPECT_EQ(dialog.result(), QDialog::Rejected);
    EXPECT_TRUE(dialog.chosen().isEmpty());

    // A folder among the selection is taken, not walked into.
    name->setText("\"Projects\" \"notes.txt\"");
    dialog.accept();
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
    EXPECT_EQ(dialog.chosen(), QStringList({dir.filePath("Projects"), dir.filePath("notes.txt")}));
}
