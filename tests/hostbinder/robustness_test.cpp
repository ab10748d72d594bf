// A service must survive whatever arrives on its socket: malformed frames close that one
// connection, everyone else keeps being served, and connections, deaths and restarts leave no
// descriptors or threads behind on either side.
#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android/binder_manager.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "support/echo_jorv.h"
#include "support/test_env.h"

namespace hbtest {
namespace {

using jorv::IJorv;

// The frame layout the runtime uses on its sockets (native byte order), restated here so the
// tests can forge frames: FrameHeader{size, type} where size counts the whole frame; a
// transaction continues with {txnId u64, parentTxnId u64, target u64, code, flags, dataSize,
// objectCount}, then the data, then 16-byte object records; a reply with {txnId u64, status i32,
// dataSize, objectCount, reserved}.
constexpr uint32_t kTransaction = 1;
constexpr uint32_t kReply = 2;
constexpr uint32_t kDecRefs = 3;
constexpr size_t kFrameHeaderSize = 8;
constexpr size_t kTransactionHeaderSize = 40;
constexpr size_t kReplyHeaderSize = 24;
constexpr uint64_t kRootObject = 0;
constexpr uint32_t kPing = ('_' << 24) | ('P' << 16) | ('N' << 8) | 'G';

// Binder pool threads stay for the life of a process (the pool only grows, to a cap), so after
// a warm-up a few more may appear; a thread kept per closed connection would show as hundreds.
constexpr int kPoolSlack = 2;

using Bytes = std::vector<uint8_t>;

template <typename T>
void put(Bytes& b, T v) {
    const auto* p = reinterpret_cast<const uint8_t*>(&v);
    b.insert(b.end(), p, p + sizeof(T));
}

template <typename T>
void patch(Bytes& b, size_t offset, T v) {
    std::memcpy(b.data() + offset, &v, sizeof(T));
}

template <typename T>
T peek(const Bytes& b, size_t offset) {
    T v;
    std::memcpy(&v, b.data() + offset, sizeof(T));
    return v;
}

Bytes transactionFrame(uint64_t txnId, uint64_t target, uint32_t code, const Bytes& data,
                       uint32_t objectCount = 0, const Bytes& objects = {}) {
    Bytes f;
    put<uint32_t>(f, static_cast<uint32_t>(kFrameHeaderSize + kTransactionHeaderSize + data.size() +
                                           objects.size()));
    put<uint32_t>(f, kTransaction);
    put<uint64_t>(f, txnId);
    put<uint64_t>(f, 0);  // parentTxnId: not part of a call chain
    put<uint64_t>(f, target);
    put<uint32_t>(f, code);
    put<uint32_t>(f, 0);  // flags
    put<uint32_t>(f, static_cast<uint32_t>(data.size()));
    put<uint32_t>(f, objectCount);
    f.insert(f.end(), data.begin(), data.end());
    f.insert(f.end(), objects.begin(), objects.end());
    return f;
}

// Offsets inside a transaction frame.
constexpr size_t kSizeAt = 0;
constexpr size_t kDataSizeAt = kFrameHeaderSize + 32;
constexpr size_t kObjectCountAt = kFrameHeaderSize + 36;

// A raw client connection to a service socket.
class RawConnection {
public:
    explicit RawConnection(const std::string& path) : fd_(connectUnix(path)) {}
    ~RawConnection() {
        if (fd_ >= 0) close(fd_);
    }
    RawConnection(const RawConnection&) = delete;
    RawConnection& operator=(const RawConnection&) = delete;

