// What one peer can cost a service is bounded: thousands of idle connections, frames announced
// huge and never finished, and calls pipelined by a peer that never reads its replies leave the
// service small, with few threads, and answering everybody else promptly.
#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "support/echo_jorv.h"
#include "support/raw_peer.h"
#include "support/sanitizers.h"
#include "support/test_env.h"

namespace hbtest {
namespace {

using Clock = std::chrono::steady_clock;
using jorv::IJorv;

// ASan's resident set is mostly its shadow memory and quarantine, which say nothing about what
// the runtime holds, so resident memory is not checked there at all. TSan's shadow grows with
// the memory the program touches: the bounds scale with it.
constexpr bool kCheckResident = !qartest::kAsan;
constexpr long kResidentScale = qartest::kTsan ? 4 : 1;

// What another client may wait for an answer while peers misbehave.
constexpr auto kMaxDelay = std::chrono::milliseconds(100) * qartest::kSanitizerSlowdown;
constexpr long kMaxServiceResidentKb = 100 * 1024 * kResidentScale;
constexpr int kMaxServiceThreads = 40;

// Runs `measure` on a thread of its own, so that a service that stops answering fails the test
// rather than hanging it; a default-constructed result (empty, nullopt) then.
template <typename Fn>
auto withTimeout(Fn measure) -> decltype(measure()) {
    auto result = std::make_shared<decltype(measure())>();
    Async async([measure, result] { *result = measure(); });
    if (!async.waitDone()) return {};
    return *result;
}

// The slowest of `n` synchronous calls; nullopt if one fails.
std::optional<Clock::duration> slowestCall(IJorv& jorv, int n) {
    Clock::duration slowest{};
    for (int32_t i = 0; i < n; ++i) {
        const auto start = Clock::now();
        int32_t ret = -1;
        if (!jorv.release(i, &ret).isOk() || ret != i) return std::nullopt;
        slowest = std::max(slowest, Clock::now() - start);
    }
    return slowest;
}

// From issuing a one-way call until a synchronous call finds it served; nullopt if it never is.
std::optional<Clock::duration> oneWayDelay(IJorv& jorv, int32_t id) {
    jorv::JorvRequestParcel call;
    call.param0 = id;
    jorv::JorvRequestParcel query;
    query.requestType = EchoJorv::kOneWayLog;
    const auto start = Clock::now();
    if (!jorv.requestOneWay(call).isOk()) return std::nullopt;
    const bool served = waitFor([&] {
        std::vector<jorv::JorvRequestData> log;
        return jorv.stateRequest(query, &log).isOk() &&
               std::any_of(log.begin(), log.end(), [&](const auto& r) { return r.id == id; });
    });
    if (!served) return std::nullopt;
    return Clock::now() - start;
}

class HostilePeerTest : public RawPeerTest {
protected:
    // The service inherits the limit, so it is raised before any test starts one.
    static void SetUpTestSuite() {
        getrlimit(RLIMIT_NOFILE, &savedFdLimit_);
        rlimit raised = savedFdLimit_;
        if (raised.rlim_max != RLIM_INFINITY) raised.rlim_cur = raised.rlim_max;
        setrlimit(RLIMIT_NOFILE, &raised);
    }
    static void TearDownTestSuite() { setrlimit(RLIMIT_NOFILE, &savedFdLimit_); }

    static rlim_t fdLimit() {
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        return limit.rlim_cur;
    }

    // Resident memory and threads of the service within bounds.
    void expectServiceBounded(const char* when) {
        const long resident = residentKb(child_->pid());
        if (kCheckResident) {
            EXPECT_GT(resident, 0) << "no VmRSS for the service";
            EXPECT_LE(resident, kMaxServiceResidentKb) << when;
        }
        EXPECT_LT(countThreads(child_->pid()), kMaxServiceThreads) << when;
    }

