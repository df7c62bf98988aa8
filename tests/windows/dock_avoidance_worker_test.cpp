#include "windows/dock_avoidance_worker.h"

#include <gtest/gtest.h>

namespace wharf {
namespace {

const DockAvoidanceRegion display{1, QRectF(0, 0, 1920, 1080), QRectF(0, 0, 1920, 1000)};
const QRectF inBand(100, 500, 800, 540); // 40 into the band

// Windows the test places; moves land unless the window refuses them.
struct FakeMover : WindowMover {
    std::vector<MovableWindow> windows;
    std::vector<std::uint32_t> refusing;
    std::vector<std::pair<std::uint32_t, QRectF>> moves;

    bool start() override { return true; }
    std::vector<MovableWindow> visibleWindows() override { return windows; }
    bool leftButtonDown() override { return false; }
    bool move(std::uint32_t id, const QRectF& frame) override
    {
        moves.emplace_back(id, frame);
        const auto found = std::ranges::find(windows, id, &MovableWindow::id);
        if (found != windows.end() && std::ranges::find(refusing, id) == refusing.end())
            found->frame = frame;
        return true;
    }
    std::optional<QRectF> frame(std::uint32_t id) override
    {
        const auto found = std::ranges::find(windows, id, &MovableWindow::id);
        return found == windows.end() ? std::nullopt : std::optional(found->frame);
    }
};

class DockAvoidanceWorkerTest : public ::testing::Test {
protected:
    std::shared_ptr<DockAvoidancePermit> permit = std::make_shared<DockAvoidancePermit>();
    FakeMover* mover = nullptr;
    std::shared_ptr<DockAvoidanceWorker> worker;
    double clock = 1000;

    void SetUp() override
    {
        worker = std::make_shared<DockAvoidanceWorker>(permit, [this] {
            auto fake = std::make_unique<FakeMover>();
            mover = fake.get();
            return fake;
        });
        worker->now = [this] { return clock; };
        worker->schedule = [](int, std::function<void()>) {}; // drains are run by hand
        permit->setActive(true);
        worker->configure({display}, true, false);
        ASSERT_NE(mover, nullptr);
    }

    void place(std::uint32_t id, QRectF frame, pid_t pid = 7) { mover->windows.push_back({id, pid, frame}); }
};

// Holding the button, the corrected frame, dialogs, full-screen windows and the cooldown of a
// window that refuses are checked under a real window manager (e2e.window_avoidance).
TEST_F(DockAvoidanceWorkerTest, ARefusedWindowThatTheUserMovesIsTriedAgainAtOnceAndMinimizedOrDisplayFillingOnesNever)
{
    place(1, inBand);
    place(2, inBand);
    mover->windows.back().isMinimized = true;
    place(3, QRectF(0.5, 0, 1920, 1080.5));
    mover->refusing = {1};
    worker->drain();
    ASSERT_EQ(mover->moves.size(), 1u) << "only the window in the band that may move";
    // Still within its cooldown (which the next test and the snapping-back client end to end see).
    mover->windows[0].frame = inBand.translated(300, 10);
    clock += 0.1;
    worker->drain();
    EXPECT_EQ(mover->moves.size(), 2u);
}

// Qt's coarse timers may fire up to 5 % early; the retry must still come.
TEST_F(DockAvoidanceWorkerTest, ARefusedWindowIsRetriedAfterItsCooldownEvenWhenTheTimerFiresEarly)
{
    std::vector<std::pair<int, std::function<void()>>> jobs;
    worker->schedule = [&](int ms, std::function<void()> job) { jobs.emplace_back(ms, std::move(job)); };
    place(1, inBand);
    mover->refusing = {1};
    worker->drain();
    ASSERT_EQ(mover->moves.size(), 1u);
    for (int i = 0; i < 20 && mover->moves.size() < 2 && !jobs.empty(); ++i) {
        auto [ms, job] = std::move(jobs.front());
        jobs.erase(jobs.begin());
        clock += ms * 0.95 / 1000;
        job();
    }
    EXPECT_EQ(mover->moves.size(), 2u);
    EXPECT_GE(clock, 1000 + DockAvoidanceWorker::Timing().rejectedCooldown) << "not before the cooldown";
}

TEST_F(DockAvoidanceWorkerTest, CooldownsArePrunedPastTheLimitAndDroppedWhenSwitchedOff)
{
    for (std::uint32_t id = 1; id <= DockAvoidanceWorker::cooldownPruneThreshold + 1; ++id)
        place(id, inBand, pid_t(id % 9)); // no program has more than 64 windows examined
    worker->drain();
    EXPECT_EQ(worker->cooldownCount(), DockAvoidanceWorker::cooldownPruneThreshold + 1)
        << "pruning drops only what has expired";
    mover->windows.clear();
    place(9999, inBand);
    clock += 1.0; // past the short cooldown of every corrected window
    worker->drain();
    EXPECT_EQ(worker->cooldownCount(), 1u);

    permit->setActive(false);
    worker->receive();
    EXPECT_FALSE(worker->isPending()) << "an inactive permit ignores changes";
    worker->configure({}, false, false);
    EXPECT_EQ(worker->cooldownCount(), 0u);
}

} // namespace
} // namespace wharf
