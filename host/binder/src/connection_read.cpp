// Connection: reading frames, and what each kind of frame does.
#include <errno.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>

#include "connection.h"
#include "logging.h"
#include "receive_buffer.h"
#include "thread_pool.h"

namespace hostbinder {
namespace {

// One read takes at most this much, so that one busy peer cannot keep a reader from the others. It
// lives on the reading thread's stack: any thread that calls may read.
constexpr size_t kReadChunk = 16 * 1024;
// Frames other than transactions and replies are small; a bigger one is a protocol violation.
constexpr size_t kMaxControlFrame = 64 * 1024;

bool sizesAddUp(size_t bodySize, size_t headerSize, uint32_t dataSize, uint32_t objectCount) {
    const uint64_t expected = static_cast<uint64_t>(headerSize) + dataSize +
                              static_cast<uint64_t>(objectCount) * sizeof(wire::WireObject);
    return expected == bodySize;
}

bool sameSender(const CallingIdentity& a, const CallingIdentity& b) {
    return a.pid == b.pid && a.uid == b.uid;
}

bool validFrameSize(size_t size, const CallingIdentity& sender) {
    if (size >= sizeof(wire::FrameHeader) && size <= wire::kMaxFrameSize) return true;
    ALOGW("closing a connection to pid %d: bad frame size %zu", sender.pid, size);
    return false;
}

uint32_t frameSize(const uint8_t* frame) {
    wire::FrameHeader header;
    std::memcpy(&header, frame, sizeof(header));
    return header.size;
}

}  // namespace

Connection::ReadResult Connection::readOnce(bool block, Dispatch* dispatch) {
    uint8_t buffer[kReadChunk];
    iovec iov{buffer, kReadChunk};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
    msghdr message{};
    message.msg_iov = &iov;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof(control);
    ssize_t n;
    do {
        n = recvmsg(mSocket.get(), &message, block ? 0 : MSG_DONTWAIT);
    } while (n < 0 && errno == EINTR);
    if (n < 0 && !block && (errno == EAGAIN || errno == EWOULDBLOCK)) return ReadResult::kDrained;
    if (n <= 0) return ReadResult::kClosed;  // end of stream, or the socket was shut down or broke

    // The kernel never hands out the bytes of two senders in one read; bytes without
    // credentials count as the connecting process's.
    CallingIdentity sender = mPeer;
    for (cmsghdr* c = CMSG_FIRSTHDR(&message); c != nullptr; c = CMSG_NXTHDR(&message, c)) {
        if (c->cmsg_level == SOL_SOCKET && c->cmsg_type == SCM_CREDENTIALS) {
            ucred cred;
            std::memcpy(&cred, CMSG_DATA(c), sizeof(cred));
            if (cred.pid > 0) sender = CallingIdentity{cred.pid, cred.uid};
        }
    }
    const Chunk chunk{buffer, static_cast<size_t>(n), sender};
    return consume(chunk, dispatch) ? ReadResult::kProgress : ReadResult::kClosed;
}

bool Connection::consume(const Chunk& chunk, Dispatch* dispatch) {
    const uint8_t* p = chunk.data;
    size_t left = chunk.size;
    while (left > 0) {
        if (mDiscard > 0) {
            const size_t skip = std::min(left, mDiscard);
            p += skip;
            left -= skip;
            mDiscard -= skip;
            continue;
        }
        if (mPartial.empty()) {
            // Whole frames straight from what was read; only an incomplete one is copied.
            if (left >= sizeof(wire::FrameHeader)) {
                const size_t size = frameSize(p);
                if (!validFrameSize(size, chunk.sender)) return false;
                if (size <= left) {
                    if (!handleFrame(p, size, chunk.sender, dispatch)) return false;
                    p += size;
                    left -= size;
                    continue;
                }
            }
            mPartialSender = chunk.sender;
            mPartialChecked = false;
        } else if (!sameSender(mPartialSender, chunk.sender)) {
            ALOGW("closing a connection to pid %d: a frame from two senders", mPeer.pid);
            return false;
        }
        const size_t have = mPartial.size();
        const size_t take = have < sizeof(wire::FrameHeader)
                                    ? std::min(left, sizeof(wire::FrameHeader) - have)
                                    : std::min(left, size_t{frameSize(mPartial.data())} - have);
        mPartial.insert(mPartial.end(), p, p + take);
        p += take;
        left -= take;
        if (mPartial.size() < sizeof(wire::FrameHeader)) continue;
        if (!validFrameSize(frameSize(mPartial.data()), mPartialSender)) return false;
        if (mPartial.size() < frameSize(mPartial.data())) {
            if (!checkPartial()) return false;
            continue;
        }
        if (!handleFrame(mPartial.data(), mPartial.size(), mPartialSender, dispatch)) return false;
        mPartial.clear();
        // A big frame is done with; do not keep its memory for the connection's lifetime.
        if (mPartial.capacity() > kMaxControlFrame) mPartial.shrink_to_fit();
    }
    return true;
}

bool Connection::checkPartial() {
    const uint8_t* frame = mPartial.data();
    const size_t have = mPartial.size();
    wire::FrameHeader frameHeader;
    std::memcpy(&frameHeader, frame, sizeof(frameHeader));
    if (mPartialChecked) return true;
    const size_t body = frameHeader.size - sizeof(frameHeader);
    if (frameHeader.type == wire::kTransaction) {
        if (have < sizeof(frameHeader) + sizeof(wire::TransactionHeader)) return true;
        wire::TransactionHeader header;
        std::memcpy(&header, frame + sizeof(frameHeader), sizeof(header));
        if (!sizesAddUp(body, sizeof(header), header.dataSize, header.objectCount)) return false;
        const bool oneway = (header.flags & FLAG_ONEWAY) != 0;
        if (couldEverFit(bufferCharge(header.dataSize, header.objectCount), oneway)) {
            mPartialChecked = true;
            return true;
        }
        // Never kept, so never held: its bytes are skipped as they come.
        reject(header);
    } else if (frameHeader.type == wire::kReply) {
        if (have < sizeof(frameHeader) + sizeof(wire::ReplyHeader)) return true;
        wire::ReplyHeader header;
        std::memcpy(&header, frame + sizeof(frameHeader), sizeof(header));
        if (!sizesAddUp(body, sizeof(header), header.dataSize, header.objectCount)) return false;
        if (couldEverFit(bufferCharge(header.dataSize, header.objectCount), false)) {
            mPartialChecked = true;
            return true;
        }
        // The references it carries stay with the peer until the connection ends.
        rejectReply(header.txnId);
    } else {
        return frameHeader.size <= kMaxControlFrame;
    }
    mDiscard = frameHeader.size - have;
    mPartial.clear();
    return true;
}

bool Connection::handleFrame(const uint8_t* frame, size_t size, const CallingIdentity& sender,
                             Dispatch* dispatch) {
    wire::FrameHeader header;
    std::memcpy(&header, frame, sizeof(header));
    const uint8_t* body = frame + sizeof(header);
    const size_t bodySize = size - sizeof(header);
    bool valid = false;
    switch (header.type) {
        case wire::kTransaction:
            valid = handleTransaction(body, bodySize, sender, dispatch);
            break;
        case wire::kReply:
            valid = handleReply(body, bodySize);
            break;
        case wire::kComplete:
            valid = handleComplete(body, bodySize);
            break;
        case wire::kDecRefs:
            valid = handleDecRefs(body, bodySize);
            break;
        default:
            break;
    }
    if (!valid) ALOGW("closing a connection to pid %d: malformed frame", sender.pid);
    return valid;
}

bool Connection::parseParcel(const uint8_t* data, uint32_t dataSize, const uint8_t* objects,
                             uint32_t objectCount, AParcel* parcel,
                             std::vector<wire::WireObject>* wireObjects) {
    parcel->mData.assign(data, data + dataSize);
    wireObjects->resize(objectCount);
    if (objectCount > 0) {
        std::memcpy(wireObjects->data(), objects, objectCount * sizeof(wire::WireObject));
    }
    size_t nextFree = 0;
    for (const wire::WireObject& object : *wireObjects) {
        // Objects are sorted, do not overlap, lie inside the data and are marked there.
        if (object.offset < nextFree ||
            static_cast<size_t>(object.offset) + kFlatBinderSize > dataSize) {
            return false;
        }
        if (object.kind != wire::kSenderObject && object.kind != wire::kReceiverObject) {
            return false;
        }
        int32_t marker = 0;
        std::memcpy(&marker, data + object.offset, sizeof(marker));
        if (marker != kFlatBinderObject) return false;
        nextFree = object.offset + kFlatBinderSize;
    }
    return true;
}

bool Connection::resolveObjects(AParcel* parcel, const std::vector<wire::WireObject>& objects) {
    parcel->mObjects.reserve(objects.size());
    for (const wire::WireObject& object : objects) {
        AIBinder* binder = nullptr;
        if (object.kind == wire::kSenderObject) {
            binder = importObject(object.id);
        } else {
            auto it = mExports.find(object.id);
            if (it == mExports.end()) return false;  // the peer holds no such object of ours
            binder = it->second.binder;
            binder->mRefs->incStrong();
        }
        parcel->mObjects.push_back(ParcelObject{object.offset, binder});
    }
    return true;
}

bool Connection::handleTransaction(const uint8_t* body, size_t size, const CallingIdentity& sender,
                                   Dispatch* dispatch) {
    wire::TransactionHeader header;
    if (size < sizeof(header)) return false;
    std::memcpy(&header, body, sizeof(header));
    if (!sizesAddUp(size, sizeof(header), header.dataSize, header.objectCount)) return false;
    if ((header.flags & ~static_cast<uint32_t>(FLAG_ONEWAY)) != 0) return false;
    const bool oneway = (header.flags & FLAG_ONEWAY) != 0;
    const size_t charge = bufferCharge(header.dataSize, header.objectCount);
    if (!reserveBuffer(charge, oneway)) {
        reject(header);
        return true;
    }
    auto parcel = std::make_unique<AParcel>();
    parcel->mCharge = BufferCharge{charge, oneway};
    const uint8_t* data = body + sizeof(header);
    std::vector<wire::WireObject> objects;
    if (!parseParcel(data, header.dataSize, data + header.dataSize, header.objectCount,
                     parcel.get(), &objects)) {
        return false;
    }
    AIBinder* target = nullptr;
    bool resolved = false;
    {
        MutexLock lock(mLock);
        auto it = mExports.find(header.target);
        if (it != mExports.end()) {
            target = it->second.binder;
            target->mRefs->incStrong();
            resolved = resolveObjects(parcel.get(), objects);
        }
    }
    flushDecRefs();
    if (target == nullptr) return false;  // no such object: the peer broke the protocol
    auto task = std::make_unique<IncomingTransaction>(shared_from_this(), target, header.txnId,
                                                      header.code, header.flags, std::move(parcel),
                                                      sender);
    if (!resolved) return false;
    if (oneway) {
        // Not counted in flight: one-way calls are bounded by their half of the receive buffer,
        // and their senders must learn at once when it is full.
        target->enqueueOneway(std::move(task));
        sendComplete(header.txnId, STATUS_OK);
        return true;
    }
    route(std::move(task), header.parentTxnId, dispatch);
    return true;
}

void Connection::route(std::unique_ptr<IncomingTransaction> task, uint64_t parentTxnId,
                       Dispatch* dispatch) {
    {
        MutexLock lock(mLock);
        Waiter* waiter = parentTxnId != 0 ? findWaiterLocked(parentTxnId, false) : nullptr;
        if (waiter != nullptr) {
            waiter->nested.push_back(std::move(task));
            waiter->wake.notify_one();
            return;
        }
        ++mInFlight;
    }
    task->setCounted();
    if (dispatch->binderThread && dispatch->inlineTask == nullptr) {
        dispatch->inlineTask = std::move(task);
    } else {
        dispatch->queued.push_back(std::move(task));
    }
}

void Connection::reject(const wire::TransactionHeader& header) {
    ALOGW("transaction of %u bytes from pid %d does not fit in the receive buffer", header.dataSize,
          mPeer.pid);
    if ((header.flags & FLAG_ONEWAY) != 0) {
        sendComplete(header.txnId, STATUS_FAILED_TRANSACTION);
    } else {
        sendReply(header.txnId, STATUS_FAILED_TRANSACTION, AParcel(), true);
    }
}

void Connection::rejectReply(uint64_t txnId) {
    ALOGW("reply from pid %d does not fit in the receive buffer", mPeer.pid);
    MutexLock lock(mLock);
    Waiter* waiter = findWaiterLocked(txnId, false);
    if (waiter == nullptr) return;
    mPending.erase(std::find(mPending.begin(), mPending.end(), waiter));
    completeLocked(waiter, STATUS_FAILED_TRANSACTION, nullptr);
}

bool Connection::handleReply(const uint8_t* body, size_t size) {
    wire::ReplyHeader header;
    if (size < sizeof(header)) return false;
    std::memcpy(&header, body, sizeof(header));
    if (!sizesAddUp(size, sizeof(header), header.dataSize, header.objectCount)) return false;
    const uint8_t* data = body + sizeof(header);
    auto parcel = std::make_unique<AParcel>();
    std::vector<wire::WireObject> objects;
    if (!parseParcel(data, header.dataSize, data + header.dataSize, header.objectCount,
                     parcel.get(), &objects)) {
        return false;
    }
    const size_t charge = bufferCharge(header.dataSize, header.objectCount);
    const bool fits = header.status != STATUS_OK || reserveBuffer(charge, false);
    if (fits && header.status == STATUS_OK) parcel->mCharge = BufferCharge{charge, false};
    const bool valid = completeReply(header, fits, std::move(parcel), objects);
    flushDecRefs();
    return valid;
}

bool Connection::completeReply(const wire::ReplyHeader& header, bool fits,
                               std::unique_ptr<AParcel> parcel,
                               const std::vector<wire::WireObject>& objects) {
    MutexLock lock(mLock);
    Waiter* waiter = findWaiterLocked(header.txnId, false);
    if (waiter == nullptr) return false;  // a reply nobody asked for
    mPending.erase(std::find(mPending.begin(), mPending.end(), waiter));
    if (!fits) {
        ALOGW("reply of %u bytes from pid %d does not fit in the receive buffer", header.dataSize,
              mPeer.pid);
        // Turned away: the references it carried go back to the peer.
        for (const wire::WireObject& object : objects) {
            if (object.kind == wire::kSenderObject) queueDecRef(object.id);
        }
        completeLocked(waiter, STATUS_FAILED_TRANSACTION, nullptr);
        return true;
    }
    if (header.status != STATUS_OK) {
        if ((header.flags & wire::kReplyRejected) != 0) rollBackLocked(waiter);
        completeLocked(waiter, header.status, nullptr);
        return true;
    }
    if (!resolveObjects(parcel.get(), objects)) {
        // The connection closes because of this reply; the call fails with it.
        completeLocked(waiter, STATUS_DEAD_OBJECT, nullptr);
        return false;
    }
    completeLocked(waiter, STATUS_OK, std::move(parcel));
    return true;
}

bool Connection::handleComplete(const uint8_t* body, size_t size) {
    wire::CompleteHeader header;
    if (size != sizeof(header)) return false;
    std::memcpy(&header, body, sizeof(header));
    MutexLock lock(mLock);
    Waiter* waiter = findWaiterLocked(header.txnId, true);
    if (waiter == nullptr) return false;
    mPending.erase(std::find(mPending.begin(), mPending.end(), waiter));
    if (header.status != STATUS_OK) rollBackLocked(waiter);
    completeLocked(waiter, header.status, nullptr);
    return true;
}

void Connection::rollBackLocked(Waiter* waiter) {
    std::vector<std::pair<uint64_t, uint32_t>> drops;
    for (uint64_t id : waiter->sentExports) drops.emplace_back(id, 1);
    dropExportsLocked(drops);
}

bool Connection::handleDecRefs(const uint8_t* body, size_t size) {
    if (size == 0 || size % sizeof(wire::DecRef) != 0) return false;
    std::vector<std::pair<uint64_t, uint32_t>> drops;
    for (size_t offset = 0; offset < size; offset += sizeof(wire::DecRef)) {
        wire::DecRef entry;
        std::memcpy(&entry, body + offset, sizeof(entry));
        drops.emplace_back(entry.id, entry.count);
    }
    bool valid;
    bool retire;
    {
        MutexLock lock(mLock);
        valid = dropExportsLocked(drops);
        retire = shouldRetireLocked();
    }
    if (retire) shutdown();
    return valid;
}

}  // namespace hostbinder
