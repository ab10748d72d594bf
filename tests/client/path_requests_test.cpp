// Requests addressed by path: the debug marker on every parcel, the length rules, and how the two
// state queries turn answers into results.

#include <gtest/gtest.h>

#include <functional>

#include "JorvCallbackRegistry.h"
#include "JorvHalclient.h"
#include "JorvParcelMarker.h"
#include "support/FakeServiceTest.h"
#include "support/RecordingCallbacks.h"

namespace qartest {
namespace {

using Strings = std::vector<std::string>;
using PathMap = std::map<std::string, std::string>;
const std::vector<std::optional<std::string>> kMarker = {std::string("zdbdebug")};

JorvRequestData pathRecord(std::optional<std::string> path, std::optional<std::string> value) {
    JorvRequestData data;
    data.path = std::move(path);
    data.value = std::move(value);
    return data;
}

using PathRequestsTest = FakeServiceTest;

TEST(ParcelMarkerTest, ReplacesWhateverPathsHeld) {
    JorvRequestParcel parcel;
    parcel.paths = std::vector<std::optional<std::string>>{"x", std::nullopt};
    parcel.param0 = 4;
    jorvHalclient::jorv_add_zdbdebug_for_request_parcel(parcel);
    EXPECT_EQ(parcel.paths, kMarker);
    EXPECT_EQ(parcel.param0, 4);
}

TEST_F(PathRequestsTest, EveryParcelIsMarked) {
    using namespace jorvHalclient;
    auto byPath = std::make_shared<RecordingPathCallback>();
    const std::vector<std::function<void()>> calls = {
            [] { jorv_resctl_request_by_path(1, 2, {"/p"}, {"v"}, 3, 4, 5); },
            [&] {
                jorv_resctl_request_with_callback_by_path(1, 2, {"/p"}, {"v"}, 3, 4, 5, byPath);
            },
            [] {
                Strings results;
                jorv_res_state_request_by_path({"/p"}, {}, 5, results);
            },
            [] {
                PathMap results;
                jorv_res_state_request_map_by_path({{"/p", "v"}}, 5, results);
            },
            [&] { jorv_res_listening_register_by_path({"/p"}, 5, byPath); },
            [&] {
                jorv_res_listening_register_map_by_path({{"/q", "v"}}, 5, byPath);
            },
    };
    for (const auto& call : calls) call();
    const std::vector<Call> sent = fake->calls();
    ASSERT_EQ(sent.size(), calls.size());
    for (const Call& c : sent) {
        EXPECT_EQ(c.parcel->paths, kMarker) << c.op;
        EXPECT_EQ(c.parcel->param5, 5) << c.op;
        ASSERT_EQ(c.parcel->dataList.size(), 1u) << c.op;
        EXPECT_EQ(c.parcel->dataList[0].id, 0) << c.op;
    }
    // The resource requests carry the scalars, with a 64-bit param1 and param4 as the flag.
    const JorvRequestParcel& request = *sent[0].parcel;
    EXPECT_EQ(request.requestType, 1);
    EXPECT_EQ(request.param0, 1);
    EXPECT_EQ(request.param1, 2);
    EXPECT_EQ(request.param3, 3);
    EXPECT_TRUE(request.flag);
    EXPECT_EQ(request.dataList[0].path, "/p");
    EXPECT_EQ(request.dataList[0].value, "v");
    EXPECT_NE(sent[1].parcel->callback, nullptr);
    EXPECT_EQ(requestCallbackCount(), 1u);
    EXPECT_EQ(sent[4].parcel->requestType, 0);
    EXPECT_FALSE(sent[4].parcel->dataList[0].value.has_value()) << "listening sends paths only";
    EXPECT_EQ(sent[5].parcel->dataList[0].value, "v") << "the map's values are sent";
}

TEST_F(PathRequestsTest, WideParam1ReachesTheParcel) {
    const long wide = 0x123456789aL;
    EXPECT_EQ(jorvHalclient::jorv_resctl_request_by_path(-1, wide, {}, {}, -1, 0, 0), 1);
    EXPECT_EQ(fake->callsOf("request").at(0).parcel->param1, wide);
}

TEST_F(PathRequestsTest, LengthMismatchSendsNothing) {
    using namespace jorvHalclient;
    auto byPath = std::make_shared<RecordingPathCallback>();
    EXPECT_EQ(jorv_resctl_request_by_path(1, 2, {"/a", "/b"}, {"1"}, 3, 4, 5), -1);
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kTag,
                        "jorv_resctl_request ERROR: size unmatched for paths and value "),
              1u);
    EXPECT_EQ(jorv_resctl_request_with_callback_by_path(1, 2, {"/a"}, {}, 3, 4, 5, byPath), -1);
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kTag,
                        "jorv client jorv_resctl_request ERROR: size unmatched for id and value "),
              1u);
    EXPECT_TRUE(fake->calls().empty());
    EXPECT_EQ(requestCallbackCount(), 0u);

    // The state query is lenient: it asks for the paths alone.
    Strings results;
    fake->enqueue("stateRequest", Answer::okData({pathRecord("/a", "5")}));
    EXPECT_EQ(jorv_res_state_request_by_path({"/a", "/b"}, {"1"}, 0, results), 1);
    const JorvRequestParcel parcel = *fake->callsOf("stateRequest").at(0).parcel;
    ASSERT_EQ(parcel.dataList.size(), 2u);
    EXPECT_FALSE(parcel.dataList[0].value.has_value());
    EXPECT_EQ(parcel.dataList[1].path, "/b");
}

