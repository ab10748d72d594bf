// The receive buffer, as a device's binder gives every process: a transaction or reply occupies
// it from arrival until its parcel is freed; one that does not fit in what is free fails at its
// sender with STATUS_FAILED_TRANSACTION, and one-way calls may hold at most half of it. Tests
// lower this process's buffer so that small parcels reach the limits.
#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android/binder_manager.h>
#include <gtest/gtest.h>
#include <hostbinder/control.h>

#include <memory>
#include <string>

#include "support/echo_jorv.h"
#include "support/jorv_endpoint.h"
#include "support/recording_callback.h"
#include "support/test_env.h"

namespace hbtest {
namespace {

using jorv::IJorv;
using jorv::JorvRequestParcel;

size_t align8(size_t n) {
    return (n + 7) & ~static_cast<size_t>(7);
}

// Sets this process's receive buffer for the scope.
class BufferSize {
public:
    explicit BufferSize(size_t bytes) : previous_(HostBinder_setReceiveBufferSize(bytes)) {}
    ~BufferSize() { HostBinder_setReceiveBufferSize(previous_); }

private:
    size_t previous_;
};

// What the reply to propertyGet(name) occupies, written as the interface library writes it.
size_t propertyReplyCharge(size_t nameLength) {
    const std::string answer = std::string(nameLength, 'n') + "|" + std::to_string(nameLength);
    ndk::ScopedAParcel parcel(AParcel_create());
    EXPECT_EQ(AParcel_writeStatusHeader(parcel.get(), ndk::ScopedAStatus::ok().get()), STATUS_OK);
    EXPECT_EQ(AParcel_writeString(parcel.get(), answer.data(), static_cast<int32_t>(answer.size())),
              STATUS_OK);
    return align8(static_cast<size_t>(AParcel_getDataSize(parcel.get())));
}

binder_status_t propertyGet(IJorv& jorv, size_t nameLength) {
    std::string got;
    return jorv.propertyGet(std::string(nameLength, 'n'), &got).getStatus();
}

// Replies arrive in this process; the service is another one, with a buffer of its own.
class ReplyLimitTest : public ChildJorvTest {};

TEST_F(ReplyLimitTest, AReplyFitsExactlyOrFails) {
    EXPECT_EQ(HOSTBINDER_RECEIVE_BUFFER_SIZE, 1024u * 1024u - 2u * 4096u);
    // A state answer of 1.2 MB passes a socket easily; a device's buffer refuses it.
    EXPECT_EQ(propertyGet(*jorv_, 1200 * 1000), STATUS_FAILED_TRANSACTION);
    EXPECT_EQ(propertyGet(*jorv_, 900 * 1000), STATUS_OK);

    constexpr size_t kName = 4000;
    BufferSize size(propertyReplyCharge(kName));
    ASSERT_EQ(propertyReplyCharge(kName + 8), propertyReplyCharge(kName) + 8);
    EXPECT_EQ(propertyGet(*jorv_, kName), STATUS_OK);
    EXPECT_EQ(propertyGet(*jorv_, kName + 8), STATUS_FAILED_TRANSACTION);
    // Nothing is held afterwards, and the connection goes on.
    EXPECT_EQ(HostBinder_getReceiveBufferInUse(), 0u);
    EXPECT_EQ(propertyGet(*jorv_, kName), STATUS_OK);
}

TEST_F(ReplyLimitTest, SpaceReturnsWhenTheReceivedParcelIsFreed) {
    BufferSize size(2 * propertyReplyCharge(3000));
    // A reply the caller keeps holds its space.
    AParcel* in = nullptr;
    ASSERT_EQ(AIBinder_prepareTransaction(binder_.get(), &in), STATUS_OK);
    const std::string name(3000, 'n');
    ASSERT_EQ(AParcel_writeString(in, name.data(), static_cast<int32_t>(name.size())), STATUS_OK);
    AParcel* held = nullptr;
    ASSERT_EQ(AIBinder_transact(binder_.get(), IJorv::TRANSACTION_propertyGet, &in, &held, 0),
              STATUS_OK);
    EXPECT_EQ(HostBinder_getReceiveBufferInUse(), propertyReplyCharge(3000));

    EXPECT_EQ(propertyGet(*jorv_, 3000), STATUS_OK);  // the other half
    EXPECT_EQ(propertyGet(*jorv_, 3100), STATUS_FAILED_TRANSACTION);
    AParcel_delete(held);
    EXPECT_EQ(HostBinder_getReceiveBufferInUse(), 0u);
    EXPECT_EQ(propertyGet(*jorv_, 3100), STATUS_OK);
}

// A service in this process whose one-way calls wait at a gate, so that they pile up.
class GatedJorv : public EchoJorv {
public:
    explicit GatedJorv(std::shared_ptr<Gate> gate) : gate_(std::move(gate)) {}
    ndk::ScopedAStatus requestOneWay(const JorvRequestParcel& p) override {
        gate_->wait(kLongTimeout);
        return EchoJorv::requestOneWay(p);
    }

private:
    std::shared_ptr<Gate> gate_;
};

class TransactionLimitTest : public JorvTest {
protected:
    void SetUp() override {
        gate_ = std::make_shared<Gate>();
        serveFrom(Where::kInProcess, ndk::SharedRefBase::make<GatedJorv>(gate_));
    }
    void TearDown() override { gate_->open(); }

    std::shared_ptr<Gate> gate_;
};

// A request bigger than the service's buffer fails; one-way calls may hold half of it while the
// service is behind.
TEST_F(TransactionLimitTest, RequestsAreLimitedByTheServiceBuffer) {
    BufferSize size(16 * 1024);
    EXPECT_EQ(propertyGet(*jorv_, 20 * 1024), STATUS_FAILED_TRANSACTION);
    EXPECT_EQ(propertyGet(*jorv_, 2 * 1024), STATUS_OK);
    JorvRequestParcel p;
    p.text1 = std::string(1000, 't');
    int accepted = 0;
    binder_status_t refused = STATUS_OK;
    for (; accepted < 64; ++accepted) {
        p.param0 = accepted;
        refused = jorv_->requestOneWay(p).getStatus();
        if (refused != STATUS_OK) break;
    }
    EXPECT_EQ(refused, STATUS_FAILED_TRANSACTION);
    // About 1 KB each against 8 KB: the first is being served, the rest wait in the buffer.
    EXPECT_GE(accepted, 6);
    EXPECT_LE(accepted, 9);
    EXPECT_LE(HostBinder_getReceiveBufferInUse(), 8u * 1024u);
    // Synchronous calls still have the other half.
    EXPECT_EQ(propertyGet(*jorv_, 4 * 1024), STATUS_OK);

    gate_->open();
    ASSERT_TRUE(waitFor([] { return HostBinder_getReceiveBufferInUse() == 0; }));
    EXPECT_EQ(jorv_->requestOneWay(p).getStatus(), STATUS_OK);
}

}  // namespace
}  // namespace hbtest
