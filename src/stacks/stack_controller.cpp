#include "stacks/stack_controller.h"

#include "platform/folder_watcher.h"
#include "platform/workspace.h"
#include "settings/action_menu_item.h"
#include "stacks/folder_access_store.h"
#include "stacks/stack_bubble_view.h"
#include "stacks/stack_grid_view.h"
#include "stacks/stack_item_view.h"
#include "stacks/stack_layout.h"
#include "stacks/stack_panel.h"
#include "stacks/stack_preferences.h"
#include "stacks/stack_preview_window.h"
#include "stacks/stack_thumbnail_cache.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QJsonArray>
#include <QKeyEvent>
#include <QLabel>
#include <QLoggingCategory>
#include <QMenu>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QThreadPool>
#include <QTimer>

#include <cerrno>

Q_LOGGING_CATEGORY(lcStacks, "wharf.Stacks", QtInfoMsg)

namespace wharf {

namespace {

constexpr int listMenuLimit = 200;
// The grid's scroller: a thin bar in the bubble's right margin, beside the cells rather than over
// them, so the cells keep their full width and never slide sideways.
constexpr int scrollerWidth = 8;

QString lastComponent(const QString& path)
{
    const QString name = QFileInfo(path).fileName();
    return name.isEmpty() ? path : name;
}

QPushButton* button(const QString& title, QWidget* parent, int pixelSize, const QString& extraStyle = {})
{
    auto* b = new QPushButton(title, parent);
    b->setFlat(true);
    b->setFocusPolicy(Qt::NoFocus);
    b->setCursor(Qt::PointingHandCursor);
    b->setStyleSheet(QStringLiteral("QPushButton { color: white; border: none; background: transparent; "
                                    "font-size: %1px; %2 }")
                         .arg(pixelSize)
                         .arg(extraStyle));
    return b;
}

QJsonArray rectJson(const QRect& rect)
{
    return QJsonArray{rect.x(), rect.y(), rect.width(), rect.height()};
}

} // namespace

StackController::StackController(const QString& url, Services services, QObject* parent)
    : QObject(parent),
      rootURL(QDir::cleanPath(url)),
      services(std::move(services)),
      folder(rootURL),
      panel(std::make_unique<StackPanel>()),
      preview(std::make_unique<StackPreviewWindow>())
{
    refreshWork = new QTimer(this);
    refreshWork->setSingleShot(true);
    refreshWork->setInterval(this->services.refreshDelayMs);
    connect(refreshWork, &QTimer::timeout, this, [this] { loadFolder(false); });
    panel->setWindowTitle(lastComponent(rootURL));
    panel->onKey = [this](QKeyEvent* event) { return handleKey(event->key(), event->modifiers()); };
    panel->onDismiss = [this] {
        if (!draggingFile)
            close();
    };
    preview->onHide = [this] {
        preview->hide();
        if (!dismissed && panel->isVisible())
            panel->activateWindow();
    };
    preview->onKey = [this](QKeyEvent* event) { return handleKey(event->key(), event->modifiers()); };
}

StackController::~StackController()
{
    onClose = nullptr;
    close();
    preview->onHide = nullptr;
    preview->onKey = nullptr;
    panel->onKey = nullptr;
}

void StackController::setBelow(std::function<std::optional<QImage>(const QRect& area)> below)
{
    panel->below = std::move(below);
}

void StackController::open(const QRectF& tile)
{
    anchor = tile;
    dismissed = false;
    preferenceObserver = services.preferences->preferencesChanged.add([this](const QString& changed) {
        if (dismissed || QDir::cleanPath(changed) != rootURL)
            return;
        if (trackingMenu)
            trackingMenu->close();
        loadFolder(false);
    });
    showMessage(QStringLiteral("Loading…"), false, true);
    loadFolder(false);
}

bool StackController::isVisible() const
{
    return !dismissed && (panel->isVisible() || isMenuTracking);
}

void StackController::dropViews()
{
    grid = nullptr;
    gridScroll = nullptr;
    fanCards.clear();
    fanButtonTitle.clear();
}

void StackController::showMessage(const QString& text, bool permissionError, bool loading)
{
    showingEntries = false;
    dropViews();
    message = text;
    const QSize size(360, permissionError ? 215 : 185);
    StackBubbleView* view = bubble(size);
    auto* label = new QLabel(text, view);
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
    label->setStyleSheet(QStringLiteral("color: rgba(255,255,255,217); font-size: 13px;"));
    label->setGeometry(25, size.height() - (permissionError ? 103 : 81) - 43, 310, 43);
    if (loading)
        label->setText(text); // the label itself is the indicator; listings come back quickly
    present(view, size);
}

void StackController::loadFolder(bool showLoading)
{
    if (draggingFile)
        return;
    const int token = ++generation;
    settings = services.preferences->settings(rootURL);
    if (showLoading)
        showMessage(QStringLiteral("Loading…"), false, true);

    auto readable = services.access->access(folder);
    if (!readable.ok()) {
        showLoadError(StackLoadError{ENOENT, readable.error().message}, folder);
        return;
    }
    const QUrl selectedURL = selected && *selected < int(entries.size()) ? entries[std::size_t(*selected)].url : QUrl();
    const int scrollY = !showLoading && gridScroll ? gridScroll->verticalScrollBar()->value() : 0;

    const QPointer<StackController> self(this);
    QThreadPool::globalInstance()->start([self, token, path = readable.value(), sortBy = settings, selectedURL, scrollY] {
        auto result = StackContents::load(path, sortBy);
        QMetaObject::invokeMethod(
            qApp,
            [self, token, path, result = std::move(result), selectedURL, scrollY]() mutable {
                // Stale listings (a newer load, a drag, a close) are thrown away.
                if (!self || self->dismissed || self->generation != token)
                    return;
                self->applyListing(std::move(result), path, selectedURL, scrollY);
            },
            Qt::QueuedConnection);
    });
}

std::vector<StackEntry> StackController::withDesktopEntryNames(std::vector<StackEntry> items) const
{
    bool renamed = false;
    for (StackEntry& entry : items) {
        if (!entry.isDesktopEntry())
            continue;
        const QString name = services.workspace->displayName(entry.path());
        if (!name.isEmpty() && name != entry.title) {
            entry.title = name;
            renamed = true;
        }
    }
    return renamed ? StackContents::sorted(std::move(items), settings.sortOrder) : items;
}

void StackController::applyListing(Result<std::vector<StackEntry>, StackLoadError> result,
                                   const QString& path, const QUrl& selectedURL, int scrollY)
{
    if (!result.ok()) {
        showLoadError(result.error(), path);
        return;
    }
    entries = withDesktopEntryNames(std::move(result.value()));
    selected.reset();
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (entries[i].url == selectedURL)
            selected = int(i);
    }
    if (history.empty()) {
        if (!rememberedAccess) {
            if (services.access->remember(path).ok())
                rememberedAccess = true;
            else
                qCInfo(lcStacks, "Folder is readable; bookmark could not be saved");
        }
        if (services.onListing)
            services.onListing(rootURL, entries, settings);
        mode = StackContents::resolvedViewMode(settings.viewMode, long(entries.size()), availableHeight());
    } else {
        mode = StackViewMode::grid;
    }
    ++loads;
    qCInfo(lcStacks, "Stack opened mode=%s count=%ld", qUtf8Printable(rawValue(mode)), long(entries.size()));
    render();
    if (gridScroll && scrollY > 0) {
        QScrollBar* bar = gridScroll->verticalScrollBar();
        bar->setValue(std::min(scrollY, bar->maximum()));
    }
    watchDirectory(path);
}