TEST_F(PathRequestsTest, StateQueryByVectorsAppendsByPosition) {
    fake->enqueue("stateRequest",
                  Answer::okData({pathRecord("/x", "1"), pathRecord(std::nullopt, std::nullopt)}));
    Strings results = {"kept"};
    EXPECT_EQ(jorvHalclient::jorv_res_state_request_by_path({"/a", "/b"}, {"8", "9"}, 0, results),
              3);
    EXPECT_EQ(results, (Strings{"kept", "1", ""}));
    EXPECT_EQ(fake->callsOf("stateRequest").at(0).parcel->dataList[1].value, "9");
    EXPECT_EQ(log.count(ANDROID_LOG_INFO, kTag, "jorv client jorv_res_state_request size 3"), 1u);

    fake->enqueue("stateRequest", Answer::okData({}));
    EXPECT_EQ(jorvHalclient::jorv_res_state_request_by_path({"/a"}, {}, 0, results), -1);
    EXPECT_EQ(results.size(), 3u);
}

TEST_F(PathRequestsTest, StateQueryByMapSkipsIncompleteAnswersAndOverwrites) {
    fake->enqueue("stateRequest",
                  Answer::okData({pathRecord("/a", "new"), pathRecord("/b", std::nullopt),
                                  pathRecord(std::nullopt, "x"), pathRecord("/c", "3")}));
    PathMap results = {{"/a", "old"}, {"/z", "kept"}};
    EXPECT_EQ(jorvHalclient::jorv_res_state_request_map_by_path({{"/b", "2"}, {"/a", "1"}}, 0,
                                                                results),
              3);
    EXPECT_EQ(results, (PathMap{{"/a", "new"}, {"/c", "3"}, {"/z", "kept"}}));
    const JorvRequestParcel parcel = *fake->callsOf("stateRequest").at(0).parcel;
    EXPECT_EQ(parcel.dataList[0].path, "/a") << "keys in ascending order";
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kTag, "res_Path: /a, res_Value:new"), 1u);
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kTag, "res_Path: /c, res_Value:3"), 1u);
    EXPECT_EQ(log.count(ANDROID_LOG_INFO, kTag, "jorv client jorv_res_state_request_map size 3"),
              1u);
}

}  // namespace
}  // namespace qartest
