// Every kind of failed service call: the caller gets -1 whatever out-value the failed reply
// carried, one line names the call, and the call's own connection is dropped (the next call looks
// the service up again, once) while the other connection stays.

#include <gtest/gtest.h>

#include <functional>

#include "JorvHalclient.h"
#include "QarEventApi.h"
#include "support/FakeServiceTest.h"
#include "support/RecordingCallbacks.h"

namespace qartest {
namespace {

using FailedCallTest = FakeServiceTest;

TEST_F(FailedCallTest, ReturnsMinusOneLogsTheCallAndDropsItsConnection) {
    using namespace jorvHalclient;
    auto byId = std::make_shared<RecordingCallback>();
    auto byPath = std::make_shared<RecordingPathCallback>();
    static ResourceList empty;
    static ResourceList ids = {{6, "1"}};
    static ResourceList results;
    struct Row {
        bool eventApi;
        const char* op;
        const char* name;  // in the failure line
        std::function<int()> call;
    };
    const std::vector<Row> rows = {
            {false, "request", "jorvResCtlRequest", [] { return jorvResCtlRequest(1, empty, 2); }},
            {false, "request", "jorvSACtlRequest", [] { return jorvSACtlRequest(1, 2, 3); }},
            {false, "release", "jorvResCtlRelease", [] { return jorvResCtlRelease(1); }},
            {false, "release", "jorvSACtlRelease", [] { return jorvSACtlRelease(1); }},
            {false, "request", "jorvSACtlRequest with callback",
             [] { return jorvSACtlRequest(1, 2, 77, 3, 0, 4, nullptr); }},
            {false, "request", "jorv client JorvCallbackClient with callback",
             [] { return jorvResCtlRequest(1, 2, empty, 3, 0, 4, nullptr); }},
            {false, "request", "jorv_resctl_request_by_path",
             [] { return jorv_resctl_request_by_path(1, 2, {}, {}, 3, 4, 5); }},
            {false, "request", "jorv client jorv_resctl_request_with_callback",
             [&] {
                 return jorv_resctl_request_with_callback_by_path(1, 2, {}, {}, 3, 4, 5, byPath);
             }},
            {false, "listeningRegister", "jorv_res_listening_register",
             [&] { return jorv_res_listening_register_by_path({"/f"}, 0, byPath); }},
            {false, "listeningRegister", "jorv_res_listening_register_map",
             [&] { return jorvResListeningRegister(ids, 9, byId); }},
            {false, "listeningUnregister", "jorvResListeningUnRegister",
             [] { return jorvResListeningUnRegister(8); }},
            {false, "stateRequest", "jorvResStateRequest",
             [] { return jorvResStateRequest(ids, 4, results); }},
            {false, "request", "jorvThermalNotify", [] { return jorvThermalNotify(ids, 6); }},
            {false, "thermalListeningRegister", "jorvThermalListeningRegister",
             [&] { return jorvThermalListeningRegister({3}, byId); }},
            {false, "thermalListeningUnregister", "jorvThermalListeningUnregister",
             [] { return jorvThermalListeningUnregister(4); }},
            {false, "propertySet", "jorvPropertySet", [] { return jorvPropertySet("k", "v"); }},
            {true, "request", "QarEventAcquire",
             [] { return QarEventAcquire(3, "p", "i", 10, {}); }},
            {true, "request", "QarNotify", [] { return QarNotify(1, 2, {}); }},
            {true, "ruleCtl", "qarRuleCtl", [] { return qarRuleCtl(8, 0, {}); }},
            {true, "setRelatedSysInfo", "setRelatedSysInfo",
             [] { return setRelatedSysInfo(1, ""); }},
            {true, "release", "jorvResCtlRelease", [] { return QarRelease(1), -1; }},
    };
    const Answer failures[] = {Answer::serviceSpecific(4), Answer::exception(EX_ILLEGAL_STATE),
                               Answer::transport(STATUS_FAILED_TRANSACTION)};
    for (size_t i = 0; i < rows.size(); ++i) {
        const Row& row = rows[i];
        SCOPED_TRACE(row.name);
        const auto before = env.lookups();
        jorv_init();
        ASSERT_EQ(qarInit(), 0);
        // The row before dropped one connection: remaking it takes one look-up.
        const auto after = env.lookups();
        EXPECT_EQ(after.waitForService - before.waitForService + after.checkService -
                          before.checkService,
                  i == 0 ? 2u : 1u);
        Answer failure = failures[i % std::size(failures)];
        failure.out = 31;  // a failed reply's out-value never reaches the caller
        fake->enqueue(row.op, failure);
        EXPECT_EQ(row.call(), -1);
        const std::string line = std::string(row.name) +
                                 (row.eventApi ? "() failed : " : "() failed: ") +
                                 "jorv HAL service not available";
        EXPECT_EQ(log.count(ANDROID_LOG_ERROR, row.eventApi ? kQarTag : kTag, line), 1u);
        EXPECT_EQ(jorvHalConnected(), row.eventApi);
        EXPECT_EQ(qarHalConnected(), !row.eventApi);
    }
    // A failed listening is not remembered.
    EXPECT_EQ(listeningGroupCount(), 0u);
}

}  // namespace
}  // namespace qartest
