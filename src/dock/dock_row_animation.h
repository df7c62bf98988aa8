#pragma once

#include "dock/dock_entry.h"

#include <QHash>
#include <QRectF>
#include <QSet>
#include <QString>

#include <optional>
#include <vector>

namespace wharf {

class DockTile;

// Moves the row toward its targets: the membership transition that opens or closes the row
// when entries come and go, smoothing after the pointer otherwise, new tiles fading in and
// removed icons fading out. Frames are in layout coordinates.
class DockRowAnimation {
public:
    struct RetiringIcon {
        DockEntry entry;
        QRectF frame;
        double started = 0;
        double alpha = 1;
    };
    struct Step {
        bool changed = false;   // something moved or faded enough to redraw
        bool animating = false; // something has not reached its target yet
    };

    // Where each entry starts after a membership change: a known entry at its old frame; a
    // newcomer (when animating) as an empty rectangle in the gap between its old neighbours.
    static std::vector<QRectF> startingFrames(const std::vector<QString>& ids, const QHash<QString, QRectF>& oldFrames,
                                              const std::vector<QRectF>& resting, bool animate);

    // A membership change: `origins` are the starting frames; without `animate` nothing fades
    // or opens, the row stands at its targets on the next step.
    void beginMembershipChange(double now, bool animate, bool closing, std::vector<QRectF> origins,
                               const std::vector<DockTile*>& tiles);
    void retire(const DockEntry& entry, const QRectF& frame, double now);
    void appear(DockTile& tile);
    void forgetAppearingExcept(const QSet<QString>& ids);

    Step advance(double now, double dt, bool snapping, std::vector<QRectF>& frames,
                 const std::vector<QRectF>& targets, const std::vector<DockTile*>& tiles);

    // Where the row is drawn while the pointer magnifies it. The row's width breathes by a fraction
    // of a pixel as the pointer crosses icons, which would step every resting icon beyond back and
    // forth by a pixel; a resting icon keeps the place it was drawn at (`drawn`) until it has
    // moved most of a device pixel.
    static std::vector<QRectF> steadied(const std::vector<QRectF>& frames, const std::vector<QRectF>& drawn,
                                        double restingSize, double devicePixelRatio);

    bool isAppearing(const QString& id) const { return appearingIDs.contains(id); }
    bool anyAppearing() const { return !appearingIDs.isEmpty(); }
    const std::vector<RetiringIcon>& retiring() const { return retiringIcons; }

private:
    struct Transition {
        double started = 0;
        bool closing = false;
    };

    QSet<QString> appearingIDs;
    std::optional<Transition> membershipTransition;
    std::vector<QRectF> membershipOrigins;
    QHash<QString, double> appearanceOrigins;
    std::vector<RetiringIcon> retiringIcons;
};

} // namespace wharf
