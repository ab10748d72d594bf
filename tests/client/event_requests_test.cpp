// Acquisition, release, notification and rules of the event API: what each call puts into the
// parcel, what it returns, and the trace markers of acquire and release.

#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>

#include "QarEventApi.h"
#include "support/LogCapture.h"
#include "support/QarHal.h"
#include "support/ServiceEnv.h"
#include "support/TraceCapture.h"

namespace qartest {
namespace {

using QarClient::Resource;
constexpr char kTag[] = "[QAR_CLIENT]";

JorvRequestData entry(int32_t id, std::optional<std::string> value = std::nullopt,
                      int32_t intValue = 0) {
    JorvRequestData data;
    data.id = id;
    data.intValue = intValue;
    data.value = std::move(value);
    return data;
}

class EventRequestTest : public ::testing::Test {
protected:
    void SetUp() override {
        env.declare();
        fake = env.publish();
    }
    JorvRequestParcel onlyParcel(const std::string& op) {
        auto calls = fake->callsOf(op);
        EXPECT_EQ(calls.size(), 1u) << op;
        return calls.empty() ? JorvRequestParcel{} : *calls.front().parcel;
    }

    ServiceEnv env;
    std::shared_ptr<FakeJorv> fake;
    const std::vector<Resource> resources = {{5, "1"}, {6, std::nullopt}};
};

TEST_F(EventRequestTest, AcquisitionParcels) {
    struct Case {
        const char* name;
        std::function<int32_t()> call;
        int32_t requestType;
        std::vector<JorvRequestData> data;
        std::string pkg;
    };
    const std::vector<Case> cases = {
            {"event",
             [&] { return QarEventAcquire(7, "pkg", "who", -1, resources); },
             8,
             {entry(7), entry(5, "1"), entry(6)},
             "pkg"},
            {"event 0, no resources",
             [&] { return QarEventAcquire(0, "pkg", "who", -1, {}); },
             8,
             {entry(0)},
             "pkg"},
            {"resources",
             [&] { return QarEventAcquire(-2, "pkg", "who", -1, resources); },
             1,
             {entry(5, "1"), entry(6)},
             "pkg"},
            {"platform resources",
             [&] { return QarEventAcquire(-3, "pkg", "who", -1, resources); },
             12,
             {entry(5, "1"), entry(6)},
             "pkg"},
            {"QarResAcquire",
             [&] { return QarResAcquire(resources, 99, "who", -1); },
             1,
             {entry(5, "1"), entry(6)},
             ""},
            {"QarPlatformResAcquire",
             [&] { return QarPlatformResAcquire(resources, 99, "who", "pkg", -1); },
             12,
             {entry(5, "1"), entry(6)},
             "pkg"},
    };
    for (const Case& c : cases) {
        fake->clearCalls();
        fake->enqueue("request", Answer::ok(321));
        EXPECT_EQ(c.call(), 321) << c.name;
        JorvRequestParcel expected;
        expected.requestType = c.requestType;
        expected.dataList = c.data;
        expected.param1 = -1;
        expected.text1 = c.pkg;
        expected.text2 = "who";
        EXPECT_EQ(onlyParcel("request"), expected) << c.name;
    }
}

TEST_F(EventRequestTest, EmptyTextsAreSentEmptyButLoggedAsNone) {
    LogCapture log;
    EXPECT_EQ(QarEventAcquire(3, "", "", 10, {}), 1);
    EXPECT_EQ(
            log.count(ANDROID_LOG_INFO, kTag, "QarEventAcquire, cmdid:3, pkg:none, identity:none"),
            1u);
    const JorvRequestParcel parcel = onlyParcel("request");
    EXPECT_EQ(parcel.text1, std::optional<std::string>(""));
    EXPECT_EQ(parcel.text2, std::optional<std::string>(""));
}

TEST_F(EventRequestTest, FailedAcquisitionDropsTheConnection) {
    fake->enqueue("request", Answer::serviceSpecific(5));
    LogCapture log;
    EXPECT_EQ(QarEventAcquire(3, "p", "i", 10, {}), -1);
    const std::vector<LogLine> errors = {
            {ANDROID_LOG_ERROR, kTag, "QarEventAcquire() failed : jorv HAL service not available"},
            {ANDROID_LOG_ERROR, kTag, "jorvResCtlRequest error:-1"}};
    const std::vector<LogLine> lines = log.lines();
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(std::vector<LogLine>(lines.end() - 2, lines.end()), errors);
    EXPECT_FALSE(qarHalConnected());
}

TEST_F(EventRequestTest, OneWayCarriesItsHandleAndCaller) {
    LogCapture log;
    const int32_t handle = QarEventAcquireOneWay(7, "pkg", "who", 30, resources);
    ASSERT_GE(handle, 0);
    ASSERT_TRUE(fake->waitForCalls(1));
    JorvRequestParcel expected;
    expected.requestType = 8;
    expected.dataList = {entry(7), entry(5, "1"), entry(6)};
    expected.param0 = handle;
    expected.param1 = 30;
    expected.param5 = getpid();
    expected.text1 = "pkg";
    expected.text2 = "who";
    EXPECT_EQ(onlyParcel("requestOneWay"), expected);
    EXPECT_EQ(log.count(ANDROID_LOG_DEBUG, kTag, "QarEventAcquireOneWay res_Id:5 ,res_Value:1, "),
              1u);
}

TEST_F(EventRequestTest, FailedOneWaySendStillReturnsTheHandle) {
    // Larger than a transaction may be: the send fails on this side.
    const std::string huge(17 * 1024 * 1024, 'x');
    LogCapture log;
    const int32_t handle = QarEventAcquireOneWay(7, huge, "who", 30, {});
    ASSERT_GE(handle, 0);
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kTag,
                        "QarEventAcquireOneWay() failed : jorv HAL service not available"),
              1u);
    EXPECT_EQ(
            log.count(ANDROID_LOG_ERROR, kTag, "jorvResCtlRequest error:" + std::to_string(handle)),
            1u);
    EXPECT_FALSE(qarHalConnected());
}

