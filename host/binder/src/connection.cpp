// Connection: set-up, calls and their replies, references, and the end of a connection. Reading
// is in connection_read.cpp, writing in connection_write.cpp.
#include "connection.h"

#include <errno.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "event_loop.h"
#include "logging.h"
#include "thread_pool.h"

namespace hostbinder {

using android::base::unique_fd;

namespace {

// The transaction the current thread is serving, so that calls it makes back to the same peer
// carry it as their parent and are served on the thread waiting for it there.
struct ServingContext {
    const Connection* connection;
    uint64_t txnId;
};
thread_local ServingContext tServing = {nullptr, 0};

class ScopedServing {
public:
    ScopedServing(const Connection* connection, uint64_t txnId) : mPrevious(tServing) {
        tServing = {connection, txnId};
    }
    ~ScopedServing() { tServing = mPrevious; }
    ScopedServing(const ScopedServing&) = delete;
    ScopedServing& operator=(const ScopedServing&) = delete;

private:
    const ServingContext mPrevious;
};

CallingIdentity peerCredentials(int fd) {
    ucred cred{};
    socklen_t length = sizeof(cred);
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &length) != 0) {
        return CallingIdentity{-1, static_cast<uid_t>(-1)};
    }
    return CallingIdentity{cred.pid, cred.uid};
}

}  // namespace

// Death notifications and the release of what the peer held, for a binder thread.
class Connection::DeathWork final : public Task {
public:
    bool empty() const { return mProxies.empty() && mExported.empty(); }
    void run() override {
        // A recipient may drop the last user reference to its proxy; ours keeps it alive until
        // every recipient has run.
        for (AIBinder* proxy : mProxies) static_cast<ProxyBinder*>(proxy)->deliverDeath();
        for (AIBinder* proxy : mProxies) proxy->mRefs->decStrong();
        for (AIBinder* binder : mExported) binder->mRefs->decStrong();
        mProxies.clear();
        mExported.clear();
    }

    std::vector<AIBinder*> mProxies;   // one strong reference each
    std::vector<AIBinder*> mExported;  // the reference held for the peer
};

Connection::IncomingTransaction::IncomingTransaction(std::shared_ptr<Connection> connection,
                                                     AIBinder* target, uint64_t txnId,
                                                     transaction_code_t code, binder_flags_t flags,
                                                     std::unique_ptr<AParcel> data,
                                                     CallingIdentity sender)
    : mConnection(std::move(connection)),
      mTarget(target),
      mTxnId(txnId),
      mCode(code),
      mFlags(flags),
      mData(std::move(data)),
      mSender(sender) {}

Connection::IncomingTransaction::~IncomingTransaction() {
    mData.reset();
    mTarget->mRefs->decStrong();
    mConnection->transactionDone(mCounted);
}

void Connection::IncomingTransaction::run() {
    ScopedCallingIdentity identity(mSender);
    ScopedServing serving(mConnection.get(), mTxnId);
    AParcel reply;
    const binder_status_t status = serveTransaction(mTarget, mCode, *mData, &reply, mFlags);
    // Its receive-buffer space returns before the reply leaves, as binder frees a transaction's
    // buffer with its reply.
    mData.reset();
    if ((mFlags & FLAG_ONEWAY) == 0) mConnection->sendReply(mTxnId, status, reply, false);
}

std::shared_ptr<Connection> Connection::create(unique_fd socket, Role role) {
    // Every message then carries its sender's credentials, checked by the kernel.
    const int on = 1;
    if (setsockopt(socket.get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof(on)) != 0) return nullptr;
    return std::shared_ptr<Connection>(new Connection(std::move(socket), role));
}

Connection::Connection(unique_fd socket, Role role)
    : mRole(role), mPeer(peerCredentials(socket.get())), mSocket(std::move(socket)) {}

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
    auto self = shared_from_this();
    MutexLock lock(mLock);
    uint64_t id = 0;
    // Under mLock: input reported right away waits until the registration is recorded.
    if (!EventLoop::instance().add(self, mSocket.get(), &id)) {
        ALOGE("cannot watch a connection: %s", strerror(errno));
        breakLocked();
        return;
    }
    mId.store(id, std::memory_order_relaxed);
    mRegistered = true;
    mArmed = true;
    mArmedForInput = true;
}

void Connection::fail() {
    // Declared first, so released last: closing must never destroy the connection under its lock.
    auto self = shared_from_this();
    MutexLock lock(mLock);
    breakLocked();
}

void Connection::shutdown() {
    fail();
}

// --- Calls --------------------------------------------------------------------------------------

