#pragma once

#include "platform/callback_list.h"
#include "stacks/stack_contents.h"
#include "stacks/stack_entry.h"
#include "stacks/stack_settings.h"

#include <QImage>
#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QRectF>
#include <QSet>
#include <QString>
#include <QUrl>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

class QMenu;
class QScrollArea;
class QTimer;
class QWidget;

namespace wharf {

class FolderAccessStore;
class FolderWatch;
class FolderWatcher;
class StackBubbleView;
class StackGridView;
class StackItemView;
class StackPanel;
class StackPreferences;
class StackPreviewWindow;
class StackThumbnailCache;
class Workspace;

// One open stack: the pop-up over a folder's dock tile with the folder's contents as a fan,
// a grid or a list menu. It reads folders in the background, walks into sub-folders and back,
// follows the keyboard, previews entries, refreshes when the folder changes, and closes by a
// fixed set of rules (Escape, a click elsewhere, opening something, the dock rebuilding).
class StackController : public QObject {
public:
    struct Services {
        Workspace* workspace = nullptr;           // required: icons, names, opening
        StackPreferences* preferences = nullptr;  // required
        FolderAccessStore* access = nullptr;      // required
        FolderWatcher* watcher = nullptr;         // null: no live refresh
        StackThumbnailCache* thumbnails = nullptr; // null: icons only
        int refreshDelayMs = 200;                 // bursts of changes refresh once
        // Told each fresh listing of the root folder (the tile's pile artwork follows it).
        std::function<void(const QString& folder, const std::vector<StackEntry>&, const StackSettings&)> onListing;
    };

    StackController(const QString& folder, Services services, QObject* parent = nullptr);
    ~StackController() override;

    // Without a compositing manager: what lies below an area of the screen, for the panel to be
    // drawn on (see StackPanel::below); unset or answering nothing while one runs. Before open().
    void setBelow(std::function<std::optional<QImage>(const QRect& area)> below);
    // The opening sequence: shown over `anchor` (the dock icon's frame, global coordinates).
    void open(const QRectF& anchor);
    void showMessage(const QString& text, bool permissionError, bool loading);
    void loadFolder(bool showLoading);
    void close();
    bool isVisible() const;

    void select(int index);
    void openEntry(int index);
    void goBack();
    bool handleKey(int key, Qt::KeyboardModifiers modifiers);
    void quickLook();

    // What the stack shows, for scripts and tests: mode, frame, visible entries, selection.
    QJsonObject snapshot() const;

    const QString rootURL;
    std::function<void()> onClose;

    const std::vector<StackEntry>& currentEntries() const { return entries; }
    std::optional<int> selection() const { return selected; }
    bool isDismissed() const { return dismissed; }

private:
    void applyListing(Result<std::vector<StackEntry>, StackLoadError> result,
                      const QString& path, const QUrl& selectedURL, int scrollY);
    void showLoadError(const StackLoadError& error, const QString& path);
    void render();
    void showGrid();
    void showFan();
    void showList();
    void populate(QMenu* menu, const std::vector<StackEntry>& items, const QString& menuFolder);
    void fillSubmenu(QMenu* menu);
    StackBubbleView* bubble(QSize size);
    void present(QWidget* content, QSizeF size, double iconOffset = -1);
    void dropViews();
    void watchDirectory(const QString& path);
    void stopWatching();
    void dragStarted();
    void dragEnded(Qt::DropAction action);
    void openPath(const QString& path, bool launch);
    void reveal(const QString& path);
    void scrollGridTo(int index);
    QIcon iconFor(const StackEntry& entry) const;
    void requestThumbnail(StackItemView& view) const;
    QRectF visibleFrame() const;
    double availableHeight() const;
    std::vector<StackEntry> withDesktopEntryNames(std::vector<StackEntry> items) const;

    Services services;
    QString folder;
    std::vector<QString> history;
    std::vector<StackEntry> entries;
    StackSettings settings;
    StackViewMode mode = StackViewMode::grid;
    std::optional<int> selected;
    bool draggingFile = false;
    QPointer<StackGridView> grid;
    QPointer<QScrollArea> gridScroll;
    std::vector<QPointer<StackItemView>> fanCards;
    QString fanButtonTitle;
    QString message;
    CallbackList<QString>::Subscription preferenceObserver;
    QRectF anchor;
    int generation = 0;
    bool dismissed = true;
    bool isMenuTracking = false;
    std::unique_ptr<QMenu> trackingMenu;
    std::map<QMenu*, QString> menuFolders;
    QSet<QMenu*> loadedMenus;
    QSet<QMenu*> activeSubmenus;
    std::unique_ptr<FolderWatch> directorySource;
    QTimer* refreshWork = nullptr;
    bool showingEntries = false;
    bool rememberedAccess = false;
    int loads = 0;
    std::unique_ptr<StackPanel> panel;
    std::unique_ptr<StackPreviewWindow> preview;
};

} // namespace wharf
