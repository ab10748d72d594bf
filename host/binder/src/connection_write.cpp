// Connection: writing frames. Writes never block: what the socket does not take right away is
// queued and written by the event loop when the peer reads, so that no thread (a binder thread
// sending a reply, least of all) is ever held by a peer that does not read.
#include <errno.h>
#include <fcntl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>

#include "connection.h"
#include "event_loop.h"
#include "logging.h"

namespace hostbinder {

bool Connection::sendFrame(const iovec* iov, int iovCount) {
    bool ok = true;
    {
        MutexLock lock(mWriteLock);
        if (mSocketClosed) return false;
        size_t sent = 0;
        size_t total = 0;
        for (int i = 0; i < iovCount; ++i) total += iov[i].iov_len;
        if (mOutputBegin == mOutput.size()) {
            msghdr message{};
            message.msg_iov = const_cast<iovec*>(iov);
            message.msg_iovlen = static_cast<size_t>(iovCount);
            ssize_t n;
            do {
                n = sendmsg(mSocket.get(), &message, MSG_DONTWAIT | MSG_NOSIGNAL);
            } while (n < 0 && errno == EINTR);
            if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK) {
                ok = false;
            } else {
                sent = n > 0 ? static_cast<size_t>(n) : 0;
            }
        }
        if (ok && sent < total) ok = queueOutputLocked(iov, iovCount, sent);
    }
    if (!ok) fail();
    return ok;
}

bool Connection::queueOutputLocked(const iovec* iov, int iovCount, size_t skip) {
    for (int i = 0; i < iovCount; ++i) {
        const auto* data = static_cast<const uint8_t*>(iov[i].iov_base);
        const size_t length = iov[i].iov_len;
        if (skip >= length) {
            skip -= length;
            continue;
        }
        mOutput.insert(mOutput.end(), data + skip, data + length);
        skip = 0;
    }
    if (mOutput.size() - mOutputBegin > kMaxQueuedOutput) {
        ALOGW("closing a connection to pid %d: it does not read (%zu bytes queued)", mPeer.pid,
              mOutput.size() - mOutputBegin);
        return false;
    }
    if (mWriteWatched) return true;
    const bool added = mWriteFd.ok();
    // A second descriptor of the socket, so that output room is watched apart from input.
    if (!added) mWriteFd.reset(fcntl(mSocket.get(), F_DUPFD_CLOEXEC, 0));
    if (!mWriteFd.ok()) return false;
    mWriteWatched = EventLoop::instance().watchWritable(mId.load(std::memory_order_relaxed),
                                                        mWriteFd.get(), added);
    return mWriteWatched;
}

bool Connection::flushLocked() {
    while (mOutputBegin < mOutput.size()) {
        const ssize_t n = send(mSocket.get(), mOutput.data() + mOutputBegin,
                               mOutput.size() - mOutputBegin, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (n < 0) {
            if (errno == EINTR) continue;
            return errno == EAGAIN || errno == EWOULDBLOCK;
        }
        mOutputBegin += static_cast<size_t>(n);
    }
    mOutput.clear();
    mOutputBegin = 0;
    if (mOutput.capacity() > 64 * 1024) mOutput.shrink_to_fit();
    return true;
}

void Connection::onWritable() {
    bool ok = true;
    {
        MutexLock lock(mWriteLock);
        mWriteWatched = false;
        if (mSocketClosed) return;
        ok = flushLocked();
        if (ok && mOutputBegin < mOutput.size()) {
            mWriteWatched = EventLoop::instance().watchWritable(mId.load(std::memory_order_relaxed),
                                                                mWriteFd.get(), true);
            ok = mWriteWatched;
        }
    }
    if (!ok) fail();
}

bool Connection::writeMessage(uint32_t type, const void* header, size_t headerSize,
                              const uint8_t* data, size_t dataSize,
                              const std::vector<wire::WireObject>& objects) {
    const size_t objectsSize = objects.size() * sizeof(wire::WireObject);
    wire::FrameHeader frame{
            static_cast<uint32_t>(sizeof(wire::FrameHeader) + headerSize + dataSize + objectsSize),
            type};
    const iovec iov[] = {
            {&frame, sizeof(frame)},
            {const_cast<void*>(header), headerSize},
            {const_cast<uint8_t*>(data), dataSize},
            {const_cast<wire::WireObject*>(objects.data()), objectsSize},
    };
    return sendFrame(iov, 4);
}

void Connection::sendReply(uint64_t txnId, binder_status_t status, const AParcel& reply,
                           bool rejected) {
    const size_t fixedSize = sizeof(wire::FrameHeader) + sizeof(wire::ReplyHeader);
    bool withData = status == STATUS_OK;
    if (withData && reply.mData.size() + reply.mObjects.size() * sizeof(wire::WireObject) >
                            wire::kMaxFrameSize - fixedSize) {
        status = STATUS_FAILED_TRANSACTION;
        withData = false;
    }
    std::vector<wire::WireObject> objects;
    {
        MutexLock lock(mLock);
        if (isDead()) return;
        if (withData) marshalObjects(reply, &objects, nullptr);
    }
    const size_t dataSize = withData ? reply.mData.size() : 0;
    wire::ReplyHeader header{};
    header.txnId = txnId;
    header.status = status;
    header.dataSize = static_cast<uint32_t>(dataSize);
    header.objectCount = static_cast<uint32_t>(objects.size());
    header.flags = rejected ? wire::kReplyRejected : 0;
    writeMessage(wire::kReply, &header, sizeof(header), reply.mData.data(), dataSize, objects);
}

void Connection::sendComplete(uint64_t txnId, binder_status_t status) {
    wire::CompleteHeader header{txnId, status, 0};
    writeMessage(wire::kComplete, &header, sizeof(header), nullptr, 0, {});
}

void Connection::flushDecRefs() {
    std::vector<wire::DecRef> entries;
    {
        MutexLock lock(mLock);
        if (isDead()) {
            mPendingDecRefs.clear();
            return;
        }
        entries.swap(mPendingDecRefs);
    }
    // In frames a receiver never takes for oversized.
    constexpr size_t kPerFrame = 1024;
    for (size_t begin = 0; begin < entries.size(); begin += kPerFrame) {
        const size_t count = std::min(kPerFrame, entries.size() - begin);
        wire::FrameHeader frame{
                static_cast<uint32_t>(sizeof(wire::FrameHeader) + count * sizeof(wire::DecRef)),
                wire::kDecRefs};
        const iovec iov[] = {
                {&frame, sizeof(frame)},
                {entries.data() + begin, count * sizeof(wire::DecRef)},
        };
        if (!sendFrame(iov, 2)) return;
    }
}

}  // namespace hostbinder