binder_status_t Connection::transact(uint64_t target, transaction_code_t code, const AParcel& data,
                                     AParcel** reply, binder_flags_t flags) {
    const bool oneway = (flags & FLAG_ONEWAY) != 0;
    const size_t dataSize = data.mData.size();
    const size_t fixedSize = sizeof(wire::FrameHeader) + sizeof(wire::TransactionHeader);
    *reply = nullptr;
    if (dataSize + data.mObjects.size() * sizeof(wire::WireObject) >
        wire::kMaxFrameSize - fixedSize) {
        return STATUS_FAILED_TRANSACTION;
    }

    Waiter waiter;
    waiter.oneway = oneway;
    std::vector<wire::WireObject> objects;
    wire::TransactionHeader header{};
    {
        MutexLock lock(mLock);
        if (isDead()) return STATUS_DEAD_OBJECT;
        header.txnId = mNextTxnId++;
        marshalObjects(data, &objects, &waiter.sentExports);
        waiter.txnId = header.txnId;
        mPending.push_back(&waiter);
    }
    if (!oneway && tServing.connection == this) header.parentTxnId = tServing.txnId;
    header.target = target;
    header.code = code;
    header.flags = flags;
    header.dataSize = static_cast<uint32_t>(dataSize);
    header.objectCount = static_cast<uint32_t>(objects.size());
    // On failure the connection has ended, and with it this call (STATUS_DEAD_OBJECT).
    writeMessage(wire::kTransaction, &header, sizeof(header), data.mData.data(), dataSize, objects);
    const binder_status_t status = waitForReply(&waiter, reply);
    if (oneway) {
        delete *reply;
        *reply = nullptr;
    }
    return status;
}

binder_status_t Connection::waitForReply(Waiter* waiter, AParcel** reply) {
    MutexLock lock(mLock);
    setReadyLocked(waiter, !waiter->done);
    while (!waiter->done || !waiter->nested.empty()) {
        if (!waiter->nested.empty()) {
            // A call back along this call's chain: served here, as binder does.
            std::unique_ptr<Task> task = std::move(waiter->nested.front());
            waiter->nested.pop_front();
            // While it runs, this thread does not read: someone else must.
            setReadyLocked(waiter, false);
            if (!mReading) releaseReadRoleLocked();
            lock.unlock();
            task->run();
            task.reset();
            lock.lock();
            setReadyLocked(waiter, !waiter->done);
            continue;
        }
        if (mReading || mBroken) {
            // Someone else reads (and wakes us with our reply, or when it is our turn), or the
            // connection is ending and will fail this call.
            lock.wait(waiter->wake);
            continue;
        }
        mReading = true;
        disarmLocked();
        lock.unlock();
        Dispatch dispatch;
        ReadResult result = ReadResult::kProgress;
        {
            MutexLock role(mReadRole);
            while (result != ReadResult::kClosed) {
                result = readOnce(true, &dispatch);
                submitQueued(&dispatch);
                MutexLock check(mLock);
                if (waiter->done || !waiter->nested.empty()) break;
            }
        }
        lock.lock();
        mReading = false;
        if (result == ReadResult::kClosed) breakLocked();
        releaseReadRoleLocked();
    }
    *reply = waiter->reply.release();
    return waiter->status;
}

void Connection::submitQueued(Dispatch* dispatch) {
    for (auto& task : dispatch->queued) ThreadPool::instance().submit(std::move(task));
    dispatch->queued.clear();
}

std::unique_ptr<Task> Connection::onReadable(bool binderThread) {
    {
        MutexLock lock(mLock);
        mArmed = false;  // one-shot: reported, hence disarmed
        if (mReading || mBroken) return nullptr;
        mReading = true;
    }
    Dispatch dispatch;
    dispatch.binderThread = binderThread;
    ReadResult result;
    {
        MutexLock role(mReadRole);
        result = readOnce(false, &dispatch);
    }
    {
        MutexLock lock(mLock);
        mReading = false;
        if (result == ReadResult::kClosed) breakLocked();
        releaseReadRoleLocked();
    }
    submitQueued(&dispatch);
    return std::move(dispatch.inlineTask);
}

void Connection::releaseReadRoleLocked() {
    if (mBroken) {
        closeLocked();
        return;
    }
    for (Waiter* waiter : mPending) {
        if (waiter->ready) {
            // A caller still waits for its reply: it reads next.
            waiter->wake.notify_one();
            return;
        }
    }
    if (mInFlight >= kMaxInFlight) {
        // The peer has enough running here; its input waits until some of it is done.
        mThrottled = true;
        return;
    }
    armLocked();
}

bool Connection::watchesInputLocked() const {
    // A peer can only call objects this side exports. Without any, all that can arrive unasked
    // is its end; replies are read by the threads waiting for them, so no poller needs to wake
    // for them.
    return mRole == Role::kServer || !mExports.empty();
}

