#pragma once

// A model's world in a temporary folder: desktop entries a, b, c and r, the file manager's
// files.desktop, doc.txt, the folders "folder" and "other", and preferences stored beside them.
#include "model/dock_model.h"

#include "doubles/fake_workspace.h"
#include "support/files.h"
#include "support/temp_preferences.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

// Readable failure messages.
inline void PrintTo(const QString& text, std::ostream* os) { *os << '"' << text.toStdString() << '"'; }

namespace wharf::test {

using Kind = DockItem::Kind;
using Pin = DockModel::Pin;

class ModelTest : public testing::Test, protected TempPreferences {
protected:
    ModelTest()
    {
        workspace.fileManager = path("files.desktop");
        workspace.bundleIDs[*workspace.fileManager] = "org.gnome.Nautilus";
        for (const char* name : {"a.desktop", "b.desktop", "c.desktop", "r.desktop", "files.desktop", "doc.txt"})
            touch(name);
        for (const char* name : {"folder", "other"})
            QDir(dir.path()).mkdir(name);
    }

    QString path(const QString& name) const { return dir.filePath(name); }
    void touch(const QString& name) const { ASSERT_TRUE(writeFile(path(name))); }
    void storePins(const std::vector<Pin>& pins) { store->setValue(DockModel::pinnedItemsKey, DockModel::encodePins(pins)); }
    std::optional<std::vector<Pin>> storedPins() const
    {
        return DockModel::decodePins(store->value(DockModel::pinnedItemsKey).toByteArray());
    }

    FakeWorkspace workspace;
    DockModel::Providers providers;
};

} // namespace wharf::test