TEST_F(EventRequestTest, ReleaseNotifyRulesAndSysInfo) {
    fake->enqueue("release", Answer::ok(-7));  // the release's answer is not used
    QarRelease(-5);
    ASSERT_EQ(fake->callsOf("release").size(), 1u);
    EXPECT_EQ(fake->callsOf("release")[0].ints, std::vector<int32_t>{-5});

    struct NotifyCase {
        std::vector<int32_t> values;
        size_t entries;
    };
    for (const NotifyCase& c : {NotifyCase{{}, 1}, NotifyCase{{10, 20, 30}, 3}}) {
        fake->clearCalls();
        fake->enqueue("request", Answer::ok(12));
        EXPECT_EQ(QarNotify(4, 9, c.values), 12);
        JorvRequestParcel expected;
        expected.requestType = 10;
        // The values themselves deliberately do not travel: only their number does.
        expected.dataList.assign(c.entries, entry(4, std::nullopt, 9));
        EXPECT_EQ(onlyParcel("request"), expected) << c.entries;
    }

    fake->enqueue("ruleCtl", Answer::ok(8));
    EXPECT_EQ(qarRuleCtl(102, 1, resources), 8);
    const Call rule = fake->callsOf("ruleCtl").at(0);
    EXPECT_EQ(rule.ints, (std::vector<int32_t>{102, 1}));
    EXPECT_EQ(rule.data, (std::vector<JorvRequestData>{entry(5, "1"), entry(6)}));

    fake->enqueue("setRelatedSysInfo", Answer::ok(3));
    EXPECT_EQ(setRelatedSysInfo(2, "info"), 3);
    EXPECT_EQ(fake->callsOf("setRelatedSysInfo").at(0).strings, std::vector<std::string>{"info"});
}

TEST_F(EventRequestTest, FailuresReturnMinusOneUnderTheirOwnName) {
    struct Case {
        const char* op;
        const char* name;
        std::function<int32_t()> call;
    };
    const std::vector<Case> cases = {
            {"release", "jorvResCtlRelease",
             [] {
                 QarRelease(1);
                 return -1;
             }},
            {"request", "QarNotify", [] { return QarNotify(1, 2, {}); }},
            {"ruleCtl", "qarRuleCtl", [&] { return qarRuleCtl(8, 0, resources); }},
            {"setRelatedSysInfo", "setRelatedSysInfo", [] { return setRelatedSysInfo(1, ""); }},
    };
    for (const Case& c : cases) {
        fake->enqueue(c.op, Answer::exception(EX_UNSUPPORTED_OPERATION));
        LogCapture log;
        EXPECT_EQ(c.call(), -1) << c.name;
        EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kTag,
                            std::string(c.name) + "() failed : jorv HAL service not available"),
                  1u);
        EXPECT_FALSE(qarHalConnected()) << c.name;
    }
}

TEST_F(EventRequestTest, TraceMarkersOnlyWithTagZero) {
    const std::string longPkg(2000, 'p');
    {
        TraceCapture trace(1u << 0);
        QarEventAcquire(5, "p", "", 10, {});
        QarRelease(9);
        QarEventAcquireOneWay(5, longPkg, "i", 10, {});
        const std::vector<std::string> events = trace.events();
        ASSERT_EQ(events.size(), 6u);
        EXPECT_EQ(events[0], "B|QarEventAcquire  cmd_id:5 pkg:p identity:none duration:10");
        EXPECT_EQ(events[2], "B|QarRelease: 9");
        const std::string cut = ("QarEventAcquireOneWay  cmd_id:5 pkg:" + longPkg).substr(0, 1023);
        EXPECT_EQ(events[4], "B|" + cut);
        for (size_t i = 1; i < events.size(); i += 2) EXPECT_EQ(events[i], "E");
    }
    TraceCapture trace(~uint64_t{1});
    QarEventAcquire(5, "p", "", 10, {});
    QarRelease(9);
    EXPECT_TRUE(trace.events().empty());
}

}  // namespace
}  // namespace qartest
