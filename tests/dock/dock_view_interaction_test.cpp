// What the mouse does on the dock beyond what the end-to-end pointer test drives: the 5-point
// click limit, Ctrl- and Meta-clicks, how far a pin must be dragged out, and odd drops.
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
    for (const Row& row : rows)
        EXPECT_EQ(DockInteraction::followPointer(row.from, row.x, slots, 3), row.slot) << row.name;
}

// What the gestures asked for, one line each: "activate <id>", "menu <id>", "pin <path> at end", ...
class DockViewInteraction : public ::testing::Test {
protected:
    void SetUp() override
    {
        folder = h.folder("docs");
        h.pin({h.app("a"), h.app("b"), h.app("c"), folder});
        DockViewActions& a = h.actions;
        a.activate = [this](const QString& id, std::uint32_t) { log << "activate " + id; };
        a.openItem = [this](const QString& id, std::uint32_t) { log << "open " + id; };
        a.fillMenu = [this](const QString& id, QMenu& menu) {
            log << "menu " + id;
            menu.addAction("Entry");
        };
        a.move = [this](const QString& id, int index) { log << QStringLiteral("move %1 to %2").arg(id).arg(index); };
        a.remove = [this](const QString& id) { log << "remove " + id; };
        a.pin = [this](const QString& path, std::optional<int> index) {
            log << "pin " + path + (index ? QStringLiteral(" at %1").arg(*index) : " at end");
        };
        a.open = [this](const QList<QUrl>& urls, const QString& id, bool copy) {
            log << (copy ? "copy " : "move ") + urls.front().fileName() + " onto " + id;
        };
        h.startView();
        frames = h.view->tileFrames();
    }

    QString id(int index) const { return h.view->entries()[size_t(index)].identifier(); }
    QPointF onFolder() const { return frames[size_t(h.indexOf(folder))].center(); }

    void mouse(QEvent::Type type, const QPointF& at, Qt::MouseButton button = Qt::LeftButton,
               Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        const Qt::MouseButtons held = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::MouseButtons(button);
        QMouseEvent event(type, at, h.view->mapToGlobal(at), type == QEvent::MouseMove ? Qt::NoButton : button, held,
                          modifiers);
        QApplication::sendEvent(h.view.get(), &event);
    }

    // Qt passes drag events on only during a drag of its own, so the view's handlers are called
    // directly. The answer is the drop action the view proposes on hovering (or IgnoreAction), and
    // whether it took the drop.
    std::pair<Qt::DropAction, bool> dragAndDrop(const QPointF& at, const QMimeData& data,
                                                Qt::DropActions allowed = Qt::CopyAction | Qt::MoveAction)
    {
        QDragMoveEvent move(at.toPoint(), allowed, &data, Qt::LeftButton, Qt::NoModifier);
        static_cast<QObject*>(h.view.get())->event(&move);
        QDropEvent drop(at, allowed, &data, Qt::LeftButton, Qt::NoModifier);
        static_cast<QObject*>(h.view.get())->event(&drop);
        return {move.isAccepted() ? move.dropAction() : Qt::IgnoreAction, drop.isAccepted()};
    }

    DockViewHarness h;
    QString folder;
    std::vector<QRectF> frames;
    QStringList log;
};

TEST_F(DockViewInteraction, ClicksActivateWithinFivePointsAndBelowApplicationsToo)
{
    const double bottom = DockViewHarness::viewHeight - 1;
    h.view->runDrag = [&](QDrag&) {
        log << "drag";
        return Qt::MoveAction;
    };
    const QPointF app = frames[1].center();
    const struct {
        const char* name;
        QPointF press, release;
        QString done;
    } rows[] = {
        {"moved 5 points is still a click", app, app + QPointF(3, 4), "activate " + id(1)},
        {"moved 5.1 points is a drag", app, app + QPointF(5.1, 0), "drag"},
        {"below an application down to the edge", QPointF(app.x(), bottom), QPointF(app.x(), bottom), "activate " + id(1)},
    };
    for (const auto& row : rows) {
        log.clear();
        mouse(QEvent::MouseButtonPress, row.press);
        mouse(QEvent::MouseMove, row.release); // within the threshold first, as a real pointer moves
        mouse(QEvent::MouseButtonRelease, row.release);
        EXPECT_EQ(log, QStringList{row.done}) << row.name;
    }
}

