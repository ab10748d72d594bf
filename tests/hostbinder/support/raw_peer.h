// A peer that speaks the runtime's socket protocol by hand, so tests can send what no well-behaved
// runtime would: malformed, partial, oversized or endless frames; and a fixture with a service
// process for such peers to attack.
//
// The frame layout is restated here (native byte order) rather than taken from the runtime, so
// that a change to it shows up as failing tests: FrameHeader{size, type} where size counts the
// whole frame; a transaction continues with {txnId u64, parentTxnId u64, target u64, code, flags,
// dataSize, objectCount}, then the data, then 16-byte object records; a reply with {txnId u64,
// status i32, dataSize, objectCount, reserved}.
#pragma once

#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android/binder_manager.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/echo_jorv.h"
#include "support/test_env.h"

namespace hbtest {

inline constexpr uint32_t kTransaction = 1;
inline constexpr uint32_t kReply = 2;
inline constexpr uint32_t kDecRefs = 3;
inline constexpr size_t kFrameHeaderSize = 8;
inline constexpr size_t kTransactionHeaderSize = 40;
inline constexpr size_t kReplyHeaderSize = 24;
inline constexpr uint64_t kRootObject = 0;
inline constexpr uint32_t kPing = ('_' << 24) | ('P' << 16) | ('N' << 8) | 'G';

// Offsets inside a transaction frame.
inline constexpr size_t kSizeAt = 0;
inline constexpr size_t kDataSizeAt = kFrameHeaderSize + 32;
inline constexpr size_t kObjectCountAt = kFrameHeaderSize + 36;

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

inline Bytes transactionFrame(uint64_t txnId, uint64_t target, uint32_t code, const Bytes& data,
                              uint32_t objectCount = 0, const Bytes& objects = {}) {
    Bytes f;
    put<uint32_t>(f, static_cast<uint32_t>(kFrameHeaderSize + kTransactionHeaderSize + data.size() +
                                           objects.size()));
    put<uint32_t>(f, kTransaction);
    put<uint64_t>(f, txnId);
    put<uint64_t>(f, 0);  // parentTxnId: in no call chain
    put<uint64_t>(f, target);
    put<uint32_t>(f, code);
    put<uint32_t>(f, 0);  // flags
    put<uint32_t>(f, static_cast<uint32_t>(data.size()));
    put<uint32_t>(f, objectCount);
    f.insert(f.end(), data.begin(), data.end());
    f.insert(f.end(), objects.begin(), objects.end());
    return f;
}

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
    bool send(const Bytes& b) const { return sendAll(b) == 0; }
    // Sends all of `b`, blocking while the service does not read; 0, or the errno that stopped
    // it (EPIPE or ECONNRESET once the service has closed its end).
    int sendAll(const Bytes& b) const {
        size_t done = 0;
        while (done < b.size()) {
            const ssize_t n = ::send(fd_, b.data() + done, b.size() - done, MSG_NOSIGNAL);
            if (n < 0 && errno == EINTR) continue;
            if (n < 0) return errno;
            done += static_cast<size_t>(n);
        }
        return 0;
    }
    void finishSending() const { shutdown(fd_, SHUT_WR); }
    // True once the service has read everything sent on this connection.
    bool allRead() const {
        int queued = 0;
        return ioctl(fd_, SIOCOUTQ, &queued) == 0 && queued == 0;
    }

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

    // As closedByPeer, but reads nothing: for a peer that must not look like it reads.
    bool hungUp(std::chrono::milliseconds timeout = kLongTimeout) const {
        return waitFor(
                [&] {
                    pollfd p{fd_, POLLRDHUP, 0};
                    return poll(&p, 1, 0) > 0 && (p.revents & (POLLHUP | POLLRDHUP)) != 0;
                },
                timeout);
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

// A helper service process, the path of its socket for raw peers, and a well-behaved runtime
// client of it that must keep being served whatever the raw peers do.
class RawPeerTest : public HostBinderTest {
protected:
    void SetUp() override {
        child_ = std::make_unique<ChildService>(jorvInstance(), dir());
        ASSERT_TRUE(child_->start());
        const auto sockets = socketsIn(dir());
        ASSERT_EQ(sockets.size(), 1u) << "expected only the helper's socket in " << dir();
        socket_ = sockets[0];
        jorv_ = jorv::IJorv::fromBinder(
                ndk::SpAIBinder(AServiceManager_checkService(child_->instance().c_str())));
        ASSERT_NE(jorv_, nullptr);
        ASSERT_TRUE(callWorks(*jorv_));
        childFds_ = countFds(child_->pid());
    }

    static ::testing::AssertionResult callWorks(jorv::IJorv& jorv) {
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
        auto fresh = jorv::IJorv::fromBinder(
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
    std::shared_ptr<jorv::IJorv> jorv_;
    int childFds_ = 0;
};

}  // namespace hbtest
