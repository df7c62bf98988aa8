#include "shell/list_items_command.h"

#include "model/dock_model.h"
#include "settings/dock_preferences.h"
#include "shell/item_json.h"

#include <QJsonDocument>

#include <cstdio>

namespace wharf {

int runListItems(Workspace& workspace, const QString& storePath, const std::function<bool()>& failed,
                 const std::function<TrashState()>& trashState)
{
    DockPreferences preferences(std::make_shared<QSettings>(storePath, QSettings::IniFormat),
                                DockPreferences::Access::readOnly);
    DockModel::Providers providers;
    providers.trashStateProvider = trashState;
    DockModel model(workspace, preferences, providers, DockModel::Mode::snapshot);
    if (failed())
        return 1;
    for (const DockItem& item : model.items()) {
        const QByteArray line = QJsonDocument(itemJson(item, model.lastKnownTrashFull())).toJson(QJsonDocument::Compact);
        std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stdout);
        std::fputc('\n', stdout);
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}

} // namespace wharf