void StackController::showLoadError(const StackLoadError& error, const QString& path)
{
    qCWarning(lcStacks, "Stack load failed domain=%s code=%ld", "posix", long(error.code));
    if (error.isPermissionError())
        showMessage(QStringLiteral("Allow Wharf to show this folder’s contents."), false, false);
    else
        showMessage(QStringLiteral("This folder could not be opened."), false, false);
    // A folder that is missing or unreadable now may be back a moment later (a drive mounted, a
    // folder restored from the Trash): the stack shows it as soon as it is.
    watchDirectory(path);
}

void StackController::render()
{
    showingEntries = true;
    message.clear();
    dropViews();
    if (entries.empty()) {
        showMessage(QStringLiteral("This folder is empty."), false, false);
        return;
    }
    switch (mode) {
    case StackViewMode::fan: showFan(); break;
    case StackViewMode::list: showList(); break;
    case StackViewMode::grid:
    case StackViewMode::automatic: showGrid(); break;
    }
}

StackBubbleView* StackController::bubble(QSize size)
{
    auto* view = new StackBubbleView(size);
    auto* title = new QLabel(view);
    title->setAlignment(Qt::AlignCenter);
    title->setStyleSheet(QStringLiteral("color: white; font-size: 15px; font-weight: 600;"));
    title->setGeometry(46, 12, size.width() - 92, 22);
    title->setText(title->fontMetrics().elidedText(lastComponent(folder), Qt::ElideMiddle, size.width() - 92));
    if (!history.empty()) {
        QPushButton* back = button(QStringLiteral("‹"), view, 28, QStringLiteral("font-weight: 300;"));
        back->setAccessibleName(QStringLiteral("Back"));
        back->setGeometry(12, 8, 32, 30);
        connect(back, &QPushButton::clicked, this, [this] { goBack(); });
    }
    QPushButton* open = button(QStringLiteral("Open in Files"), view, 12);
    open->setAccessibleName(QStringLiteral("Open ") + lastComponent(folder) + QStringLiteral(" in Files"));
    open->setGeometry(24, size.height() - 47, size.width() - 48, 26);
    connect(open, &QPushButton::clicked, this, [this] {
        openPath(folder, false);
        close();
    });
    return view;
}

