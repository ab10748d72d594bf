// One-way acquisition, which makes its handle on this side, and the trace markers of acquire and
// release.

#include <unistd.h>

#include <atomic>

#include "QarEventApi.h"
#include "support/FakeServiceTest.h"

// Debian's libcutils never traces. These definitions take precedence over its own, so that the
// markers the library emits through <cutils/trace.h> can be seen. Only the test thread traces.
namespace {
std::atomic<uint64_t> gTraceTags{0};
std::vector<std::string> gTraceEvents;
}  // namespace

extern "C" uint64_t atrace_get_enabled_tags() {
    return gTraceTags;
}
extern "C" void atrace_begin_body(const char* name) {
    gTraceEvents.push_back(std::string("B|") + name);
}
extern "C" void atrace_end_body() {
    gTraceEvents.push_back("E");
}

namespace qartest {
namespace {

TEST_F(FakeServiceTest, OneWayCarriesItsHandleAndCaller) {
    const int32_t handle = QarEventAcquireOneWay(7, "p", "i", 30, {{5, "1"}, {6, std::nullopt}});
    ASSERT_GT(handle, 0);
    ASSERT_TRUE(fake->waitForCalls(1));
    EXPECT_EQ(lastSent(), "requestOneWay type=8 p0=" + std::to_string(handle) + " p1=30 p5=" +
                                  std::to_string(getpid()) + " [7] [5=1] [6] text1=p text2=i");
    EXPECT_EQ(logged(ANDROID_LOG_DEBUG, "QarEventAcquireOneWay res_Id:5 ,res_Value:1, "), 1u);

    // Larger than a transaction may be: the send fails on this side, the handle is returned all
    // the same.
    const int32_t unsent = QarEventAcquireOneWay(7, std::string(17 << 20, 'x'), "i", 30, {});
    ASSERT_GE(unsent, 0);
    EXPECT_EQ(logged(ANDROID_LOG_ERROR,
                     "QarEventAcquireOneWay() failed : jorv HAL service not available"),
              1u);
    EXPECT_EQ(logged(ANDROID_LOG_ERROR, "jorvResCtlRequest error:" + std::to_string(unsent)), 1u);
    EXPECT_FALSE(qarHalConnected());
}

TEST_F(FakeServiceTest, TraceMarkersOnlyWithTagZero) {
    const std::string longPkg(2000, 'p');
    gTraceTags = ~uint64_t{1};
    QarEventAcquire(5, "p", "", 10, {});
    QarRelease(9);
    EXPECT_TRUE(gTraceEvents.empty());

    gTraceTags = 1;
    QarEventAcquire(5, "p", "", 10, {});
    QarRelease(9);
    QarEventAcquireOneWay(5, longPkg, "i", 10, {});
    const std::vector<std::string> expected = {
            "B|QarEventAcquire  cmd_id:5 pkg:p identity:none duration:10",
            "E",
            "B|QarRelease: 9",
            "E",
            "B|" + ("QarEventAcquireOneWay  cmd_id:5 pkg:" + longPkg).substr(0, 1023),
            "E"};
    EXPECT_EQ(gTraceEvents, expected);
}

}  // namespace
}  // namespace qartest
