#include "shell/list_items_command.h"

#include "model/dock_model.h"
#include "platform/x11/x11_workspace.h"
#include "shell/dock_preferences.h"
#include "shell/item_json.h"

#include <QGuiApplication>
#include <QJsonDocument>

#include <cstdio>

namespace wharf {

int runListItems(int argc, char** argv)
{
    // Nothing is shown, so no window system is needed; the desktop is read over our own X connection.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);

    X11Workspace workspace;
    if (!workspace.ok()) {
        std::fprintf(stderr, "wharf: %s\n", qPrintable(workspace.error()));
        return 1;
    }
    DockModel model(workspace, DockPreferences::shared());
    if (workspace.connection().lost())
        return 1;
    for (const DockItem& item : model.items()) {
        const QByteArray line = QJsonDocument(itemJson(item)).toJson(QJsonDocument::Compact);
        std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stdout);
        std::fputc('\n', stdout);
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}

} // namespace wharf
