// Resource and scene-action requests against a service: which argument lands in which parcel field,
// what an invalid list sends, and what a failed call does to the connection.

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

TEST_F(ResourceControlTest, OverloadsFillParcelFields) {
    struct Expected {
        int32_t param0;
        int64_t param1;
        int32_t param3;
        bool flag;
        int32_t param5;
    };
    struct Case {
        const char* name;
        std::function<int(ResourceList&)> call;
        Expected expected;
    };
    using namespace jorvHalclient;
    const std::vector<Case> cases = {
            {"(a, r, b)",
             [](ResourceList& r) { return jorvResCtlRequest(10, r, 50); },
             {-1, 10, -1, false, 50}},
            {"(a, r, b, c)",
             [](ResourceList& r) { return jorvResCtlRequest(10, r, 1, 50); },
             {-1, 10, -1, true, 50}},
            {"(a, r, b, c, d)",
             [](ResourceList& r) { return jorvResCtlRequest(10, r, 3, 0, 50); },
             {-1, 10, 3, false, 50}},
            {"(a, b, r, c)",
             [](ResourceList& r) { return jorvResCtlRequest(7, 10, r, 50); },
             {7, 10, -1, false, 50}},
            {"(a, b, r, c, d)",
             [](ResourceList& r) { return jorvResCtlRequest(7, 10, r, 5, 50); },
             {7, 10, -1, true, 50}},
            {"base",
             [](ResourceList& r) { return jorvResCtlRequest(7, -1, r, 3, -4, 50); },
             {7, -1, 3, false, 50}},
            {"base, 32-bit extremes",
             [](ResourceList& r) { return jorvResCtlRequest(INT32_MIN, INT32_MIN, r, 0, 1, -1); },
             {INT32_MIN, INT32_MIN, 0, true, -1}},
    };
    for (const Case& c : cases) {
        fake->clearCalls();
        fake->enqueue("request", Answer::ok(77));
        ResourceList resources = {{0x40C00000, "1500"}, {0, std::nullopt}, {3, "a,b"}};
        EXPECT_EQ(c.call(resources), 77) << c.name;
        const JorvRequestParcel parcel = onlyRequest();
        EXPECT_EQ(parcel.requestType, 1) << c.name;
        EXPECT_EQ(parcel.param0, c.expected.param0) << c.name;
        EXPECT_EQ(parcel.param1, c.expected.param1) << c.name;
        EXPECT_EQ(parcel.param3, c.expected.param3) << c.name;
        EXPECT_EQ(parcel.flag, c.expected.flag) << c.name;
        EXPECT_EQ(parcel.param5, c.expected.param5) << c.name;
        ASSERT_EQ(parcel.dataList.size(), 3u) << c.name;
        EXPECT_EQ(parcel.dataList[0].id, 0x40C00000);
        EXPECT_EQ(parcel.dataList[0].value, std::optional<std::string>("1500"));
        EXPECT_EQ(parcel.dataList[1].id, 0);
        EXPECT_FALSE(parcel.dataList[1].value.has_value()) << "absent values stay absent";
        EXPECT_EQ(parcel.dataList[2].value, std::optional<std::string>("a,b"));
        for (const JorvRequestData& data : parcel.dataList) {
            EXPECT_EQ(data.intValue, 0);
            EXPECT_FALSE(data.path.has_value());
            EXPECT_FALSE(data.extra.has_value());
        }
        EXPECT_FALSE(parcel.paths.has_value());
        EXPECT_FALSE(parcel.text1.has_value());
        EXPECT_FALSE(parcel.text2.has_value());
        EXPECT_FALSE(parcel.numbers.has_value());
        EXPECT_EQ(parcel.callback, nullptr);
    }
}

TEST_F(ResourceControlTest, SceneActionOverloads) {
    struct Case {
        const char* name;
        std::function<int()> call;
        int32_t param0, param1, sceneAction, param3, param5;
        bool flag;
    };
    const std::vector<Case> cases = {
            {"(a, s, b)", [] { return jorvHalclient::jorvSACtlRequest(11, 4, 99); }, -1, 11, 4, -1,
             99, false},
            {"base", [] { return jorvHalclient::jorvSACtlRequest(1, 2, 3, 4, 5, 6); }, 1, 2, 3, 4,
             6, true},
    };
    for (const Case& c : cases) {
        fake->clearCalls();
        fake->enqueue("request", Answer::ok(12));
        EXPECT_EQ(c.call(), 12) << c.name;
        const JorvRequestParcel parcel = onlyRequest();
        EXPECT_EQ(parcel.requestType, 2) << c.name;
        EXPECT_EQ(parcel.param0, c.param0) << c.name;
        EXPECT_EQ(parcel.param1, c.param1) << c.name;
        EXPECT_EQ(parcel.param3, c.param3) << c.name;
        EXPECT_EQ(parcel.param5, c.param5) << c.name;
        EXPECT_EQ(parcel.flag, c.flag) << c.name;
        ASSERT_EQ(parcel.dataList.size(), 1u);
        JorvRequestData expected;
        expected.id = c.sceneAction;
        EXPECT_EQ(parcel.dataList[0], expected);
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

// Every kind of failure drops the connection: the next call looks the service up again.
TEST_F(ResourceControlTest, FailedCallsDropTheConnection) {
    struct Case {
        const char* name;
        Answer answer;
        std::function<int()> call;
        const char* failureName;
        int expected;
    };
    static ResourceList empty;
    const std::vector<Case> cases = {
            {"service-specific error on request", Answer::serviceSpecific(3),
             [] { return jorvHalclient::jorvResCtlRequest(1, empty, 2); }, "jorvResCtlRequest", -1},
            {"exception on scene action", Answer::exception(EX_ILLEGAL_STATE),
             [] { return jorvHalclient::jorvSACtlRequest(1, 2, 3); }, "jorvSACtlRequest", -1},
            {"transport failure on release", Answer::transport(STATUS_FAILED_TRANSACTION),
             [] { return jorvHalclient::jorvResCtlRelease(1); }, "jorvResCtlRelease", -1},
    };
    for (const Case& c : cases) {
        std::string op = std::string(c.failureName).find("Release") != std::string::npos
                                 ? "release"
                                 : "request";
        ResourceList warmup;
        ASSERT_NE(jorvHalclient::jorvResCtlRequest(1, warmup, 2), -1);  // connected
        log.clear();
        fake->enqueue(op, c.answer);
        EXPECT_EQ(c.call(), c.expected) << c.name;
        EXPECT_EQ(
                log.count(ANDROID_LOG_ERROR, kTag,
                          std::string(c.failureName) + "() failed: jorv HAL service not available"),
                1u)
                << c.name;
        EXPECT_FALSE(jorvHalConnected()) << c.name;

        const auto before = env.lookups();
        ASSERT_NE(jorvHalclient::jorvResCtlRequest(1, warmup, 2), -1) << c.name;
        const auto after = env.lookups();
        EXPECT_EQ(after.isDeclared - before.isDeclared, 1u) << c.name;
        EXPECT_EQ(after.waitForService - before.waitForService, 1u) << c.name;
    }
}

// A failed reply carries no out-value, so the caller sees the preset whatever the service wrote.
TEST_F(ResourceControlTest, FailedReplyLeavesThePreset) {
    Answer answer = Answer::serviceSpecific(9);
    answer.out = 31;
    fake->enqueue("release", answer);
    EXPECT_EQ(jorvHalclient::jorvResCtlRelease(1), -1);
}

}  // namespace
}  // namespace qartest
