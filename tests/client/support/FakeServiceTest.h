#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "support/LogCapture.h"
#include "ServiceEnv.h"

namespace qartest {

// A test with the fake service declared and published in a fresh service directory, and the
// library's log captured.
class FakeServiceTest : public ::testing::Test {
public:
    void SetUp() override {
        env.declare();
        fake = env.publish();
    }

    ServiceEnv env;
    std::shared_ptr<FakeJorv> fake;
    LogCapture log;
};

}  // namespace qartest
