// A frame repaints only what changed since the last one: repainting the area the renderer asks
// for, a rectangle at a time as the view does, turns the last drawing into the next one exactly,
// and a small pointer move asks for far less than the whole dock.
#include "dock/dock_layout.h"
#include "dock/dock_row_animation.h"
#include "dock/dock_view_renderer.h"

#include <QImage>
#include <QPainter>
#include <QPixmap>

#include <gtest/gtest.h>

namespace wharf {
namespace {

struct Row {
    std::vector<DockEntry> entries;
    Row()
    {
        for (int i = 0; i < 30; ++i) {
            QPixmap pixmap(64, 64);
            pixmap.fill(QColor::fromHsv(i * 12, 200, 220));
            DockItem item;
            item.id = QStringLiteral("item-%1").arg(i);
            item.icon = QIcon(pixmap);
            item.kind = i < 5 ? DockItem::Kind::application : DockItem::Kind::folder;
            entries.push_back(DockEntry::fromItem(item));
        }
    }

    // The row magnified around `pointerX`; `lag` holds back every frame a little, as a row that is
    // still moving toward its targets.
    // `drawn`: the frames drawn last, to hold resting icons steady against.
    DockViewRenderer::Scene scene(std::optional<double> pointerX, double dpr, double lag = 0,
                                  const std::vector<QRectF>* drawn = nullptr) const
    {
        DockViewRenderer::Scene s;
        s.viewSize = QSizeF(1800, 200);
        s.devicePixelRatio = dpr;
        s.clearedBackground = true;
        s.separatorIndex = 5;
        s.frames = DockLayout::frames(int(entries.size()), 1800, 48, 2, pointerX, DockLayout::influence,
                                      std::nullopt, s.separatorIndex);
        for (auto& frame : s.frames)
            frame.translate(lag * (frame.center().x() - 900) / 900, 0);
        s.restingIconSize = DockLayout::metrics(s.frames).iconSize;
        if (drawn)
            s.frames = DockRowAnimation::steadied(s.frames, *drawn, s.restingIconSize, dpr);
        for (size_t i = 0; i < entries.size(); ++i)
            s.tiles.push_back({&entries[i], s.frames[i], s.frames[i], 1, i % 3 == 0, false, false});
        return s;
    }
};

QImage draw(DockViewRenderer& renderer, const DockViewRenderer::Scene& scene)
{
    QImage image((scene.viewSize * scene.devicePixelRatio).toSize(), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scene.devicePixelRatio);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    renderer.paint(painter, scene);
    return image;
}

// What the view does with a frame: each rectangle of the repaint area cleared where the paint does
// not copy over it, then drawn under its clip.
QImage repaint(DockViewRenderer& renderer, QImage image, const DockViewRenderer::Scene& scene, const QRegion& dirty)
{
    QPainter painter(&image);
    for (const QRect& rect : dirty) {
        painter.setClipRect(rect);
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        for (const QRect& part : QRegion(rect).subtracted(renderer.copiedArea(scene)))
            painter.fillRect(part, Qt::transparent);
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
        renderer.paint(painter, scene, rect);
    }
    return image;
}

long area(const QRegion& region)
{
    long sum = 0;
    for (const QRect& r : region)
        sum += long(r.width()) * r.height();
    return sum;
}

TEST(DockViewRepaint, EveryChangedPixelIsRepaintedAndLittleElse)
{
    const Row row;
    for (const double dpr : {1.0, 2.0}) {
        DockViewRenderer renderer;
        const std::vector<DockViewRenderer::Scene> scenes = {
            row.scene(std::nullopt, dpr), row.scene(800, dpr),     row.scene(803.5, dpr, 0.3),
            row.scene(805, dpr, 0.1),     row.scene(806.2, dpr),   row.scene(1020, dpr),
            row.scene(std::nullopt, dpr, 0.4), row.scene(std::nullopt, dpr)};
        for (size_t i = 1; i < scenes.size(); ++i) {
            const QImage before = draw(renderer, scenes[i - 1]);
            const QImage after = draw(renderer, scenes[i]);
            const QRegion dirty =
                DockViewRenderer::changes(renderer.footprint(scenes[i - 1]), renderer.footprint(scenes[i]));
            EXPECT_TRUE(repaint(renderer, before, scenes[i], dirty) == after) << "step " << i << " at scale " << dpr;
        }
        // A few pixels of pointer motion in the middle of the row leave its ends alone.
        const QRegion whole = renderer.bounds(scenes[4]);
        const QRegion step =
            DockViewRenderer::changes(renderer.footprint(scenes[4]), renderer.footprint(row.scene(808, dpr)));
        EXPECT_FALSE(step.isEmpty());
        EXPECT_LT(area(step), area(whole) / 2) << "at scale " << dpr;
    }
}

TEST(DockViewRepaint, IconsFarFromAMovingPointerStayPut)
{
    // The magnified row's width breathes by a fraction of a pixel as the pointer crosses icons;
    // held steady, the resting icons at its ends are never repainted.
    const Row row;
    for (const double dpr : {1.0, 2.0}) {
        DockViewRenderer renderer;
        auto scene = row.scene(800, dpr);
        const QRect first = renderer.bounds(scene).boundingRect().adjusted(0, 0, -1400, 0);
        const QRect last = renderer.bounds(scene).boundingRect().adjusted(1400, 0, 0, 0);
        for (double x = 802.6; x < 1000; x += 2.6) {
            auto next = row.scene(x, dpr, 0, &scene.frames);
            const QRegion dirty = DockViewRenderer::changes(renderer.footprint(scene), renderer.footprint(next));
            EXPECT_FALSE(dirty.isEmpty());
            EXPECT_FALSE(dirty.intersects(first) || dirty.intersects(last)) << "pointer at " << x << ", scale " << dpr;
            scene = std::move(next);
        }
    }
}

} // namespace
} // namespace wharf
