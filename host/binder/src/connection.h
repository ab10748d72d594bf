// One end of a Unix-domain stream connection between two sides (two processes, or two parts of
// one process). Frames (see wire.h) are read by whoever holds the connection's read role:
//   - a thread waiting for a reply on this connection reads the socket itself, so that its reply
//     wakes it directly (other callers' replies are handed to them);
//   - when no call is waiting, one of the connection's own threads does, woken through a one-shot
//     epoll registration (disarmed while callers read, so they sleep through their traffic).
//
// A connection thread runs a synchronous transaction it read itself, right away, provided its
// sibling (at most two threads per connection) is parked in epoll_wait to read whatever comes
// next: nested and concurrent calls are then never stuck behind a busy handler, and the common
// request/reply exchange needs no thread hand-off. Otherwise the transaction goes to the pool.
//
// Each end keeps two tables:
//   exports  objects of this side the peer holds references to (id -> binder, count); each entry
//            holds one strong reference until the peer has given all of its references back;
//   imports  proxies for the peer's objects (id -> proxy), so that one id maps to one proxy
//            while that proxy lives. A proxy returns its reference when destroyed.
//
// When the connection ends (peer gone, socket error, protocol violation, or shutdown()), the
// first connection thread to notice tears it down in this order, with no lock held during
// callbacks:
//   1. mark dead, and fail every call waiting for a reply with STATUS_DEAD_OBJECT;
//   2. deliver death notifications for every live proxy;
//   3. drop the strong references held for the peer (exports);
//   4. close the socket (once no thread reads or watches it).
// The connection's threads then exit.
#pragma once

#include <sys/types.h>
#include <sys/uio.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "binder_internal.h"
#include "calling_identity.h"
#include "parcel_internal.h"
#include "thread_annotations.h"
#include "unique_fd.h"
#include "wire.h"

namespace hostbinder {

class Connection : public std::enable_shared_from_this<Connection> {
public:
    // A client end closes itself once it holds no proxy and exports nothing (nobody can use it
    // any more); a server end waits for its client to go.
    enum class Role { kClient, kServer };

    // Null when the epoll instance cannot be created.
    static std::shared_ptr<Connection> create(UniqueFd socket, Role role);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Server side, before start(): exports `root` as object 0 with one reference for the client.
    void exportRoot(AIBinder* root) EXCLUDES(mLock);
    // Client side: a proxy (new strong reference) for the peer's object 0.
    AIBinder* importRoot() EXCLUDES(mLock);

    // Starts the connection's thread. On failure the connection is torn down at once.
    void start();

    // Sends a transaction to the peer's object `target` and, unless oneway, waits for the reply.
    binder_status_t transact(uint64_t target, transaction_code_t code, const AParcel& data,
                             AParcel** reply, binder_flags_t flags)
            EXCLUDES(mLock, mWriteLock, mReadRole);

    bool isDead() const { return mDead.load(std::memory_order_acquire); }
    // Ends the connection from this side; the connection's thread then tears it down.
    void shutdown() EXCLUDES(mFdLock);

    // A proxy of this connection is being destroyed: forget it and give its reference back.
    void proxyDestroyed(uint64_t remoteId, RefControl* proxy) EXCLUDES(mLock, mWriteLock);

    CallingIdentity peer() const { return mPeer; }

private:
    struct Export {
        AIBinder* binder;
        uint64_t count;
    };
    // A call waiting for its reply, on the calling thread's stack. Its fields are guarded by the
    // connection's mLock.
    struct Waiter {
        uint64_t txnId = 0;
        // In waitForReply, ready to read: until then (e.g. while its request is still being
        // written) the connection's threads keep reading.
        bool ready = false;
        bool done = false;
        binder_status_t status = STATUS_OK;
        std::unique_ptr<AParcel> reply;
        std::condition_variable wake;
    };
    enum class ReadResult { kDrained, kReplied, kClosed };
    class IncomingTransaction;

    Connection(UniqueFd socket, UniqueFd epoll, Role role);

    // Starts one more connection thread; false when none could be started.
    bool spawnThread();
    void threadLoop() EXCLUDES(mLock, mReadRole);
    // Runs (or queues) a synchronous transaction read by a connection thread.
    void runIncoming(std::unique_ptr<Task> task) EXCLUDES(mLock);
    void teardown() EXCLUDES(mLock, mWriteLock, mFdLock, mReadRole);

    // Waits for `waiter`'s reply, reading the socket whenever nobody else does.
    binder_status_t waitForReply(Waiter* waiter, AParcel** reply) EXCLUDES(mLock, mReadRole);
    // Reads and handles frames: until `waiter` is done (blocking), or, for a connection thread
    // (`waiter` null), what one non-blocking read brings; the first synchronous transaction is
    // then left in `*inlineTask` for the thread to run. kClosed on end of stream, error, or a
    // protocol violation.
    ReadResult readFrames(const Waiter* waiter, std::unique_ptr<Task>* inlineTask)
            REQUIRES(mReadRole) EXCLUDES(mLock);
    // After the read role was given up: passes it to a waiting caller, else re-arms epoll.
    void releaseReadRoleLocked() REQUIRES(mLock);
    void armLocked() REQUIRES(mLock);
    void disarmLocked() REQUIRES(mLock);
    // Marks the connection broken: the connection's thread will tear it down.
    void breakLocked() REQUIRES(mLock);
    void completeLocked(Waiter* waiter, binder_status_t status, std::unique_ptr<AParcel> reply)
            REQUIRES(mLock);

