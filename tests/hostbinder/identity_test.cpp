// Who is calling is a property of each transaction, from the kernel's credentials of the bytes
// that carried it: never what the peer writes, and not who made the connection. A forked child
// writing on its parent's connection is the child, and the parent is itself again after it.
#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <aidl/vendor/vemra/hardware/jorv/JorvRequestParcel.h>
#include <android/binder_parcel_utils.h>
#include <gtest/gtest.h>
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

}  // namespace
}  // namespace hbtest
