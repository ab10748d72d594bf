// The event API's queries: what each sends, how each reads the answer, and the exceptions that some
// of them let escape.

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <stdexcept>

#include "QarEventApi.h"
#include "support/LogCapture.h"
#include "support/ServiceEnv.h"

namespace qartest {
namespace {

using QarClient::Resource;
constexpr char kTag[] = "[QAR_CLIENT]";
constexpr int32_t kPowerId = 0x1011670;

JorvRequestData entry(int32_t id, std::optional<std::string> value = std::nullopt,
                      std::optional<std::string> extra = std::nullopt) {
    JorvRequestData data;
    data.id = id;
    data.value = std::move(value);
    data.extra = std::move(extra);
    return data;
}

class EventQueryTest : public ::testing::Test {
protected:
    void SetUp() override {
        env.declare();
        fake = env.publish();
    }
    void answer(std::vector<JorvRequestData> data) {
        fake->enqueue("stateRequest", Answer::okData(std::move(data)));
    }
    JorvRequestParcel lastParcel() {
        auto calls = fake->callsOf("stateRequest");
        EXPECT_FALSE(calls.empty());
        return calls.empty() ? JorvRequestParcel{} : *calls.back().parcel;
    }

    ServiceEnv env;
    std::shared_ptr<FakeJorv> fake;
};

TEST_F(EventQueryTest, MultiResourceTakesTheFirstAnswerWithAValue) {
    std::vector<Resource> resources = {{1, ""}, {2, std::nullopt}, {3, "old"}, {1, std::nullopt}};
    answer({entry(1, "a"), entry(3), entry(1, "b")});
    LogCapture log;
    EXPECT_EQ(QarMutiResStateRequest(resources), 2);
    EXPECT_EQ(resources[0].value, std::optional<std::string>("a"));
    EXPECT_EQ(resources[1].value, std::nullopt);
    EXPECT_EQ(resources[2].value, std::optional<std::string>("old")) << "valueless answer";
    EXPECT_EQ(resources[3].value, std::optional<std::string>("a")) << "first match again";
    EXPECT_EQ(log.count(ANDROID_LOG_INFO, kTag, "not match any opcode in qarcore"), 1u);
    JorvRequestParcel expected;  // request type 0
    expected.dataList = {entry(1, ""), entry(2), entry(3, "old"), entry(1)};
    EXPECT_EQ(lastParcel(), expected);

    std::vector<Resource> none;
    EXPECT_EQ(QarMutiResStateRequest(none), -1);
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kTag, "input resource is empty, return"), 1u);
    answer({});
    EXPECT_EQ(QarMutiResStateRequest(resources), -1);
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kTag, "failed to get resource value"), 1u);
}

TEST_F(EventQueryTest, SingleResourceAndThePowerShortcut) {
    std::string out = "unchanged";
    answer({entry(9)});
    QarResStateRequest(9, out);
    EXPECT_EQ(out, "unchanged");
    answer({entry(9, "77")});
    QarResStateRequest(9, out);
    EXPECT_EQ(out, "77");

    answer({entry(kPowerId, " 123 mW")});
    QarResStateRequest(kPowerId, out);
    EXPECT_EQ(out, "123");
    JorvRequestParcel expected;
    expected.requestType = 15;
    expected.dataList = {entry(kPowerId, "0 1 35"), entry(kPowerId, "1 1 35"),
                         entry(kPowerId, "2 1 35")};
    expected.text1 = "none";
    EXPECT_EQ(lastParcel(), expected);
}

TEST_F(EventQueryTest, History) {
    struct Case {
        std::vector<JorvRequestData> reply;
        int32_t result;
        std::string out;
    };
    const std::vector<Case> cases = {
            {{entry(0, "v", "a"), entry(0, std::nullopt, "b"), entry(0, "v", "c")},
             0,
             "start:a;b;c;end"},
            {{entry(0, "v")}, 0, "start:none;end"},
            {{}, -1, "before"},
    };
    for (const Case& c : cases) {
        answer(c.reply);
        std::string out = "before";
        EXPECT_EQ(QarGetHistory(out), c.result);
        EXPECT_EQ(out, c.out);
    }
    EXPECT_EQ(lastParcel().requestType, 11);
}

