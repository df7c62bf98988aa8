#include "dock/dock_row_animation.h"

#include "dock/dock_tile.h"

#include <algorithm>
#include <cmath>

namespace wharf {

namespace {

constexpr double closingDuration = 0.18;
constexpr double openingDuration = 0.35;
constexpr double smoothingTime = 0.075;
constexpr double appearFadeTime = 0.22;
constexpr double retireDuration = 0.1;

double smoothstep(double t) { return t * t * (3 - 2 * t); }

QRectF blend(const QRectF& from, const QRectF& to, double factor)
{
    return QRectF(from.x() + factor * (to.x() - from.x()), from.y() + factor * (to.y() - from.y()),
                  from.width() + factor * (to.width() - from.width()),
                  from.height() + factor * (to.height() - from.height()));
}

} // namespace

std::vector<QRectF> DockRowAnimation::startingFrames(const std::vector<QString>& ids,
                                                     const QHash<QString, QRectF>& oldFrames,
                                                     const std::vector<QRectF>& resting, bool animate)
{
    std::vector<QRectF> starting;
    if (resting.size() != ids.size())
        return starting;
    starting.reserve(resting.size());
    for (size_t i = 0; i < resting.size(); ++i) {
        const QRectF& target = resting[i];
        if (const auto old = oldFrames.constFind(ids[i]); old != oldFrames.constEnd()) {
            starting.push_back(*old);
            continue;
        }
        if (!animate) {
            starting.push_back(target);
            continue;
        }
        std::optional<double> leftEdge;
        std::optional<double> rightEdge;
        for (size_t j = i; j-- > 0;) {
            if (const auto f = oldFrames.constFind(ids[j]); f != oldFrames.constEnd()) {
                leftEdge = f->right();
                break;
            }
        }
        for (size_t j = i + 1; j < ids.size(); ++j) {
            if (const auto f = oldFrames.constFind(ids[j]); f != oldFrames.constEnd()) {
                rightEdge = f->left();
                break;
            }
        }
        double x = target.center().x();
        if (leftEdge && rightEdge)
            x = (*leftEdge + *rightEdge) / 2;
        else if (leftEdge)
            x = *leftEdge;
        else if (rightEdge)
            x = *rightEdge;
        starting.push_back(QRectF(x, target.y(), 0, 0));
    }
    return starting;
}

void DockRowAnimation::beginMembershipChange(double now, bool animate, bool closing, std::vector<QRectF> origins,
                                             const std::vector<DockTile*>& tiles)
{
    membershipOrigins = std::move(origins);
    membershipTransition = animate ? std::optional<Transition>(Transition{now, closing}) : std::nullopt;
    appearanceOrigins.clear();
    for (const auto* tile : tiles)
        appearanceOrigins.insert(tile->entry().identifier(), tile->alpha);
}

void DockRowAnimation::retire(const DockEntry& entry, const QRectF& frame, double now)
{
    retiringIcons.push_back(RetiringIcon{entry, frame, now, 1.0});
}

void DockRowAnimation::appear(DockTile& tile)
{
    tile.alpha = 0;
    appearingIDs.insert(tile.entry().identifier());
}

void DockRowAnimation::forgetAppearingExcept(const QSet<QString>& ids)
{
    for (auto it = appearingIDs.begin(); it != appearingIDs.end();)
        it = ids.contains(*it) ? std::next(it) : appearingIDs.erase(it);
}

std::vector<QRectF> DockRowAnimation::steadied(const std::vector<QRectF>& frames, const std::vector<QRectF>& drawn,
                                               double restingSize, double devicePixelRatio)
{
    std::vector<QRectF> result = frames;
    if (drawn.size() != frames.size())
        return result;
    const double slack = 0.75 / devicePixelRatio;
    for (size_t i = 0; i < frames.size(); ++i) {
        const QRectF& frame = frames[i];
        const QRectF& before = drawn[i];
        if (std::abs(frame.width() - restingSize) < 1e-6 && frame.size() == before.size() &&
            frame.y() == before.y() && std::abs(frame.x() - before.x()) < slack)
            result[i].moveLeft(before.x());
    }
    return result;
}

DockRowAnimation::Step DockRowAnimation::advance(double now, double dt, bool snapping, std::vector<QRectF>& frames,
                                                 const std::vector<QRectF>& targets,
                                                 const std::vector<DockTile*>& tiles)
{
    Step step;
    if (frames.size() != targets.size())
        frames = targets;

    double progress = 0;
    if (membershipTransition) {
        const double duration = membershipTransition->closing ? closingDuration : openingDuration;
        progress = smoothstep(std::clamp((now - membershipTransition->started) / duration, 0.0, 1.0));
    }
    const bool fromOrigins = membershipTransition && membershipOrigins.size() == frames.size();
    const double smoothing = 1 - std::exp(-dt / smoothingTime);

    for (size_t i = 0; i < frames.size(); ++i) {
        const QRectF& target = targets[i];
        const QRectF start = fromOrigins ? membershipOrigins[i] : frames[i];
        const double factor = snapping ? 1.0 : fromOrigins ? progress : smoothing;
        QRectF next = blend(start, target, factor);
        if (std::abs(next.x() - target.x()) < 0.1 && std::abs(next.y() - target.y()) < 0.1 &&
            std::abs(next.width() - target.width()) < 0.1)
            next = target;
        else
            step.animating = true;
        const QRectF& previous = frames[i];
        if (std::abs(next.x() - previous.x()) > 0.02 || std::abs(next.y() - previous.y()) > 0.02 ||
            std::abs(next.width() - previous.width()) > 0.02)
            step.changed = true;
        frames[i] = next;
    }

    for (auto* tile : tiles) {
        if (appearingIDs.isEmpty())
            break; // nothing (left) fading in: no identifier to look up
        const QString id = tile->entry().identifier();
        if (!appearingIDs.contains(id))
            continue;
        const double before = tile->alpha;
        if (snapping) {
            tile->alpha = 1;
        } else if (membershipTransition) {
            const double a0 = appearanceOrigins.value(id, 0.0);
            // The fade starts after 15 % of the transition.
            const double u = std::clamp((progress - 0.15) / 0.85, 0.0, 1.0);
            tile->alpha = a0 + smoothstep(u) * (1 - a0);
        } else {
            tile->alpha = std::min(tile->alpha + dt / appearFadeTime, 1.0);
        }
        step.changed = step.changed || tile->alpha != before;
        if (tile->alpha < 1)
            step.animating = true;
        else
            appearingIDs.remove(id);
    }

    for (auto it = retiringIcons.begin(); it != retiringIcons.end();) {
        const double u = snapping ? 1.0 : std::min((now - it->started) / retireDuration, 1.0);
        it->alpha = 1 - smoothstep(u);
        step.changed = true;
        if (u >= 1) {
            it = retiringIcons.erase(it);
        } else {
            step.animating = true;
            ++it;
        }
    }

    if (membershipTransition) {
        if (progress >= 1 || snapping) {
            membershipTransition.reset();
            membershipOrigins.clear();
        } else {
            step.animating = true;
        }
    }
    return step;
}

} // namespace wharf