    bool ok() const { return fd_ >= 0; }
    bool send(const Bytes& b) const {
        return ::send(fd_, b.data(), b.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(b.size());
    }
    void finishSending() const { shutdown(fd_, SHUT_WR); }

    // True once the service has closed its end (anything it sent first is discarded).
    bool closedByPeer(std::chrono::milliseconds timeout = kLongTimeout) const {
        char buf[4096];
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (std::chrono::steady_clock::now() < deadline) {
            pollfd p{fd_, POLLIN, 0};
            if (poll(&p, 1, 50) <= 0) continue;
            const ssize_t r = recv(fd_, buf, sizeof buf, MSG_DONTWAIT);
            if (r == 0 || (r < 0 && errno != EAGAIN && errno != EINTR)) return true;
        }
        return false;
    }

    // Reads one whole frame; nullopt on close or timeout.
    std::optional<Bytes> readFrame(std::chrono::milliseconds timeout = kLongTimeout) const {
        Bytes frame(kFrameHeaderSize);
        if (!readExactly(frame.data(), kFrameHeaderSize, timeout)) return std::nullopt;
        const uint32_t size = peek<uint32_t>(frame, kSizeAt);
        if (size < kFrameHeaderSize || size > (64u << 20)) return std::nullopt;
        frame.resize(size);
        if (!readExactly(frame.data() + kFrameHeaderSize, size - kFrameHeaderSize, timeout)) {
            return std::nullopt;
        }
        return frame;
    }

    // Reads frames until the reply to `txnId` arrives; its status, or nullopt if none came.
    std::optional<int32_t> replyStatus(uint64_t txnId) const {
        while (auto frame = readFrame()) {
            if (peek<uint32_t>(*frame, 4) != kReply) continue;  // e.g. reference bookkeeping
            if (frame->size() < kFrameHeaderSize + kReplyHeaderSize) return std::nullopt;
            if (peek<uint64_t>(*frame, kFrameHeaderSize) != txnId) continue;
            return peek<int32_t>(*frame, kFrameHeaderSize + 8);
        }
        return std::nullopt;
    }

private:
    bool readExactly(uint8_t* to, size_t n, std::chrono::milliseconds timeout) const {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (n > 0) {
            if (std::chrono::steady_clock::now() >= deadline) return false;
            pollfd p{fd_, POLLIN, 0};
            if (poll(&p, 1, 50) <= 0) continue;
            const ssize_t r = recv(fd_, to, n, MSG_DONTWAIT);
            if (r == 0) return false;
            if (r < 0) {
                if (errno == EAGAIN || errno == EINTR) continue;
                return false;
            }
            to += r;
            n -= static_cast<size_t>(r);
        }
        return true;
    }

    int fd_;
};

class RobustnessTest : public HostBinderTest {
protected:
    void SetUp() override {
        child_ = std::make_unique<ChildService>(jorvInstance(), dir());
        ASSERT_TRUE(child_->start());
        const auto sockets = socketsIn(dir());
        ASSERT_EQ(sockets.size(), 1u) << "expected only the helper's socket in " << dir();
        socket_ = sockets[0];
        jorv_ = IJorv::fromBinder(
                ndk::SpAIBinder(AServiceManager_checkService(child_->instance().c_str())));
        ASSERT_NE(jorv_, nullptr);
        ASSERT_TRUE(callWorks(*jorv_));
        childFds_ = countFds(child_->pid());
    }

    static ::testing::AssertionResult callWorks(IJorv& jorv) {
        int32_t ret = 0;
        ndk::ScopedAStatus st = jorv.release(41, &ret);
        if (!st.isOk()) return ::testing::AssertionFailure() << st.getDescription();
        if (ret != 41) return ::testing::AssertionFailure() << "wrong result " << ret;
        return ::testing::AssertionSuccess();
    }

    // The service is alive and serves both the old connection and a new one.
    void expectStillServing() {
        ASSERT_TRUE(child_->running()) << "the service process died";
        EXPECT_TRUE(callWorks(*jorv_)) << "an unrelated connection was affected";
        auto fresh = IJorv::fromBinder(
                ndk::SpAIBinder(AServiceManager_checkService(child_->instance().c_str())));
        ASSERT_NE(fresh, nullptr);
        EXPECT_TRUE(callWorks(*fresh));
    }

    // Every connection holds a descriptor in the service, so this is where leaks show.
    void expectChildFdsBackToBaseline() {
        EXPECT_TRUE(waitFor([&] { return countFds(child_->pid()) <= childFds_; }))
                << "service fds " << countFds(child_->pid()) << " > " << childFds_;
    }