void StackController::showGrid()
{
    const QRectF visible = visibleFrame();
    const int count = int(entries.size());
    const int columns = StackLayout::gridColumns(count, visible);
    const QSizeF size = StackLayout::gridSize(count, columns, availableHeight());
    StackBubbleView* view = bubble(size.toSize());

    auto* scroll = new QScrollArea(view);
    scroll->setGeometry(18, 49, int(size.width()) - 36 + scrollerWidth, int(size.height()) - 101);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setFocusPolicy(Qt::NoFocus);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    scroll->setStyleSheet(
        QStringLiteral("QScrollArea, #qt_scrollarea_viewport, #qt_scrollarea_viewport > QWidget "
                       "{ background: transparent; }"
                       "QScrollBar:vertical { background: transparent; width: %1px; margin: 0; }"
                       "QScrollBar::handle:vertical { background: rgba(255,255,255,90); border-radius: %2px; "
                       "min-height: 24px; }"
                       "QScrollBar::add-line:vertical, QScrollBar::sub-line:vertical { height: 0; border: none; }"
                       "QScrollBar::add-page:vertical, QScrollBar::sub-page:vertical { background: transparent; }")
            .arg(scrollerWidth)
            .arg(scrollerWidth / 2));
    auto* cells = new StackGridView(entries, columns, [this](const StackEntry& e) { return iconFor(e); });
    cells->setSelection(selected);
    cells->onCellCreated = [this](StackItemView& cell) { requestThumbnail(cell); };
    cells->onSelect = [this](int i) { select(i); };
    cells->onOpen = [this](int i) { openEntry(i); };
    cells->onReveal = [this](int i) { reveal(entries[std::size_t(i)].path()); };
    cells->onPreview = [this] { quickLook(); };
    cells->onDragStarted = [this] { dragStarted(); };
    cells->onDragEnded = [this](Qt::DropAction action) { dragEnded(action); };
    scroll->setWidget(cells);
    const QPointer<StackGridView> weakGrid(cells);
    const QPointer<QScrollArea> weakScroll(scroll);
    const auto realize = [weakGrid, weakScroll](int top) {
        if (weakGrid && weakScroll)
            weakGrid->realize(top, top + weakScroll->viewport()->height());
    };
    connect(scroll->verticalScrollBar(), &QScrollBar::valueChanged, cells, realize);
    grid = cells;
    gridScroll = scroll;
    present(view, size);
    realize(scroll->verticalScrollBar()->value());
}

