// One end of a Unix-domain stream connection between two sides (two processes, or two parts of
// one process). Frames (see wire.h) are read by whoever holds the connection's read role:
//   - a thread waiting for a reply (or for a one-way call's completion) on this connection reads
//     the socket itself, so that its reply wakes it directly; other callers' replies, and
//     transactions that come back along their call chains, are handed to them;
//   - otherwise whoever the event loop reports the input to (event_loop.h).
// Incoming transactions that are not part of a waiting thread's call chain, one-way calls, death
// notifications and releases run only on binder threads (thread_pool.h).
//
// What a peer can make this side hold is bounded: a received frame is kept only as far as its
// bytes have arrived and only if it can fit in the receive buffer (receive_buffer.h), which then
// holds it until its parcel is freed; a peer with more than kMaxInFlight transactions queued or
// running is not read until some finish; and output to a peer that does not read is queued up to
// kMaxQueuedOutput bytes, past which the connection is closed. Writes never block.
//
// Each end keeps two tables:
//   exports  objects of this side the peer holds references to (id -> binder, count); each entry
//            holds one strong reference until the peer has given all of its references back;
//   imports  proxies for the peer's objects (id -> proxy), so that one id maps to one proxy
//            while that proxy lives. A proxy returns its reference when destroyed.
//
// When the connection ends (peer gone, socket error, protocol violation, a peer that does not
// read, or shutdown()): it is marked dead and every call waiting on it fails with
// STATUS_DEAD_OBJECT at once; death notifications for its live proxies and the release of what
// the peer held are queued for a binder thread; the socket is closed once nobody reads it.
#pragma once

#include <android-base/unique_fd.h>
#include <sys/types.h>
#include <sys/uio.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <unordered_map>
#include <vector>

#include "binder_internal.h"
#include "calling_identity.h"
#include "mutex.h"
#include "parcel_internal.h"
#include "wire.h"

namespace hostbinder {

class Connection : public std::enable_shared_from_this<Connection> {
public:
    // A client end closes itself once it holds no proxy and exports nothing (nobody can use it
    // any more); a server end waits for its client to go.
    enum class Role { kClient, kServer };

    // Incoming synchronous transactions of one peer queued or running at a time, before its input
    // waits.
    static constexpr size_t kMaxInFlight = 64;
    // Output queued for a peer that does not read, before the connection is closed.
    static constexpr size_t kMaxQueuedOutput = 4 * 1024 * 1024;

    // Null when the socket cannot be set up.
    static std::shared_ptr<Connection> create(android::base::unique_fd socket, Role role);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Server side, before start(): exports `root` as object 0 with one reference for the client.
    void exportRoot(AIBinder* root) EXCLUDES(mLock);
    // Client side: a proxy (new strong reference) for the peer's object 0.
    AIBinder* importRoot() EXCLUDES(mLock);

    // Starts watching the socket. On failure the connection ends at once.
    void start() EXCLUDES(mLock);

    // Sends a transaction to the peer's object `target` and waits for the reply (for a one-way
    // call, until the peer has taken it into its receive buffer).
    binder_status_t transact(uint64_t target, transaction_code_t code, const AParcel& data,
                             AParcel** reply, binder_flags_t flags)
            EXCLUDES(mLock, mWriteLock, mReadRole);

    bool isDead() const { return mDead.load(std::memory_order_acquire); }
    // Ends the connection from this side.
    void shutdown() EXCLUDES(mLock, mWriteLock);

    // A proxy of this connection is being destroyed: forget it and give its reference back.
    void proxyDestroyed(uint64_t remoteId, RefControl* proxy) EXCLUDES(mLock, mWriteLock);

    // Event loop entry points: input was reported (returns a transaction to serve inline when
    // the caller is a binder thread), or the socket can take queued output.
    std::unique_ptr<Task> onReadable(bool binderThread) EXCLUDES(mLock, mReadRole);
    void onWritable() EXCLUDES(mLock, mWriteLock);

private:
    struct Export {
        AIBinder* binder;
        uint64_t count;
    };
    // A call waiting for its reply or completion, on the calling thread's stack. Its fields are
    // guarded by the connection's mLock.
    struct Waiter {
        uint64_t txnId = 0;
        bool oneway = false;
        // In waitForReply, ready to read: until then (e.g. while its request is still being
        // written, or while the thread runs a call that came back along its chain) others keep
        // reading.
        bool ready = false;
        bool done = false;
        binder_status_t status = STATUS_OK;
        std::unique_ptr<AParcel> reply;
        // Transactions that came back along this call's chain, to run on the waiting thread.
        std::deque<std::unique_ptr<Task>> nested;
        // Our objects the request carried: given back if the peer turns the request away.
        std::vector<uint64_t> sentExports;
        std::condition_variable wake;
    };
    // What reading brought that is not handled in place.
    struct Dispatch {
        bool binderThread = false;
        std::unique_ptr<Task> inlineTask;
        std::vector<std::unique_ptr<Task>> queued;
    };
    // A frame's bytes as they arrived, with who sent them.
    struct Chunk {
        const uint8_t* data;
        size_t size;
        CallingIdentity sender;
    };
    enum class ReadResult { kDrained, kProgress, kClosed };
    class IncomingTransaction;
    class DeathWork;

