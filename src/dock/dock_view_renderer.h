#pragma once

#include "dock/dock_entry.h"
#include "dock/dock_image_cache.h"
#include "dock/dock_layout.h"

#include <QCache>
#include <QColor>
#include <QHash>
#include <QImage>
#include <QRectF>
#include <QRegion>
#include <QSizeF>

#include <optional>
#include <vector>

class QPainter;

namespace wharf {

// Draws a dock view: the glass shelf, per-icon reflections, separator, running
// indicators, drop marker and the tiles. Everything costly is made once and cached:
// the shelf as three slices (its middle is uniform, so any width is a blit), icons per
// size step with their shadow baked in, reflections per entry. No frame renders an icon.
// A moving row draws every icon at a whole number of device pixels: the sizes between two
// steps are scaled from the larger step once and kept, so a sweep blits what it draws.
class DockViewRenderer {
public:
    struct Tile {
        const DockEntry* entry = nullptr;
        QRectF frame;           // the placed tile, layout coordinates, moved down with the dock
        QRectF reflectionFrame; // the entry's animated frame, before the hide offset
        double alpha = 1;
        bool running = false;
        bool dragged = false;
        bool dropTarget = false; // files dragged from another program would land here
    };

    struct Scene {
        QSizeF viewSize;
        double devicePixelRatio = 1;
        bool dark = false;
        double offset = 0; // how far the dock is moved down (auto-hide)
        std::vector<QRectF> frames; // current frames, layout coordinates
        std::vector<Tile> tiles;
        std::vector<Tile> retiring;
        std::optional<int> separatorIndex;
        std::optional<int> dropIndex;
        bool reordering = false;
        bool settled = false; // nothing moves: tiles are drawn at their exact size
        bool clearedBackground = false; // the window is translucent: every paint starts from clear
        double restingIconSize = 0;     // edge of an unmagnified icon
        QColor accent;
    };

    // Cache misses, so tests and benchmarks can see what a frame cost.
    struct Statistics {
        int iconRenders = 0;
        int betweenRenders = 0; // icons scaled to a size between two steps
        int reflectionRenders = 0;
        int shelfRenders = 0;
    };

    DockViewRenderer();

    // An icon size step in device pixels: the next step up, from which the sizes of a moving row
    // are scaled down (never up); with `exact`, the size itself, rendered from the icon.
    static int sizeStep(double devicePixels, bool exact, double dpr);

    // Where one drawing of an image lands, in widget coordinates: an unscaled blit of `pixels` at
    // rect.topLeft(), or that image scaled into `rect`.
    struct Placement {
        int pixels = 0;
        bool exact = false;
        QRectF rect;
        bool operator==(const Placement&) const = default;
    };

    // What a scene puts where: enough to tell which pixels the next scene changes.
    struct Footprint {
        // What every pixel may depend on; when it differs, both scenes' whole areas are repainted.
        struct Whole {
            QSizeF viewSize;
            double devicePixelRatio = 0;
            bool dark = false;
            double offset = 0;
            std::optional<int> separatorIndex;
            std::optional<int> dropIndex;
            bool reordering = false;
            bool settled = false;
            bool clearedBackground = false;
            bool retiring = false;
            double restingIconSize = 0;
            double iconSize = 0;
            QRgb accent = 0;
            size_t tiles = 0;
            bool operator==(const Whole&) const = default;
        };
        // How one tile is drawn, and the widget pixels that drawing covers.
        struct Look {
            qint64 icon = 0;
            bool window = false;
            std::optional<Placement> image;
            std::optional<Placement> reflection;
            std::optional<QPointF> indicator;
            double alpha = 1;
            bool dropTarget = false;
            bool operator==(const Look&) const = default;
        };
        QRegion bounds;
        Whole whole;
        std::vector<Look> looks;
        std::vector<QRect> areas; // one per look
        std::optional<double> separatorX;
        QRect separatorArea;
        int shelfLeft = 0;  // device pixels, as drawn
        int shelfWidth = 0;
        bool shelfSliced = false;
        QRect leftCap;  // widget pixels of the shelf's end slices
        QRect rightCap;
    };

    // Draws what of the scene falls in `area` (widget coordinates; empty: everything); the caller
    // clips to it. Drawings wholly outside are skipped rather than clipped away.
    void paint(QPainter& painter, const Scene& scene, const QRect& area = {});
    // The area the scene covers, in widget coordinates.
    QRegion bounds(const Scene& scene) const;
    // The widget pixels a paint sets outright over a cleared window, whatever lay there: the
    // shelf's images are copied there, not blended. They need no clearing before a paint.
    QRect copiedArea(const Scene& scene) const;
    Footprint footprint(const Scene& scene) const;
    // The widget area whose pixels may differ from one scene to the next: the places of the tiles
    // that look different, and of the shelf's ends when its width changed. A moving row changes a
    // few tiles per frame; the rest move by less than a device pixel, which a blit snaps away.
    static QRegion changes(const Footprint& before, const Footprint& after);

