#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "JorvHalclient.h"
#include "ServiceEnv.h"
#include "support/LogCapture.h"

namespace qartest {

using jorvHalclient::ResourceList;
using QarClient::Resource;
using Text = std::optional<std::string>;
// The tags the library logs under: the namespace client, its callback objects, the event API.
inline constexpr char kTag[] = "JORVFramework-lib-vendor";
inline constexpr char kClientTag[] = "JorvFramework-lib-vendor";
inline constexpr char kQarTag[] = "[QAR_CLIENT]";

inline JorvRequestData entry(int32_t id, Text value = std::nullopt) {
    JorvRequestData data;
    data.id = id;
    data.value = std::move(value);
    return data;
}

// A test with the fake service declared and published in a fresh service directory, and the
// library's log captured.
class FakeServiceTest : public ::testing::Test {
public:
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
    // Lines of the event API.
    size_t logged(int priority, const std::string& text) const {
        return log.count(priority, kQarTag, text);
    }

    ServiceEnv env;
    std::shared_ptr<FakeJorv> fake;
    LogCapture log;
};

using EventApiTest = FakeServiceTest;

}  // namespace qartest