void StackController::showFan()
{
    const QRectF visible = visibleFrame();
    const int count = int(entries.size());
    const int shown = StackLayout::fanCardCount(count, availableHeight());
    const bool labelOnLeft = visible.center().x() - 80 < anchor.center().x();
    const QSize size(370, int(shown * StackLayout::fanCardPitch + 61));

    auto* container = new QWidget;
    container->setAttribute(Qt::WA_TranslucentBackground);
    container->resize(size);
    for (int i = 0; i < shown; ++i) {
        auto* card = new StackItemView(entries[std::size_t(i)], iconFor(entries[std::size_t(i)]), true, labelOnLeft,
                                       container);
        const double x = labelOnLeft ? i * i * 0.7 : 42 - i * i * 0.7;
        const double y = size.height() - (i * StackLayout::fanCardPitch + 4) - 70;
        card->setGeometry(int(x), int(y), 322, 70);
        card->setRotation(labelOnLeft ? i * 0.01 : -i * 0.01);
        card->setSelected(selected == i);
        card->onSelect = [this, i] { select(i); };
        card->onOpen = [this, i] { openEntry(i); };
        card->onReveal = [this, i] { reveal(entries[std::size_t(i)].path()); };
        card->onPreview = [this] { quickLook(); };
        card->onDragStarted = [this] { dragStarted(); };
        card->onDragEnded = [this](Qt::DropAction action) { dragEnded(action); };
        fanCards.emplace_back(card);
        requestThumbnail(*card);
    }
    fanButtonTitle = shown == count ? QStringLiteral("↗  Open in Files")
                                    : QStringLiteral("↗  %1 More in Files").arg(count - shown);
    QPushButton* more = button(fanButtonTitle, container, 12,
                               QStringLiteral("font-weight: 500; background: rgba(26,26,26,222); border-radius: 14px;"));
    more->setGeometry(labelOnLeft ? 75 : 80, 20, 220, 28);
    connect(more, &QPushButton::clicked, this, [this] {
        openPath(folder, false);
        close();
    });
    present(container, size, labelOnLeft ? 290 : 80);
}

void StackController::showList()
{
    auto menu = std::make_unique<QMenu>();
    menu->setTitle(lastComponent(folder));
    populate(menu.get(), entries, folder);
    menuFolders[menu.get()] = folder;
    loadedMenus.insert(menu.get());
    if (trackingMenu) {
        trackingMenu->hide();
        trackingMenu.release()->deleteLater();
    }
    trackingMenu = std::move(menu);
    isMenuTracking = true;
    panel->hide();
    const int token = generation;
    QTimer::singleShot(0, this, [this, token] {
        if (dismissed || generation != token || !trackingMenu)
            return;
        QMenu* menu = trackingMenu.get();
        connect(menu, &QMenu::aboutToHide, this, [this, token] {
            isMenuTracking = false;
            // After the chosen item (if any) has run.
            QTimer::singleShot(0, this, [this, token] {
                if (generation == token)
                    close();
            });
        });
        const QSize hint = menu->sizeHint();
        menu->popup(QPoint(int(anchor.center().x() - 100), int(anchor.top() - 8 - hint.height())));
    });
}

