// The state queries of both layers: what each sends, how each reads the answer, and the exceptions
// that some of the event API's deliberately let escape.

#include <stdexcept>
#include <tuple>

#include "JorvHalclient.h"
#include "QarEventApi.h"
#include "support/FakeServiceTest.h"

namespace qartest {
namespace {

constexpr int32_t kPowerId = 0x1011670;

using StateQueryTest = FakeServiceTest;
using Strings = std::vector<std::string>;
using PathMap = std::map<std::string, std::string>;

TEST_F(FakeServiceTest, MultiResourceTakesTheFirstAnswerWithAValue) {
    std::vector<Resource> res = {{1, ""}, {2, std::nullopt}, {3, "old"}, {1, std::nullopt}};
    answer({entry(1, "a"), entry(3), entry(1, "b")});
    EXPECT_EQ(QarMutiResStateRequest(res), 2);
    EXPECT_EQ(res[0].value, Text("a"));
    EXPECT_EQ(res[1].value, std::nullopt) << "unanswered";
    EXPECT_EQ(res[2].value, Text("old")) << "answered without a value";
    EXPECT_EQ(res[3].value, Text("a")) << "the first answer again";
    EXPECT_EQ(logged(ANDROID_LOG_INFO, "not match any opcode in qarcore"), 1u);
    EXPECT_EQ(lastSent(), "stateRequest type=0 [1=] [2] [3=old] [1]");

    std::vector<Resource> none;
    EXPECT_EQ(QarMutiResStateRequest(none), -1);
    EXPECT_EQ(logged(ANDROID_LOG_ERROR, "input resource is empty, return"), 1u);
    answer({});
    EXPECT_EQ(QarMutiResStateRequest(res), -1);
    EXPECT_EQ(logged(ANDROID_LOG_ERROR, "failed to get resource value"), 1u);
}

TEST_F(FakeServiceTest, SingleResourceAndThePowerShortcut) {
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
    const std::string power = " [" + std::to_string(kPowerId) + "=";
    EXPECT_EQ(lastSent(), "stateRequest type=15" + power + "0 1 35]" + power + "1 1 35]" + power +
                                  "2 1 35] text1=none");
}

TEST_F(FakeServiceTest, HistoryJoinsTheExtraTexts) {
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
    EXPECT_EQ(lastSent(), "stateRequest type=11");
}

TEST_F(FakeServiceTest, NumbersAreParsedInBaseTen) {
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
    EXPECT_EQ(lastSent(), "stateRequest type=13 [4]");
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
    EXPECT_EQ(lastSent(), "stateRequest type=17 [3]");
}

TEST_F(FakeServiceTest, DataSetIsAppended) {
    std::vector<Resource> out = {{1, "x"}, {2, "y"}};
    answer({entry(3, "a"), entry(4, ""), entry(5, "c")});
    EXPECT_EQ(Qar_fetch_dataset(out), 5);
    ASSERT_EQ(out.size(), 5u);
    EXPECT_EQ(out[1].value, Text("y"));
    EXPECT_EQ(out[3].id, 4);
    EXPECT_EQ(out[3].value, Text(""));
    EXPECT_EQ(lastSent(), "stateRequest type=16");
}

TEST_F(FakeServiceTest, MissingOrUnparsableAnswersEscapeAsExceptions) {
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

TEST_F(StateQueryTest, StateRequestAppendsAnswers) {
    ResourceList query = {{1, "q"}};
    ResourceList results = {{90, "old"}, {91, "old"}};
    answer({entry(1, "a,b"), entry(2), entry(3, "c")});
    EXPECT_EQ(jorvHalclient::jorvResStateRequest(query, 4, results), 5);
    ASSERT_EQ(results.size(), 5u);
    EXPECT_EQ(results.front().value, "old");
    auto third = std::next(results.begin(), 2);
    EXPECT_EQ(third->value, "a,b");
    EXPECT_FALSE(std::next(third)->value.has_value());
    EXPECT_EQ(log.count(ANDROID_LOG_INFO, kTag, "jorv client jorvResStateRequest size 5"), 1u);

    // No answers, or a failure: -1 and the results untouched.
    answer({});
    EXPECT_EQ(jorvHalclient::jorvResStateRequest(query, 4, results), -1);
    fake->enqueue("stateRequest", Answer::exception(EX_SECURITY));
    EXPECT_EQ(jorvHalclient::jorvResStateRequest(query, 4, results), -1);
    EXPECT_EQ(results.size(), 5u);
}

// On a device a reply must fit in the caller's binder buffer (1 MB less two pages); a bigger one
// fails like any other call, and the connection is dropped.
TEST_F(StateQueryTest, StateAnswerLargerThanTheReceiveBufferFails) {
    ResourceList warmup;
    ASSERT_NE(jorvHalclient::jorvResCtlRequest(1, warmup, 2), -1);
    answer(std::vector<JorvRequestData>(15000, entry(7, std::string(64, 'v'))));
    ResourceList query = {{1, "q"}};
    ResourceList results;
    EXPECT_EQ(jorvHalclient::jorvResStateRequest(query, 4, results), -1);
    EXPECT_TRUE(results.empty());
    EXPECT_FALSE(jorvHalConnected());
}

// Unlike the requests, the state query takes paths and values of different lengths: it asks for
// the paths alone.
TEST_F(StateQueryTest, StateQueryIgnoresAValueListOfAnotherLength) {
    Strings results;
    answer({entry(0, "5", "/a")});
    EXPECT_EQ(jorvHalclient::jorv_res_state_request_by_path({"/a", "/b"}, {"1"}, 0, results), 1);
    EXPECT_EQ(lastSent(), "stateRequest type=0 [0@/a] [0@/b] path=zdbdebug");
}

TEST_F(StateQueryTest, StateQueryByVectorsAppendsByPosition) {
    answer({entry(0, "1", "/x"), entry(0)});
    Strings results = {"kept"};
    EXPECT_EQ(jorvHalclient::jorv_res_state_request_by_path({"/a", "/b"}, {"8", "9"}, 0, results),
              3);
    EXPECT_EQ(results, (Strings{"kept", "1", ""}));
    EXPECT_EQ(lastSent(), "stateRequest type=0 [0=8@/a] [0=9@/b] path=zdbdebug");
    EXPECT_EQ(log.count(ANDROID_LOG_INFO, kTag, "jorv client jorv_res_state_request size 3"), 1u);

    answer({});
    EXPECT_EQ(jorvHalclient::jorv_res_state_request_by_path({"/a"}, {}, 0, results), -1);
    EXPECT_EQ(results.size(), 3u);
}

TEST_F(StateQueryTest, StateQueryByMapSkipsIncompleteAnswersAndOverwrites) {
    answer({entry(0, "new", "/a"), entry(0, std::nullopt, "/b"), entry(0, "x"),
            entry(0, "3", "/c")});
    PathMap results = {{"/a", "old"}, {"/z", "kept"}};
    EXPECT_EQ(jorvHalclient::jorv_res_state_request_map_by_path({{"/b", "2"}, {"/a", "1"}}, 0,
                                                                results),
              3);
    EXPECT_EQ(results, (PathMap{{"/a", "new"}, {"/c", "3"}, {"/z", "kept"}}));
    EXPECT_EQ(lastSent(), "stateRequest type=0 [0=1@/a] [0=2@/b] path=zdbdebug")
            << "keys in ascending order";
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kTag, "res_Path: /a, res_Value:new"), 1u);
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kTag, "res_Path: /c, res_Value:3"), 1u);
    EXPECT_EQ(log.count(ANDROID_LOG_INFO, kTag, "jorv client jorv_res_state_request_map size 3"),
              1u);
}

}  // namespace
}  // namespace qartest
