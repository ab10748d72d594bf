// The service process killed (SIGKILL) and started again, over and over, while four threads call
// through both connections with listenings and callbacks in flight. No call may hang or return
// anything the library never returns, both connections must be remade after every restart, and
// the process must end up holding the descriptors and threads it held before.
//
// QAR_RELIABILITY_CYCLES sets the number of restarts (100 by default; 1000 for the full run).
#include <gtest/gtest.h>

#include <iostream>
#include <iterator>
#include <memory>

#include "QarEventApi.h"
#include "client/support/ServiceEnv.h"
#include "reliability/support/MixedCalls.h"
#include "reliability/support/ProcessCensus.h"
#include "reliability/support/Services.h"

namespace qarrel {
namespace {

constexpr int kDefaultCycles = 100;
constexpr int kWorkers = 4;
// How each instance of the service lives and dies, in turn: killed while busy (it has served
// this many calls, a callback among them), while busy answering slowly (calls are in flight for
// longer), and just after it started (callers may be connecting to it).
struct CycleKind {
    std::vector<std::string> args;
    int callsBeforeKill;
};
const CycleKind kCycleKinds[] = {{{}, 120}, {{"--delay-ms", "2"}, 120}, {{}, 0}};
constexpr int kCycleKindCount = std::size(kCycleKinds);
constexpr int kCallsAtEnd = 120;

class ServiceRestartTest : public SimTest {
protected:
    // Every call answered, by a service that has just started or stayed up.
    static ::testing::AssertionResult healthyRound(int threads) {
        if (qarInit() != 0) return ::testing::AssertionFailure() << "qarInit failed";
        MixedCalls round({threads, MixedCalls::tableSize(), false});
        round.finish();
        if (round.unexpected() == 0) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << round.report();
    }
};

TEST_F(ServiceRestartTest, KilledAndRestartedUnderMixedLoad) {
    const int cycles = countFromEnv("QAR_RELIABILITY_CYCLES", kDefaultCycles);
    ASSERT_TRUE(startSim());
    // One restart and the whole mixed table before the baseline, so that what the runtime keeps
    // for good (pool threads) exists; the baseline is taken connected, as the run ends.
    ASSERT_TRUE(healthyRound(kWorkers));
    ASSERT_TRUE(killSim());
    ASSERT_TRUE(startSim());
    ASSERT_TRUE(healthyRound(1));
    const Census baseline = takeCensus();
    const HostBinderLookupCounts before = mEnv.lookups();

    MixedCalls load({kWorkers, 0, true});
    uint64_t busyCycles = 0;
    for (int cycle = 0; cycle < cycles; ++cycle) {
        const CycleKind& running = kCycleKinds[cycle % kCycleKindCount];
        if (running.callsBeforeKill > 0) {
            ASSERT_TRUE(waitForTraffic(*mSim, running.callsBeforeKill)) << "cycle " << cycle << "\n"
                                                                        << load.report();
            ++busyCycles;
        }
        ASSERT_TRUE(killSim()) << "cycle " << cycle;
        ASSERT_TRUE(startSim(kCycleKinds[(cycle + 1) % kCycleKindCount].args)) << "cycle " << cycle;
    }
    ASSERT_TRUE(waitForTraffic(*mSim, kCallsAtEnd)) << load.report();
    load.finish();
    std::cout << cycles << " restarts survived: " << load.report();

    EXPECT_EQ(load.unexpected(), 0u) << load.report();
    EXPECT_GT(load.failed(), 0u) << "no call noticed a kill";
    EXPECT_GT(load.callbacks(), 0u);
    // Each instance that served calls was looked up by both connections.
    const HostBinderLookupCounts after = mEnv.lookups();
    EXPECT_GE(after.waitForService - before.waitForService, busyCycles);
    EXPECT_GE(after.checkService - before.checkService, busyCycles);

    // Both connections serve again, and nothing of the dead instances is left behind.
    EXPECT_TRUE(healthyRound(1));
    Census now;
    const bool settled = qartest::waitFor([&] {
        now = takeCensus();
        return now.fds <= baseline.fds && now.otherThreads <= baseline.otherThreads &&
               now.runtimeThreads <= baseline.runtimeThreads && now.poolThreads <= kPoolThreadCap;
    });
    EXPECT_TRUE(settled) << "now " << toString(now) << "; before " << toString(baseline);
}

}  // namespace
}  // namespace qarrel
