#include "stacks/stack_panel.h"

#include "stacks/stack_bubble_view.h"
#include "stacks/stack_item_view.h"
#include "stacks/stack_preview_window.h"

#include <QEnterEvent>
#include <QGuiApplication>
#include <QScreen>

#include <gtest/gtest.h>

using namespace wharf;

// Without a compositing manager the panel stands on what lies below it, cut to its content's
// outline: the bubble's rounded corners and the room beside its arrow are not drawn (they would
// come out black). Once a compositing manager runs, nothing is cut.
TEST(StackPanel, WithoutACompositorIsCutToItsContentAndStandsOnWhatLiesBelow)
{
    StackPanel panel;
    QRect asked;
    bool compositing = false;
    panel.below = [&](const QRect& area) -> std::optional<QImage> {
        asked = area;
        QImage red(area.size(), QImage::Format_RGB32);
        red.fill(Qt::red);
        return compositing ? std::nullopt : std::optional(red);
    };
    const QRect frame(300, 200, 200, 150);
    panel.present(new StackBubbleView(frame.size()), frame);
    EXPECT_EQ(asked, frame);
    const QRegion cut = panel.mask();
    EXPECT_FALSE(cut.contains(QPoint(1, 1))) << "a rounded corner";
    EXPECT_FALSE(cut.contains(QPoint(5, 145))) << "beside the arrow";
    EXPECT_TRUE(cut.contains(QPoint(100, 70)));
    EXPECT_TRUE(cut.contains(QPoint(25, 146))) << "the arrow's tip";
    const QColor inside = panel.grab().toImage().pixelColor(100, 70);
    EXPECT_GT(inside.red(), inside.blue()) << "the bubble lets a little of what lies below through";

    compositing = true;
    panel.present(new StackBubbleView(frame.size()), frame);
    EXPECT_TRUE(panel.mask().isEmpty());
}

// The preview over a stack at a display's corner, or on a display smaller than itself, stays on it.
TEST(StackPreviewWindow, StaysOnTheDisplayOfTheStackItPreviews)
{
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    StackPreviewWindow preview;
    StackEntry entry;
    entry.url = QUrl::fromLocalFile("/nowhere/notes.txt");
    const QSize tile(100, 80);
    for (const QRect& over : {QRect(area.topLeft(), tile), QRect(area.bottomRight() - QPoint(99, 79), tile),
                              area.adjusted(-200, -200, 200, 200)}) {
        preview.showEntry(entry, QIcon(), over);
        EXPECT_TRUE(area.contains(preview.geometry())) << over.x() << "," << over.y();
    }
}

// Entries that scroll under a resting pointer take the selection only once the pointer moves: the
// arrow keys walking a long grid are not pulled back to the entry under it.
TEST(StackItemView, ARestingPointerSelectsNothingNewAsEntriesPassUnderIt)
{
    StackPanel panel;
    StackItemView first({}, QIcon(), false, false, &panel);
    StackItemView second({}, QIcon(), false, false, &panel);
    QStringList selected;
    first.onSelect = [&] { selected << "first"; };
    second.onSelect = [&] { selected << "second"; };
    const auto enter = [](StackItemView& view, QPointF global) {
        QEnterEvent event(QPointF(5, 5), QPointF(5, 5), global);
        QCoreApplication::sendEvent(&view, &event);
    };
    enter(first, QPointF(411, 307));
    enter(second, QPointF(411, 307)); // scrolled under the pointer
    enter(second, QPointF(413, 307)); // the pointer moved onto it
    EXPECT_EQ(selected.join(' ').toStdString(), "first second");
}
