#include "connection.h"

#include <errno.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <system_error>
#include <thread>
#include <utility>

#include "logging.h"
#include "thread_pool.h"

namespace hostbinder {
namespace {

// Large enough that ordinary frames arrive with one recv(); bigger frames grow the buffer for as
// long as they need it.
constexpr size_t kReadBufferSize = 64 * 1024;

// The epoll registration of a socket while its connection's threads should watch it.
constexpr uint32_t kArmedEvents = EPOLLIN | EPOLLRDHUP | EPOLLONESHOT;

// One thread watches the socket while the other runs a transaction; more work goes to the pool.
constexpr size_t kMaxConnectionThreads = 2;

// Set while a thread reads frames: it must not block writing to a socket (the peer's reader
// might be blocked writing to us), so work that writes is handed to the pool from there.
thread_local bool tOnReaderThread = false;

// Dropping the last reference may run onDestroy, i.e. user code, which must not run on a reader.
void releaseOnPool(AIBinder* binder) {
    runOnPool([binder] { binder->mRefs->decStrong(); });
}

CallingIdentity peerCredentials(int fd) {
    ucred cred{};
    socklen_t length = sizeof(cred);
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &length) != 0) {
        return CallingIdentity{-1, static_cast<uid_t>(-1)};
    }
    return CallingIdentity{cred.pid, cred.uid};
}

}  // namespace

// A transaction from the peer, served on a pool thread.
class Connection::IncomingTransaction final : public Task {
public:
    IncomingTransaction(std::shared_ptr<Connection> connection, AIBinder* target, uint64_t txnId,
                        transaction_code_t code, binder_flags_t flags,
                        std::unique_ptr<AParcel> data)
        : mConnection(std::move(connection)),
          mTarget(target),
          mTxnId(txnId),
          mCode(code),
          mFlags(flags),
          mData(std::move(data)) {}

    ~IncomingTransaction() override {
        mData.reset();
        mTarget->mRefs->decStrong();
    }

    void run() override {
        ScopedCallingIdentity identity(mConnection->peer());
        AParcel reply;
        const binder_status_t status = serveTransaction(mTarget, mCode, *mData, &reply, mFlags);
        if ((mFlags & FLAG_ONEWAY) == 0) mConnection->sendReply(mTxnId, status, reply);
    }

private:
    const std::shared_ptr<Connection> mConnection;
    AIBinder* const mTarget;  // one strong reference
    const uint64_t mTxnId;
    const transaction_code_t mCode;
    const binder_flags_t mFlags;
    std::unique_ptr<AParcel> mData;
};

std::shared_ptr<Connection> Connection::create(UniqueFd socket, Role role) {
    UniqueFd epoll(epoll_create1(EPOLL_CLOEXEC));
    if (!epoll.ok()) return nullptr;
    epoll_event event{};
    event.events = kArmedEvents;
    if (epoll_ctl(epoll.get(), EPOLL_CTL_ADD, socket.get(), &event) != 0) return nullptr;
    return std::shared_ptr<Connection>(new Connection(std::move(socket), std::move(epoll), role));
}

Connection::Connection(UniqueFd socket, UniqueFd epoll, Role role)
    : mRole(role),
      mPeer(peerCredentials(socket.get())),
      mSocket(std::move(socket)),
      mEpoll(std::move(epoll)) {}

Connection::~Connection() = default;

void Connection::exportRoot(AIBinder* root) {
    MutexLock lock(mLock);
    root->mRefs->incStrong();
    mExports.emplace(wire::kRootObjectId, Export{root, 1});
    mExportIds.emplace(root, wire::kRootObjectId);
}

AIBinder* Connection::importRoot() {
    MutexLock lock(mLock);
    return importObject(wire::kRootObjectId);
}

void Connection::start() {
    {
        MutexLock lock(mLock);
        ++mThreads;
    }
    if (!spawnThread()) teardown();
}

bool Connection::spawnThread() {
    try {
        std::thread([self = shared_from_this()] {
            pthread_setname_np(pthread_self(), "hb:connection");
            self->threadLoop();
        }).detach();
        return true;
    } catch (const std::system_error& e) {
        ALOGE("cannot start a connection thread: %s", e.what());
        MutexLock lock(mLock);
        --mThreads;
        return false;
    }
}

void Connection::shutdown() {
    MutexLock lock(mFdLock);
    if (!mSocketClosed.load(std::memory_order_relaxed)) ::shutdown(mSocket.get(), SHUT_RDWR);
}

