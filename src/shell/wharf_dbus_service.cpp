#include "shell/wharf_dbus_service.h"

#include "shell/item_json.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

namespace wharf {

namespace {

QJsonArray rectJson(const QRectF& rect)
{
    return QJsonArray{rect.x(), rect.y(), rect.width(), rect.height()};
}

QString compact(const QJsonArray& array)
{
    return QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact));
}

} // namespace

QJsonArray docksJson(const std::vector<DockSnapshot>& docks)
{
    QJsonArray out;
    for (const DockSnapshot& dock : docks) {
        QJsonArray tiles;
        for (std::size_t i = 0; i < dock.tiles.size(); ++i) {
            const QRectF global = dock.tiles[i].translated(dock.frame.topLeft());
            QJsonObject tile{{QStringLiteral("frame"), rectJson(global)}};
            tile.insert(QStringLiteral("id"), i < dock.entryIDs.size() ? QJsonValue(dock.entryIDs[i]) : QJsonValue());
            tiles.append(tile);
        }
        QJsonArray badges;
        for (const auto& badge : dock.badges) {
            badges.append(QJsonObject{
                {QStringLiteral("id"), badge.id},
                {QStringLiteral("label"), badge.label},
                {QStringLiteral("frame"), badge.label.isEmpty() ? QJsonValue() : QJsonValue(rectJson(badge.frame))},
                {QStringLiteral("progress"), badge.progress ? QJsonValue(*badge.progress) : QJsonValue()},
                {QStringLiteral("urgent"), badge.urgent},
                {QStringLiteral("indicator"), QJsonArray{badge.indicator.x(), badge.indicator.y()}},
            });
        }
        out.append(QJsonObject{
            {QStringLiteral("display"), dock.display},
            {QStringLiteral("overlay"), dock.overlay},
            {QStringLiteral("mapped"), dock.mapped},
            {QStringLiteral("frame"), rectJson(dock.frame)},
            {QStringLiteral("tiles"), tiles},
            {QStringLiteral("hoveredIndex"), dock.hoveredIndex ? QJsonValue(*dock.hoveredIndex) : QJsonValue()},
            {QStringLiteral("keyboardIndex"), dock.keyboardIndex ? QJsonValue(*dock.keyboardIndex) : QJsonValue()},
            {QStringLiteral("drag"),
             dock.drag ? QJsonValue(QJsonObject{
                             {QStringLiteral("id"), dock.drag->id},
                             {QStringLiteral("slot"), dock.drag->slot ? QJsonValue(*dock.drag->slot) : QJsonValue()}})
                       : QJsonValue()},
            {QStringLiteral("drop"),
             dock.drop ? QJsonValue(QJsonObject{
                             {QStringLiteral("target"), dock.drop->target ? QJsonValue(*dock.drop->target) : QJsonValue()},
                             {QStringLiteral("index"), dock.drop->index},
                             {QStringLiteral("copies"), dock.drop->copies}})
                       : QJsonValue()},
            {QStringLiteral("hiddenAmount"), dock.hiddenAmount},
            {QStringLiteral("hidden"), dock.hiddenAmount >= 1},
            {QStringLiteral("fullScreen"), dock.fullScreen},
            {QStringLiteral("hoverLabel"),
             dock.hoverLabel ? QJsonValue(QJsonObject{{QStringLiteral("text"), dock.hoverLabelText},
                                                      {QStringLiteral("frame"), rectJson(*dock.hoverLabel)}})
                             : QJsonValue()},
            {QStringLiteral("divider"), dock.divider ? QJsonValue(rectJson(*dock.divider)) : QJsonValue()},
            {QStringLiteral("menuOpen"), dock.menuOpen},
            {QStringLiteral("badges"), badges},
            {QStringLiteral("pulsing"), dock.pulsing},
        });
    }
    return out;
}

QString WharfDBusService::Items() const
{
    QJsonArray out;
    if (source.items) {
        for (const DockItem& item : source.items())
            out.append(itemJson(item, source.trashFull && source.trashFull()));
    }
    return compact(out);
}

QString WharfDBusService::Docks() const
{
    return compact(docksJson(source.docks ? source.docks() : std::vector<DockSnapshot>{}));
}

int WharfDBusService::HoveredIndex() const
{
    if (source.docks) {
        for (const DockSnapshot& dock : source.docks()) {
            if (dock.hoveredIndex)
                return *dock.hoveredIndex;
        }
    }
    return -1;
}

