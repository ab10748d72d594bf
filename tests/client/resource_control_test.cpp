// Resource and scene-action requests against a service: which argument lands in which parcel field,
// what an invalid list sends, and the releases.

#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "JorvHalclient.h"
#include "support/FakeServiceTest.h"

namespace qartest {
namespace {

class ResourceControlTest : public FakeServiceTest {
protected:
    JorvRequestParcel onlyRequest() {
        EXPECT_EQ(fake->callsOf("request").size(), 1u);
        return lastParcel("request");
    }
};

// A whole request parcel: the scalars, `data`, and nothing else set.
JorvRequestParcel sent(int32_t type, int32_t param0, int64_t param1, int32_t param3, bool flag,
                       int32_t param5, std::vector<JorvRequestData> data) {
    JorvRequestParcel parcel;
    parcel.requestType = type;
    parcel.param0 = param0;
    parcel.param1 = param1;
    parcel.param3 = param3;
    parcel.flag = flag;
    parcel.param5 = param5;
    parcel.dataList = std::move(data);
    return parcel;
}

// Every overload of the resource and scene-action requests: which argument lands in which field.
// Absent values stay absent.
TEST_F(ResourceControlTest, OverloadsFillParcelFields) {
    using namespace jorvHalclient;
    static ResourceList r = {{0x40C00000, "1500"}, {0, std::nullopt}, {3, "a,b"}};
    const std::vector<JorvRequestData> data = {entry(0x40C00000, "1500"), entry(0),
                                               entry(3, "a,b")};
    const std::vector<std::pair<std::function<int()>, JorvRequestParcel>> cases = {
            {[] { return jorvResCtlRequest(10, r, 50); }, sent(1, -1, 10, -1, false, 50, data)},
            {[] { return jorvResCtlRequest(10, r, 1, 50); }, sent(1, -1, 10, -1, true, 50, data)},
            {[] { return jorvResCtlRequest(10, r, 3, 0, 50); },
             sent(1, -1, 10, 3, false, 50, data)},
            {[] { return jorvResCtlRequest(7, 10, r, 50); }, sent(1, 7, 10, -1, false, 50, data)},
            {[] { return jorvResCtlRequest(7, 10, r, 5, 50); }, sent(1, 7, 10, -1, true, 50, data)},
            {[] { return jorvResCtlRequest(7, -1, r, 3, -4, 50); },
             sent(1, 7, -1, 3, false, 50, data)},
            {[] { return jorvResCtlRequest(INT32_MIN, INT32_MIN, r, 0, 1, -1); },
             sent(1, INT32_MIN, INT32_MIN, 0, true, -1, data)},
            {[] { return jorvSACtlRequest(11, 4, 99); },
             sent(2, -1, 11, -1, false, 99, {entry(4)})},
            {[] { return jorvSACtlRequest(1, 2, 3, 4, 5, 6); },
             sent(2, 1, 2, 4, true, 6, {entry(3)})},
    };
    for (size_t i = 0; i < cases.size(); ++i) {
        fake->clearCalls();
        fake->enqueue("request", Answer::ok(77));
        EXPECT_EQ(cases[i].first(), 77) << "case " << i;
        EXPECT_EQ(onlyRequest(), cases[i].second) << "case " << i;
    }
}

TEST_F(ResourceControlTest, EmptyListIsSent) {
    ResourceList empty;
    fake->enqueue("request", Answer::ok(5));
    EXPECT_EQ(jorvHalclient::jorvResCtlRequest(3, empty, 4), 5);
    EXPECT_TRUE(onlyRequest().dataList.empty());
}

TEST_F(ResourceControlTest, InvalidListSendsNothing) {
    ResourceList invalid = {{7, std::nullopt}};
    EXPECT_EQ(jorvHalclient::jorvResCtlRequest(3, invalid, 4), -1);
    EXPECT_TRUE(fake->callsOf("request").empty());
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kTag,
                        "jorvResCtlRequest ERROR: size unmatched for id and value "),
              1u);
}

TEST_F(ResourceControlTest, ReleasesPassHandleAndResult) {
    fake->enqueue("release", Answer::ok(0));
    fake->enqueue("release", Answer::ok(-22));
    EXPECT_EQ(jorvHalclient::jorvResCtlRelease(41), 0);
    EXPECT_EQ(jorvHalclient::jorvSACtlRelease(42), -22);
    const auto calls = fake->callsOf("release");
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].ints, std::vector<int32_t>{41});
    EXPECT_EQ(calls[1].ints, std::vector<int32_t>{42});
}

TEST_F(ResourceControlTest, EntryLinesAndOrder) {
    ResourceList empty;
    jorvHalclient::jorvResCtlRequest(1, empty, 2);
    jorvHalclient::jorvSACtlRequest(1, 2, 3);
    jorvHalclient::jorvResCtlRelease(1);
    jorvHalclient::jorvSACtlRelease(1);
    const std::vector<LogLine> expected = {
            {ANDROID_LOG_INFO, kTag, "jorv client jorvResCtlRequest"},
            {ANDROID_LOG_INFO, kTag, "jorv client jorvSACtlRequest"},
            {ANDROID_LOG_INFO, kTag, "jorv client jorvResCtlRelease"},
            {ANDROID_LOG_INFO, kTag, "jorv client jorvSACtlRelease"},
    };
    EXPECT_EQ(log.linesWithTag(kTag), expected);
}

}  // namespace
}  // namespace qartest
