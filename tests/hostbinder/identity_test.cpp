// Who is calling is a property of each transaction, from the kernel's credentials of the bytes
// that carried it: never what the peer writes, and not who made the connection. A forked child
// writing on its parent's connection is the child, also once the parent is gone.
#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <aidl/vendor/vemra/hardware/jorv/JorvRequestParcel.h>
#include <android-base/unique_fd.h>
#include <android/binder_parcel_utils.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <optional>
#include <string>

#include "support/echo_jorv.h"
#include "support/raw_peer.h"

namespace hbtest {
namespace {

using jorv::IJorv;
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

class IdentityTest : public RawPeerTest {
protected:
    void SetUp() override {
        RawPeerTest::SetUp();
        raw_ = std::make_unique<RawConnection>(socket_);
        ASSERT_TRUE(raw_->ok());
    }

    // Runs `body` in a forked child that writes on this process's connection; its exit status.
    template <typename Body>
    int inChild(Body body) {
        const pid_t pid = fork();
        if (pid == 0) _exit(body());
        int status = 0;
        waitpid(pid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    std::unique_ptr<RawConnection> raw_;
};

TEST_F(IdentityTest, EachTransactionIsItsSendersOwn) {
    // Built before forking: the child only writes and reads the socket.
    const Bytes pidFromParent = askWhoCalls(binder_, EchoJorv::kCallingPid, 1);
    const Bytes pidFromChild = askWhoCalls(binder_, EchoJorv::kCallingPid, 2);
    const Bytes uidFromChild = askWhoCalls(binder_, EchoJorv::kCallingUid, 3);
    const bool root = getuid() == 0;
    const int child = inChild([&] {
        if (!raw_->send(pidFromChild) || answer(*raw_, 2) != getpid()) return 1;
        // A child that changed user is that user, on the same connection.
        if (root && setuid(kOtherUid) != 0) return 2;
        if (!raw_->send(uidFromChild)) return 3;
        const uid_t expected = root ? kOtherUid : getuid();
        return answer(*raw_, 3) == static_cast<int32_t>(expected) ? 0 : 4;
    });
    EXPECT_EQ(child, 0);
    // The child has exited; the connection and its identity are the parent's again.
    ASSERT_TRUE(raw_->send(pidFromParent));
    EXPECT_EQ(answer(*raw_, 1), getpid());
}

TEST_F(IdentityTest, AGrandchildIsItselfAfterItsParentExited) {
    const Bytes ask = askWhoCalls(binder_, EchoJorv::kCallingPid, 7);
    android::base::unique_fd go[2];
    android::base::unique_fd verdict[2];
    ASSERT_TRUE(android::base::Pipe(&go[0], &go[1]));
    ASSERT_TRUE(android::base::Pipe(&verdict[0], &verdict[1]));
    // The child leaves a grandchild behind and exits; the grandchild calls once it is gone.
    const int child = inChild([&] {
        if (fork() != 0) return 0;
        char token;
        const bool ok =
                read(go[0], &token, 1) == 1 && raw_->send(ask) && answer(*raw_, 7) == getpid();
        const char result = ok ? 'y' : 'n';
        (void)!write(verdict[1], &result, 1);
        _exit(0);
    });
    ASSERT_EQ(child, 0);
    const char token = 'g';
    ASSERT_EQ(write(go[1], &token, 1), 1);
    char result = 0;
    EXPECT_EQ(read(verdict[0], &result, 1), 1);
    EXPECT_EQ(result, 'y');
}

}  // namespace
}  // namespace hbtest
