// The queries: what each sends, how each reads the answer, and the exceptions that some of them
// deliberately let escape.

#include <stdexcept>
#include <tuple>

#include "QarEventApi.h"
#include "support/FakeServiceTest.h"

namespace qartest {
namespace {

constexpr int32_t kPowerId = 0x1011670;

using EventQueryTest = EventApiTest;

TEST_F(EventQueryTest, MultiResourceTakesTheFirstAnswerWithAValue) {
    std::vector<Resource> res = {{1, ""}, {2, std::nullopt}, {3, "old"}, {1, std::nullopt}};
    answer({entry(1, "a"), entry(3), entry(1, "b")});
    EXPECT_EQ(QarMutiResStateRequest(res), 2);
    EXPECT_EQ(res[0].value, Text("a"));
    EXPECT_EQ(res[1].value, std::nullopt) << "unanswered";
    EXPECT_EQ(res[2].value, Text("old")) << "answered without a value";
    EXPECT_EQ(res[3].value, Text("a")) << "the first answer again";
    EXPECT_EQ(logged(ANDROID_LOG_INFO, "not match any opcode in qarcore"), 1u);
    JorvRequestParcel expected;  // request type 0
    expected.dataList = {entry(1, ""), entry(2), entry(3, "old"), entry(1)};
    EXPECT_EQ(lastParcel("stateRequest"), expected);

    std::vector<Resource> none;
    EXPECT_EQ(QarMutiResStateRequest(none), -1);
    EXPECT_EQ(logged(ANDROID_LOG_ERROR, "input resource is empty, return"), 1u);
    answer({});
    EXPECT_EQ(QarMutiResStateRequest(res), -1);
    EXPECT_EQ(logged(ANDROID_LOG_ERROR, "failed to get resource value"), 1u);
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
    for (const char* value : {"0 1 35", "1 1 35", "2 1 35"}) {
        expected.dataList.push_back(entry(kPowerId, value));
    }
    expected.text1 = "none";
    EXPECT_EQ(lastParcel("stateRequest"), expected);
}

TEST_F(EventQueryTest, HistoryJoinsTheExtraTexts) {
    std::string out = "before";
    answer({});
    EXPECT_EQ(QarGetHistory(out), -1);
    EXPECT_EQ(out, "before");
    EXPECT_EQ(logged(ANDROID_LOG_ERROR,
                     "failed to get history or return vector empty, data vector size 0"),
              1u);
    std::vector<JorvRequestData> history = {entry(0, "v"), entry(0), entry(0, "v")};
    history[0].extra = "a";
    history[1].extra = "b";
    answer(history);
    EXPECT_EQ(QarGetHistory(out), 0);
    EXPECT_EQ(out, "start:a;b;none;end");
    EXPECT_EQ(lastParcel("stateRequest").requestType, 11);
}

TEST_F(EventQueryTest, NumbersAreParsedInBaseTen) {
    const std::vector<std::tuple<std::string, int32_t, std::string>> cases = {
            {" 42x", 42, ""},
            {"-0017", -17, ""},
            {"abc", -1, "Invalid argument exception: stoi\n"},
            {"99999999999", -1, "Out of range exception: stoi\n"},
    };
    for (const auto& [value, result, printed] : cases) {
        answer({entry(4, value)});
        ::testing::internal::CaptureStdout();
        EXPECT_EQ(QarGetPMStatus(4), result) << value;
        EXPECT_EQ(::testing::internal::GetCapturedStdout(), printed);
    }
    EXPECT_EQ(lastParcel("stateRequest").requestType, 13);
    EXPECT_EQ(lastParcel("stateRequest").dataList, std::vector<JorvRequestData>{entry(4)});
    answer({});
    EXPECT_EQ(QarGetPMStatus(4), -1);
    EXPECT_EQ(logged(ANDROID_LOG_ERROR,
                     "failed to get power mode status, mode 4, data vector size 0"),
              1u);

    for (size_t n : {0u, 1u, 2u}) {
        answer(std::vector<JorvRequestData>(n, entry(3, "7")));
        EXPECT_EQ(QarGetFeatureStatus(3), n == 1 ? 7 : -1) << n;
        EXPECT_EQ(logged(ANDROID_LOG_ERROR, "failed to get resource value, " + std::to_string(n)),
                  n == 1 ? 0u : 1u);
    }
    EXPECT_EQ(lastParcel("stateRequest").requestType, 17);
    EXPECT_EQ(lastParcel("stateRequest").dataList, std::vector<JorvRequestData>{entry(3)});
}

TEST_F(EventQueryTest, DataSetIsAppended) {
    std::vector<Resource> out = {{1, "x"}, {2, "y"}};
    answer({entry(3, "a"), entry(4, ""), entry(5, "c")});
    EXPECT_EQ(Qar_fetch_dataset(out), 5);
    ASSERT_EQ(out.size(), 5u);
    EXPECT_EQ(out[1].value, Text("y"));
    EXPECT_EQ(out[3].id, 4);
    EXPECT_EQ(out[3].value, Text(""));
    EXPECT_EQ(lastParcel("stateRequest").requestType, 16);
}

TEST_F(EventQueryTest, MissingOrUnparsableAnswersEscapeAsExceptions) {
    std::vector<Resource> out = {{1, "x"}};
    answer({entry(3, "a"), entry(4)});
    EXPECT_THROW(Qar_fetch_dataset(out), std::bad_optional_access);
    EXPECT_EQ(out.size(), 1u);
    answer({entry(4)});
    EXPECT_THROW(QarGetPMStatus(4), std::bad_optional_access);
    answer({entry(3, "on")});
    EXPECT_THROW(QarGetFeatureStatus(3), std::invalid_argument);
    answer({entry(kPowerId)});
    EXPECT_THROW(QarGetPowerConsis(), std::bad_optional_access);
    answer({entry(kPowerId, "n/a")});
    std::string text;
    EXPECT_THROW(QarResStateRequest(kPowerId, text), std::invalid_argument);

    // The power query ignores a failed status and keeps the connection; with no answer to parse,
    // the failure shows as an exception only.
    const auto before = env.lookups();
    fake->enqueue("stateRequest", Answer::exception(EX_ILLEGAL_STATE));
    EXPECT_THROW(QarGetPowerConsis(), std::invalid_argument);
    answer({entry(kPowerId, "5")});
    EXPECT_EQ(QarGetPowerConsis(), 5);
    EXPECT_EQ(env.lookups().checkService, before.checkService);
}

}  // namespace
}  // namespace qartest
