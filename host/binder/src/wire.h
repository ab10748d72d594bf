// Frames exchanged over a connection's Unix-domain stream socket. Both ends run on the same host,
// so values are in native byte order. Every frame starts with a FrameHeader whose `size` counts
// the whole frame; the reader rejects (and closes the connection on) anything that does not add
// up exactly.
//
//   TRANSACTION  TransactionHeader, data bytes, WireObject[objectCount]
//   REPLY        ReplyHeader, data bytes, WireObject[objectCount]   (data only when status is OK)
//   DEC_REFS     DecRef[n]: the sender drops `count` references to objects the receiver exported
//   COMPLETE     CompleteHeader: the receiver's verdict on a one-way transaction: STATUS_OK once
//                it holds it in its receive buffer, STATUS_FAILED_TRANSACTION when it did not
//                fit. The one-way sender waits for it, as binder's sender waits for the driver.
//
// A transaction's `parentTxnId`, when not 0, names a synchronous transaction the receiver sent
// and the sender is serving right now: the receiver runs it on the thread waiting for that
// transaction's reply, as binder does for calls that come back along their call chain.
//
// Who sent a frame is never read from the frame: the runtime takes the kernel's per-message
// credentials (SO_PASSCRED / SCM_CREDENTIALS) of the bytes that carried it.
//
// Object ids name objects in the exporting side's table. A WireObject of kind kSenderObject is
// an object the sender exports (each such send adds one reference the receiver must give back
// with DEC_REFS); kind kReceiverObject is an object of the receiver's own table coming home.
// On a connection accepted by a service, id 0 is the service's root object, exported once to
// the client when the connection is made.
#pragma once

#include <cstddef>
#include <cstdint>

namespace hostbinder::wire {

enum FrameType : uint32_t {
    kTransaction = 1,
    kReply = 2,
    kDecRefs = 3,
    kComplete = 4,
};

enum ObjectKind : uint32_t {
    kSenderObject = 1,
    kReceiverObject = 2,
};

struct FrameHeader {
    uint32_t size;
    uint32_t type;
};

struct TransactionHeader {
    uint64_t txnId;
    uint64_t parentTxnId;
    uint64_t target;
    uint32_t code;
    uint32_t flags;
    uint32_t dataSize;
    uint32_t objectCount;
};

struct ReplyHeader {
    uint64_t txnId;
    int32_t status;
    uint32_t dataSize;
    uint32_t objectCount;
    uint32_t flags;
};

// ReplyHeader::flags: the transaction was turned away unread (it did not fit in the receive
// buffer), so the references it carried were never taken.
inline constexpr uint32_t kReplyRejected = 1;

struct CompleteHeader {
    uint64_t txnId;
    int32_t status;
    uint32_t reserved;
};

struct DecRef {
    uint64_t id;
    uint32_t count;
    uint32_t reserved;
};

struct WireObject {
    uint32_t offset;
    uint32_t kind;
    uint64_t id;
};

inline constexpr uint64_t kRootObjectId = 0;
// No frame is ever larger: a bigger announced size is a protocol violation. What a receiver
// actually keeps of a frame is bounded much lower, by its receive buffer (buffer.h).
inline constexpr size_t kMaxFrameSize = 16 * 1024 * 1024;

static_assert(sizeof(FrameHeader) == 8);
static_assert(sizeof(TransactionHeader) == 40);
static_assert(sizeof(CompleteHeader) == 16);
static_assert(sizeof(ReplyHeader) == 24);
static_assert(sizeof(DecRef) == 16);
static_assert(sizeof(WireObject) == 16);

}  // namespace hostbinder::wire
