// A service must survive whatever arrives on its socket: malformed frames close that one
// connection, everyone else keeps being served, and connections, deaths and restarts leave no
// descriptors or threads behind on either side.
#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android/binder_manager.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/echo_jorv.h"
#include "support/raw_peer.h"
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
            {"sizeJustOverTheLimit", header((16u << 20) + 8, wire::kTransaction), Outcome::kClosed},
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

TEST_F(RobustnessTest, ConnectionChurnLeavesNothingBehind) {
    auto churn = [&](int n) {
        for (int i = 0; i < n; ++i) {
            RawConnection raw(socket_);
            ASSERT_TRUE(raw.ok()) << "connect " << i;
        }
        for (int i = 0; i < n; ++i) {
            auto jorv = IJorv::fromBinder(
                    ndk::SpAIBinder(AServiceManager_checkService(instance_.c_str())));
            ASSERT_NE(jorv, nullptr) << "lookup " << i;
            ASSERT_TRUE(callWorks(*jorv)) << "call " << i;
        }
    };
    churn(10);
    const int ownFds = countFds();
    const int ownThreads = countThreads();
    const int childThreads = countThreads(child_->pid());
    churn(200);
    if (HasFatalFailure()) return;
    expectStillServing();
    expectChildFdsBackToBaseline();
    EXPECT_TRUE(waitFor([&] { return countThreads(child_->pid()) <= childThreads + kPoolSlack; }))
            << "service threads " << countThreads(child_->pid()) << " > " << childThreads;
    EXPECT_TRUE(waitFor([&] { return countFds() <= ownFds; }))
            << "client fds " << countFds() << " > " << ownFds;
    EXPECT_TRUE(waitFor([&] { return countThreads() <= ownThreads + kPoolSlack; }))
            << "client threads " << countThreads() << " > " << ownThreads;
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

}  // namespace
}  // namespace hbtest
