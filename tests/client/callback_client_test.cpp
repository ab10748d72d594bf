// Callbacks from the service to callers: routing by id and by path through real binder
// transactions, the one-shot registry of request callbacks, and the callback object's lifetime.

#include <errno.h>
#include <gtest/gtest.h>

#include <thread>

#include "JorvCallbackRegistry.h"
#include "JorvHalclient.h"
#include "support/FakeServiceTest.h"
#include "support/RecordingCallbacks.h"

namespace qartest {
namespace {

constexpr char kNotFound[] = "callback not found in request_callbacks";

std::string sizeLine(int before, int after) {
    return "JorvCallback::onCallback request callback called , remove from request_callbacks , "
           "request_callbacks size before " +
           std::to_string(before) + " after " + std::to_string(after);
}

using CallbackClientTest = FakeServiceTest;

TEST_F(CallbackClientTest, RequestCallbackRoutesByIdOnceOnBinderThread) {
    auto callback = std::make_shared<RecordingCallback>();
    ResourceList resources = {{0x40, "1"}};
    EXPECT_EQ(jorvHalclient::jorvResCtlRequest(-1, 5, resources, -1, 2, 9, callback), 1);
    EXPECT_EQ(log.count(ANDROID_LOG_INFO, kTag,
                        "jorv client jorvResCtlRequest add to request_callbacks"),
              1u);
    EXPECT_EQ(lastSent(), "request type=1 p0=-1 p1=5 p3=-1 flag p5=9 [64=1] cb");
    EXPECT_EQ(requestCallbackCount(), 1u);

    log.clear();
    ASSERT_EQ(fake->callBackAll({entry(0x40, "7"), entry(0x41, std::nullopt)}), 1);
    ASSERT_EQ(callback->calls().size(), 1u);
    const std::list<Resource> got = callback->calls()[0];
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got.front().id, 0x40);
    EXPECT_EQ(got.front().value, "7");
    EXPECT_EQ(got.back().id, 0x41);
    EXPECT_FALSE(got.back().value.has_value());
    EXPECT_NE(callback->threads()[0], std::this_thread::get_id());
    EXPECT_EQ(requestCallbackCount(), 0u);

    const std::vector<LogLine> client = log.linesWithTag(kClientTag);
    const std::vector<LogLine> expected = {
            {ANDROID_LOG_INFO, kClientTag,
             "JorvCallbackClient::onCallback res_Id 0x40 res_Value 7 is_register 0"},
            {ANDROID_LOG_INFO, kClientTag,
             "JorvCallbackClient::onCallback res_Id 0x41 is_register 0"},
            {ANDROID_LOG_INFO, kClientTag,
             "JorvCallback::onCallback call IClientCallback onCallback is_register 0"},
            {ANDROID_LOG_INFO, kClientTag, "callback is found in request_callbacks"},
            {ANDROID_LOG_INFO, kClientTag, sizeLine(1, 0)},
    };
    EXPECT_EQ(client, expected);
    // The stub's transaction log goes out untagged, which liblog shows as the program's name.
    EXPECT_TRUE(waitFor([&] {
        for (const LogLine& line : log.lines()) {
            if (line.text.rfind("BnJorvCallback::logFunc NDK BACKEND method_name onCallback", 0) ==
                0) {
                return line.priority == ANDROID_LOG_INFO &&
                       line.tag == program_invocation_short_name;
            }
        }
        return false;
    }));

    // A second callback still reaches the caller but finds no entry to remove.
    log.clear();
    ASSERT_EQ(fake->callBackAll({}), 1);
    EXPECT_EQ(callback->calls().size(), 1u) << "empty data calls nobody";
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kClientTag, kNotFound), 1u);
    EXPECT_EQ(log.count(ANDROID_LOG_INFO, kClientTag, sizeLine(0, 0)), 1u);
}

TEST_F(CallbackClientTest, PathCallbackGetsParallelTextsWithBlanksForAbsent) {
    auto callback = std::make_shared<RecordingPathCallback>();
    EXPECT_EQ(jorvHalclient::jorv_res_listening_register_by_path({"/a", "/b"}, 0, callback), 1);
    ASSERT_EQ(fake->callBackAll({entry(0, "1", "/a"), entry(0, std::nullopt, "/b"),
                                 entry(0, "3", std::nullopt)}),
              1);
    ASSERT_EQ(callback->calls().size(), 1u);
    EXPECT_EQ(callback->calls()[0].values, (std::vector<std::string>{"1", "", "3"}));
    EXPECT_EQ(callback->calls()[0].paths, (std::vector<std::string>{"/a", "/b", ""}));
    EXPECT_EQ(log.count(ANDROID_LOG_INFO, kClientTag,
                        "JorvCallbackClient::onCallback res_Id /a res_Value 1 is_register 1"),
              1u);
    // Only records carrying both texts are logged one by one.
    size_t perRecord = 0;
    for (const LogLine& line : log.linesWithTag(kClientTag)) {
        perRecord += line.text.rfind("JorvCallbackClient::onCallback res_Id", 0) == 0;
    }
    EXPECT_EQ(perRecord, 1u);
}

TEST_F(CallbackClientTest, RegistrationClientsStayAndNeverTouchRequestRegistry) {
    auto callback = std::make_shared<RecordingCallback>();
    ResourceList ids = {{1, "x"}};
    ASSERT_EQ(jorvHalclient::jorvResListeningRegister(ids, 0, callback), 1);
    for (int i = 0; i < 3; ++i) ASSERT_EQ(fake->callBackAll({entry(1, "v")}), 1);
    EXPECT_EQ(callback->calls().size(), 3u);
    EXPECT_EQ(listeningGroupCount(), 1u);
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kClientTag, kNotFound), 0u);
}

TEST_F(CallbackClientTest, FailedRequestKeepsItsEntryAndNullCallbackIsAccepted) {
    ResourceList resources;
    fake->enqueue("request", Answer::serviceSpecific(3));
    EXPECT_EQ(jorvHalclient::jorvSACtlRequest(1, 2, 77, 3, 0, 4, nullptr), -1);
    fake->enqueue("request", Answer::exception(EX_ILLEGAL_STATE));
    EXPECT_EQ(jorvHalclient::jorvResCtlRequest(1, 2, resources, 3, 0, 4, nullptr), -1);
    EXPECT_EQ(requestCallbackCount(), 2u);
}

TEST_F(CallbackClientTest, ClientDestroyedOnlyOnceRegistryAndServiceLetGo) {
    const std::string destructorLine = "ndk backend ~JorvCallbackClient";
    ASSERT_EQ(jorvHalclient::jorvSACtlRequest(1, 2, 3, 4, 5, 6, nullptr), 1);
    ASSERT_EQ(fake->callBackAll({}), 1);
    EXPECT_EQ(requestCallbackCount(), 0u);
    EXPECT_EQ(log.count(ANDROID_LOG_INFO, kClientTag, destructorLine), 0u)
            << "the service still holds it";
    fake->dropCallbacks();
    fake->clearCalls();
    EXPECT_TRUE(
            waitFor([&] { return log.count(ANDROID_LOG_INFO, kClientTag, destructorLine) == 1; }));
}

}  // namespace
}  // namespace qartest
