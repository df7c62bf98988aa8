#include "support/files.h"

#include <QByteArray>
#include <QTemporaryDir>

#include <gtest/gtest.h>

// GIO reads the XDG variables once, so the fixture tree is put in place before any test runs:
// only the fixture desktop entries exist, and their programs are stand-ins on PATH.
int main(int argc, char** argv)
{
    QTemporaryDir home;
    const QByteArray data = WHARF_TEST_DATA_DIR;
    qputenv("XDG_DATA_DIRS", data);
    qputenv("XDG_DATA_HOME", home.filePath("data").toLocal8Bit());
    qputenv("XDG_CONFIG_HOME", home.filePath("config").toLocal8Bit());
    qputenv("XDG_CONFIG_DIRS", home.filePath("config-dirs").toLocal8Bit());
    qputenv("PATH", data + "/bin:" + qgetenv("PATH"));
    // The user's own entry for a class a system entry also claims.
    if (!wharf::test::writeFile(home.filePath("data/applications/my-viewer.desktop"),
                                "[Desktop Entry]\nType=Application\nName=My Viewer\nExec=konsole --mine\n"
                                "StartupWMClass=ExampleViewer\n"))
        return 1;
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