TEST_F(DockViewInteraction, CtrlClickOpensAFolderAndMetaClickOpensTheMenu)
{
    mouse(QEvent::MouseButtonPress, onFolder(), Qt::LeftButton, Qt::ControlModifier);
    mouse(QEvent::MouseButtonRelease, onFolder(), Qt::LeftButton, Qt::ControlModifier);
    mouse(QEvent::MouseButtonPress, frames[2].center(), Qt::LeftButton, Qt::MetaModifier);
    EXPECT_EQ(log, (QStringList{"open " + id(h.indexOf(folder)), "menu " + id(2)}));
    EXPECT_TRUE(h.view->isMenuTracking());
    for (QMenu* menu : h.view->findChildren<QMenu*>())
        menu->hide();
    EXPECT_FALSE(h.view->isMenuTracking());
}

TEST_F(DockViewInteraction, APinDraggedOutAboveTheRowIsRemovedOnlyFarEnoughAndWhenNothingTookIt)
{
    const double iconsTop = frames[0].top();
    const struct {
        const char* name;
        double endY; // view coordinates
        Qt::DropAction result;
        bool removed;
    } rows[] = {
        {"80 points above the icons", iconsTop - 80, Qt::IgnoreAction, true},
        {"70 points above the icons", iconsTop - 70, Qt::IgnoreAction, false},
        {"taken by another program", iconsTop - 120, Qt::CopyAction, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        log.clear();
        h.view->runDrag = [&](QDrag&) {
            h.pointer = QPointF(onFolder().x(), row.endY);
            return row.result;
        };
        mouse(QEvent::MouseButtonPress, onFolder());
        mouse(QEvent::MouseMove, onFolder() - QPointF(0, 20));
        EXPECT_EQ(log.contains("remove " + id(h.indexOf(folder))), row.removed);
        h.pointer.reset();
        h.settle();
        EXPECT_EQ(h.view->tileFrames(), frames) << "the row is whole again";
    }
}

// Drops of files onto tiles are driven over XDND end to end; these are the odd ones.
TEST_F(DockViewInteraction, DropsFromOtherPrograms)
{
    const QPointF between((frames[0].right() + frames[1].left()) / 2, frames[0].center().y()); // on no icon
    const QUrl document = QUrl::fromLocalFile(h.dir.filePath("note.txt"));
    const QUrl entry = QUrl::fromLocalFile(h.dir.filePath("tool.desktop"));
    const Qt::DropActions both = Qt::CopyAction | Qt::MoveAction;
    const struct {
        const char* name;
        QUrl url;
        QPointF at;
        Qt::DropActions allowed;
        Qt::DropAction hover;
        QStringList done;
    } rows[] = {
        {"a source that cannot move copies", document, onFolder(), Qt::CopyAction, Qt::CopyAction,
         {"copy note.txt onto " + id(h.indexOf(folder))}},
        {"a desktop entry on a folder's left half is pinned before it", entry, onFolder() - QPointF(5, 0), both,
         Qt::MoveAction, {QStringLiteral("pin %1 at %2").arg(entry.toLocalFile()).arg(h.indexOf(folder))}},
        {"a document between tiles is pinned there", document, between, both, Qt::CopyAction,
         {"pin " + document.toLocalFile() + " at 1"}},
        {"no file URLs are refused", QUrl("https://example.org/"), onFolder(), both, Qt::IgnoreAction, {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        log.clear();
        QMimeData data;
        data.setUrls({row.url});
        EXPECT_EQ(dragAndDrop(row.at, data, row.allowed), std::pair(row.hover, row.hover != Qt::IgnoreAction));
        EXPECT_EQ(log, row.done);
    }
}

TEST_F(DockViewInteraction, AFolderDraggedOverTheRowMarksWhereItWouldGo)
{
    QMimeData data;
    data.setData(DockView::internalType, QFileInfo(folder).canonicalFilePath().toUtf8());
    // Not this view's drag (another dock's): no reorder slot, a drop mark instead.
    EXPECT_EQ(dragAndDrop(QPointF(frames[1].center().x() - 1, 30), data), std::pair(Qt::MoveAction, true));
    EXPECT_EQ(log, QStringList{QStringLiteral("move %1 to 1").arg(QFileInfo(folder).canonicalFilePath())});
}

} // namespace
} // namespace wharf::test