TEST_F(EventQueryTest, NumbersAreParsedInBaseTen) {
    struct Case {
        std::optional<std::string> value;
        int32_t result;
        std::string printed;
    };
    const std::vector<Case> cases = {
            {" 42x", 42, ""},
            {"-0017", -17, ""},
            {"abc", -1, "Invalid argument exception: stoi\n"},
            {"99999999999", -1, "Out of range exception: stoi\n"},
    };
    for (const Case& c : cases) {
        answer({entry(4, c.value)});
        ::testing::internal::CaptureStdout();
        EXPECT_EQ(QarGetPMStatus(4), c.result) << *c.value;
        EXPECT_EQ(::testing::internal::GetCapturedStdout(), c.printed);
    }
    JorvRequestParcel expected;
    expected.requestType = 13;
    expected.dataList = {entry(4)};
    EXPECT_EQ(lastParcel(), expected);

    LogCapture log;
    answer({});
    EXPECT_EQ(QarGetPMStatus(4), -1);
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kTag,
                        "failed to get power mode status, mode 4, data vector size 0"),
              1u);
}

TEST_F(EventQueryTest, FeatureStatusWantsExactlyOneAnswer) {
    LogCapture log;
    for (size_t n : {0u, 1u, 2u}) {
        answer(std::vector<JorvRequestData>(n, entry(3, "7")));
        EXPECT_EQ(QarGetFeatureStatus(3), n == 1 ? 7 : -1) << n;
    }
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kTag, "failed to get resource value, 0"), 1u);
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kTag, "failed to get resource value, 2"), 1u);
    EXPECT_EQ(lastParcel().requestType, 17);
    EXPECT_EQ(lastParcel().dataList, std::vector<JorvRequestData>{entry(3)});
}

TEST_F(EventQueryTest, DataSetIsAppended) {
    std::vector<Resource> out = {{1, "x"}, {2, "y"}};
    answer({entry(3, "a"), entry(4, ""), entry(5, "c")});
    EXPECT_EQ(Qar_fetch_dataset(out), 5);
    ASSERT_EQ(out.size(), 5u);
    EXPECT_EQ(out[1].value, std::optional<std::string>("y"));
    EXPECT_EQ(out[3].id, 4);
    EXPECT_EQ(out[3].value, std::optional<std::string>(""));
    EXPECT_EQ(lastParcel().requestType, 16);
    EXPECT_TRUE(lastParcel().dataList.empty());
}

TEST_F(EventQueryTest, MissingOrUnparsableAnswersEscapeAsExceptions) {
    std::vector<Resource> out = {{1, "x"}};
    answer({entry(3, "a"), entry(4)});
    EXPECT_THROW(Qar_fetch_dataset(out), std::bad_optional_access);
    EXPECT_EQ(out.size(), 1u);

    answer({entry(kPowerId)});
    EXPECT_THROW(QarGetPowerConsis(), std::bad_optional_access);
    answer({entry(kPowerId, "n/a")});
    EXPECT_THROW(QarGetPowerConsis(), std::invalid_argument);
    fake->enqueue("stateRequest", Answer::exception(EX_ILLEGAL_STATE));
    EXPECT_THROW(QarGetPowerConsis(), std::invalid_argument) << "no answer to parse";

    answer({entry(4)});
    EXPECT_THROW(QarGetPMStatus(4), std::bad_optional_access);
    answer({entry(3, "on")});
    EXPECT_THROW(QarGetFeatureStatus(3), std::invalid_argument);
    std::string text;
    answer({entry(kPowerId, "")});
    EXPECT_THROW(QarResStateRequest(kPowerId, text), std::invalid_argument);
}

TEST_F(EventQueryTest, FailedStatusDropsTheConnectionExceptForPower) {
    std::vector<Resource> resources = {{1, ""}};
    std::string text;
    const std::vector<std::pair<const char*, std::function<int32_t()>>> cases = {
            {"QarMutiResStateRequest", [&] { return QarMutiResStateRequest(resources); }},
            {"QarGetHistory", [&] { return QarGetHistory(text); }},
            {"QarGetPMStatus", [] { return QarGetPMStatus(1); }},
            {"Qar_fetch_dataset", [&] { return Qar_fetch_dataset(resources); }},
            {"QarGetFeatureStatus", [] { return QarGetFeatureStatus(1); }},
    };
    for (const auto& [name, call] : cases) {
        fake->enqueue("stateRequest", Answer::serviceSpecific(1));
        LogCapture log;
        EXPECT_EQ(call(), -1) << name;
        EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kTag,
                            std::string(name) + "() failed : jorv HAL service not available"),
                  1u);
    }
    ASSERT_EQ(qarInit(), 0);
    const auto before = env.lookups();
    fake->enqueue("stateRequest", Answer::transport(STATUS_UNKNOWN_ERROR));
    answer({entry(kPowerId, "5")});
    EXPECT_THROW(QarGetPowerConsis(), std::invalid_argument);
    EXPECT_EQ(QarGetPowerConsis(), 5);
    EXPECT_EQ(env.lookups().checkService, before.checkService);
}

}  // namespace
}  // namespace qartest