    static rlimit savedFdLimit_;
};

rlimit HostilePeerTest::savedFdLimit_{};

TEST_F(HostilePeerTest, IdleAndStalledConnectionsCostLittle) {
    constexpr int kIdle = 10000;
    constexpr int kStalled = 50;
    // Both processes hold one descriptor per connection, plus their own.
    constexpr rlim_t kFdsNeeded = kIdle + kStalled + 256;
    if (fdLimit() < kFdsNeeded) {
        GTEST_SKIP() << "needs RLIMIT_NOFILE of at least " << kFdsNeeded << ", can have only "
                     << fdLimit();
    }
    // Stalled peers send half a frame header, or a transaction announced at the largest frame
    // size of which only 16 bytes ever come.
    Bytes stall;
    put<uint32_t>(stall, 16u << 20);
    put<uint32_t>(stall, wire::kTransaction);
    put<uint64_t>(stall, 1);
    const Bytes halfHeader(stall.begin(), stall.begin() + 3);

    std::vector<std::unique_ptr<RawConnection>> peers;
    peers.reserve(kIdle + kStalled);
    for (int i = 0; i < kIdle + kStalled; ++i) {
        peers.push_back(std::make_unique<RawConnection>(socket_));
        ASSERT_TRUE(peers.back()->ok()) << "connect " << i;
        if (i >= kIdle) {
            ASSERT_TRUE(peers.back()->send(i % 2 == 0 ? stall : halfHeader));
        }
    }
    const int held = childFds_ + kIdle + kStalled;
    ASSERT_TRUE(waitFor([&] { return countFds(child_->pid()) >= held; }))
            << "the service accepted " << countFds(child_->pid()) - childFds_ << " connections";
    ASSERT_TRUE(waitFor([&] {
        return std::all_of(peers.end() - kStalled, peers.end(),
                           [](const auto& p) { return p->allRead(); });
    })) << "the service stopped reading stalled peers";

    const auto slowest = withTimeout([jorv = jorv_] { return slowestCall(*jorv, 20); });
    ASSERT_TRUE(slowest.has_value()) << "a call failed";
    EXPECT_LE(*slowest, kMaxDelay);
    expectServiceBounded("10050 connections");
    // Bounded by holding them, not by dropping them.
    EXPECT_GE(countFds(child_->pid()), held);
    peers.clear();
    expectChildFdsBackToBaseline();
}

TEST_F(HostilePeerTest, PeerThatNeverReadsIsCutOffWithoutDelayingOthers) {
    constexpr int kCalls = 200000;
    constexpr int kBatch = 1000;
    auto flooder = std::make_shared<RawConnection>(socket_);
    ASSERT_TRUE(flooder->ok());
    auto sent = std::make_shared<std::atomic<int>>(0);
    auto stoppedBy = std::make_shared<std::atomic<int>>(0);
    Async flood([flooder, sent, stoppedBy] {
        for (int first = 0; first < kCalls; first += kBatch) {
            Bytes batch;
            for (int i = first; i < first + kBatch; ++i) {
                const Bytes ping = transactionFrame(i + 1, wire::kRootObjectId, kPing, {});
                batch.insert(batch.end(), ping.begin(), ping.end());
            }
            if (const int err = flooder->sendAll(batch); err != 0) {
                stoppedBy->store(err);
                return;
            }
            sent->fetch_add(kBatch);
        }
    });
    ASSERT_TRUE(waitFor([&] { return sent->load() >= 10 * kBatch || flood.done(); }));

    int measured = 0;
    for (int32_t id = 1; id <= 5 && !flood.done(); ++id, ++measured) {
        const auto delay = withTimeout([jorv = jorv_, id] { return oneWayDelay(*jorv, id); });
        ASSERT_TRUE(delay.has_value()) << "one-way call " << id << " was never served";
        EXPECT_LE(*delay, kMaxDelay) << "one-way call " << id;
    }
    ASSERT_TRUE(flood.waitDone());
    ASSERT_GE(measured, 3) << "the flood ended before the calls could be measured";

    EXPECT_TRUE(flooder->hungUp()) << "the service kept a peer that never reads";
    EXPECT_TRUE(stoppedBy->load() == 0 || stoppedBy->load() == EPIPE ||
                stoppedBy->load() == ECONNRESET)
            << "errno " << stoppedBy->load();
    expectStillServing();
    expectChildFdsBackToBaseline();
    expectServiceBounded("after the flood");
}

}  // namespace
}  // namespace hbtest
