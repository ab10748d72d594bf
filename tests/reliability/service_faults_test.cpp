// A slow service and a service that fails every other call: callers keep getting answers or the
// library's failure results, a failed call drops its connection and the next call remakes it
// with one look-up, and nothing deadlocks (the TSan build checks the lock order).
#include <gtest/gtest.h>

#include <string>

#include "client/support/ServiceEnv.h"
#include "reliability/support/MixedCalls.h"
#include "reliability/support/Services.h"

namespace qarrel {
namespace {

using qartest::Answer;
using namespace std::chrono_literals;

struct FaultCase {
    const char* name;
    std::chrono::milliseconds delay;
    int failEvery;  // 0: never
    Answer failure;
    int threads;  // 1: every call's effect on its connection is checked
    int rounds;   // of the mixed table, per thread
};

void PrintTo(const FaultCase& c, std::ostream* os) {
    *os << c.name;
}

class ServiceFaultTest : public ::testing::TestWithParam<FaultCase> {
protected:
    qartest::ServiceEnv mEnv;
};

TEST_P(ServiceFaultTest, CallersKeepGettingValidResultsAndConnectionsAreRemade) {
    const FaultCase& c = GetParam();
    mEnv.declare();
    std::shared_ptr<qartest::FakeJorv> fake = mEnv.publish();
    answerLikeAService(*fake);
    fake->setDelay(c.delay);
    if (c.failEvery > 0) fake->failEvery(c.failEvery, c.failure);
    const HostBinderLookupCounts before = mEnv.lookups();

    const bool checkConnection = c.threads == 1;
    MixedCalls run(
            {c.threads, c.rounds * MixedCalls::tableSize(), c.failEvery > 0, checkConnection, 30s});
    run.finish();
    const HostBinderLookupCounts after = mEnv.lookups();
    const uint64_t namespaceLookups = after.waitForService - before.waitForService;
    const uint64_t eventLookups = after.checkService - before.checkService;

    EXPECT_EQ(run.unexpected(), 0u) << run.report();
    if (c.failEvery == 0) {
        // Slow is not failed: each connection was made once (the event API's by every thread
        // that found it missing at the start, at most) and kept.
        EXPECT_EQ(namespaceLookups, 1u);
        EXPECT_GE(eventLookups, 1u);
        EXPECT_LE(eventLookups, static_cast<uint64_t>(c.threads));
    } else if (checkConnection) {
        EXPECT_GT(run.failed(), 0u) << run.report();
        EXPECT_GT(run.answered(), 0u) << run.report();
        // Exactly one look-up by each call that found its connection dropped.
        EXPECT_EQ(namespaceLookups, run.reconnects(Side::kNamespace));
        EXPECT_EQ(eventLookups, run.reconnects(Side::kEvent));
        EXPECT_GT(run.reconnects(Side::kNamespace), 1u);
        EXPECT_GT(run.reconnects(Side::kEvent), 1u);
    } else {
        EXPECT_GT(run.failed(), 0u) << run.report();
        EXPECT_GT(run.answered(), 0u) << run.report();
        // A look-up per failed call at most; for the event API, which does not check again under
        // its exclusive hold, per thread that found the connection dropped.
        const uint64_t injected = fake->calls().size() / static_cast<uint64_t>(c.failEvery);
        EXPECT_LE(namespaceLookups, injected + 1);
        EXPECT_LE(eventLookups, (injected + 1) * static_cast<uint64_t>(c.threads));
    }

    // Once the service behaves again, both connections serve every call.
    fake->setDelay(0ms);
    fake->failEvery(0, Answer{});
    MixedCalls healthy({1, MixedCalls::tableSize(), false, false, 30s});
    healthy.finish();
    EXPECT_EQ(healthy.unexpected(), 0u) << healthy.report();
}

INSTANTIATE_TEST_SUITE_P(
        Faults, ServiceFaultTest,
        ::testing::Values(FaultCase{"SlowReplies", 20ms, 0, {}, 4, 1},
                          FaultCase{"EveryOtherCallThrows", 0ms, 2,
                                    Answer::exception(EX_ILLEGAL_STATE), 1, 2},
                          FaultCase{"EveryOtherCallServiceSpecific", 0ms, 2,
                                    Answer::serviceSpecific(7), 1, 2},
                          FaultCase{"EveryOtherCallTransportFailure", 0ms, 2,
                                    Answer::transport(STATUS_FAILED_TRANSACTION), 1, 2},
                          FaultCase{"SlowAndFailingEveryOtherCall", 5ms, 2,
                                    Answer::exception(EX_ILLEGAL_STATE), 4, 2}),
        [](const ::testing::TestParamInfo<FaultCase>& info) { return info.param.name; });

}  // namespace
}  // namespace qarrel