// --- Reading ------------------------------------------------------------------------------------

void Connection::armLocked() {
    if (mArmed || isDead()) return;
    epoll_event event{};
    event.events = kArmedEvents;
    epoll_ctl(mEpoll.get(), EPOLL_CTL_MOD, mSocket.get(), &event);
    mArmed = true;
}

void Connection::disarmLocked() {
    if (!mArmed || isDead()) return;
    // A one-shot registration without events reports nothing, not even hang-ups.
    epoll_event event{};
    event.events = EPOLLONESHOT;
    epoll_ctl(mEpoll.get(), EPOLL_CTL_MOD, mSocket.get(), &event);
    mArmed = false;
}

void Connection::breakLocked() {
    if (mBroken) return;
    mBroken = true;
    // Whoever still reads sees the end of the stream. The registration becomes level-triggered
    // so that every connection thread in epoll_wait wakes up, one of them to tear down.
    shutdown();
    if (!isDead()) {
        epoll_event event{};
        event.events = EPOLLIN | EPOLLRDHUP;
        epoll_ctl(mEpoll.get(), EPOLL_CTL_MOD, mSocket.get(), &event);
        mArmed = true;
    }
    mStateChanged.notify_all();
}

void Connection::releaseReadRoleLocked() {
    mStateChanged.notify_all();
    if (!mBroken && mReadyWaiters > 0) {
        // A caller still waits for its reply: it reads next.
        for (Waiter* waiter : mPending) {
            if (waiter->ready) {
                waiter->wake.notify_one();
                return;
            }
        }
    }
    armLocked();
}

void Connection::completeLocked(Waiter* waiter, binder_status_t status,
                                std::unique_ptr<AParcel> reply) {
    if (waiter->ready) {
        waiter->ready = false;
        --mReadyWaiters;
    }
    waiter->status = status;
    waiter->reply = std::move(reply);
    waiter->done = true;
    waiter->wake.notify_one();
}

void Connection::threadLoop() {
    MutexLock lock(mLock);
    while (!mBroken) {
        ++mWatching;
        lock.unlock();
        epoll_event event;
        const int n = epoll_wait(mEpoll.get(), &event, 1, -1);
        const int error = errno;
        lock.lock();
        --mWatching;
        mStateChanged.notify_all();
        if (n > 0 && !mBroken) mArmed = false;  // one-shot: reported, hence disarmed
        if (n < 0 && error != EINTR) breakLocked();
        // Callers waiting for replies read for themselves; the last one re-arms epoll.
        while (!mBroken && (mReading || mReadyWaiters > 0)) lock.wait(mStateChanged);
        if (mBroken || n <= 0) continue;

        mReading = true;
        lock.unlock();
        ReadResult result;
        std::unique_ptr<Task> inlineTask;
        {
            MutexLock role(mReadRole);
            tOnReaderThread = true;
            result = readFrames(nullptr, &inlineTask);
            tOnReaderThread = false;
        }
        lock.lock();
        mReading = false;
        if (result == ReadResult::kClosed) breakLocked();
        releaseReadRoleLocked();
        if (inlineTask != nullptr) {
            lock.unlock();
            runIncoming(std::move(inlineTask));
            lock.lock();
        }
    }
    const bool tearDown = !mTearingDown;
    mTearingDown = true;
    --mThreads;
    lock.unlock();
    if (tearDown) teardown();
}

void Connection::runIncoming(std::unique_ptr<Task> task) {
    // Run here only while a sibling watches the socket (starting one if needed); otherwise
    // frames arriving meanwhile would wait for this handler.
    bool spawn = false;
    bool runHere = true;
    {
        MutexLock lock(mLock);
        if (mWatching == 0) {
            if (mThreads < kMaxConnectionThreads && !mBroken) {
                ++mThreads;
                spawn = true;
            } else {
                runHere = false;
            }
        }
    }
    if (spawn && !spawnThread()) runHere = false;
    if (runHere) {
        task->run();
    } else {
        ThreadPool::instance().submit(std::move(task));
    }
}

