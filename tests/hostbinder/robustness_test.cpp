// Raw peers against a service process: whatever arrives on its socket, the service survives,
// closes only the offending connection and keeps serving everyone else; who calls is what the
// kernel says of each transaction; what one peer can cost is bounded; and connections, deaths
// and restarts leave no descriptors or threads behind on either side.
#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <aidl/vendor/vemra/hardware/jorv/JorvRequestParcel.h>
#include <android/binder_manager.h>
#include <android/binder_parcel_utils.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/echo_jorv.h"
#include "support/raw_peer.h"
#include "support/sanitizers.h"
#include "support/test_env.h"

namespace hbtest {
namespace {

using jorv::IJorv;

// Binder pool threads stay for the life of a process and the pool grows whenever all of them are
// busy, so how many a burst of work leaves behind depends on scheduling, up to the pool's cap (15
// unless the process sets another); a thread kept per closed connection would show as hundreds.
constexpr int kPoolSlack = 15;

class RobustnessTest : public RawPeerTest {};

template <typename T>
Bytes bytesOf(T value) {
    Bytes b;
    put(b, value);
    return b;
}

Bytes header(uint32_t size, uint32_t type) {
    return bytesOf(wire::FrameHeader{size, type});
}

Bytes ping(uint64_t txnId = 1, Bytes data = {}) {
    return transactionFrame(txnId, wire::kRootObjectId, kPing, data);
}

Bytes join(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

template <typename T>
Bytes patched(Bytes b, size_t offset, T value) {
    patch(b, offset, value);
    return b;
}

Bytes truncated(Bytes b, size_t by) {
    b.resize(b.size() - by);
    return b;
}

enum class Outcome {
    kClosed,     // the service closes the connection
    kRefused,    // an error reply, and the connection goes on
    kNotServed,  // an error reply or a closed connection
    kAnything,   // as long as the ping sent after it is answered or the connection closed
};

struct AbuseCase {
    const char* name;
    Bytes bytes;
    Outcome outcome;
    bool halfClose = false;  // the frame is only wrong once the sender stops sending
};

// Whatever one raw peer sends, the service keeps serving everyone else (a quiet raw client too)
// and gives back the peer's descriptor once it is gone.
TEST_F(RobustnessTest, AbusivePeersHurtOnlyThemselves) {
    const Bytes object = bytesOf(wire::WireObject{4096, wire::kSenderObject, 5});
    const Bytes reply = header(kFrameHeaderSize + sizeof(wire::ReplyHeader), wire::kReply);
    const Bytes decRefs = header(kFrameHeaderSize + sizeof(wire::DecRef), wire::kDecRefs);
    const AbuseCase cases[] = {
            {"garbage", Bytes(64, 0xa5), Outcome::kClosed},
            {"hugeSize", header(0xffffffffu, wire::kTransaction), Outcome::kClosed},
            {"sizeJustOverTheLimit", header(wire::kMaxFrameSize + 8, wire::kTransaction),
             Outcome::kClosed},
            {"sizeSmallerThanHeader", header(4, wire::kTransaction), Outcome::kClosed},
            {"unknownFrameType", patched<uint32_t>(ping(), 4, 77), Outcome::kClosed},
            {"transactionShorterThanItsHeader",
             join(header(kFrameHeaderSize + 8, wire::kTransaction), Bytes(8, 1)), Outcome::kClosed},
            {"dataSizeBeyondFrame", patched<uint32_t>(ping(1, Bytes(8)), kDataSizeAt, 4096),
             Outcome::kClosed},
            {"objectCountBeyondFrame",
             patched<uint32_t>(ping(1, Bytes(8)), kObjectCountAt, 1000000), Outcome::kClosed},
            {"objectOffsetOutsideData",
             transactionFrame(1, wire::kRootObjectId, kPing, Bytes(8, 0), 1, object),
             Outcome::kClosed},
            {"truncatedFrame", truncated(ping(1, Bytes(64, 1)), 20), Outcome::kClosed, true},
            {"truncatedHeader", Bytes{16, 0, 0}, Outcome::kClosed, true},
            // IJorv.request with a body that is not a request (no interface token, nothing valid).
            {"nonsenseRequest",
             transactionFrame(1, wire::kRootObjectId, FIRST_CALL_TRANSACTION + 1,
                              Bytes{1, 2, 3, 4}),
             Outcome::kRefused},
            {"unknownObject", transactionFrame(1, 0x7777, kPing, {}), Outcome::kNotServed},
            {"foreignReply",
             join(join(reply, bytesOf(wire::ReplyHeader{424242, 0, 0, 0, 0})), ping()),
             Outcome::kAnything},
            // Far more references to the service object given back than this peer was given.
            {"overRelease",
             join(join(decRefs, bytesOf(wire::DecRef{wire::kRootObjectId, 1000, 0})), ping()),
             Outcome::kAnything},
    };
    for (const AbuseCase& c : cases) {
        SCOPED_TRACE(c.name);
        {
            RawConnection bystander(socket_);
            RawConnection raw(socket_);
            ASSERT_TRUE(bystander.ok() && raw.ok());
            ASSERT_TRUE(raw.send(c.bytes));
            if (c.halfClose) raw.finishSending();
            const std::optional<int32_t> ok(STATUS_OK);
            if (c.outcome == Outcome::kClosed) {
                EXPECT_TRUE(raw.hungUp()) << "the service kept the connection";
            } else if (c.outcome == Outcome::kRefused) {
                EXPECT_NE(raw.replyStatus(1).value_or(STATUS_OK), STATUS_OK) << "no error reply";
                ASSERT_TRUE(raw.send(ping(2)));
                EXPECT_EQ(raw.replyStatus(2), ok);
            } else {
                const std::optional<int32_t> status = raw.replyStatus(1);
                EXPECT_TRUE(c.outcome == Outcome::kAnything || status != ok) << "served";
            }
            expectStillServing();
            ASSERT_TRUE(bystander.send(ping(9)));
            EXPECT_EQ(bystander.replyStatus(9), ok);
        }
        expectChildFdsBackToBaseline();
    }
}

// --- Cycles of whole services ---------------------------------------------------------------

using CycleTest = HostBinderTest;

// Publish, look up, call, kill; and services that die under their clients: after warming up (so
// that whatever the runtime keeps for good exists), more cycles must leave this process with no
// more descriptors and, but for the pool, threads.
TEST_F(CycleTest, ServiceCyclesKeepFdsAndThreadsFlat) {
    auto expectFlatAcross = [&](int warmUp, int n, auto&& cycle) {
        for (int i = -warmUp; i < 0; ++i) cycle(i);
        if (HasFatalFailure()) return;
        const int fds = countFds();
        const int threads = countThreads();
        for (int i = 0; i < n && !HasFatalFailure(); ++i) cycle(i);
        if (HasFatalFailure()) return;
        EXPECT_TRUE(waitFor([&] { return countFds() <= fds; }))
                << "fds " << countFds() << " > " << fds;
        EXPECT_TRUE(waitFor([&] { return countThreads() <= threads + kPoolSlack; }))
                << "threads " << countThreads() << " > " << threads;
    };
    const std::string instance = jorvInstance();
    expectFlatAcross(10, 200, [&](int i) {
        auto echo = ndk::SharedRefBase::make<EchoJorv>();
        ASSERT_TRUE(publish(echo->asBinder(), instance)) << "cycle " << i;
        auto jorv =
                IJorv::fromBinder(ndk::SpAIBinder(AServiceManager_checkService(instance.c_str())));
        ASSERT_NE(jorv, nullptr) << "cycle " << i;
        int32_t ret = 0;
        ASSERT_TRUE(jorv->release(i, &ret).isOk()) << "cycle " << i;
        ASSERT_EQ(ret, i);
        jorv.reset();
        ASSERT_EQ(unpublish(instance), STATUS_OK) << "cycle " << i;
    });
    expectFlatAcross(3, 30, [&](int i) {
        ChildService child(instance, dir());
        ASSERT_TRUE(child.start()) << "cycle " << i;
        ndk::SpAIBinder binder(AServiceManager_checkService(instance.c_str()));
        auto jorv = IJorv::fromBinder(binder);
        ASSERT_NE(jorv, nullptr);
        int32_t ret = 0;
        ASSERT_TRUE(jorv->release(i, &ret).isOk());
        child.kill();
        ASSERT_TRUE(waitFor([&] { return !AIBinder_isAlive(binder.get()); })) << "cycle " << i;
    });
}

// Who is calling is a property of each transaction, from the kernel's credentials of the bytes
// that carried it: never what the peer writes, and not who made the connection. A forked child
// writing on its parent's connection is the child, and the parent is itself again after it.

using jorv::JorvRequestParcel;

constexpr uid_t kOtherUid = 65534;

// A request(p) transaction as the interface library writes it, asking the service who calls.
Bytes askWhoCalls(const ndk::SpAIBinder& proxy, EchoJorv::RequestType type, uint64_t txnId) {
    AParcel* parcel = nullptr;
    EXPECT_EQ(AIBinder_prepareTransaction(proxy.get(), &parcel), STATUS_OK);
    JorvRequestParcel p;
    p.requestType = type;
    EXPECT_EQ(::ndk::AParcel_writeData(parcel, p), STATUS_OK);
    Bytes data(static_cast<size_t>(AParcel_getDataSize(parcel)));
    EXPECT_EQ(AParcel_marshal(parcel, data.data(), 0, data.size()), STATUS_OK);
    AParcel_delete(parcel);
    return transactionFrame(txnId, wire::kRootObjectId, IJorv::TRANSACTION_request, data);
}

// The service's answer to askWhoCalls: the int32 after the reply's status header.
std::optional<int32_t> answer(const RawConnection& raw, uint64_t txnId) {
    const auto frame = raw.reply(txnId);
    const size_t data = kFrameHeaderSize + sizeof(wire::ReplyHeader);
    if (!frame || frame->size() < data + 8 || peek<int32_t>(*frame, data) != 0) return std::nullopt;
    return peek<int32_t>(*frame, data + 4);
}

using IdentityTest = RawPeerTest;

TEST_F(IdentityTest, EachTransactionIsItsSendersOwn) {
    RawConnection raw(socket_);
    ASSERT_TRUE(raw.ok());
    // Built before forking: the child only writes and reads the socket.
    const Bytes pidFromParent = askWhoCalls(binder_, EchoJorv::kCallingPid, 1);
    const Bytes pidFromChild = askWhoCalls(binder_, EchoJorv::kCallingPid, 2);
    const Bytes uidFromChild = askWhoCalls(binder_, EchoJorv::kCallingUid, 3);
    const bool root = getuid() == 0;
    const pid_t child = fork();
    if (child == 0) {
        if (!raw.send(pidFromChild) || answer(raw, 2) != getpid()) _exit(1);
        // A child that changed user is that user, on the same connection.
        if (root && setuid(kOtherUid) != 0) _exit(2);
        if (!raw.send(uidFromChild)) _exit(3);
        const uid_t expected = root ? kOtherUid : getuid();
        _exit(answer(raw, 3) == static_cast<int32_t>(expected) ? 0 : 4);
    }
    EXPECT_EQ(waitExit(child), 0);
    // The child has exited; the connection and its identity are the parent's again.
    ASSERT_TRUE(raw.send(pidFromParent));
    EXPECT_EQ(answer(raw, 1), getpid());
}

// What one peer can cost a service is bounded: thousands of idle connections, frames announced
// huge and never finished, and calls pipelined by a peer that never reads its replies leave the
// service small, with few threads, and answering everybody else promptly.

using Clock = std::chrono::steady_clock;

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
    // Both processes hold a descriptor per connection; the service inherits the raised limit, so
    // it is raised before any test starts one.
    static void SetUpTestSuite() {
        getrlimit(RLIMIT_NOFILE, &savedFdLimit_);
        rlimit raised = savedFdLimit_;
        raised.rlim_cur = raised.rlim_max;
        setrlimit(RLIMIT_NOFILE, &raised);
    }
    static void TearDownTestSuite() { setrlimit(RLIMIT_NOFILE, &savedFdLimit_); }

    // Resident memory and threads of the service within bounds.
    void expectServiceBounded() {
        const long resident = residentKb(child_->pid());
        if (kCheckResident) {
            EXPECT_GT(resident, 0) << "no VmRSS for the service";
            EXPECT_LE(resident, kMaxServiceResidentKb);
        }
        EXPECT_LT(countThreads(child_->pid()), kMaxServiceThreads);
    }

    // `count` peers that send nothing more; every hundredth stalls inside a frame, with half a
    // header or with 16 bytes of one announced at the largest size.
    void connectIdlePeers(int count, std::vector<std::unique_ptr<RawConnection>>* idle) {
        Bytes stall = header(wire::kMaxFrameSize, wire::kTransaction);
        put<uint64_t>(stall, 1);
        const Bytes halfHeader(stall.begin(), stall.begin() + 3);
        for (int i = 0; i < count; ++i) {
            idle->push_back(std::make_unique<RawConnection>(socket_));
            ASSERT_TRUE(idle->back()->ok()) << "connect " << i;
            ASSERT_TRUE(i % 100 != 0 || idle->back()->send(i % 200 == 0 ? stall : halfHeader));
        }
    }

    static rlimit savedFdLimit_;
};

rlimit HostilePeerTest::savedFdLimit_{};

// Ten thousand idle peers, a hundred of them stalled inside a frame (half a header, or 16 bytes of
// one announced at the largest size), then a peer that pipelines calls and never reads the replies:
// the service holds them all without a thread or a frame's worth of memory each, cuts the flooder
// off, and keeps answering everybody else promptly.
TEST_F(HostilePeerTest, HoardersAndAPeerThatNeverReadsCostLittle) {
    constexpr int kIdle = 10000;
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur < kIdle + 256) {
        GTEST_SKIP() << "needs RLIMIT_NOFILE of at least " << kIdle + 256 << ", has "
                     << limit.rlim_cur;
    }
    std::vector<std::unique_ptr<RawConnection>> idle;
    ASSERT_NO_FATAL_FAILURE(connectIdlePeers(kIdle, &idle));
    // One descriptor per connection held.
    ASSERT_TRUE(waitFor([&] { return countFds(child_->pid()) >= kIdle; }));
    ASSERT_TRUE(waitFor([&] {
        return std::all_of(idle.begin(), idle.end(), [](const auto& p) { return p->allRead(); });
    })) << "the service stopped reading stalled peers";

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
                batch = join(std::move(batch), ping(i + 1));
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
    expectServiceBounded();
    idle.clear();
    expectChildFdsBackToBaseline();
}

}  // namespace
}  // namespace hbtest
