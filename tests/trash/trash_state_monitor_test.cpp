// The monitor on its own thread with real file-system watches; intervals are injected.
#include "trash/trash_state_monitor.h"

#include "support/wait_for.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>

namespace wharf {
namespace {

using namespace std::chrono_literals;

// Lets the loop run for a while, for checks that nothing more happens.
void settle(int ms) { waitFor([] { return false; }, ms); }

struct Fixture {
    QTemporaryDir dir;
    QString files = dir.filePath("Trash/files");
    std::atomic<int> scans{0};
    std::vector<TrashState> changes;

    TrashStateMonitor::Options options()
    {
        TrashStateMonitor::Options options;
        options.directories = [this]() -> Result<QStringList> {
            ++scans;
            return QStringList{files};
        };
        options.pollInterval = 1h; // only watches can notice anything
        return options;
    }
};

TEST(TrashStateMonitor, FollowsTheTrashThroughWatchesAlone)
{
    Fixture f;
    TrashStateMonitor monitor(f.options());
    monitor.onChange = [&](TrashState state) { f.changes.push_back(state); };
    monitor.start();
    // The folder does not exist yet: empty, watched through its parent.
    ASSERT_TRUE(waitFor([&] { return monitor.currentState() == TrashState::empty; }));
    EXPECT_EQ(monitor.currentSource(), "filesystem");

    QDir().mkpath(f.files);
    QFile(f.files + "/report.pdf").open(QIODevice::WriteOnly);
    ASSERT_TRUE(waitFor([&] { return monitor.currentState() == TrashState::full; }));

    // The watch was re-created on the new folder: its last item leaving is seen as well.
    QFile::remove(f.files + "/report.pdf");
    ASSERT_TRUE(waitFor([&] { return monitor.currentState() == TrashState::empty; }));
    EXPECT_EQ(f.changes, (std::vector<TrashState>{TrashState::empty, TrashState::full, TrashState::empty}));
}

TEST(TrashStateMonitor, TriggersWithinTheCoalescingIntervalShareOneScan)
{
    Fixture f;
    auto options = f.options();
    options.coalescing = 300ms;
    TrashStateMonitor monitor(options);
    monitor.start();
    ASSERT_TRUE(waitFor([&] { return f.scans == 1; }));
    for (int i = 0; i < 20; ++i)
        monitor.refresh();
    ASSERT_TRUE(waitFor([&] { return f.scans == 2; }));
    settle(600);
    EXPECT_EQ(f.scans, 2);
}

TEST(TrashStateMonitor, PollsOnlyWhileAFolderHasNoLiveWatch)
{
    for (const bool watchable : {true, false}) {
        SCOPED_TRACE(watchable ? "every folder watched" : "no watch possible");
        Fixture f;
        auto options = f.options();
        options.pollInterval = 20ms;
        options.coalescing = 1ms;
        options.watchable = [watchable](const QString&) { return watchable; };
        TrashStateMonitor monitor(options);
        monitor.start();
        if (watchable) {
            ASSERT_TRUE(waitFor([&] { return f.scans == 1; }));
            settle(300);
            EXPECT_EQ(f.scans, 1) << "an idle, fully watched Trash wakes nothing";
        } else {
            EXPECT_TRUE(waitFor([&] { return f.scans >= 4; }));
        }
    }
}

TEST(TrashStateMonitor, UnreadableLocationsAreUnknownAndASourceChangeAloneIsNoChange)
{
    Fixture f;
    auto options = f.options();
    options.directories = [] { return Result<QStringList>(Error{"no mount table"}); };
    TrashStateMonitor monitor(options);
    monitor.onChange = [&](TrashState state) { f.changes.push_back(state); };
    monitor.start();
    ASSERT_TRUE(waitFor([&] { return monitor.currentSource() == "filesystem unavailable"; }));
    EXPECT_EQ(monitor.currentState(), TrashState::unknown);
    EXPECT_TRUE(f.changes.empty());
}

} // namespace
} // namespace wharf