    // Frame handlers; false means a protocol violation (the connection is then closed).
    bool handleFrame(const uint8_t* frame, size_t size, std::unique_ptr<Task>* inlineTask)
            EXCLUDES(mLock);
    bool handleTransaction(const uint8_t* body, size_t size, std::unique_ptr<Task>* inlineTask)
            EXCLUDES(mLock);
    bool handleReply(const uint8_t* body, size_t size) EXCLUDES(mLock);
    bool handleDecRefs(const uint8_t* body, size_t size) EXCLUDES(mLock);

    // Copies a received parcel out of a frame and checks its object table against the data.
    static bool parseParcel(const uint8_t* data, uint32_t dataSize, const uint8_t* objects,
                            uint32_t objectCount, AParcel* parcel,
                            std::vector<wire::WireObject>* wireObjects);
    // Turns the wire objects of `parcel` into binders (a reference each).
    bool resolveObjects(AParcel* parcel, const std::vector<wire::WireObject>& objects)
            REQUIRES(mLock);
    // Exports (or recognises as the peer's own) every object of `parcel` for sending.
    void marshalObjects(const AParcel& parcel, std::vector<wire::WireObject>* out) REQUIRES(mLock);
    AIBinder* importObject(uint64_t id) REQUIRES(mLock);

    void sendReply(uint64_t txnId, binder_status_t status, const AParcel& reply)
            EXCLUDES(mLock, mWriteLock);
    // Writes one frame (all of `iov`); false when the socket is closed or broken.
    bool writeFrame(iovec* iov, int iovCount) EXCLUDES(mWriteLock);
    // Writes one frame: its fixed header of `type`, the message header, the parcel data and the
    // parcel's object table. False when the socket is broken.
    bool writeMessage(uint32_t type, const void* header, size_t headerSize, const uint8_t* data,
                      size_t dataSize, const std::vector<wire::WireObject>& objects)
            EXCLUDES(mWriteLock);

    void queueDecRef(uint64_t id) REQUIRES(mLock);
    // Sends queued reference drops now, or from the pool when called while reading frames (a
    // reader must not block on a socket write: the peer's reader may be blocked writing to us).
    void flushDecRefsSoon() EXCLUDES(mLock, mWriteLock);
    void flushDecRefs() EXCLUDES(mLock, mWriteLock);
    bool shouldRetireLocked() const REQUIRES(mLock);

    const Role mRole;
    const CallingIdentity mPeer;

    mutable Mutex mLock;
    std::atomic<bool> mDead{false};  // written under mLock
    bool mBroken GUARDED_BY(mLock) = false;
    bool mTearingDown GUARDED_BY(mLock) = false;
    bool mReading GUARDED_BY(mLock) = false;  // someone holds mReadRole or is about to
    bool mArmed GUARDED_BY(mLock) = true;     // the epoll registration reports input
    size_t mThreads GUARDED_BY(mLock) = 0;    // connection threads alive
    size_t mWatching GUARDED_BY(mLock) = 0;   // connection threads in epoll_wait
    // Signalled when the read role is given up or a thread stops watching.
    std::condition_variable mStateChanged;
    uint64_t mNextTxnId GUARDED_BY(mLock) = 1;
    std::vector<Waiter*> mPending GUARDED_BY(mLock);
    size_t mReadyWaiters GUARDED_BY(mLock) = 0;  // pending waiters that are ready
    std::unordered_map<uint64_t, Export> mExports GUARDED_BY(mLock);
    std::unordered_map<AIBinder*, uint64_t> mExportIds GUARDED_BY(mLock);
    uint64_t mNextExportId GUARDED_BY(mLock) = wire::kRootObjectId + 1;
    std::unordered_map<uint64_t, RefControl*> mImports GUARDED_BY(mLock);
    size_t mLiveProxies GUARDED_BY(mLock) = 0;
    std::vector<wire::DecRef> mPendingDecRefs GUARDED_BY(mLock);
    bool mFlushScheduled GUARDED_BY(mLock) = false;

    // Held by the thread reading frames; it owns the partial-frame buffer.
    Mutex mReadRole;
    std::vector<uint8_t> mReadBuffer GUARDED_BY(mReadRole);
    size_t mReadBegin GUARDED_BY(mReadRole) = 0;
    size_t mReadEnd GUARDED_BY(mReadRole) = 0;

    // Writers hold mWriteLock for a whole frame so frames never interleave. The descriptors are
    // closed only with both mWriteLock and mFdLock held, after the read role is free for good;
    // shutdown() needs only mFdLock, so it can interrupt a writer blocked on a full socket.
    Mutex mWriteLock;
    Mutex mFdLock;
    UniqueFd mSocket;
    UniqueFd mEpoll;
    std::atomic<bool> mSocketClosed{false};
};

}  // namespace hostbinder