binder_status_t Connection::waitForReply(Waiter* waiter, AParcel** reply) {
    MutexLock lock(mLock);
    if (!waiter->done) {
        waiter->ready = true;
        ++mReadyWaiters;
    }
    while (!waiter->done) {
        if (mReading || mBroken) {
            // Someone else reads (and wakes us with our reply, or when it is our turn), or the
            // connection is going down and teardown will fail this call.
            lock.wait(waiter->wake);
            continue;
        }
        mReading = true;
        disarmLocked();
        lock.unlock();
        ReadResult result;
        {
            MutexLock role(mReadRole);
            const bool wasReading = std::exchange(tOnReaderThread, true);
            result = readFrames(waiter, nullptr);
            tOnReaderThread = wasReading;
        }
        lock.lock();
        mReading = false;
        if (result == ReadResult::kClosed) breakLocked();
        releaseReadRoleLocked();
    }
    *reply = waiter->reply.release();
    return waiter->status;
}

Connection::ReadResult Connection::readFrames(const Waiter* waiter,
                                              std::unique_ptr<Task>* inlineTask) {
    if (mReadBuffer.empty()) mReadBuffer.resize(kReadBufferSize);
    bool readOnce = false;
    for (;;) {
        // Handle every complete frame in the buffer.
        while (mReadEnd - mReadBegin >= sizeof(wire::FrameHeader)) {
            wire::FrameHeader header;
            std::memcpy(&header, mReadBuffer.data() + mReadBegin, sizeof(header));
            if (header.size < sizeof(header) || header.size > wire::kMaxFrameSize) {
                ALOGW("closing a connection to pid %d: bad frame size %u", mPeer.pid, header.size);
                return ReadResult::kClosed;
            }
            if (mReadEnd - mReadBegin < header.size) break;
            if (!handleFrame(mReadBuffer.data() + mReadBegin, header.size, inlineTask)) {
                ALOGW("closing a connection to pid %d: malformed frame", mPeer.pid);
                return ReadResult::kClosed;
            }
            mReadBegin += header.size;
        }
        if (waiter != nullptr) {
            MutexLock lock(mLock);
            if (waiter->done) return ReadResult::kReplied;
        } else if (readOnce) {
            // Whatever else is there re-triggers the one-shot registration once re-armed.
            return ReadResult::kDrained;
        }

        // Keep the partial frame at the front, with room for all of it.
        if (mReadBegin > 0) {
            std::memmove(mReadBuffer.data(), mReadBuffer.data() + mReadBegin,
                         mReadEnd - mReadBegin);
            mReadEnd -= mReadBegin;
            mReadBegin = 0;
        }
        size_t wanted = kReadBufferSize;
        if (mReadEnd >= sizeof(wire::FrameHeader)) {
            wire::FrameHeader header;
            std::memcpy(&header, mReadBuffer.data(), sizeof(header));
            wanted = std::max<size_t>(wanted, header.size);
        }
        if (mReadBuffer.size() < wanted) {
            mReadBuffer.resize(wanted);
        } else if (mReadBuffer.size() > kReadBufferSize && wanted == kReadBufferSize) {
            // A big frame is done with; do not keep its buffer for the connection's lifetime.
            mReadBuffer.resize(kReadBufferSize);
            mReadBuffer.shrink_to_fit();
        }

        // Callers block until data comes; the connection's thread only takes what is there.
        const ssize_t n = recv(mSocket.get(), mReadBuffer.data() + mReadEnd,
                               mReadBuffer.size() - mReadEnd, waiter != nullptr ? 0 : MSG_DONTWAIT);
        if (n > 0) {
            mReadEnd += static_cast<size_t>(n);
            readOnce = true;
        } else if (n < 0 && errno == EINTR) {
            continue;
        } else if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK) && waiter == nullptr) {
            return ReadResult::kDrained;
        } else {
            return ReadResult::kClosed;  // end of stream, or the socket was shut down or broke
        }
    }
}