    Connection(android::base::unique_fd socket, Role role);

    // Waits for `waiter`'s reply, reading the socket whenever nobody else does, and runs the
    // transactions that come back along its call chain.
    binder_status_t waitForReply(Waiter* waiter, AParcel** reply)
            EXCLUDES(mLock, mReadRole, mWriteLock);
    // Reads what is there (blocking for the first bytes when `block`) and handles every frame
    // completed by it.
    ReadResult readOnce(bool block, Dispatch* dispatch) REQUIRES(mReadRole) EXCLUDES(mLock);
    bool consume(const Chunk& chunk, Dispatch* dispatch) REQUIRES(mReadRole) EXCLUDES(mLock);
    // A partial frame is kept only while it can still be taken; false on a protocol violation.
    bool checkPartial() REQUIRES(mReadRole) EXCLUDES(mLock);
    void submitQueued(Dispatch* dispatch);
    // After the read role was given up: passes it to a waiting caller, else re-arms the loop.
    void releaseReadRoleLocked() REQUIRES(mLock);
    bool watchesInputLocked() const REQUIRES(mLock);
    void armLocked() REQUIRES(mLock);
    void rearmIfNeededLocked() REQUIRES(mLock);
    void disarmLocked() REQUIRES(mLock);
    // Ends the connection (see the top of this file).
    void breakLocked() REQUIRES(mLock);
    void fail() EXCLUDES(mLock);
    void closeLocked() REQUIRES(mLock) EXCLUDES(mWriteLock);
    void completeLocked(Waiter* waiter, binder_status_t status, std::unique_ptr<AParcel> reply)
            REQUIRES(mLock);
    void setReadyLocked(Waiter* waiter, bool ready) REQUIRES(mLock);
    Waiter* findWaiterLocked(uint64_t txnId, bool oneway) REQUIRES(mLock);
    void transactionDone(bool counted) EXCLUDES(mLock);

    // Frame handlers; false means a protocol violation (the connection is then closed).
    bool handleFrame(const uint8_t* frame, size_t size, const CallingIdentity& sender,
                     Dispatch* dispatch) EXCLUDES(mLock);
    bool handleTransaction(const uint8_t* body, size_t size, const CallingIdentity& sender,
                           Dispatch* dispatch) EXCLUDES(mLock);
    bool handleReply(const uint8_t* body, size_t size) EXCLUDES(mLock);
    bool completeReply(const wire::ReplyHeader& header, bool fits, std::unique_ptr<AParcel> parcel,
                       const std::vector<wire::WireObject>& objects) EXCLUDES(mLock);
    bool handleComplete(const uint8_t* body, size_t size) EXCLUDES(mLock);
    // The peer turned the waiter's request away unread: it holds none of the objects it carried.
    void rollBackLocked(Waiter* waiter) REQUIRES(mLock);
    bool handleDecRefs(const uint8_t* body, size_t size) EXCLUDES(mLock);
    // Turns a frame this side cannot take away: the sender's call fails.
    void reject(const wire::TransactionHeader& header) EXCLUDES(mLock, mWriteLock);
    void rejectReply(uint64_t txnId) EXCLUDES(mLock);
    // Routes a resolved transaction: to a waiting thread, inline, or to the binder threads.
    void route(std::unique_ptr<IncomingTransaction> task, uint64_t parentTxnId, Dispatch* dispatch)
            EXCLUDES(mLock);

    // Copies a received parcel out of a frame and checks its object table against the data.
    static bool parseParcel(const uint8_t* data, uint32_t dataSize, const uint8_t* objects,
                            uint32_t objectCount, AParcel* parcel,
                            std::vector<wire::WireObject>* wireObjects);
    // Turns the wire objects of `parcel` into binders (a reference each).
    bool resolveObjects(AParcel* parcel, const std::vector<wire::WireObject>& objects)
            REQUIRES(mLock);
    // Exports (or recognises as the peer's own) every object of `parcel` for sending.
    void marshalObjects(const AParcel& parcel, std::vector<wire::WireObject>* out,
                        std::vector<uint64_t>* exported) REQUIRES(mLock);
    AIBinder* importObject(uint64_t id) REQUIRES(mLock);
    // Drops one peer reference to each of `ids`; objects nobody holds any more are released on
    // a binder thread. False when the peer holds no such reference.
    bool dropExportsLocked(const std::vector<std::pair<uint64_t, uint32_t>>& drops) REQUIRES(mLock);