qulonglong WharfDBusService::FramesRendered() const
{
    return source.framesRendered ? source.framesRendered() : 0;
}

void WharfDBusService::FocusDock()
{
    if (source.focusDock)
        source.focusDock();
}

QString WharfDBusService::EmptyTrash()
{
    return answerLater([this](Source::Done done) {
        if (source.emptyTrash)
            source.emptyTrash(std::move(done));
        else
            done(Error{QStringLiteral("Wharf is not ready.")});
    });
}

QString WharfDBusService::MoveToTrash(const QStringList& paths)
{
    return answerLater([this, paths](Source::Done done) {
        if (source.recycle)
            source.recycle(paths, std::move(done));
        else
            done(Error{QStringLiteral("Wharf is not ready.")});
    });
}

QString WharfDBusService::answerLater(const std::function<void(Source::Done)>& start)
{
    // The work runs off the main thread; the caller gets its answer when it ends.
    Source::Done done;
    if (calledFromDBus()) {
        setDelayedReply(true);
        done = [request = message(), bus = connection()](std::optional<Error> failure) {
            bus.send(request.createReply(failure ? failure->message : QString()));
        };
    }
    start(done ? done : [](std::optional<Error>) {});
    return {};
}

void WharfDBusService::ShowSettings()
{
    if (source.showSettings)
        source.showSettings();
}

void WharfDBusService::ShowApplicationMenu()
{
    if (source.showApplicationMenu)
        source.showApplicationMenu();
}

void WharfDBusService::ShowDividerMenu()
{
    if (source.showDividerMenu)
        source.showDividerMenu();
}

void WharfDBusService::OpenStack(const QString& id)
{
    QString error = QStringLiteral("The dock is not up yet.");
    if (source.openStack && source.openStack(id, &error))
        return;
    if (calledFromDBus())
        sendErrorReply(QStringLiteral("com.tamberly.Wharf.Error.NoSuchFolder"), error);
}

QString WharfDBusService::Stack() const
{
    const QJsonObject stack = source.stack ? source.stack() : QJsonObject{{QStringLiteral("open"), false}};
    return QString::fromUtf8(QJsonDocument(stack).toJson(QJsonDocument::Compact));
}

void WharfDBusService::SetStackViewMode(const QString& id, const QString& mode)
{
    QString error = QStringLiteral("The dock is not up yet.");
    if (source.setStackViewMode && source.setStackViewMode(id, mode, &error))
        return;
    if (calledFromDBus())
        sendErrorReply(QStringLiteral("com.tamberly.Wharf.Error.InvalidArgs"), error);
}

bool WharfDBusService::Activate(const QString& id)
{
    return source.activate && source.activate(id);
}

QString WharfDBusService::Windows(const QString& id) const
{
    QJsonArray array;
    if (source.windows) {
        for (const DockWindow& window : source.windows(id)) {
            QJsonObject object;
            object.insert(QStringLiteral("id"), QStringLiteral("window-") + QString::number(window.id));
            object.insert(QStringLiteral("title"), window.title);
            object.insert(QStringLiteral("minimized"), window.isMinimized);
            array.append(object);
        }
    }
    return QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact));
}

bool WharfDBusService::Minimize(const QString& id)
{
    return source.minimize && source.minimize(id);
}

bool WharfDBusService::ShowMenu(const QString& id)
{
    return source.showMenu && source.showMenu(id);
}

QString WharfDBusService::Alert() const
{
    const QJsonObject alert = source.alert ? source.alert() : QJsonObject{{QStringLiteral("open"), false}};
    return QString::fromUtf8(QJsonDocument(alert).toJson(QJsonDocument::Compact));
}

bool WharfDBusService::AnswerAlert(const QString& button)
{
    return source.answerAlert && source.answerAlert(button);
}

QString WharfDBusService::MenuItems(const QString& id) const
{
    const QJsonArray entries = source.menuItems ? source.menuItems(id) : QJsonArray();
    return QString::fromUtf8(QJsonDocument(entries).toJson(QJsonDocument::Compact));
}

bool WharfDBusService::ChooseMenuItem(const QString& id, const QString& title)
{
    return source.chooseMenuItem && source.chooseMenuItem(id, title);
}

bool WharfDBusService::Drop(const QStringList& paths, const QString& id, bool copy)
{
    return source.drop && source.drop(paths, id, copy);
}

void WharfDBusService::Quit()
{
    // Let the reply go out before the event loop ends.
    QTimer::singleShot(0, this, [this] {
        if (source.quit)
            source.quit();
    });
}

} // namespace wharf