    void dropReflection(const QString& identifier);
    bool hasReflection(const QString& identifier) const;
    void clearCaches();
    const Statistics& statistics() const { return stats; }

private:
    struct TileKey {
        qint64 icon = 0;
        int pixels = 0;
        bool window = false;
        bool operator==(const TileKey&) const = default;
    };
    struct ReflectionKey {
        qint64 icon = 0; // entries showing the same icon object share its reflection's sizes
        int pixels = 0;
        bool dark = false;
        bool operator==(const ReflectionKey&) const = default;
    };
    struct Reflection {
        qint64 icon = 0;
        QImage image; // the visible top of a 64 × 64 mirror (row 0 touches the icon's base), masked
    };
    struct Shelf {
        double iconSize = -1;
        double devicePixelRatio = 0;
        bool dark = false;
        int exactWidth = 0; // device pixels of the shelf when not sliced; 0 = sliced
        QImage under;       // shadow and fill
        QImage over;        // frost, outline and lip
        QImage body;        // both, for the rows without reflections
        int bandTop = 0;    // rows of the band where reflections show
        int bandBottom = 0;
        int pad = 0;        // device pixels around the shelf in both images
        int cap = 0;        // width of each end slice; the middle is uniform
        double top = 0;     // layout y of the images' top edge
    };
    friend size_t qHash(const TileKey& key, size_t seed);
    friend size_t qHash(const ReflectionKey& key, size_t seed);

    const QImage& tileImage(const DockEntry& entry, int pixels, double dpr);
    // The tile at `pixels`, between two size steps: the next step up scaled down to it.
    const QImage& betweenTileImage(const DockEntry& entry, int pixels, double dpr);
    // `tilePixels`: the size the entry's tile is drawn at (0: none), whose rendering is the source.
    const QImage* reflectionImage(const DockEntry& entry, int pixels, bool dark, int tilePixels);
    const Shelf& shelf(const DockLayout::Metrics& metrics, double shelfWidth, double dpr, bool dark);
    const QImage& indicator(double height, double dpr, bool dark);
    // The separator's two lines from (-w, 0) to (w, height), in an image of their separatorBox.
    const QImage& separatorImage(double w, double height, double dpr, bool dark);
    void drawShelfLayer(QPainter& painter, const Shelf& shelf, const QImage& layer, int firstRow, int endRow,
                        const QRectF& shelfRect, double viewHeight, double dpr, const QRectF& area) const;
    QRectF shelfRows(const Shelf& shelf, int firstRow, int endRow, const QRectF& shelfRect, double viewHeight,
                     double dpr) const;
    void drawTile(QPainter& painter, const Tile& tile, const Scene& scene, bool exact, const QRectF& area);
    static Placement tilePlacement(const Tile& tile, const Scene& scene, bool exact);
    static Placement reflectionPlacement(const Tile& tile, const Scene& scene);
    static QPointF indicatorPlacement(const Tile& tile, const Scene& scene, const DockLayout::Metrics& metrics);
    static int tilePixels(double frameWidth, const Scene& scene, bool exact);
    // Whether a tile of `pixels` is the icon rendered at that size rather than scaled to it.
    static bool rendersExactly(int pixels, const Scene& scene, bool exact);
    static std::optional<double> separatorX(const Scene& scene);

    // At scale 1; they grow with the scale. Every size of about a dozen icons at the default size.
    static constexpr int tileBudgetKiB = 16 * 1024;
    static constexpr qsizetype betweenBudget = 16 << 20;
    static constexpr qsizetype reflectionBudget = 6 << 20;
    QCache<TileKey, QImage> tileCache{tileBudgetKiB}; // cost in KiB
    DockImageCache<TileKey> betweenTiles{betweenBudget, std::chrono::seconds(5)};
    DockImageCache<ReflectionKey> scaledReflections{reflectionBudget, std::chrono::seconds(5)};
    DockImageCache<TileKey>::Clock::time_point paintTime;
    QHash<QString, Reflection> reflections;
    QImage lastTile; // serves one draw of an image that no cache kept
    QImage lastReflection;
    QHash<qint64, QImage> iconArt; // the latest rendering of each icon, the source of its reflection
    Shelf shelfCache;
    QHash<int, QImage> indicators;
    struct {
        double w = 0;
        double height = 0;
        bool dark = false;
        QImage image;
    } separatorCache;
    double cacheScale = 0;
    Statistics stats;
};

} // namespace wharf
