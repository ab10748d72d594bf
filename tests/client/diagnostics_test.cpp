// Service properties read by name into a buffer the caller owns.

#include <gtest/gtest.h>

#include <memory>

#include "JorvHalclient.h"
#include "support/FakeServiceTest.h"

namespace qartest {
namespace {

using DiagnosticsTest = FakeServiceTest;

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
