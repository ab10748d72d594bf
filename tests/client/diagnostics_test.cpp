// Diagnostic commands and service properties.

#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "JorvHalclient.h"
#include "support/FakeServiceTest.h"

namespace qartest {
namespace {

using DiagnosticsTest = FakeServiceTest;

TEST_F(DiagnosticsTest, CommandsSendTheirCodes) {
    using namespace jorvHalclient;
    struct Case {
        const char* name;
        int (*command)();
        int32_t code;
    };
    const std::vector<Case> cases = {
            {"jorvDumpToDoQueue", jorvDumpToDoQueue, 0},
            {"jorvDumpRunMap", jorvDumpRunMap, 1},
            {"jorvDumpActiveResMap", jorvDumpActiveResMap, 2},
            {"jorvDumpResRequest", jorvDumpResRequest, 3},
            {"jorvDumpResInfo", jorvDumpResInfo, 4},
            {"jorvDumpSAInfo", jorvDumpSAInfo, 5},
            {"jorvDumpPidFdList", jorvDumpPidFdList, 6},
            {"jorvDumpPidfdMonitorMap", jorvDumpPidfdMonitorMap, 7},
            {"jorvDumpResRecordList", jorvDumpResRecordList, 8},
            {"jorvHistoryRequestRecordOn", jorvHistoryRequestRecordOn, 10},
            {"jorvHistoryRequestRecordOff", jorvHistoryRequestRecordOff, 11},
    };
    for (const Case& c : cases) {
        fake->clearCalls();
        log.clear();
        EXPECT_EQ(c.command(), 0) << c.name;
        const auto calls = fake->callsOf("request");
        ASSERT_EQ(calls.size(), 1u) << c.name;
        JorvRequestParcel expected;
        expected.requestType = 5;
        expected.param3 = 1;
        expected.dataList.emplace_back().id = c.code;
        EXPECT_EQ(*calls[0].parcel, expected) << c.name;
        EXPECT_EQ(log.count(ANDROID_LOG_INFO, kTag, std::string("jorv client ") + c.name), 1u);

        fake->enqueue("request", Answer::transport(STATUS_DEAD_OBJECT));
        EXPECT_EQ(c.command(), -1) << c.name;
        EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kTag,
                            std::string(c.name) + "() failed: jorv HAL service not available"),
                  1u);
    }
}

TEST_F(DiagnosticsTest, HandleBelowOneIsFailure) {
    for (auto [handle, expected] : {std::pair{0, -1}, {-3, -1}, {1, 0}, {77, 0}}) {
        fake->enqueue("request", Answer::ok(handle));
        EXPECT_EQ(jorvHalclient::jorvDumpResInfo(), expected) << handle;
    }
}

TEST_F(DiagnosticsTest, PropertyGetFillsCallerOwnedBuffer) {
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
    EXPECT_FALSE(jorvHalConnected());
}

TEST_F(DiagnosticsTest, PropertyGetWithoutServiceReturnsEmptyBuffer) {
    env.undeclare();
    std::unique_ptr<char[]> buffer(jorvHalclient::jorvPropertyGet("x"));
    ASSERT_NE(buffer, nullptr);
    EXPECT_STREQ(buffer.get(), "");
}

TEST_F(DiagnosticsTest, PropertySet) {
    fake->enqueue("propertySet", Answer::ok(0));
    EXPECT_EQ(jorvHalclient::jorvPropertySet("k", "v"), 0);
    EXPECT_EQ(fake->callsOf("propertySet").at(0).strings, (std::vector<std::string>{"k", "v"}));
}

using DiagnosticsDeathTest = DiagnosticsTest;

TEST_F(DiagnosticsDeathTest, PropertyValueOf256BytesAborts) {
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