void StackController::populate(QMenu* menu, const std::vector<StackEntry>& items, const QString& menuFolder)
{
    menu->clear();
    const std::size_t shown = std::min<std::size_t>(items.size(), listMenuLimit);
    for (std::size_t i = 0; i < shown; ++i) {
        const StackEntry& entry = items[i];
        QAction* action = menu->addAction(iconFor(entry), menuText(entry.title));
        const QString path = entry.path();
        const bool launch = entry.isDesktopEntry();
        connect(action, &QAction::triggered, this, [this, path, launch] {
            openPath(path, launch);
            close();
        });
        if (entry.isDirectory && !entry.isPackage) {
            auto* submenu = new QMenu(menuText(entry.title), menu);
            submenu->addAction(QStringLiteral("Loading…"))->setEnabled(false);
            action->setMenu(submenu);
            menuFolders[submenu] = path;
            activeSubmenus.insert(submenu);
            connect(submenu, &QMenu::aboutToShow, this, [this, submenu] { fillSubmenu(submenu); });
            connect(submenu, &QObject::destroyed, this, [this, submenu] {
                activeSubmenus.remove(submenu);
                loadedMenus.remove(submenu);
                menuFolders.erase(submenu);
            });
        }
    }
    if (items.empty())
        menu->addAction(QStringLiteral("Empty Folder"))->setEnabled(false);
    menu->addSeparator();
    const QString last = items.size() <= listMenuLimit
        ? QStringLiteral("Open in Files")
        : QStringLiteral("Show All %1 Items in Files").arg(items.size());
    connect(menu->addAction(last), &QAction::triggered, this, [this, menuFolder] {
        openPath(menuFolder, false);
        close();
    });
}

void StackController::fillSubmenu(QMenu* menu)
{
    if (loadedMenus.contains(menu) || !menuFolders.count(menu))
        return;
    loadedMenus.insert(menu);
    const QString path = menuFolders[menu];
    auto readable = services.access->access(path);
    const QPointer<StackController> self(this);
    const QPointer<QMenu> target(menu);
    const auto failed = [this, target, path] {
        target->clear();
        connect(target->addAction(QStringLiteral("Open in Files…")), &QAction::triggered, this, [this, path] {
            openPath(path, false);
            close();
        });
    };
    if (!readable.ok()) {
        failed();
        return;
    }
    QThreadPool::globalInstance()->start([self, target, folder = readable.value(), sortBy = settings, path, failed] {
        auto result = StackContents::load(folder, sortBy);
        QMetaObject::invokeMethod(
            qApp,
            [self, target, result = std::move(result), path, failed]() mutable {
                if (!self || !target || self->dismissed || !self->activeSubmenus.contains(target.data()))
                    return;
                if (result.ok())
                    self->populate(target, self->withDesktopEntryNames(std::move(result.value())), path);
                else
                    failed();
            },
            Qt::QueuedConnection);
    });
}

void StackController::present(QWidget* content, QSizeF size, double iconOffset)
{
    if (dismissed) {
        content->deleteLater();
        return;
    }
    const QRectF frame = StackLayout::panelFrame(anchor, visibleFrame(), size, iconOffset);
    if (auto* view = dynamic_cast<StackBubbleView*>(content))
        view->setArrowX(anchor.center().x() - frame.x());
    panel->present(content, frame.toRect());
    panel->setFocus();
}

void StackController::select(int index)
{
    if (index < 0 || index >= int(entries.size()))
        return;
    selected = index;
    if (grid)
        grid->setSelection(selected);
    for (std::size_t i = 0; i < fanCards.size(); ++i) {
        if (fanCards[i])
            fanCards[i]->setSelected(int(i) == index);
    }
    if (preview->isVisible())
        preview->showEntry(entries[std::size_t(index)], iconFor(entries[std::size_t(index)]), panel->geometry());
}

void StackController::openEntry(int index)
{
    if (index < 0 || index >= int(entries.size()))
        return;
    const StackEntry entry = entries[std::size_t(index)];
    if (entry.isDirectory && !entry.isPackage) {
        history.push_back(folder);
        folder = entry.path();
        selected.reset();
        stopWatching();
        loadFolder(true);
        return;
    }
    openPath(entry.path(), entry.isDesktopEntry());
    close();
}

void StackController::goBack()
{
    if (history.empty())
        return;
    folder = history.back();
    history.pop_back();
    selected.reset();
    stopWatching();
    loadFolder(true);
}

