// Client-made handles: never negative except for the failure value, and the failure reported.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <set>

#include "QarEventApi.h"
#include "support/LogCapture.h"

namespace qartest {
namespace {

TEST(RandomHandleTest, NonNegativeVariedAndMinusOneWhenUnreadable) {
    std::set<int32_t> seen;
    for (int i = 0; i < 256; ++i) seen.insert(qarGetRandomHandle());
    EXPECT_GE(*seen.begin(), 0);
    EXPECT_GT(seen.size(), 200u);

    // With no descriptor left to hand out, the device cannot be opened.
    rlimit saved{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &saved), 0);
    rlimit none = saved;
    none.rlim_cur = 0;
    LogCapture log;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const int32_t handle = qarGetRandomHandle();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &saved), 0);
    EXPECT_EQ(handle, -1);
    const std::vector<LogLine> expected = {
            {ANDROID_LOG_ERROR, "[QAR_CLIENT]", "qarClient open /dev/urandom failed: fd(-1) \n"}};
    EXPECT_EQ(log.lines(), expected);
}

}  // namespace
}  // namespace qartest
