// Load on a healthy service: many threads of mixed calls must all be answered, and a flood of
// one-way acquisitions that the service cannot keep up with must not hold up anyone else.
#include <gtest/gtest.h>

#include <iostream>
#include <set>
#include <thread>

#include "QarEventApi.h"
#include "client/support/ServiceEnv.h"
#include "reliability/support/MixedCalls.h"
#include "reliability/support/ProcessCensus.h"
#include "reliability/support/Services.h"

namespace qarrel {
namespace {

constexpr int kLoadThreads = 10;
// QAR_RELIABILITY_CALLS overrides it.
constexpr int kDefaultCallsPerThread = 1000;

TEST(HealthyLoadTest, TenThreadsOfMixedCallsAreAllAnswered) {
    qartest::ServiceEnv env;
    env.declare();
    answerLikeAService(*env.publish());
    // The event API connects before the counts are taken: the load must not look the service up
    // again.
    ASSERT_EQ(qarInit(), 0);
    const HostBinderLookupCounts before = env.lookups();
    const int callsPerThread = countFromEnv("QAR_RELIABILITY_CALLS", kDefaultCallsPerThread);

    MixedCalls load({kLoadThreads, callsPerThread, false});
    load.finish();
    std::cout << kLoadThreads << " threads: " << load.report();

    EXPECT_EQ(load.unexpected(), 0u) << load.report();
    EXPECT_EQ(load.calls(), static_cast<uint64_t>(kLoadThreads) * callsPerThread);
    // Nothing failed, so nothing was dropped: the namespace connected once, and the event API
    // kept the connection qarInit made.
    const HostBinderLookupCounts after = env.lookups();
    EXPECT_EQ(after.waitForService - before.waitForService, 1u);
    EXPECT_EQ(after.checkService - before.checkService, 0u);
}

TEST(OneWayFloodTest, NormalCallsGetThroughWhileTheFloodWaits) {
    // Together well inside the one-way half of the service's receive buffer, as a device needs.
    constexpr int kFloodThreads = 4;
    constexpr int kFloodPerThread = 250;
    qartest::ServiceEnv env;
    env.declare();
    std::shared_ptr<qartest::FakeJorv> fake = env.publish();
    answerLikeAService(*fake);
    // The service is stuck in the first one-way call; the rest of the flood queues behind it.
    fake->holdCalls(true, "requestOneWay");

    std::vector<std::vector<int32_t>> handles(kFloodThreads);
    std::vector<std::thread> flood;
    for (int t = 0; t < kFloodThreads; ++t) {
        flood.emplace_back([&handles, t] {
            for (int i = 0; i < kFloodPerThread; ++i) {
                handles[t].push_back(QarEventAcquireOneWay(0x3000 + t, "com.example.flood", "",
                                                           1000, {{0x41100000, "1"}}));
            }
        });
    }
    for (std::thread& thread : flood) thread.join();
    std::set<int32_t> sent;
    for (const std::vector<int32_t>& own : handles) {
        for (int32_t handle : own) {
            ASSERT_GE(handle, 0);
            sent.insert(handle);
        }
    }

    MixedCalls normal({2, MixedCalls::tableSize(), false});
    normal.finish();
    EXPECT_EQ(normal.unexpected(), 0u) << normal.report();
    // None of them waited for the flood to be served.
    EXPECT_LE(fake->callsOf("requestOneWay").size(), 1u);

    // Once the service gets going, the whole flood arrives.
    fake->holdCalls(false);
    const size_t flooded = static_cast<size_t>(kFloodThreads) * kFloodPerThread;
    EXPECT_TRUE(qartest::waitFor([&] { return fake->callsOf("requestOneWay").size() >= flooded; },
                                 std::chrono::seconds(60)));
    std::set<int32_t> received;
    for (const qartest::Call& call : fake->callsOf("requestOneWay")) {
        received.insert(call.parcel->param0);
    }
    for (int32_t handle : sent) EXPECT_EQ(received.count(handle), 1u) << handle;
}

}  // namespace
}  // namespace qarrel
