// The two state queries addressed by path: what they ask for and how they turn answers into
// results.

#include <gtest/gtest.h>

#include "JorvHalclient.h"
#include "support/FakeServiceTest.h"

namespace qartest {
namespace {

using Strings = std::vector<std::string>;
using PathMap = std::map<std::string, std::string>;

JorvRequestData pathRecord(std::optional<std::string> path, std::optional<std::string> value) {
    JorvRequestData data;
    data.path = std::move(path);
    data.value = std::move(value);
    return data;
}

using PathRequestsTest = FakeServiceTest;

// Unlike the requests, the state query takes paths and values of different lengths: it asks for
// the paths alone.
TEST_F(PathRequestsTest, StateQueryIgnoresAValueListOfAnotherLength) {
    Strings results;
    fake->enqueue("stateRequest", Answer::okData({pathRecord("/a", "5")}));
    EXPECT_EQ(jorvHalclient::jorv_res_state_request_by_path({"/a", "/b"}, {"1"}, 0, results), 1);
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