bool StackController::handleKey(int key, Qt::KeyboardModifiers modifiers)
{
    if (key == Qt::Key_Escape) {
        close();
        return true;
    }
    if (!showingEntries)
        return false;
    switch (key) {
    case Qt::Key_Space:
        quickLook();
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (selected)
            openEntry(*selected);
        return true;
    case Qt::Key_Backspace:
        goBack();
        return true;
    case Qt::Key_BracketLeft:
        if (!(modifiers & Qt::ControlModifier))
            return false;
        goBack();
        return true;
    case Qt::Key_Left:
    case Qt::Key_Right:
    case Qt::Key_Up:
    case Qt::Key_Down:
        break;
    default:
        return false;
    }
    if (entries.empty())
        return true;
    if (!selected) {
        select(0);
        scrollGridTo(0);
        return true;
    }
    const bool fan = mode == StackViewMode::fan;
    const int columns = grid ? grid->columns() : 1;
    int next = *selected;
    if (key == Qt::Key_Left)
        next -= 1;
    else if (key == Qt::Key_Right)
        next += 1;
    else if (key == Qt::Key_Down)
        next += fan ? -1 : columns; // the fan grows upward from the dock
    else
        next += fan ? 1 : -columns;
    const int last = fan ? int(fanCards.size()) - 1 : int(entries.size()) - 1;
    next = std::clamp(next, 0, std::max(last, 0));
    select(next);
    scrollGridTo(next);
    return true;
}

void StackController::scrollGridTo(int index)
{
    if (!grid || !gridScroll)
        return;
    const int columns = grid->columns();
    const int x = int((index % columns) * StackLayout::cellWidth);
    const int y = int((index / columns) * StackLayout::cellHeight);
    gridScroll->ensureVisible(x + int(StackLayout::cellWidth) / 2, y + int(StackLayout::cellHeight) / 2,
                              int(StackLayout::cellWidth) / 2, int(StackLayout::cellHeight) / 2);
    const int top = gridScroll->verticalScrollBar()->value();
    grid->realize(top, top + gridScroll->viewport()->height());
}

void StackController::quickLook()
{
    if (entries.empty())
        return;
    if (!selected)
        select(0);
    if (preview->isVisible()) {
        preview->hide();
        panel->activateWindow();
        return;
    }
    const StackEntry& entry = entries[std::size_t(*selected)];
    preview->showEntry(entry, iconFor(entry), panel->isVisible() ? panel->geometry() : anchor.toRect());
}

void StackController::dragStarted()
{
    draggingFile = true;
    ++generation;
    refreshWork->stop();
}

void StackController::dragEnded(Qt::DropAction action)
{
    draggingFile = false;
    if (action == Qt::IgnoreAction) {
        panel->raise();
        panel->activateWindow();
        loadFolder(false);
    } else {
        close();
    }
}

void StackController::watchDirectory(const QString& path)
{
    stopWatching();
    if (!services.watcher)
        return;
    directorySource = services.watcher->watch(path, [this] {
        if (dismissed || isMenuTracking || draggingFile)
            return;
        refreshWork->start(); // restarted by every event of a burst
    });
}

void StackController::stopWatching()
{
    if (refreshWork)
        refreshWork->stop();
    directorySource.reset();
}

void StackController::openPath(const QString& path, bool launch)
{
    const Status opened = launch ? services.workspace->launchApplication(path, {}) : services.workspace->openLocation(path);
    if (!opened)
        qCWarning(lcStacks, "Could not open %s: %s", qUtf8Printable(path), qUtf8Printable(opened.error().message));
}

void StackController::reveal(const QString& path)
{
    openPath(QFileInfo(path).absolutePath(), false);
    close();
}

QIcon StackController::iconFor(const StackEntry& entry) const
{
    QIcon icon = services.workspace->iconForFile(entry.path());
    if (icon.isNull())
        icon = QIcon::fromTheme(entry.isDirectory ? QStringLiteral("folder") : QStringLiteral("text-x-generic"));
    return icon;
}