bool Connection::handleFrame(const uint8_t* frame, size_t size, std::unique_ptr<Task>* inlineTask) {
    wire::FrameHeader header;
    std::memcpy(&header, frame, sizeof(header));
    const uint8_t* body = frame + sizeof(header);
    const size_t bodySize = size - sizeof(header);
    switch (header.type) {
        case wire::kTransaction:
            return handleTransaction(body, bodySize, inlineTask);
        case wire::kReply:
            return handleReply(body, bodySize);
        case wire::kDecRefs:
            return handleDecRefs(body, bodySize);
        default:
            return false;
    }
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

AIBinder* Connection::importObject(uint64_t id) {
    auto it = mImports.find(id);
    if (it != mImports.end() && it->second->tryIncStrong()) {
        // The proxy already owns a reference; the one that came with this send goes back.
        queueDecRef(id);
        return it->second->object();
    }
    // Either new, or the previous proxy is being destroyed (it will give its own reference back
    // and leave this entry alone).
    auto* proxy = new ProxyBinder(shared_from_this(), id);
    mImports[id] = proxy->mRefs;
    ++mLiveProxies;
    return proxy;
}

namespace {

bool sizesAddUp(size_t bodySize, size_t headerSize, uint32_t dataSize, uint32_t objectCount) {
    const uint64_t expected = static_cast<uint64_t>(headerSize) + dataSize +
                              static_cast<uint64_t>(objectCount) * sizeof(wire::WireObject);
    return expected == bodySize;
}

}  // namespace

bool Connection::handleTransaction(const uint8_t* body, size_t size,
                                   std::unique_ptr<Task>* inlineTask) {
    wire::TransactionHeader header;
    if (size < sizeof(header)) return false;
    std::memcpy(&header, body, sizeof(header));
    if (!sizesAddUp(size, sizeof(header), header.dataSize, header.objectCount)) return false;
    if ((header.flags & ~static_cast<uint32_t>(FLAG_ONEWAY)) != 0) return false;

    const uint8_t* data = body + sizeof(header);
    auto parcel = std::make_unique<AParcel>();
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
    flushDecRefsSoon();
    if (target == nullptr) return false;  // no such object: the peer broke the protocol
    if (!resolved) {
        releaseOnPool(target);
        return false;
    }

    auto task = std::make_unique<IncomingTransaction>(shared_from_this(), target, header.txnId,
                                                      header.code, header.flags, std::move(parcel));
    if ((header.flags & FLAG_ONEWAY) != 0) {
        target->enqueueOneway(std::move(task));
    } else if (inlineTask != nullptr && *inlineTask == nullptr) {
        *inlineTask = std::move(task);
    } else {
        ThreadPool::instance().submit(std::move(task));
    }
    return true;
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

    bool valid = false;
    {
        MutexLock lock(mLock);
        auto it = std::find_if(mPending.begin(), mPending.end(),
                               [&](const Waiter* w) { return w->txnId == header.txnId; });
        if (it != mPending.end()) {
            Waiter* waiter = *it;
            mPending.erase(it);
            if (header.status != STATUS_OK) {
                completeLocked(waiter, header.status, nullptr);
                valid = true;
            } else if (resolveObjects(parcel.get(), objects)) {
                completeLocked(waiter, STATUS_OK, std::move(parcel));
                valid = true;
            } else {
                // The connection closes because of this reply; the call fails with it.
                completeLocked(waiter, STATUS_DEAD_OBJECT, nullptr);
            }
        }
    }
    flushDecRefsSoon();
    return valid;  // false also for a reply nobody asked for
}

bool Connection::handleDecRefs(const uint8_t* body, size_t size) {
    if (size == 0 || size % sizeof(wire::DecRef) != 0) return false;
    std::vector<AIBinder*> released;
    bool valid = true;
    bool retire = false;
    {
        MutexLock lock(mLock);
        for (size_t offset = 0; offset < size; offset += sizeof(wire::DecRef)) {
            wire::DecRef entry;
            std::memcpy(&entry, body + offset, sizeof(entry));
            auto it = mExports.find(entry.id);
            if (it == mExports.end() || entry.count == 0 || entry.count > it->second.count) {
                valid = false;
                break;
            }
            it->second.count -= entry.count;
            if (it->second.count == 0) {
                released.push_back(it->second.binder);
                mExportIds.erase(it->second.binder);
                mExports.erase(it);
            }
        }
        retire = shouldRetireLocked();
    }
    for (AIBinder* binder : released) releaseOnPool(binder);
    if (retire) shutdown();
    return valid;
}
// --- Writing ------------------------------------------------------------------------------------

void Connection::marshalObjects(const AParcel& parcel, std::vector<wire::WireObject>* out) {
    out->reserve(parcel.mObjects.size());
    for (const ParcelObject& object : parcel.mObjects) {
        AIBinder* binder = object.binder;
        const auto offset = static_cast<uint32_t>(object.offset);
        if (binder->isRemote() && static_cast<ProxyBinder*>(binder)->mConnection.get() == this) {
            // Going home: the peer resolves it to its own object.
            out->push_back(
                    {offset, wire::kReceiverObject, static_cast<ProxyBinder*>(binder)->mRemoteId});
            continue;
        }
        // A local object, or a proxy of another connection that this side will relay.
        uint64_t id;
        auto it = mExportIds.find(binder);
        if (it != mExportIds.end()) {
            id = it->second;
        } else {
            id = mNextExportId++;
            binder->mRefs->incStrong();
            mExportIds.emplace(binder, id);
            mExports.emplace(id, Export{binder, 0});
        }
        ++mExports[id].count;
        out->push_back({offset, wire::kSenderObject, id});
    }
}

bool Connection::writeFrame(iovec* iov, int iovCount) {
    MutexLock lock(mWriteLock);
    if (mSocketClosed.load(std::memory_order_relaxed)) return false;
    msghdr message{};
    message.msg_iov = iov;
    message.msg_iovlen = static_cast<size_t>(iovCount);
    for (;;) {
        const ssize_t n = sendmsg(mSocket.get(), &message, MSG_NOSIGNAL);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        // Stream sockets may take part of a large frame; continue with the rest.
        size_t left = static_cast<size_t>(n);
        while (message.msg_iovlen > 0 && left >= message.msg_iov->iov_len) {
            left -= message.msg_iov->iov_len;
            ++message.msg_iov;
            --message.msg_iovlen;
        }
        if (message.msg_iovlen == 0) return true;
        message.msg_iov->iov_base = static_cast<uint8_t*>(message.msg_iov->iov_base) + left;
        message.msg_iov->iov_len -= left;
    }
}

bool Connection::writeMessage(uint32_t type, const void* header, size_t headerSize,
                              const uint8_t* data, size_t dataSize,
                              const std::vector<wire::WireObject>& objects) {
    const size_t objectsSize = objects.size() * sizeof(wire::WireObject);
    wire::FrameHeader frame{
            static_cast<uint32_t>(sizeof(wire::FrameHeader) + headerSize + dataSize + objectsSize),
            type};
    iovec iov[] = {
            {&frame, sizeof(frame)},
            {const_cast<void*>(header), headerSize},
            {const_cast<uint8_t*>(data), dataSize},
            {const_cast<wire::WireObject*>(objects.data()), objectsSize},
    };
    return writeFrame(iov, 4);
}

binder_status_t Connection::transact(uint64_t target, transaction_code_t code, const AParcel& data,
                                     AParcel** reply, binder_flags_t flags) {
    const bool oneway = (flags & FLAG_ONEWAY) != 0;
    const size_t dataSize = data.mData.size();
    const size_t fixedSize = sizeof(wire::FrameHeader) + sizeof(wire::TransactionHeader);
    if (dataSize + data.mObjects.size() * sizeof(wire::WireObject) >
        wire::kMaxFrameSize - fixedSize) {
        return STATUS_FAILED_TRANSACTION;
    }

    Waiter waiter;
    std::vector<wire::WireObject> objects;
    wire::TransactionHeader header{};
    {
        MutexLock lock(mLock);
        if (isDead()) return STATUS_DEAD_OBJECT;
        header.txnId = mNextTxnId++;
        marshalObjects(data, &objects);
        if (!oneway) {
            waiter.txnId = header.txnId;
            mPending.push_back(&waiter);
        }
    }
    header.target = target;
    header.code = code;
    header.flags = flags;
    header.dataSize = static_cast<uint32_t>(dataSize);
    header.objectCount = static_cast<uint32_t>(objects.size());
    if (!writeMessage(wire::kTransaction, &header, sizeof(header), data.mData.data(), dataSize,
                      objects)) {
        // A broken socket: whoever reads next sees the end of the stream, and teardown fails the
        // call below with STATUS_DEAD_OBJECT.
        shutdown();
        if (oneway) return STATUS_DEAD_OBJECT;
    }
    if (oneway) {
        *reply = nullptr;
        return STATUS_OK;
    }
    return waitForReply(&waiter, reply);
}

void Connection::sendReply(uint64_t txnId, binder_status_t status, const AParcel& reply) {
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
        if (withData) marshalObjects(reply, &objects);
    }
    const size_t dataSize = withData ? reply.mData.size() : 0;
    wire::ReplyHeader header{};
    header.txnId = txnId;
    header.status = status;
    header.dataSize = static_cast<uint32_t>(dataSize);
    header.objectCount = static_cast<uint32_t>(objects.size());
    if (!writeMessage(wire::kReply, &header, sizeof(header), reply.mData.data(), dataSize,
                      objects)) {
        shutdown();
    }
}

