#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "FakeServiceTest.h"

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
class EventApiTest : public FakeServiceTest {
protected:
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
};

}  // namespace qartest