    void sendReply(uint64_t txnId, binder_status_t status, const AParcel& reply, bool rejected)
            EXCLUDES(mLock, mWriteLock);
    void sendComplete(uint64_t txnId, binder_status_t status) EXCLUDES(mLock, mWriteLock);
    // Writes one frame without blocking, queueing what the socket does not take. False (and the
    // connection ends) when the socket broke or the peer stopped reading.
    bool sendFrame(const iovec* iov, int iovCount) EXCLUDES(mLock, mWriteLock);
    bool writeMessage(uint32_t type, const void* header, size_t headerSize, const uint8_t* data,
                      size_t dataSize, const std::vector<wire::WireObject>& objects)
            EXCLUDES(mLock, mWriteLock);
    bool queueOutputLocked(const iovec* iov, int iovCount, size_t skip) REQUIRES(mWriteLock);
    // Writes queued output; false when the socket broke.
    bool flushLocked() REQUIRES(mWriteLock);

    void queueDecRef(uint64_t id) REQUIRES(mLock);
    void flushDecRefs() EXCLUDES(mLock, mWriteLock);
    bool shouldRetireLocked() const REQUIRES(mLock);

    const Role mRole;
    // Who connected: the kernel's answer for bytes that came without credentials.
    const CallingIdentity mPeer;

    mutable Mutex mLock;
    std::atomic<bool> mDead{false};  // written under mLock
    std::atomic<uint64_t> mId{0};    // the loop's registration, set once by start()
    bool mRegistered GUARDED_BY(mLock) = false;
    bool mBroken GUARDED_BY(mLock) = false;
    bool mClosed GUARDED_BY(mLock) = false;
    bool mReading GUARDED_BY(mLock) = false;        // someone holds mReadRole or is about to
    bool mArmed GUARDED_BY(mLock) = false;          // the loop's registration reports something
    bool mArmedForInput GUARDED_BY(mLock) = false;  // ... input, not only a hang-up
    bool mThrottled GUARDED_BY(mLock) = false;
    size_t mInFlight GUARDED_BY(mLock) = 0;
    uint64_t mNextTxnId GUARDED_BY(mLock) = 1;
    std::vector<Waiter*> mPending GUARDED_BY(mLock);
    std::unordered_map<uint64_t, Export> mExports GUARDED_BY(mLock);
    std::unordered_map<AIBinder*, uint64_t> mExportIds GUARDED_BY(mLock);
    uint64_t mNextExportId GUARDED_BY(mLock) = wire::kRootObjectId + 1;
    std::unordered_map<uint64_t, RefControl*> mImports GUARDED_BY(mLock);
    size_t mLiveProxies GUARDED_BY(mLock) = 0;
    std::vector<wire::DecRef> mPendingDecRefs GUARDED_BY(mLock);

    // Held by the thread reading frames; it owns the partial frame.
    Mutex mReadRole;
    std::vector<uint8_t> mPartial GUARDED_BY(mReadRole);
    CallingIdentity mPartialSender GUARDED_BY(mReadRole) = {0, 0};
    bool mPartialChecked GUARDED_BY(mReadRole) = false;
    size_t mDiscard GUARDED_BY(mReadRole) = 0;  // bytes of a turned-away frame still to skip

    // The socket is used by readers (under the read role), writers (under mWriteLock) and
    // closed only with mLock and mWriteLock held once nobody reads.
    android::base::unique_fd mSocket;
    Mutex mWriteLock;
    std::vector<uint8_t> mOutput GUARDED_BY(mWriteLock);
    size_t mOutputBegin GUARDED_BY(mWriteLock) = 0;
    android::base::unique_fd mWriteFd
            GUARDED_BY(mWriteLock);  // watched for output room while output is queued
    bool mWriteWatched GUARDED_BY(mWriteLock) = false;
    bool mSocketClosed GUARDED_BY(mWriteLock) = false;
};

// A transaction from the peer, served on a binder thread or on the thread waiting for the call it
// came back along.
class Connection::IncomingTransaction final : public Task {
public:
    IncomingTransaction(std::shared_ptr<Connection> connection, AIBinder* target, uint64_t txnId,
                        transaction_code_t code, binder_flags_t flags,
                        std::unique_ptr<AParcel> data, CallingIdentity sender);
    ~IncomingTransaction() override;
    void run() override;
    // Counted against the peer's transactions in flight until destroyed.
    void setCounted() { mCounted = true; }

private:
    const std::shared_ptr<Connection> mConnection;
    AIBinder* const mTarget;  // one strong reference
    const uint64_t mTxnId;
    const transaction_code_t mCode;
    const binder_flags_t mFlags;
    std::unique_ptr<AParcel> mData;
    const CallingIdentity mSender;
    bool mCounted = false;
};

}  // namespace hostbinder