    std::unique_ptr<ChildService> child_;
    std::string socket_;
    std::shared_ptr<IJorv> jorv_;
    int childFds_ = 0;
};

// Checks the forged framing against the real thing before trusting any "connection closed".
TEST_F(RobustnessTest, ForgedPingIsAnswered) {
    RawConnection raw(socket_);
    ASSERT_TRUE(raw.ok());
    for (uint64_t txn : {1u, 2u}) {
        ASSERT_TRUE(raw.send(transactionFrame(txn, kRootObject, kPing, {})));
        EXPECT_EQ(raw.replyStatus(txn), std::optional<int32_t>(STATUS_OK));
    }
}

struct MalformedCase {
    const char* name;
    Bytes (*make)();
    bool halfClose;  // the frame is only wrong once the sender stops sending
};

const MalformedCase kMalformed[] = {
        {"garbage", [] { return Bytes(64, 0xa5); }, false},
        {"hugeSize",
         [] {
             Bytes b;
             put<uint32_t>(b, 0xffffffffu);
             put<uint32_t>(b, kTransaction);
             return b;
         },
         false},
        {"sizeJustOverTheLimit",
         [] {
             Bytes b;
             put<uint32_t>(b, (16u << 20) + 8);
             put<uint32_t>(b, kTransaction);
             return b;
         },
         false},
        {"sizeSmallerThanHeader",
         [] {
             Bytes b;
             put<uint32_t>(b, 4);
             put<uint32_t>(b, kTransaction);
             return b;
         },
         false},
        {"unknownFrameType",
         [] {
             Bytes b = transactionFrame(1, kRootObject, kPing, {});
             patch<uint32_t>(b, 4, 77);
             return b;
         },
         false},
        {"transactionShorterThanItsHeader",
         [] {
             Bytes b;
             put<uint32_t>(b, kFrameHeaderSize + 8);
             put<uint32_t>(b, kTransaction);
             put<uint64_t>(b, 1);
             return b;
         },
         false},
        {"dataSizeBeyondFrame",
         [] {
             Bytes b = transactionFrame(1, kRootObject, kPing, Bytes(8, 0));
             patch<uint32_t>(b, kDataSizeAt, 4096);
             return b;
         },
         false},
        {"objectCountBeyondFrame",
         [] {
             Bytes b = transactionFrame(1, kRootObject, kPing, Bytes(8, 0));
             patch<uint32_t>(b, kObjectCountAt, 1000000);
             return b;
         },
         false},
        {"objectOffsetOutsideData",
         [] {
             Bytes obj;
             put<uint32_t>(obj, 4096);  // offset
             put<uint32_t>(obj, 1);     // sender's object
             put<uint64_t>(obj, 5);
             return transactionFrame(1, kRootObject, kPing, Bytes(8, 0), 1, obj);
         },
         false},
        {"truncatedFrame",
         [] {
             Bytes b = transactionFrame(1, kRootObject, kPing, Bytes(64, 1));
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
        ASSERT_TRUE(bystander.send(transactionFrame(9, kRootObject, kPing, {})));
        EXPECT_EQ(bystander.replyStatus(9), std::optional<int32_t>(STATUS_OK));
    }
    expectChildFdsBackToBaseline();
}

INSTANTIATE_TEST_SUITE_P(Frames, MalformedFrameTest, ::testing::ValuesIn(kMalformed),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(RobustnessTest, WellFramedNonsenseGetsAnErrorReply) {
    RawConnection raw(socket_);
    ASSERT_TRUE(raw.ok());
    // IJorv.request with a body that is not a request (no interface token, nothing valid).
    ASSERT_TRUE(raw.send(
            transactionFrame(1, kRootObject, FIRST_CALL_TRANSACTION + 1, Bytes{1, 2, 3, 4})));
    const auto status = raw.replyStatus(1);
    ASSERT_TRUE(status.has_value()) << "no reply";
    EXPECT_NE(*status, STATUS_OK);
    // The connection stays usable.
    ASSERT_TRUE(raw.send(transactionFrame(2, kRootObject, kPing, {})));
    EXPECT_EQ(raw.replyStatus(2), std::optional<int32_t>(STATUS_OK));
    expectStillServing();
}

TEST_F(RobustnessTest, TransactionToAnUnknownObjectNeverSucceeds) {
    {
        RawConnection raw(socket_);
        ASSERT_TRUE(raw.ok());
        ASSERT_TRUE(raw.send(transactionFrame(1, 0x7777, kPing, {})));
        const auto status = raw.replyStatus(1);  // an error reply or a closed connection
        if (status) {
            EXPECT_NE(*status, STATUS_OK);
        }
    }
    expectStillServing();
}

TEST_F(RobustnessTest, ForeignReplyAndOverReleaseHurtNobodyElse) {
    {
        RawConnection raw(socket_);
        ASSERT_TRUE(raw.ok());
        Bytes reply;
        put<uint32_t>(reply, kFrameHeaderSize + kReplyHeaderSize);
        put<uint32_t>(reply, kReply);
        put<uint64_t>(reply, 424242);  // no such transaction
        put<int32_t>(reply, 0);
        put<uint32_t>(reply, 0);
        put<uint32_t>(reply, 0);
        put<uint32_t>(reply, 0);
        raw.send(reply);

        // Give back far more references to the service object than this connection was given.
        RawConnection greedy(socket_);
        ASSERT_TRUE(greedy.ok());
        Bytes dec;
        put<uint32_t>(dec, kFrameHeaderSize + 16);
        put<uint32_t>(dec, kDecRefs);
        put<uint64_t>(dec, kRootObject);
        put<uint32_t>(dec, 1000);
        put<uint32_t>(dec, 0);
        greedy.send(dec);
        greedy.send(transactionFrame(1, kRootObject, kPing, {}));
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
            Bytes partial = transactionFrame(1, kRootObject, kPing, Bytes(32, 0));
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
                    ndk::SpAIBinder(AServiceManager_checkService(child_->instance().c_str())));
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

class CycleTest : public HostBinderTest {};

// Publish, look up, call, kill: the runtime must give back every descriptor and thread.
TEST_F(CycleTest, InProcessServiceCyclesKeepFdsAndThreadsFlat) {
    const std::string instance = jorvInstance("cycle");
    auto cycle = [&](int i) {
        auto echo = ndk::SharedRefBase::make<EchoJorv>();
        ASSERT_TRUE(local_.publish(echo->asBinder(), instance)) << "cycle " << i;
        auto jorv =
                IJorv::fromBinder(ndk::SpAIBinder(AServiceManager_checkService(instance.c_str())));
        ASSERT_NE(jorv, nullptr) << "cycle " << i;
        int32_t ret = 0;
        ASSERT_TRUE(jorv->release(i, &ret).isOk()) << "cycle " << i;
        ASSERT_EQ(ret, i);
        jorv.reset();
        ASSERT_EQ(local_.kill(instance), STATUS_OK) << "cycle " << i;
    };
    for (int i = -10; i < 0; ++i) cycle(i);  // whatever the runtime keeps for good exists now
    if (HasFatalFailure()) return;
    const int fds = countFds();
    const int threads = countThreads();
    for (int i = 0; i < 200; ++i) {
        cycle(i);
        if (HasFatalFailure()) return;
    }
    EXPECT_TRUE(waitFor([&] { return countFds() <= fds; })) << "fds " << countFds() << " > " << fds;
    EXPECT_TRUE(waitFor([&] { return countThreads() <= threads + kPoolSlack; }))
            << "threads " << countThreads() << " > " << threads;
}

// Services that die under their clients: each death is handled and cleaned up.
TEST_F(CycleTest, ChildServiceDeathCyclesKeepFdsAndThreadsFlat) {
    const std::string instance = jorvInstance();
    auto cycle = [&](int i) {
        ChildService child(instance, dir());
        ASSERT_TRUE(child.start()) << "cycle " << i;
        ndk::SpAIBinder binder(AServiceManager_checkService(instance.c_str()));
        auto jorv = IJorv::fromBinder(binder);
        ASSERT_NE(jorv, nullptr);
        int32_t ret = 0;
        ASSERT_TRUE(jorv->release(i, &ret).isOk());
        child.kill();
        ASSERT_TRUE(waitFor([&] { return !AIBinder_isAlive(binder.get()); })) << "cycle " << i;
    };
    for (int i = -3; i < 0; ++i) cycle(i);
    if (HasFatalFailure()) return;
    const int fds = countFds();
    const int threads = countThreads();
    for (int i = 0; i < 30; ++i) {
        cycle(i);
        if (HasFatalFailure()) return;
    }
    EXPECT_TRUE(waitFor([&] { return countFds() <= fds; })) << "fds " << countFds() << " > " << fds;
    EXPECT_TRUE(waitFor([&] { return countThreads() <= threads + kPoolSlack; }))
            << "threads " << countThreads() << " > " << threads;
}

}  // namespace
}  // namespace hbtest