void Connection::armLocked() {
    if (mArmed || mBroken || !mRegistered) return;
    mArmedForInput = watchesInputLocked();
    EventLoop::instance().arm(mId.load(std::memory_order_relaxed), mSocket.get(), mArmedForInput);
    mArmed = true;
}

void Connection::rearmIfNeededLocked() {
    if (mArmed && !mArmedForInput && watchesInputLocked()) {
        mArmed = false;
        armLocked();
    }
}

void Connection::disarmLocked() {
    if (!mArmed || !mArmedForInput || mBroken) return;
    EventLoop::instance().disarm(mId.load(std::memory_order_relaxed), mSocket.get());
    mArmed = false;
}

void Connection::transactionDone(bool counted) {
    if (!counted) return;
    MutexLock lock(mLock);
    --mInFlight;
    if (mThrottled && mInFlight < kMaxInFlight && !mReading) {
        mThrottled = false;
        releaseReadRoleLocked();
    }
}

void Connection::setReadyLocked(Waiter* waiter, bool ready) {
    waiter->ready = ready;
}

void Connection::completeLocked(Waiter* waiter, binder_status_t status,
                                std::unique_ptr<AParcel> reply) {
    setReadyLocked(waiter, false);
    waiter->status = status;
    waiter->reply = std::move(reply);
    waiter->done = true;
    waiter->wake.notify_one();
}

Connection::Waiter* Connection::findWaiterLocked(uint64_t txnId, bool oneway) {
    for (Waiter* waiter : mPending) {
        if (waiter->txnId == txnId && waiter->oneway == oneway) return waiter;
    }
    return nullptr;
}

// --- References ---------------------------------------------------------------------------------

void Connection::marshalObjects(const AParcel& parcel, std::vector<wire::WireObject>* out,
                                std::vector<uint64_t>* exported) {
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
        if (exported != nullptr) exported->push_back(id);
        out->push_back({offset, wire::kSenderObject, id});
    }
    // The peer can call this side from now on.
    rearmIfNeededLocked();
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

bool Connection::dropExportsLocked(const std::vector<std::pair<uint64_t, uint32_t>>& drops) {
    for (const auto& [id, count] : drops) {
        auto it = mExports.find(id);
        if (it == mExports.end() || count == 0 || count > it->second.count) return false;
        it->second.count -= count;
        if (it->second.count == 0) {
            // Dropping the last reference may run onDestroy, i.e. user code: a binder thread's.
            AIBinder* binder = it->second.binder;
            runOnPool([binder] { binder->mRefs->decStrong(); });
            mExportIds.erase(binder);
            mExports.erase(it);
        }
    }
    return true;
}

void Connection::queueDecRef(uint64_t id) {
    if (!mPendingDecRefs.empty() && mPendingDecRefs.back().id == id) {
        ++mPendingDecRefs.back().count;
    } else {
        mPendingDecRefs.push_back(wire::DecRef{id, 1, 0});
    }
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
        flushDecRefs();
    }
}

// --- The end ------------------------------------------------------------------------------------

void Connection::breakLocked() {
    if (mBroken) return;
    mBroken = true;
    mDead.store(true, std::memory_order_release);
    // A reader blocked in recv() sees the end of the stream.
    if (!mClosed) ::shutdown(mSocket.get(), SHUT_RDWR);
    // Calls in flight fail first, so that nobody still inside a call on this connection is
    // holding up a death recipient (which commonly takes the caller's locks).
    for (Waiter* waiter : mPending) completeLocked(waiter, STATUS_DEAD_OBJECT, nullptr);
    mPending.clear();
    auto work = std::make_unique<DeathWork>();
    for (const auto& entry : mImports) {
        if (entry.second->tryIncStrong()) work->mProxies.push_back(entry.second->object());
    }
    for (const auto& entry : mExports) work->mExported.push_back(entry.second.binder);
    mExports.clear();
    mExportIds.clear();
    mPendingDecRefs.clear();
    if (!work->empty()) ThreadPool::instance().submit(std::move(work));
    if (!mReading) closeLocked();
}

void Connection::closeLocked() {
    if (mClosed) return;
    mClosed = true;
    MutexLock writeLock(mWriteLock);
    mSocketClosed = true;
    if (mRegistered) {
        EventLoop::instance().remove(mId.load(std::memory_order_relaxed), mSocket.get(),
                                     mWriteFd.get());
    }
    mWriteFd.reset();
    mSocket.reset();
    std::vector<uint8_t>().swap(mOutput);
    mOutputBegin = 0;
}

}  // namespace hostbinder
