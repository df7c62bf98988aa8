// What the mouse does on the dock beyond what the end-to-end pointer test drives: the 5-point
// click limit, Ctrl- and secondary clicks, how far a pin must be dragged out, and odd drops.
#include "dock_view_test_support.h"

#include <QApplication>
#include <QDrag>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QMenu>
#include <QMimeData>
#include <QMouseEvent>

namespace wharf::test {
namespace {

using Kind = DockItem::Kind;

TEST(DockInteractionSlots, FollowPointerAlongTheApplications)
{
    // Five resting slots 100 wide: centres at 50, 150, 250, 350, 450; the last application is slot 3.
    std::vector<QRectF> slots;
    for (int i = 0; i < 5; ++i)
        slots.push_back(QRectF(i * 100, 0, 100, 100));
    struct Row {
        const char* name;
        int from;
        double x;
        int slot;
    };
    const Row rows[] = {
        {"inside the hysteresis stays", 1, 252, 1},
        {"past the next centre moves one", 1, 254, 2},
        {"far right stops at the last application", 1, 900, 3},
        {"far left stops at 1, after the file manager", 3, -500, 1},
        {"left past a centre moves back", 3, 246, 2},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(DockInteraction::followPointer(row.from, row.x, slots, 3), row.slot);
    }
}

struct Recorded {
    QStringList activated;
    QStringList opened; // openItem
    QStringList menus;
    QList<std::pair<QString, int>> moves;
    QStringList removed;
    QList<std::pair<QString, std::optional<int>>> pins;
    QList<std::tuple<QList<QUrl>, QString, bool>> opens;
};

class DockViewInteraction : public ::testing::Test {
protected:
    void SetUp() override
    {
        apps = {h.app(QStringLiteral("a")), h.app(QStringLiteral("b")), h.app(QStringLiteral("c"))};
        folder = h.folder(QStringLiteral("docs"));
        std::vector<std::pair<QString, Kind>> pins;
        for (const QString& app : apps)
            pins.push_back({app, Kind::application});
        pins.push_back({folder, Kind::folder});
        h.pin(pins);
        DockViewActions& a = h.actions;
        a.activate = [this](const QString& id, std::uint32_t) { seen.activated << id; };
        a.openItem = [this](const QString& id, std::uint32_t) { seen.opened << id; };
        a.fillMenu = [this](const QString& id, QMenu& menu) {
            seen.menus << id;
            menu.addAction(QStringLiteral("Entry"));
        };
        a.move = [this](const QString& id, int index) { seen.moves.push_back({id, index}); };
        a.remove = [this](const QString& id) { seen.removed << id; };
        a.pin = [this](const QString& path, std::optional<int> index) { seen.pins.push_back({path, index}); };
        a.open = [this](const QList<QUrl>& urls, const QString& id, bool copy) { seen.opens.push_back({urls, id, copy}); };
        h.makeView().start();
        h.settle();
        frames = h.view->tileFrames();
    }

    QString id(int index) const { return h.view->entries()[size_t(index)].identifier(); }

    void mouse(QEvent::Type type, const QPointF& at, Qt::MouseButton button = Qt::LeftButton,
               Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        const Qt::MouseButtons held = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::MouseButtons(button);
        QMouseEvent event(type, at, h.view->mapToGlobal(at), type == QEvent::MouseMove ? Qt::NoButton : button, held,
                          modifiers);
        QApplication::sendEvent(h.view.get(), &event);
    }

    void click(const QPointF& at, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        mouse(QEvent::MouseButtonPress, at, Qt::LeftButton, modifiers);
        mouse(QEvent::MouseButtonRelease, at, Qt::LeftButton, modifiers);
    }

    // Qt passes drag events on only during a drag of its own; the view's handler is called directly.
    void deliver(QEvent& event) { static_cast<QObject*>(h.view.get())->event(&event); }

    // A drag over the view; the answer is the drop action the view proposes, or IgnoreAction.
    Qt::DropAction dragOver(const QPointF& at, const QMimeData& data, Qt::DropActions allowed = Qt::CopyAction | Qt::MoveAction)
    {
        QDragMoveEvent event(at.toPoint(), allowed, &data, Qt::LeftButton, Qt::NoModifier);
        deliver(event);
        return event.isAccepted() ? event.dropAction() : Qt::IgnoreAction;
    }

    bool drop(const QPointF& at, const QMimeData& data, Qt::DropActions allowed = Qt::CopyAction | Qt::MoveAction)
    {
        QDropEvent event(at, allowed, &data, Qt::LeftButton, Qt::NoModifier);
        deliver(event);
        return event.isAccepted();
    }

