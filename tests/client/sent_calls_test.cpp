// What each request, release, registration and command of the three layers sends: exactly one
// service call, with every argument in its field, and the result the caller gets for the
// service's answer. Path-addressed parcels all carry the debug marker. When the call fails, the
// caller gets -1 whatever out-value the failed reply carried, one line names the call, and the
// call's own connection is dropped while the other stays; remaking it takes one look-up.

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <memory>

#include "JorvHalclient.h"
#include "JorvParcelMarker.h"
#include "QarEventApi.h"
#include "QarWrapper.h"
#include "support/FakeServiceTest.h"
#include "support/RecordingCallbacks.h"

namespace qartest {
namespace {

struct Row {
    std::function<int()> call;
    int32_t answer;  // the out-value the service answers with
    int result;
    // describe() of the one call the service received
    std::string sent;
    // The line of a failed call, if the call can fail.
    std::optional<LogLine> failed = std::nullopt;
    // A line an answered call logs.
    std::optional<LogLine> line = std::nullopt;
};

LogLine info(const std::string& text, const char* tag = kTag) {
    return {ANDROID_LOG_INFO, tag, text};
}

LogLine failedNs(const std::string& name) {
    return {ANDROID_LOG_ERROR, kTag, name + "() failed: jorv HAL service not available"};
}

LogLine failedEv(const std::string& name) {
    return {ANDROID_LOG_ERROR, kQarTag, name + "() failed : jorv HAL service not available"};
}

using SentCallTest = FakeServiceTest;

TEST(ParcelMarkerTest, ReplacesWhateverPathsHeld) {
    JorvRequestParcel parcel;
    parcel.paths = std::vector<std::optional<std::string>>{"x", std::nullopt};
    parcel.param0 = 4;
    jorvHalclient::jorv_add_zdbdebug_for_request_parcel(parcel);
    EXPECT_EQ(parcel.paths, (std::vector<std::optional<std::string>>{"zdbdebug"}));
    EXPECT_EQ(parcel.param0, 4);
}

std::vector<Row> namespaceRows(const std::shared_ptr<RecordingCallback>& byId,
                               const std::shared_ptr<RecordingPathCallback>& byPath) {
    using namespace jorvHalclient;
    static ResourceList r = {{40, "1500"}, {0, std::nullopt}, {3, "a,b"}};
    static ResourceList empty;
    static ResourceList listened = {{5, "1"}, {7, std::nullopt}};
    static ResourceList level = {{3, "2"}};
    static std::vector<std::string> values;
    static std::map<std::string, std::string> valueMap;
    static ResourceList results;
    const std::string data = " [40=1500] [0] [3=a,b]";
    return {
            {[] { return jorvResCtlRequest(10, r, 50); }, 77, 77,
             "request type=1 p0=-1 p1=10 p3=-1 p5=50" + data, failedNs("jorvResCtlRequest"),
             info("jorv client jorvResCtlRequest")},
            {[] { return jorvResCtlRequest(10, r, 1, 50); }, 77, 77,
             "request type=1 p0=-1 p1=10 p3=-1 flag p5=50" + data},
            {[] { return jorvResCtlRequest(10, r, 3, 0, 50); }, 77, 77,
             "request type=1 p0=-1 p1=10 p3=3 p5=50" + data},
            {[] { return jorvResCtlRequest(7, 10, r, 50); }, 77, 77,
             "request type=1 p0=7 p1=10 p3=-1 p5=50" + data},
            {[] { return jorvResCtlRequest(7, 10, r, 5, 50); }, 77, 77,
             "request type=1 p0=7 p1=10 p3=-1 flag p5=50" + data},
            {[] { return jorvResCtlRequest(7, -1, r, 3, -4, 50); }, 77, 77,
             "request type=1 p0=7 p1=-1 p3=3 p5=50" + data},
            {[] { return jorvResCtlRequest(INT_MIN, INT_MIN, r, 0, 1, -1); }, 77, 77,
             "request type=1 p0=-2147483648 p1=-2147483648 flag p5=-1" + data},
            {[] { return jorvResCtlRequest(3, empty, 4); }, 5, 5,
             "request type=1 p0=-1 p1=3 p3=-1 p5=4"},
            {[] { return jorvSACtlRequest(11, 4, 99); }, 12, 12,
             "request type=2 p0=-1 p1=11 p3=-1 p5=99 [4]", failedNs("jorvSACtlRequest"),
             info("jorv client jorvSACtlRequest")},
            {[] { return jorvSACtlRequest(1, 2, 3, 4, 5, 6); }, 12, 12,
             "request type=2 p0=1 p1=2 p3=4 flag p5=6 [3]"},
            {[] { return jorvResCtlRelease(41); }, 0, 0, "release 41",
             failedNs("jorvResCtlRelease"), info("jorv client jorvResCtlRelease")},
            {[] { return jorvSACtlRelease(42); }, -22, -22, "release 42",
             failedNs("jorvSACtlRelease"), info("jorv client jorvSACtlRelease")},
            {[] { return jorvPropertySet("k", "v"); }, 0, 0, "propertySet 'k' 'v'",
             failedNs("jorvPropertySet")},
            {[=] { return jorvResListeningRegister(listened, 9, byId); }, 42, 42,
             "listeningRegister type=0 p5=9 [5=1] [7] cb",
             failedNs("jorv_res_listening_register_map"),
             info("A callback has been registered to Jorv HAL ")},
            {[=] {
                 return jorvThermalListeningRegister({3, 9}, byId);
             },
             4, 4, "thermalListeningRegister 3 9 cb", failedNs("jorvThermalListeningRegister"),
             info("subsys's callback has been registered to Jorv HAL")},
            // A thermal notification's handle 0 is a refusal.
            {[] { return jorvThermalNotify(level, 6); }, 0, -1, "request type=7 p5=6 [3=2]"},
            {[] { return jorvThermalNotify(level, 6); }, 5, 0, "request type=7 p5=6 [3=2]",
             failedNs("jorvThermalNotify")},
            // The one-shot callback client travels even without a caller's callback.
            {[] { return jorvSACtlRequest(1, 2, 77, 3, 0, 4, nullptr); }, 12, 12,
             "request type=2 p0=1 p1=2 p3=3 p5=4 [77] cb",
             failedNs("jorvSACtlRequest with callback")},
            {[] { return jorvResCtlRequest(1, 2, empty, 3, 0, 4, nullptr); }, 12, 12,
             "request type=1 p0=1 p1=2 p3=3 p5=4 cb",
             failedNs("jorv client JorvCallbackClient with callback")},
            {[] { return jorvResListeningUnRegister(8); }, 0, 0, "listeningUnregister 8",
             failedNs("jorvResListeningUnRegister")},
            {[] { return jorvThermalListeningUnregister(4); }, 0, 0, "thermalListeningUnregister 4",
             failedNs("jorvThermalListeningUnregister")},
            {[] { return jorvResStateRequest(level, 4, results); }, 0, -1,
             "stateRequest type=0 p5=4 [3=2]", failedNs("jorvResStateRequest")},
            // Path-addressed: param4 is the flag.
            {[] { return jorv_resctl_request_by_path(1, 2, {"/p"}, {"v"}, 3, 4, 5); }, 1, 1,
             "request type=1 p0=1 p1=2 p3=3 flag p5=5 [0=v@/p] path=zdbdebug",
             failedNs("jorv_resctl_request_by_path")},
            {[] { return jorv_resctl_request_by_path(-1, 0x123456789aL, {}, {}, -1, 0, 0); }, 1, 1,
             "request type=1 p0=-1 p1=78187493530 p3=-1 path=zdbdebug"},
            {[=] {
                 return jorv_resctl_request_with_callback_by_path(1, 2, {"/p"}, {"v"}, 3, 4, 5,
                                                                  byPath);
             },
             1, 1, "request type=1 p0=1 p1=2 p3=3 flag p5=5 [0=v@/p] path=zdbdebug cb",
             failedNs("jorv client jorv_resctl_request_with_callback")},
            {[] { return jorv_res_state_request_by_path({"/p"}, {}, 5, values); }, 1, -1,
             "stateRequest type=0 p5=5 [0@/p] path=zdbdebug", failedNs("jorv_res_state_request")},
            {[] {
                 return jorv_res_state_request_map_by_path({{"/p", "v"}}, 5, valueMap);
             },
             1, -1, "stateRequest type=0 p5=5 [0=v@/p] path=zdbdebug",
             failedNs("jorv_res_state_request_map")},
            // Listening by path sends the paths alone; by map, the values too.
            {[=] { return jorv_res_listening_register_by_path({"/p"}, 5, byPath); }, 1, 1,
             "listeningRegister type=0 p5=5 [0@/p] path=zdbdebug cb",
             failedNs("jorv_res_listening_register")},
            {[=] {
                 return jorv_res_listening_register_map_by_path({{"/q", "v"}}, 5, byPath);
             },
             1, 1, "listeningRegister type=0 p5=5 [0=v@/q] path=zdbdebug cb",
             failedNs("jorv_res_listening_register_map")},
    };
}

std::vector<Row> diagnosticRows() {
    using namespace jorvHalclient;
    const std::pair<int (*)(), const char*> commands[] = {
            {jorvDumpToDoQueue, "jorvDumpToDoQueue"},
            {jorvDumpRunMap, "jorvDumpRunMap"},
            {jorvDumpActiveResMap, "jorvDumpActiveResMap"},
            {jorvDumpResRequest, "jorvDumpResRequest"},
            {jorvDumpResInfo, "jorvDumpResInfo"},
            {jorvDumpSAInfo, "jorvDumpSAInfo"},
            {jorvDumpPidFdList, "jorvDumpPidFdList"},
            {jorvDumpPidfdMonitorMap, "jorvDumpPidfdMonitorMap"},
            {jorvDumpResRecordList, "jorvDumpResRecordList"},
            {jorvHistoryRequestRecordOn, "jorvHistoryRequestRecordOn"},
            {jorvHistoryRequestRecordOff, "jorvHistoryRequestRecordOff"},
    };
    // The codes are positions, with 9 left out.
    const int codes[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 10, 11};
    std::vector<Row> rows;
    for (size_t i = 0; i < std::size(commands); ++i) {
        const std::string sent = "request type=5 p3=1 [" + std::to_string(codes[i]) + "]";
        rows.push_back({commands[i].first, 1, 0, sent, failedNs(commands[i].second),
                        info(std::string("jorv client ") + commands[i].second)});
    }
    // A handle below one is a failure.
    for (int32_t handle : {0, -3, 77}) {
        rows.push_back({jorvDumpResInfo, handle, handle > 0 ? 0 : -1, "request type=5 p3=1 [4]"});
    }
    return rows;
}

std::vector<Row> eventRows() {
    static const std::vector<Resource> res = {{5, "1"}, {6, std::nullopt}};
    static std::string text;
    constexpr char kWrapperTag[] = "[QAR_CLIENT_WRAPPER]";
    return {
            {[] { return QarEventAcquire(7, "p", "i", -1, res); }, 321, 321,
             "request type=8 p1=-1 [7] [5=1] [6] text1=p text2=i", failedEv("QarEventAcquire")},
            {[] { return QarEventAcquire(3, "", "", 5, {}); }, 321, 321,
             "request type=8 p1=5 [3] text1= text2=", std::nullopt,
             info("QarEventAcquire, cmdid:3, pkg:none, identity:none", kQarTag)},
            {[] { return QarEventAcquire(-2, "p", "i", 5, res); }, 321, 321,
             "request type=1 p1=5 [5=1] [6] text1=p text2=i"},
            {[] { return QarEventAcquire(-3, "p", "i", 5, res); }, 321, 321,
             "request type=12 p1=5 [5=1] [6] text1=p text2=i"},
            {[] { return QarResAcquire(res, 99, "i", 5); }, 321, 321,
             "request type=1 p1=5 [5=1] [6] text1= text2=i"},
            {[] { return QarPlatformResAcquire(res, 99, "i", "p", 5); }, 321, 321,
             "request type=12 p1=5 [5=1] [6] text1=p text2=i"},
            {[] { return QarRelease(-5), -1; }, 1, -1, "release -5", failedEv("jorvResCtlRelease")},
            // One (a, b) record per value: the values themselves deliberately do not travel.
            {[] { return QarNotify(4, 9, {}); }, 1, 1, "request type=10 [4#9]",
             failedEv("QarNotify")},
            {[] {
                 return QarNotify(4, 9, {10, 20, 30});
             },
             1, 1, "request type=10 [4#9] [4#9] [4#9]"},
            {[] { return qarRuleCtl(102, 1, res); }, 8, 8, "ruleCtl 102 1 5=1 6",
             failedEv("qarRuleCtl")},
            {[] { return setRelatedSysInfo(2, "info"); }, 1, 1, "setRelatedSysInfo 2 'info'",
             failedEv("setRelatedSysInfo")},
            // Queries answered with no record at all.
            {[] { return QarGetHistory(text); }, 1, -1, "stateRequest type=11",
             failedEv("QarGetHistory")},
            {[] { return QarGetPMStatus(4); }, 1, -1, "stateRequest type=13 [4]",
             failedEv("QarGetPMStatus")},
            {[] { return QarGetFeatureStatus(3); }, 1, -1, "stateRequest type=17 [3]",
             failedEv("QarGetFeatureStatus")},
            // Listed twice: the first position is the action id.
            {[] {
                 return QarEventAcquireWrapper("TRIVEX_ACTION_CAMERA_APS_CAPTURE_L1", "s", "i", 40);
             },
             321, 321, "request type=8 p1=40 [91] text1=s text2=i", failedEv("QarEventAcquire")},
            {[] {
                 return QarEventAcquireWrapper("TRIVEX_ACTION_CAMERA_APS_INNER_THDR_CAPTURE_L1",
                                               "s", "i", 40);
             },
             321, 321, "request type=8 p1=40 [198] text1=s text2=i"},
            {[] { return QarReleaseWapper(-7), -1; }, 0, -1, "release -7",
             failedEv("jorvResCtlRelease"), info("[QarReleaseWapper] -7", kWrapperTag)},
    };
}

// The failed reply of a row's call: a kind of failure in turn, each carrying an out-value the
// caller must not see.
Answer failure(size_t row) {
    const Answer kinds[] = {Answer::serviceSpecific(4), Answer::exception(EX_ILLEGAL_STATE),
                            Answer::transport(STATUS_FAILED_TRANSACTION)};
    Answer answer = kinds[row % std::size(kinds)];
    answer.out = 31;
    return answer;
}

TEST_F(SentCallTest, EachCallSendsItsArgumentsAndReturnsTheAnswerOrFailsAlone) {
    auto byId = std::make_shared<RecordingCallback>();
    auto byPath = std::make_shared<RecordingPathCallback>();
    std::vector<Row> rows = namespaceRows(byId, byPath);
    for (std::vector<Row> more : {diagnosticRows(), eventRows()}) {
        rows.insert(rows.end(), more.begin(), more.end());
    }
    for (size_t i = 0; i < rows.size(); ++i) {
        const Row& row = rows[i];
        SCOPED_TRACE(row.sent);
        const std::string op = row.sent.substr(0, row.sent.find(' '));
        fake->clearCalls();
        log.clear();
        fake->enqueue(op, Answer::ok(row.answer));
        EXPECT_EQ(row.call(), row.result);
        const std::vector<Call> calls = fake->calls();
        ASSERT_EQ(calls.size(), 1u);
        EXPECT_EQ(describe(calls[0]), row.sent);
        if (row.line) {
            EXPECT_EQ(log.count(row.line->priority, row.line->tag, row.line->text), 1u);
        }
        if (!row.failed) continue;

        // Forgotten, so that a listening is not refused as a second one on the same ids.
        resetCallbackRegistries();
        jorvHalclient::jorv_init();
        ASSERT_EQ(qarInit(), 0);
        fake->enqueue(op, failure(i));
        EXPECT_EQ(row.call(), -1);
        EXPECT_EQ(listeningGroupCount(), 0u) << "a failed listening is not remembered";
        EXPECT_EQ(log.count(row.failed->priority, row.failed->tag, row.failed->text), 1u);
        const bool eventApi = row.failed->tag == kQarTag;
        EXPECT_EQ(jorvHalConnected(), eventApi);
        EXPECT_EQ(qarHalConnected(), !eventApi);
        const auto before = env.lookups();
        jorvHalclient::jorv_init();
        ASSERT_EQ(qarInit(), 0);
        const auto after = env.lookups();
        EXPECT_EQ(after.waitForService - before.waitForService + after.checkService -
                          before.checkService,
                  1u);
    }
}

// Arguments that fail the checks: -1, one line naming the fault, nothing sent and no callback
// client left behind.
TEST_F(SentCallTest, InvalidArgumentsSendNothing) {
    using namespace jorvHalclient;
    auto byPath = std::make_shared<RecordingPathCallback>();
    static ResourceList invalid = {{7, std::nullopt}};
    const char kIdsAndValues[] =
            "jorv client jorv_resctl_request ERROR: size unmatched for id and value ";
    const std::vector<std::pair<std::function<int()>, LogLine>> rows = {
            {[] { return jorvResCtlRequest(3, invalid, 4); },
             {ANDROID_LOG_ERROR, kTag,
              "jorvResCtlRequest ERROR: size unmatched for id and value "}},
            {[] { return jorvResCtlRequest(1, 2, invalid, 3, 0, 4, nullptr); },
             {ANDROID_LOG_ERROR, kTag, kIdsAndValues}},
            {[] {
                 return jorv_resctl_request_by_path(1, 2, {"/a", "/b"}, {"1"}, 3, 4, 5);
             },
             {ANDROID_LOG_ERROR, kTag,
              "jorv_resctl_request ERROR: size unmatched for paths and value "}},
            {[&] {
                 return jorv_resctl_request_with_callback_by_path(1, 2, {"/a"}, {}, 3, 4, 5,
                                                                  byPath);
             },
             {ANDROID_LOG_ERROR, kTag, kIdsAndValues}},
            {[] { return jorvThermalNotify(invalid, 6); },
             {ANDROID_LOG_ERROR, kTag,
              "jorvThermalNotify ERROR: size unmatched for id and level "}},
            // No action of that name: the wrapper's entry line, and nothing for the event API.
            {[] { return QarEventAcquireWrapper("ACTION_LAUNCH", "s", "i", 40); },
             {ANDROID_LOG_INFO, "[QAR_CLIENT_WRAPPER]",
              "[QarEventAcquireWrapper] eventId:ACTION_LAUNCH, scene:s, identity:i, timeout:40"}},
            {[] { return QarEventAcquireWrapper("", "", "", -1); },
             {ANDROID_LOG_INFO, "[QAR_CLIENT_WRAPPER]",
              "[QarEventAcquireWrapper] eventId:none, scene:none, identity:none, timeout:-1"}},
    };
    for (const auto& [call, line] : rows) {
        SCOPED_TRACE(line.text);
        log.clear();
        EXPECT_EQ(call(), -1);
        EXPECT_EQ(log.count(line.priority, line.tag, line.text), 1u);
    }
    EXPECT_TRUE(fake->calls().empty());
    EXPECT_EQ(requestCallbackCount(), 0u);
}

// Properties are read into a buffer the caller owns.
using PropertyGetTest = FakeServiceTest;

TEST_F(PropertyGetTest, PropertyGetFillsCallerOwnedBuffer) {
    for (const std::string& value : {std::string("abc"), std::string(255, 'p'), std::string()}) {
        log.clear();
        fake->enqueue("propertyGet", Answer::okText(value));
        std::unique_ptr<char[]> buffer(jorvHalclient::jorvPropertyGet("vendor.name"));
        ASSERT_NE(buffer, nullptr);
        EXPECT_EQ(std::string(buffer.get()), value);
        EXPECT_EQ(log.count(ANDROID_LOG_INFO, kTag, "jorvPropertyGet " + value + " "), 1u);
    }
    EXPECT_EQ(fake->callsOf("propertyGet").at(0).strings, std::vector<std::string>{"vendor.name"});

    // A failed call leaves an empty text and drops the connection.
    fake->enqueue("propertyGet", Answer::exception(EX_UNSUPPORTED_OPERATION));
    std::unique_ptr<char[]> failed(jorvHalclient::jorvPropertyGet("x"));
    EXPECT_STREQ(failed.get(), "");
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kTag,
                        "jorvPropertyGet() failed: jorv HAL service not available"),
              1u);
    EXPECT_FALSE(jorvHalConnected());
}

TEST_F(PropertyGetTest, PropertyGetWithoutServiceReturnsEmptyBuffer) {
    env.undeclare();
    std::unique_ptr<char[]> buffer(jorvHalclient::jorvPropertyGet("x"));
    ASSERT_NE(buffer, nullptr);
    EXPECT_STREQ(buffer.get(), "");
}

using PropertyGetDeathTest = PropertyGetTest;

TEST_F(PropertyGetDeathTest, PropertyValueOf256BytesAborts) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
            {
                fake->enqueue("propertyGet", Answer::okText(std::string(256, 'p')));
                delete[] jorvHalclient::jorvPropertyGet("big");
            },
            "");
}

}  // namespace
}  // namespace qartest
