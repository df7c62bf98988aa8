// The in-between sizes' cache: a sweep over more icons than fit keeps what it is using.
#include "dock/dock_image_cache.h"

#include <gtest/gtest.h>

namespace wharf::test {
namespace {

using Cache = DockImageCache<int>;
using namespace std::chrono_literals;

QImage imageOf(qsizetype bytes) { return QImage(int(bytes / 4), 1, QImage::Format_ARGB32_Premultiplied); }

TEST(DockImageCache, ImagesInUseAreNeverPushedOutAndIdleOnesMakeRoom)
{
    const Cache::Clock::time_point t0;
    Cache cache(4000, 5s);
    for (int key = 0; key < 4; ++key)
        ASSERT_NE(cache.insert(key, imageOf(1000), t0), nullptr);

    // Full, and everything was used just now: the new image is refused, the old ones stay.
    EXPECT_EQ(cache.insert(4, imageOf(1000), t0 + 1s), nullptr);
    for (int key = 0; key < 4; ++key)
        EXPECT_NE(cache.find(key, t0 + 2s), nullptr) << key;
    EXPECT_EQ(cache.usedBytes(), 4000);

    // Keys 0 and 1 go idle; only as much as the new image needs is freed, the longest idle first.
    ASSERT_NE(cache.find(1, t0 + 3s), nullptr);
    for (int key : {2, 3})
        ASSERT_NE(cache.find(key, t0 + 6s), nullptr);
    EXPECT_EQ(cache.insert(5, imageOf(1000), t0 + 6s), nullptr) << "nothing has idled five seconds yet";
    ASSERT_NE(cache.insert(5, imageOf(1000), t0 + 8s), nullptr);
    EXPECT_EQ(cache.find(0, t0 + 8s), nullptr);
    EXPECT_NE(cache.find(1, t0 + 8s), nullptr);
    EXPECT_EQ(cache.usedBytes(), 4000);

    // An image larger than the whole budget is never kept, and pushes nothing out.
    EXPECT_EQ(cache.insert(6, imageOf(8000), t0 + 60s), nullptr);
    EXPECT_EQ(cache.usedBytes(), 4000);
    cache.removeIf([](int key) { return key != 5; });
    EXPECT_EQ(cache.usedBytes(), 1000);
}

} // namespace
} // namespace wharf::test
