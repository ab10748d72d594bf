#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "ServiceEnv.h"

namespace qartest {

using Text = std::optional<std::string>;
inline constexpr char kQarTag[] = "[QAR_CLIENT]";

inline JorvRequestData entry(int32_t id, Text value = std::nullopt) {
    JorvRequestData data;
    data.id = id;
    data.value = std::move(value);
    return data;
}

// The fake service published and declared, and the event API's log captured.
class EventApiTest : public ::testing::Test {
protected:
    void SetUp() override {
        env.declare();
        fake = env.publish();
    }
    // Queues the answer of the next stateRequest.
    void answer(std::vector<JorvRequestData> data) {
        fake->enqueue("stateRequest", Answer::okData(std::move(data)));
    }
    // The parcel of the last call of `op`.
    JorvRequestParcel lastParcel(const std::string& op) {
        const std::vector<Call> calls = fake->callsOf(op);
        EXPECT_FALSE(calls.empty()) << op;
        return calls.empty() ? JorvRequestParcel{} : *calls.back().parcel;
    }
    size_t logged(int priority, const std::string& text) const {
        return log.count(priority, kQarTag, text);
    }

    ServiceEnv env;
    std::shared_ptr<FakeJorv> fake;
    LogCapture log;
};

}  // namespace qartest
