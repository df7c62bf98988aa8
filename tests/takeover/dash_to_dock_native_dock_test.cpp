#include "platform/x11/dash_to_dock_native_dock.h"

#include "takeover_test_support.h"

#include <gtest/gtest.h>

namespace wharf {
namespace {

TEST(DashToDockNativeDock, RejectsValuesTheSchemaDoesNotTake)
{
    ASSERT_TRUE(test::dashToDockSchemaAvailable()) << test::missingSchemaHint;
    DashToDockNativeDock dock;
    struct Row {
        const char* name;
        const char* key;
        NativeDockValue value;
    };
    const std::vector<Row> rows{
        {"integer for a boolean", "autohide", {"i", "1"}},
        {"type and text disagree", "autohide", {"b", "1"}},
        {"invalid type string", "show-delay", {"dd(", "1.0"}},
    };
    for (const Row& row : rows) {
        EXPECT_FALSE(dock.accepts(row.key, row.value)) << row.name;
        EXPECT_FALSE(dock.write(row.key, row.value)) << row.name;
    }
}

} // namespace
} // namespace wharf
