// AIBinder and its two kinds: local objects (served in this process) and proxies (objects of the
// peer at the other end of a connection).
#pragma once

#include <android/binder_ibinder.h>

#include <atomic>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "mutex.h"

struct AIBinder_Class {
    std::string mDescriptor;
    AIBinder_Class_onCreate mOnCreate;
    AIBinder_Class_onDestroy mOnDestroy;
    AIBinder_Class_onTransact mOnTransact;
    std::atomic<AIBinder_onDump> mOnDump{nullptr};
};

namespace hostbinder {

class Connection;
struct DeathRecipientState;

// Transactions the runtime answers itself. They lie above LAST_CALL_TRANSACTION, so no interface
// code can collide with them.
constexpr transaction_code_t packChars(char a, char b, char c, char d) {
    return (static_cast<transaction_code_t>(a) << 24) | (static_cast<transaction_code_t>(b) << 16) |
           (static_cast<transaction_code_t>(c) << 8) | static_cast<transaction_code_t>(d);
}
inline constexpr transaction_code_t kPingTransaction = packChars('_', 'P', 'N', 'G');
inline constexpr transaction_code_t kInterfaceTransaction = packChars('_', 'N', 'T', 'F');
inline constexpr transaction_code_t kDumpTransaction = packChars('_', 'D', 'M', 'P');

// Reference counts of one object. The block outlives the object as long as weak references
// remain, which is what lets a weak reference (or a table entry) try to promote safely: once the
// strong count has reached zero it never rises again.
class RefControl {
public:
    explicit RefControl(AIBinder* object) : mObject(object) {}

    AIBinder* object() const { return mObject; }
    int32_t strongCount() const { return mStrong.load(std::memory_order_relaxed); }

    void incStrong() { mStrong.fetch_add(1, std::memory_order_relaxed); }
    // Destroys the object when the last strong reference goes.
    void decStrong();
    // A new strong reference unless the object is already being destroyed.
    bool tryIncStrong();

    void incWeak() { mWeak.fetch_add(1, std::memory_order_relaxed); }
    void decWeak();

private:
    AIBinder* const mObject;
    std::atomic<int32_t> mStrong{1};
    std::atomic<int32_t> mWeak{1};  // the object itself holds one until it is destroyed
};

// A unit of work for the thread pool.
class Task {
public:
    virtual ~Task() = default;
    virtual void run() = 0;
};

}  // namespace hostbinder

struct AIBinder {
    explicit AIBinder(const AIBinder_Class* clazz);
    virtual ~AIBinder();
    AIBinder(const AIBinder&) = delete;
    AIBinder& operator=(const AIBinder&) = delete;

    virtual bool isRemote() const = 0;
    virtual bool isAlive() const = 0;
    // Sends a transaction whose data starts at position 0 (interface token included). On
    // success *reply is a new parcel positioned at 0 (null for oneway).
    virtual binder_status_t transact(transaction_code_t code, const AParcel& data, AParcel** reply,
                                     binder_flags_t flags) = 0;

    // Queues a oneway transaction addressed to this object. Oneway transactions to one object run
    // one at a time, in arrival order, on pool threads.
    void enqueueOneway(std::unique_ptr<hostbinder::Task> task) EXCLUDES(mOnewayLock);

    hostbinder::RefControl* const mRefs;
    std::atomic<const AIBinder_Class*> mClass;

private:
    class OnewayDrain;
    void drainOneway() EXCLUDES(mOnewayLock);

    hostbinder::Mutex mOnewayLock;
    std::unique_ptr<std::deque<std::unique_ptr<hostbinder::Task>>> mOnewayQueue
            GUARDED_BY(mOnewayLock);
    bool mOnewayRunning GUARDED_BY(mOnewayLock) = false;
};

namespace hostbinder {

class LocalBinder final : public AIBinder {
public:
    LocalBinder(const AIBinder_Class* clazz, void* userData);
    ~LocalBinder() override;

    bool isRemote() const override { return false; }
    bool isAlive() const override { return true; }
    binder_status_t transact(transaction_code_t code, const AParcel& data, AParcel** reply,
                             binder_flags_t flags) override;

    // Runs a transaction on the calling thread; `data` is read from position 0.
    binder_status_t onTransact(transaction_code_t code, const AParcel& data, AParcel* reply);

    void* const mUserData;
};

struct DeathLink {
    std::shared_ptr<DeathRecipientState> recipient;
    void* cookie;
};

class ProxyBinder final : public AIBinder {
public:
    ProxyBinder(std::shared_ptr<Connection> connection, uint64_t remoteId);
    ~ProxyBinder() override;

    bool isRemote() const override { return true; }
    bool isAlive() const override;
    binder_status_t transact(transaction_code_t code, const AParcel& data, AParcel** reply,
                             binder_flags_t flags) override;

    // The peer's interface descriptor, asked once and then remembered.
    binder_status_t remoteDescriptor(std::string* descriptor) EXCLUDES(mLock);

    binder_status_t linkToDeath(const std::shared_ptr<DeathRecipientState>& recipient, void* cookie)
            EXCLUDES(mLock);
    binder_status_t unlinkToDeath(const std::shared_ptr<DeathRecipientState>& recipient,
                                  void* cookie) EXCLUDES(mLock);
    // Removes every link to `recipient` and returns their cookies (the caller reports them as
    // unlinked).
    std::vector<void*> removeLinksOf(const DeathRecipientState* recipient) EXCLUDES(mLock);
    // Called once by the connection after it died: runs each recipient, then its on-unlinked
    // callback. Never called with a runtime lock held.
    void deliverDeath() EXCLUDES(mLock);

    const std::shared_ptr<Connection> mConnection;
    const uint64_t mRemoteId;

private:
    Mutex mLock;
    bool mDeathDelivered GUARDED_BY(mLock) = false;
    std::vector<DeathLink> mLinks GUARDED_BY(mLock);
    bool mHaveDescriptor GUARDED_BY(mLock) = false;
    std::string mDescriptor GUARDED_BY(mLock);
};

// Serves a transaction addressed to `target` on the calling thread: a local object runs it, a
// proxy (an object this process relays) forwards it. `data` is read from position 0.
binder_status_t serveTransaction(AIBinder* target, transaction_code_t code, const AParcel& data,
                                 AParcel* reply, binder_flags_t flags);

}  // namespace hostbinder
