#pragma once

#include <QRectF>

#include <optional>
#include <vector>

namespace wharf {

// The pure geometry of the dock: tile frames, icon sizes and the shelf band.
// Points, origin bottom-left, y up. Every function is total: non-finite or
// out-of-range input gives an empty or zero result, never NaN.
struct DockLayout {
    struct Metrics {
        double iconSize = 0;
        double baseline = 0;
        double shelfBottom = 0;
        double shelfTop = 0;
        double edgeInset = 0;
        double spacing = 0;
        double separatorGap = 0;

        bool operator==(const Metrics&) const = default;
    };

    static constexpr double minimumIconSize = 16;
    static constexpr double maximumIconSize = 96;
    static constexpr double fallbackIconSize = 56;
    static constexpr double fallbackBaseline = 0.42 * fallbackIconSize + 4;
    static constexpr double influence = 150;
    static constexpr double maximumWidthFraction = 0.98;

    static double preferredWidth(int count, double iconSize, std::optional<int> separatorIndex);
    static double iconSize(int count, double dockWidth, std::optional<int> separatorIndex);
    static std::vector<QRectF> frames(int count, double availableWidth, double baseSize,
                                      double magnification, std::optional<double> pointerX,
                                      double influence, std::optional<double> dockWidth,
                                      std::optional<int> separatorIndex);
    static Metrics metrics(const std::vector<QRectF>& frames);
    static double restingContentHeight(const std::vector<QRectF>& frames, double backingScale);
    static QRectF shelfFrame(const std::vector<QRectF>& frames);

    // --- How the dock view feeds the layout ---

    // The first boundary where an application entry is followed by anything else.
    static std::optional<int> separatorIndex(const std::vector<bool>& isApplication);

    struct DockWidth {
        double width = 0;
        // Set when the resting icon size had to be derived from the width fraction;
        // the view stores it back as "restingIconSize".
        std::optional<double> derivedRestingIconSize;
    };
    static DockWidth preferredDockWidth(int count, double boundsWidth, double restingIconSize,
                                        double dockWidthFraction, std::optional<int> separatorIndex);
    // The width fraction the settings window and the divider show.
    static double actualWidthFraction(int count, double boundsWidth, double preferredDockWidth,
                                      std::optional<int> separatorIndex);
    // The fraction to store when the user asks for a dock width.
    static double widthFractionForDockWidth(int count, double boundsWidth, double requestedWidth,
                                            std::optional<int> separatorIndex);
    // Resting frames (no pointer, no magnification) at the view's preferred dock width.
    static std::vector<QRectF> restingFrames(int count, double boundsWidth, double baseSize,
                                             double preferredDockWidth,
                                             std::optional<int> separatorIndex);
    // How far auto-hide moves the dock out of sight.
    static double hideDistance(const std::vector<QRectF>& frames, double magnification);
};

} // namespace wharf