// --- References ---------------------------------------------------------------------------------

void Connection::queueDecRef(uint64_t id) {
    if (!mPendingDecRefs.empty() && mPendingDecRefs.back().id == id) {
        ++mPendingDecRefs.back().count;
    } else {
        mPendingDecRefs.push_back(wire::DecRef{id, 1, 0});
    }
}

void Connection::flushDecRefsSoon() {
    if (!tOnReaderThread) {
        flushDecRefs();
        return;
    }
    {
        MutexLock lock(mLock);
        if (mFlushScheduled || mPendingDecRefs.empty() || isDead()) return;
        mFlushScheduled = true;
    }
    runOnPool([self = shared_from_this()] { self->flushDecRefs(); });
}

void Connection::flushDecRefs() {
    std::vector<wire::DecRef> entries;
    {
        MutexLock lock(mLock);
        mFlushScheduled = false;
        if (isDead()) {
            mPendingDecRefs.clear();
            return;
        }
        entries.swap(mPendingDecRefs);
    }
    if (entries.empty()) return;
    wire::FrameHeader frame{static_cast<uint32_t>(sizeof(wire::FrameHeader) +
                                                  entries.size() * sizeof(wire::DecRef)),
                            wire::kDecRefs};
    iovec iov[] = {
            {&frame, sizeof(frame)},
            {entries.data(), entries.size() * sizeof(wire::DecRef)},
    };
    if (!writeFrame(iov, 2)) shutdown();
}

