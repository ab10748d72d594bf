// A service must survive whatever arrives on its socket: malformed frames close that one
// connection, everyone else keeps being served, and connections, deaths and restarts leave no
// descriptors or threads behind on either side.
#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android/binder_manager.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
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

struct MalformedCase {
    const char* name;
    Bytes (*make)();
    bool halfClose;  // the frame is only wrong once the sender stops sending
};

Bytes header(uint32_t size, uint32_t type) {
    Bytes b;
    put(b, wire::FrameHeader{size, type});
    return b;
}

Bytes ping(Bytes data = {}) {
    return transactionFrame(1, wire::kRootObjectId, kPing, data);
}

template <typename T>
Bytes patched(Bytes b, size_t offset, T value) {
    patch(b, offset, value);
    return b;
}

const MalformedCase kMalformed[] = {
        {"garbage", [] { return Bytes(64, 0xa5); }, false},
        {"hugeSize", [] { return header(0xffffffffu, wire::kTransaction); }, false},
        {"sizeJustOverTheLimit", [] { return header((16u << 20) + 8, wire::kTransaction); }, false},
        {"sizeSmallerThanHeader", [] { return header(4, wire::kTransaction); }, false},
        {"unknownFrameType", [] { return patched<uint32_t>(ping(), 4, 77); }, false},
        {"transactionShorterThanItsHeader",
         [] {
             Bytes b = header(kFrameHeaderSize + 8, wire::kTransaction);
             put<uint64_t>(b, 1);
             return b;
         },
         false},
        {"dataSizeBeyondFrame", [] { return patched<uint32_t>(ping(Bytes(8)), kDataSizeAt, 4096); },
         false},
        {"objectCountBeyondFrame",
         [] { return patched<uint32_t>(ping(Bytes(8)), kObjectCountAt, 1000000); }, false},
        {"objectOffsetOutsideData",
         [] {
             Bytes obj;
             put(obj, wire::WireObject{4096, wire::kSenderObject, 5});
             return transactionFrame(1, wire::kRootObjectId, kPing, Bytes(8, 0), 1, obj);
         },
         false},
        {"truncatedFrame",
         [] {
             Bytes b = ping(Bytes(64, 1));
             b.resize(b.size() - 20);
             return b;
         },
         true},
        {"truncatedHeader",
         [] {
             return Bytes{16, 0, 0};
         },
         true},
};

void PrintTo(const MalformedCase& c, std::ostream* os) {
    *os << c.name;
}

class MalformedFrameTest : public RobustnessTest,
                           public ::testing::WithParamInterface<MalformedCase> {};

TEST_P(MalformedFrameTest, ClosesOnlyThatConnection) {
    const MalformedCase& c = GetParam();
    {
        RawConnection bystander(socket_);  // a quiet raw client that must stay connected
        ASSERT_TRUE(bystander.ok());
        RawConnection raw(socket_);
        ASSERT_TRUE(raw.ok());
        ASSERT_TRUE(raw.send(c.make()));
        if (c.halfClose) raw.finishSending();
        EXPECT_TRUE(raw.closedByPeer()) << "the service kept a connection that sent " << c.name;
        expectStillServing();
        ASSERT_TRUE(bystander.send(transactionFrame(9, wire::kRootObjectId, kPing, {})));
        EXPECT_EQ(bystander.replyStatus(9), std::optional<int32_t>(STATUS_OK));
    }
    expectChildFdsBackToBaseline();
}

INSTANTIATE_TEST_SUITE_P(Frames, MalformedFrameTest, ::testing::ValuesIn(kMalformed),
                         [](const auto& info) { return std::string(info.param.name); });

// Well framed but meaningless transactions are refused, not served, and the connection goes on.
TEST_F(RobustnessTest, WellFramedNonsenseNeverSucceeds) {
    RawConnection raw(socket_);
    ASSERT_TRUE(raw.ok());
    // IJorv.request with a body that is not a request (no interface token, nothing valid).
    ASSERT_TRUE(raw.send(transactionFrame(1, wire::kRootObjectId, FIRST_CALL_TRANSACTION + 1,
                                          Bytes{1, 2, 3, 4})));
    const auto status = raw.replyStatus(1);
    ASSERT_TRUE(status.has_value()) << "no reply";
    EXPECT_NE(*status, STATUS_OK);
    ASSERT_TRUE(raw.send(transactionFrame(2, wire::kRootObjectId, kPing, {})));
    EXPECT_EQ(raw.replyStatus(2), std::optional<int32_t>(STATUS_OK));
    {
        RawConnection unknown(socket_);
        ASSERT_TRUE(unknown.ok());
        ASSERT_TRUE(unknown.send(transactionFrame(1, 0x7777, kPing, {})));
        // An error reply or a closed connection.
        EXPECT_NE(unknown.replyStatus(1), std::optional<int32_t>(STATUS_OK));
    }
    expectStillServing();
}

TEST_F(RobustnessTest, ForeignReplyAndOverReleaseHurtNobodyElse) {
    {
        RawConnection raw(socket_);
        ASSERT_TRUE(raw.ok());
        Bytes reply = header(kFrameHeaderSize + sizeof(wire::ReplyHeader), wire::kReply);
        put(reply, wire::ReplyHeader{424242, 0, 0, 0, 0});  // no such transaction
        raw.send(reply);

        // Give back far more references to the service object than this connection was given.
        RawConnection greedy(socket_);
        ASSERT_TRUE(greedy.ok());
        Bytes dec = header(kFrameHeaderSize + sizeof(wire::DecRef), wire::kDecRefs);
        put(dec, wire::DecRef{wire::kRootObjectId, 1000, 0});
        greedy.send(dec);
        greedy.send(transactionFrame(1, wire::kRootObjectId, kPing, {}));
        greedy.replyStatus(1);  // whatever it is; it only has to come or the connection close
    }
    expectStillServing();
    expectChildFdsBackToBaseline();
}

TEST_F(RobustnessTest, StalledSendersDoNotBlockOthers) {
    {
        std::vector<std::unique_ptr<RawConnection>> stalled;
        for (int i = 0; i < 20; ++i) {
            stalled.push_back(std::make_unique<RawConnection>(socket_));
            ASSERT_TRUE(stalled.back()->ok());
            Bytes partial = transactionFrame(1, wire::kRootObjectId, kPing, Bytes(32, 0));
            partial.resize(i % 2 == 0 ? 3 : partial.size() - 5);
            ASSERT_TRUE(stalled.back()->send(partial));
        }
        expectStillServing();
    }
    expectChildFdsBackToBaseline();
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
