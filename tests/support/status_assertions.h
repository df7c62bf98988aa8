#pragma once

#include "platform/result.h"

#include <gtest/gtest.h>

#include <optional>
#include <ostream>

namespace wharf {

inline void PrintTo(const Error& error, std::ostream* out) { *out << '"' << error.message.toStdString() << '"'; }

// A Status that must have succeeded; a failure shows its message.
inline testing::AssertionResult succeeded(const Status& status)
{
    if (status.ok())
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "failed: " << status.error().message.toStdString();
}

} // namespace wharf

#define EXPECT_SUCCESS(status) EXPECT_TRUE(::wharf::succeeded(status))
#define ASSERT_SUCCESS(status) ASSERT_TRUE(::wharf::succeeded(status))