    DockViewHarness h;
    QStringList apps;
    QString folder;
    std::vector<QRectF> frames;
    Recorded seen;
};

TEST_F(DockViewInteraction, ClicksActivateWithinFivePointsAndBelowApplicationsOnly)
{
    const double bottom = DockViewHarness::viewHeight - 1;
    int drags = 0;
    h.view->runDrag = [&](QDrag&) {
        ++drags;
        return Qt::MoveAction;
    };
    struct Row {
        const char* name;
        QPointF press;
        QPointF release;
        QStringList activated;
        int drags;
    };
    const QPointF app = frames[1].center();
    const Row rows[] = {
        {"a click on the icon", app, app, {id(1)}, 0},
        {"moved 5 points is still a click", app, app + QPointF(3, 4), {id(1)}, 0},
        {"moved 5.1 points is a drag", app, app + QPointF(5.1, 0), {}, 1},
        {"below an application down to the edge", QPointF(app.x(), bottom), QPointF(app.x(), bottom), {id(1)}, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        seen = {};
        drags = 0;
        mouse(QEvent::MouseButtonPress, row.press);
        // Moves within the threshold first, as a real pointer would.
        mouse(QEvent::MouseMove, row.release);
        mouse(QEvent::MouseButtonRelease, row.release);
        EXPECT_EQ(seen.activated, row.activated);
        EXPECT_EQ(drags, row.drags);
    }
}

TEST_F(DockViewInteraction, CtrlClickOpensAFolderAndSecondaryClicksOpenTheMenu)
{
    const int folderIndex = h.indexOf(folder);
    click(frames[size_t(folderIndex)].center(), Qt::ControlModifier);
    EXPECT_EQ(seen.opened, QStringList{id(folderIndex)});
    EXPECT_TRUE(seen.activated.isEmpty());

    mouse(QEvent::MouseButtonPress, frames[0].center(), Qt::RightButton);
    mouse(QEvent::MouseButtonPress, frames[2].center(), Qt::LeftButton, Qt::MetaModifier);
    EXPECT_EQ(seen.menus, (QStringList{id(0), id(2)}));
    EXPECT_TRUE(seen.activated.isEmpty());
    EXPECT_TRUE(h.view->isMenuTracking());
    for (QMenu* menu : h.view->findChildren<QMenu*>())
        menu->hide();
    EXPECT_FALSE(h.view->isMenuTracking());
}

TEST_F(DockViewInteraction, APinDraggedOutAboveTheRowIsRemovedOnlyFarEnoughAndWhenNothingTookIt)
{
    const int folderIndex = h.indexOf(folder);
    const double iconsTop = frames[size_t(folderIndex)].top();
    struct Row {
        const char* name;
        double endY; // view coordinates
        Qt::DropAction result;
        bool removed;
    };
    const Row rows[] = {
        {"80 points above the icons", iconsTop - 80, Qt::IgnoreAction, true},
        {"70 points above the icons", iconsTop - 70, Qt::IgnoreAction, false},
        {"taken by another program", iconsTop - 120, Qt::CopyAction, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        seen = {};
        h.view->runDrag = [&](QDrag&) {
            h.pointer = QPointF(frames[size_t(folderIndex)].center().x(), row.endY);
            return row.result;
        };
        const QPointF at = frames[size_t(folderIndex)].center();
        mouse(QEvent::MouseButtonPress, at);
        mouse(QEvent::MouseMove, at - QPointF(0, 20));
        EXPECT_EQ(!seen.removed.isEmpty(), row.removed);
        h.pointer.reset();
        h.settle();
        EXPECT_EQ(h.view->tileFrames().size(), frames.size()) << "the row is whole again";
    }
}

TEST_F(DockViewInteraction, DropsFromOtherPrograms)
{
    const int folderIndex = h.indexOf(folder);
    const QPointF onFolder = frames[size_t(folderIndex)].center();
    const QPointF between((frames[0].right() + frames[1].left()) / 2, frames[0].center().y()); // on no icon
    const QUrl document = QUrl::fromLocalFile(h.dir.filePath(QStringLiteral("note.txt")));
    const QUrl entry = QUrl::fromLocalFile(h.dir.filePath(QStringLiteral("tool.desktop")));
    using Opened = std::tuple<QList<QUrl>, QString, bool>;
    struct Row {
        const char* name;
        QList<QUrl> urls;
        QPointF at;
        Qt::DropActions allowed;
        Qt::DropAction hover;
        QList<Opened> opens;
        QStringList pinned;
    };
    const Qt::DropActions both = Qt::CopyAction | Qt::MoveAction;
    const Row rows[] = {
        {"a source that cannot move copies", {document}, onFolder, Qt::CopyAction, Qt::CopyAction,
         {{{document}, id(folderIndex), true}}, {}},
        {"a desktop entry on a folder is pinned", {entry}, onFolder, both, Qt::MoveAction, {}, {entry.toLocalFile()}},
        {"a document between tiles is pinned", {document}, between, both, Qt::CopyAction, {}, {document.toLocalFile()}},
        {"no file URLs are refused", {QUrl(QStringLiteral("https://example.org/"))}, onFolder, both, Qt::IgnoreAction,
         {}, {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        seen = {};
        QMimeData data;
        data.setUrls(row.urls);
        EXPECT_EQ(dragOver(row.at, data, row.allowed), row.hover);
        EXPECT_EQ(drop(row.at, data, row.allowed), row.hover != Qt::IgnoreAction);
        EXPECT_EQ(seen.opens, row.opens);
        QStringList pinned;
        for (const auto& [path, index] : seen.pins) {
            pinned << path;
            EXPECT_EQ(index, std::nullopt) << "appended";
        }
        EXPECT_EQ(pinned, row.pinned);
    }
}

TEST_F(DockViewInteraction, AFolderDraggedOverTheRowMarksWhereItWouldGo)
{
    QMimeData data;
    data.setData(DockView::internalType, QFileInfo(folder).canonicalFilePath().toUtf8());
    // Not this view's drag (another dock's): no reorder slot, a drop mark instead.
    EXPECT_EQ(dragOver(QPointF(frames[1].center().x() - 1, 30), data), Qt::MoveAction);
    EXPECT_TRUE(drop(QPointF(frames[1].center().x() - 1, 30), data));
    ASSERT_EQ(seen.moves.size(), 1);
    EXPECT_EQ(seen.moves[0].second, 1);
}

} // namespace
} // namespace wharf::test
