// A peer that speaks the runtime's socket protocol by hand, with the runtime's own frame layout
// (wire.h), so tests can send what no well-behaved runtime would: malformed, partial, oversized or
// endless frames; and a fixture with a service process for such peers to attack.
#pragma once

#include <android-base/unique_fd.h>
#include <android/binder_manager.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "binder_internal.h"
#include "service_dir.h"
#include "support/jorv_endpoint.h"
#include "support/test_env.h"
#include "wire.h"

namespace hbtest {

namespace wire = hostbinder::wire;
inline constexpr uint32_t kPing = hostbinder::kPingTransaction;
inline constexpr size_t kFrameHeaderSize = sizeof(wire::FrameHeader);

// Offsets inside a transaction frame.
inline constexpr size_t kDataSizeAt =
        kFrameHeaderSize + offsetof(wire::TransactionHeader, dataSize);
inline constexpr size_t kObjectCountAt =
        kFrameHeaderSize + offsetof(wire::TransactionHeader, objectCount);

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
    const size_t size =
            kFrameHeaderSize + sizeof(wire::TransactionHeader) + data.size() + objects.size();
    put(f, wire::FrameHeader{static_cast<uint32_t>(size), wire::kTransaction});
    // parentTxnId 0: in no call chain; no flags.
    put(f, wire::TransactionHeader{txnId, 0, target, code, 0, static_cast<uint32_t>(data.size()),
                                   objectCount});
    f.insert(f.end(), data.begin(), data.end());
    f.insert(f.end(), objects.begin(), objects.end());
    return f;
}

// A raw client connection to a service socket.
class RawConnection {
public:
    explicit RawConnection(const std::string& path) {
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        if (path.size() >= sizeof(addr.sun_path)) return;
        std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
        fd_.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        if (fd_.ok() && connect(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0) {
            fd_.reset();
        }
    }

    bool ok() const { return fd_.ok(); }
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

    // True once the service has closed its end; reads nothing, so that a peer that must not look
    // like it reads can wait for it too.
    bool hungUp() const {
        return waitFor([&] {
            pollfd p{fd_, POLLRDHUP, 0};
            return poll(&p, 1, 0) > 0 && (p.revents & (POLLHUP | POLLRDHUP)) != 0;
        });
    }

    // Reads frames until the reply to `txnId` arrives (others, e.g. reference counts, are
    // skipped); nullopt on close or timeout.
    std::optional<Bytes> reply(uint64_t txnId) const {
        const auto deadline = std::chrono::steady_clock::now() + kLongTimeout;
        constexpr size_t kReplyAt = kFrameHeaderSize + sizeof(wire::ReplyHeader);
        Bytes frame(kFrameHeaderSize);
        while (readExactly(frame.data(), kFrameHeaderSize, deadline)) {
            const auto header = peek<wire::FrameHeader>(frame, 0);
            if (header.size < kFrameHeaderSize || header.size > wire::kMaxFrameSize) {
                return std::nullopt;
            }
            frame.resize(header.size);
            if (!readExactly(frame.data() + kFrameHeaderSize, header.size - kFrameHeaderSize,
                             deadline)) {
                return std::nullopt;
            }
            if (header.type == wire::kReply && frame.size() >= kReplyAt &&
                peek<wire::ReplyHeader>(frame, kFrameHeaderSize).txnId == txnId) {
                return frame;
            }
            frame.resize(kFrameHeaderSize);
        }
        return std::nullopt;
    }

    std::optional<int32_t> replyStatus(uint64_t txnId) const {
        const auto frame = reply(txnId);
        if (!frame) return std::nullopt;
        return peek<wire::ReplyHeader>(*frame, kFrameHeaderSize).status;
    }

private:
    bool readExactly(uint8_t* to, size_t n, std::chrono::steady_clock::time_point deadline) const {
        while (n > 0) {
            if (std::chrono::steady_clock::now() >= deadline) return false;
            pollfd p{fd_, POLLIN, 0};
            if (poll(&p, 1, 50) <= 0) continue;
            const ssize_t r = recv(fd_, to, n, MSG_DONTWAIT);
            if (r == 0 || (r < 0 && errno != EAGAIN && errno != EINTR)) return false;
            if (r > 0) {
                to += r;
                n -= static_cast<size_t>(r);
            }
        }
        return true;
    }

    android::base::unique_fd fd_;
};

// A helper service process, the path of its socket for raw peers, and a well-behaved runtime
// client of it that must keep being served whatever the raw peers do.
class RawPeerTest : public ChildJorvTest {
protected:
    void SetUp() override {
        ChildJorvTest::SetUp();
        if (HasFatalFailure()) return;
        socket_ = hostbinder::socketPath(dir(), instance_.c_str());
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
                ndk::SpAIBinder(AServiceManager_checkService(instance_.c_str())));
        ASSERT_NE(fresh, nullptr);
        EXPECT_TRUE(callWorks(*fresh));
    }

    // Every connection holds a descriptor in the service, so this is where leaks show.
    void expectChildFdsBackToBaseline() {
        EXPECT_TRUE(waitFor([&] { return countFds(child_->pid()) <= childFds_; }))
                << "service fds " << countFds(child_->pid()) << " > " << childFds_;
    }

    std::string socket_;
    int childFds_ = 0;
};

}  // namespace hbtest
