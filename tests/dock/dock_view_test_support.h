#pragma once

#include "dock/dock_tile.h"
#include "dock/dock_view.h"
#include "doubles/fake_workspace.h"
#include "support/files.h"
#include "model/dock_model.h"
#include "support/temp_preferences.h"

#include <QColor>
#include <QFile>
#include <QPixmap>
#include <QSettings>

#include <gtest/gtest.h>

#include <memory>

namespace wharf::test {

using Kind = DockItem::Kind;

// A real DockModel over a FakeWorkspace, temporary settings, a settable clock and
// pointer, and the view under test. Pointer positions are given in view coordinates.
class DockViewHarness : public TempPreferences {
public:
    static constexpr int viewHeight = 200;

    // A desktop entry with a solid icon of `color`; returns its path.
    QString app(const QString& name, const QColor& color = Qt::red) { return app(name, solidIcon(color)); }

    QString app(const QString& name, const QIcon& icon)
    {
        const QString path = dir.filePath(name + ".desktop");
        EXPECT_TRUE(writeFile(path, "[Desktop Entry]\nType=Application\nName=x\nExec=true\n"));
        workspace.icons[path] = icon;
        return path;
    }

    QString folder(const QString& name)
    {
        const QString path = dir.filePath(name);
        QDir().mkpath(path);
        workspace.icons[path] = solidIcon(Qt::yellow);
        return path;
    }

    static QIcon solidIcon(const QColor& color)
    {
        QPixmap pixmap(128, 128);
        pixmap.fill(color);
        return QIcon(pixmap);
    }

    // Pins `paths` in order, desktop entries as applications and the rest as folders, and reloads
    // the view when there is one.
    void pin(const QStringList& paths)
    {
        std::vector<DockModel::Pin> list;
        for (const QString& path : paths)
            list.push_back({path, path.endsWith(".desktop") ? Kind::application : Kind::folder, {}});
        model.setPins(std::move(list));
        if (view || windowView)
            active().reload();
    }

    // The view's context over this harness; `actions` record what gestures ask for.
    DockViewContext context()
    {
        DockViewContext context;
        context.model = &model;
        context.minimizedWindows = [this] { return minimized; };
        context.preferences = &preferences;
        context.platformIsDark = [] { return false; };
        context.reduceMotion = [this] { return reduceMotion; };
        context.uptime = [this] { return clock; };
        context.accessibilityEvent = accessibilityEvent;
        context.fullScreenState = fullScreenState;
        context.menuTracking = [this] { return menuOpen; };
        context.actions = actions;
        return context;
    }

    DockView& makeView(bool overlay = false)
    {
        view = std::make_unique<DockView>(context(), overlay);
        view->readPointer = [this] { return pointer ? std::optional(PointerReading{*pointer, false}) : std::nullopt; };
        view->resize(size);
        view->reload();
        return *view;
    }

    // The view, started and at rest.
    DockView& startView(bool overlay = false)
    {
        makeView(overlay).start();
        settle();
        return *view;
    }

    // The view the clock ticks: a dock window's when one was given, else the harness's own.
    DockView& active() const { return windowView ? *windowView : *view; }

    // Ticks at 60 Hz until nothing animates (or `limit` seconds pass).
    void settle(double limit = 3)
    {
        for (double t = 0; t < limit; t += 1.0 / 60) {
            advance(1.0 / 60);
            if (!active().isAnimating())
                return;
        }
    }

    void advance(double seconds)
    {
        clock += seconds;
        active().tick();
    }

    int indexOf(const QString& path) const
    {
        const QString id = QFileInfo(path).canonicalFilePath();
        const auto& entries = view->entries();
        const auto found = std::ranges::find(entries, id, &DockEntry::identifier);
        return found == entries.end() ? -1 : int(found - entries.begin());
    }

    QSize size{1000, viewHeight};
    FakeWorkspace workspace;
    std::function<std::optional<QString>(const QString& identity)> badges;
    DockModel model{workspace, preferences, providers()};
    std::vector<DockWindow> minimized;
    bool reduceMotion = false;
    double clock = 1000;
    std::optional<QPointF> pointer;
    std::function<void(QAccessibleEvent*)> accessibilityEvent;
    DockFullScreenState* fullScreenState = nullptr;
    bool menuOpen = false;
    DockViewActions actions;
    std::unique_ptr<DockView> view;
    DockView* windowView = nullptr;

private:
    DockModel::Providers providers()
    {
        DockModel::Providers result;
        result.badgeLabelProvider = [this](const QString& identity) {
            return badges ? badges(identity) : std::nullopt;
        };
        return result;
    }
};

} // namespace wharf::test