bool Connection::shouldRetireLocked() const {
    return mRole == Role::kClient && !isDead() && mLiveProxies == 0 && mExports.empty() &&
           mPending.empty();
}

void Connection::proxyDestroyed(uint64_t remoteId, RefControl* proxy) {
    bool retire = false;
    bool queued = false;
    {
        MutexLock lock(mLock);
        auto it = mImports.find(remoteId);
        if (it != mImports.end() && it->second == proxy) mImports.erase(it);
        --mLiveProxies;
        retire = shouldRetireLocked();
        // A retiring connection gives everything back by closing.
        if (!isDead() && !retire) {
            queueDecRef(remoteId);
            queued = true;
        }
    }
    if (retire) {
        shutdown();
    } else if (queued) {
        flushDecRefsSoon();
    }
}

// --- Teardown -----------------------------------------------------------------------------------

void Connection::teardown() {
    std::vector<AIBinder*> proxies;
    std::vector<AIBinder*> exported;
    {
        MutexLock lock(mLock);
        mBroken = true;
        mDead.store(true, std::memory_order_release);
        // 1. Calls in flight fail first, so that nobody still inside a call on this connection is
        //    holding up a death recipient (which commonly takes the caller's locks).
        for (Waiter* waiter : mPending) completeLocked(waiter, STATUS_DEAD_OBJECT, nullptr);
        mPending.clear();
        for (const auto& entry : mImports) {
            if (entry.second->tryIncStrong()) proxies.push_back(entry.second->object());
        }
        for (const auto& entry : mExports) exported.push_back(entry.second.binder);
        mExports.clear();
        mExportIds.clear();
        mPendingDecRefs.clear();
    }
    // Writers blocked on a full socket give up now.
    shutdown();

    // 2. Death notifications. A recipient may drop the last user reference to its proxy; ours
    //    keeps it alive until every recipient has run.
    for (AIBinder* proxy : proxies) static_cast<ProxyBinder*>(proxy)->deliverDeath();
    for (AIBinder* proxy : proxies) proxy->mRefs->decStrong();
    // 3. The peer no longer holds anything of ours.
    for (AIBinder* binder : exported) binder->mRefs->decStrong();
    // 4. Release the descriptors and the read buffer. Nobody starts reading or watching once
    //    the connection is broken; wait for those still at it (they are being woken up).
    {
        MutexLock lock(mLock);
        while (mReading || mWatching > 0) lock.wait(mStateChanged);
    }
    {
        MutexLock writeLock(mWriteLock);
        MutexLock fdLock(mFdLock);
        mSocketClosed.store(true, std::memory_order_relaxed);
        mEpoll.reset();
        mSocket.reset();
    }
    MutexLock role(mReadRole);
    std::vector<uint8_t>().swap(mReadBuffer);
    mReadBegin = mReadEnd = 0;
}

}  // namespace hostbinder
