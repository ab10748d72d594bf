// Acquisition, release, notification and rules: the parcel each call sends, its result, the
// connection drop after a failed call, and the trace markers of acquire and release.

#include <unistd.h>

#include <atomic>
#include <functional>
#include <tuple>

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

JorvRequestParcel eventParcel(int32_t type, std::vector<JorvRequestData> data, std::string pkg,
                              std::string identity, int64_t timeout) {
    JorvRequestParcel parcel;
    parcel.requestType = type;
    parcel.dataList = std::move(data);
    parcel.param1 = timeout;
    parcel.text1 = std::move(pkg);
    parcel.text2 = std::move(identity);
    return parcel;
}

class EventRequestTest : public EventApiTest {
protected:
    const std::vector<Resource> res = {{5, "1"}, {6, std::nullopt}};
    const std::vector<JorvRequestData> resData = {entry(5, "1"), entry(6)};
};

TEST_F(EventRequestTest, AcquisitionParcels) {
    const std::vector<std::pair<std::function<int32_t()>, JorvRequestParcel>> cases = {
            {[&] { return QarEventAcquire(7, "p", "i", -1, res); },
             eventParcel(8, {entry(7), entry(5, "1"), entry(6)}, "p", "i", -1)},
            {[&] { return QarEventAcquire(0, "", "", 5, {}); },
             eventParcel(8, {entry(0)}, "", "", 5)},
            {[&] { return QarEventAcquire(-2, "p", "i", 5, res); },
             eventParcel(1, resData, "p", "i", 5)},
            {[&] { return QarEventAcquire(-3, "p", "i", 5, res); },
             eventParcel(12, resData, "p", "i", 5)},
            {[&] { return QarResAcquire(res, 99, "i", 5); }, eventParcel(1, resData, "", "i", 5)},
            {[&] { return QarPlatformResAcquire(res, 99, "i", "p", 5); },
             eventParcel(12, resData, "p", "i", 5)},
    };
    for (size_t i = 0; i < cases.size(); ++i) {
        fake->clearCalls();
        fake->enqueue("request", Answer::ok(321));
        EXPECT_EQ(cases[i].first(), 321) << "case " << i;
        EXPECT_EQ(lastParcel("request"), cases[i].second) << "case " << i;
    }
    QarEventAcquire(3, "", "", 10, {});
    EXPECT_EQ(logged(ANDROID_LOG_INFO, "QarEventAcquire, cmdid:3, pkg:none, identity:none"), 1u);
}

TEST_F(EventRequestTest, OneWayCarriesItsHandleAndCaller) {
    const int32_t handle = QarEventAcquireOneWay(7, "p", "i", 30, res);
    ASSERT_GE(handle, 0);
    ASSERT_TRUE(fake->waitForCalls(1));
    JorvRequestParcel expected = eventParcel(8, {entry(7), entry(5, "1"), entry(6)}, "p", "i", 30);
    expected.param0 = handle;
    expected.param5 = getpid();
    EXPECT_EQ(lastParcel("requestOneWay"), expected);
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

TEST_F(EventRequestTest, ReleaseNotifyRulesAndSysInfo) {
    QarRelease(-5);
    EXPECT_EQ(fake->callsOf("release").at(0).ints, std::vector<int32_t>{-5});

    for (const std::vector<int32_t>& values : {std::vector<int32_t>{}, {10, 20, 30}}) {
        fake->clearCalls();
        EXPECT_EQ(QarNotify(4, 9, values), 1);
        JorvRequestParcel expected;
        expected.requestType = 10;
        // One (a, b) entry per value: the values themselves deliberately do not travel.
        JorvRequestData notify = entry(4);
        notify.intValue = 9;
        expected.dataList.assign(std::max<size_t>(values.size(), 1), notify);
        EXPECT_EQ(lastParcel("request"), expected) << values.size();
    }

    fake->enqueue("ruleCtl", Answer::ok(8));
    EXPECT_EQ(qarRuleCtl(102, 1, res), 8);
    EXPECT_EQ(fake->callsOf("ruleCtl").at(0).ints, (std::vector<int32_t>{102, 1}));
    EXPECT_EQ(fake->callsOf("ruleCtl").at(0).data, resData);

    EXPECT_EQ(setRelatedSysInfo(2, "info"), 1);
    EXPECT_EQ(fake->callsOf("setRelatedSysInfo").at(0).strings, std::vector<std::string>{"info"});
}

TEST_F(EventRequestTest, TraceMarkersOnlyWithTagZero) {
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