void StackController::requestThumbnail(StackItemView& view) const
{
    if (!services.thumbnails)
        return;
    const QPointer<StackItemView> weak(&view);
    StackPanel* shown = panel.get(); // the card's window: alive while the card is
    services.thumbnails->image(view.entry(), [weak, shown](const Thumbnail& thumbnail) {
        if (!weak)
            return;
        weak->setPreview(thumbnail.image, thumbnail.source);
        shown->reshapeLater(); // a picture can reach past the icon it replaces
    });
}

QRectF StackController::visibleFrame() const
{
    std::vector<QRectF> frames;
    std::vector<QRectF> visible;
    std::vector<QScreen*> screens;
    if (QScreen* primary = QGuiApplication::primaryScreen())
        screens.push_back(primary);
    for (QScreen* screen : QGuiApplication::screens()) {
        if (screen != QGuiApplication::primaryScreen())
            screens.push_back(screen);
    }
    for (QScreen* screen : screens) {
        frames.push_back(screen->geometry());
        visible.push_back(screen->availableGeometry());
    }
    return StackLayout::visibleFrame(anchor, frames, visible);
}

double StackController::availableHeight() const
{
    return StackLayout::availableHeight(anchor, visibleFrame());
}

void StackController::close()
{
    if (dismissed) {
        panel->hide();
        return;
    }
    dismissed = true;
    ++generation;
    stopWatching();
    preferenceObserver.reset();
    if (trackingMenu) {
        trackingMenu->hide();
        trackingMenu.release()->deleteLater();
    }
    isMenuTracking = false;
    preview->hide();
    dropViews();
    activeSubmenus.clear();
    menuFolders.clear();
    loadedMenus.clear();
    panel->onDismiss = nullptr;
    panel->hide();
    if (onClose)
        onClose();
}

QJsonObject StackController::snapshot() const
{
    QJsonObject out;
    out.insert(QStringLiteral("root"), rootURL);
    out.insert(QStringLiteral("folder"), folder);
    out.insert(QStringLiteral("open"), isVisible());
    out.insert(QStringLiteral("mode"), rawValue(mode));
    out.insert(QStringLiteral("count"), int(entries.size()));
    out.insert(QStringLiteral("loads"), loads);
    out.insert(QStringLiteral("back"), !history.empty());
    out.insert(QStringLiteral("message"), showingEntries ? QJsonValue() : QJsonValue(message));
    out.insert(QStringLiteral("selected"), selected ? QJsonValue(*selected) : QJsonValue());
    QJsonArray shown;
    QJsonArray thumbnails;
    QRect frame = panel->isVisible() ? panel->geometry() : QRect();
    if (showingEntries && mode == StackViewMode::fan) {
        for (const auto& card : fanCards) {
            if (card) {
                shown.append(card->entry().title);
                thumbnails.append(card->previewSource());
            }
        }
        out.insert(QStringLiteral("button"), fanButtonTitle);
    } else if (showingEntries && mode == StackViewMode::list && trackingMenu) {
        for (const QAction* action : trackingMenu->actions()) {
            if (!action->isSeparator())
                shown.append(shownMenuText(action->text()));
        }
        if (trackingMenu->isVisible())
            frame = trackingMenu->geometry();
    } else if (grid) {
        for (const auto& [index, cell] : grid->cards()) {
            shown.append(cell->entry().title);
            thumbnails.append(cell->previewSource());
        }
        out.insert(QStringLiteral("columns"), grid->columns());
    }
    out.insert(QStringLiteral("entries"), shown);
    out.insert(QStringLiteral("thumbnails"), thumbnails);
    out.insert(QStringLiteral("frame"), rectJson(frame));
    if (preview->isVisible()) {
        out.insert(QStringLiteral("preview"), QJsonObject{{QStringLiteral("title"), preview->entry().title},
                                                          {QStringLiteral("kind"), preview->kind()},
                                                          {QStringLiteral("frame"), rectJson(preview->geometry())}});
    } else {
        out.insert(QStringLiteral("preview"), QJsonValue());
    }
    return out;
}

} // namespace wharf
