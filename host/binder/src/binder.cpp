// AIBinder: reference counting, classes, local objects, and the AIBinder_* C API.
#include <android/binder_ibinder.h>
#include <errno.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "binder_internal.h"
#include "calling_identity.h"
#include "death_recipient.h"
#include "parcel_internal.h"
#include "thread_pool.h"

namespace hostbinder {

// --- RefControl ---------------------------------------------------------------------------------

void RefControl::decStrong() {
    if (mStrong.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete mObject;
        decWeak();
    }
}

bool RefControl::tryIncStrong() {
    int32_t count = mStrong.load(std::memory_order_relaxed);
    while (count > 0) {
        if (mStrong.compare_exchange_weak(count, count + 1, std::memory_order_acquire,
                                          std::memory_order_relaxed)) {
            return true;
        }
    }
    return false;
}

void RefControl::decWeak() {
    if (mWeak.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

namespace {

// Dump output a peer sends back is bounded like any frame.
constexpr size_t kMaxDumpSize = 8 * 1024 * 1024;

binder_status_t writeAll(int fd, const uint8_t* data, size_t size) {
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR) continue;
            return -errno;
        }
        data += n;
        size -= static_cast<size_t>(n);
    }
    return STATUS_OK;
}

bool stringAllocator(void* data, int32_t length, char** buffer) {
    auto* out = static_cast<std::string*>(data);
    if (length <= 0) return length == -1;
    out->resize(static_cast<size_t>(length - 1));
    *buffer = out->data();
    return true;
}

bool byteVectorAllocator(void* data, int32_t length, int8_t** buffer) {
    auto* out = static_cast<std::vector<int8_t>*>(data);
    if (length < 0) return true;
    out->resize(static_cast<size_t>(length));
    *buffer = out->data();
    return true;
}

bool stringVectorAllocator(void* data, int32_t length) {
    auto* out = static_cast<std::vector<std::string>*>(data);
    out->assign(length < 0 ? 0 : static_cast<size_t>(length), std::string());
    return true;
}

bool stringVectorElementAllocator(void* data, size_t index, int32_t length, char** buffer) {
    auto* out = static_cast<std::vector<std::string>*>(data);
    return stringAllocator(&(*out)[index], length, buffer);
}

// Runs onDump into an in-memory file and replies with what it wrote, so that a peer's dump
// reaches the caller's descriptor without passing descriptors over the transport.
binder_status_t serveDump(LocalBinder* binder, const AParcel& data, AParcel* reply) {
    std::vector<std::string> args;
    binder_status_t st = AParcel_readStringArray(&data, &args, stringVectorAllocator,
                                                 stringVectorElementAllocator);
    if (st != STATUS_OK) return st;
    std::vector<const char*> argv;
    for (const auto& arg : args) argv.push_back(arg.c_str());

    const AIBinder_Class* clazz = binder->mClass.load(std::memory_order_acquire);
    const AIBinder_onDump onDump = clazz->mOnDump.load(std::memory_order_acquire);
    std::vector<int8_t> output;
    if (onDump != nullptr) {
        const int fd = memfd_create("hostbinder-dump", MFD_CLOEXEC);
        if (fd < 0) return -errno;
        st = onDump(binder, fd, argv.data(), static_cast<uint32_t>(argv.size()));
        const off_t size = lseek(fd, 0, SEEK_END);
        if (st == STATUS_OK && size > 0) {
            output.resize(std::min(static_cast<size_t>(size), kMaxDumpSize));
            const ssize_t n = pread(fd, output.data(), output.size(), 0);
            output.resize(n > 0 ? static_cast<size_t>(n) : 0);
        }
        ::close(fd);
        if (st != STATUS_OK) return st;
    }
    return AParcel_writeByteArray(reply, output.data(), static_cast<int32_t>(output.size()));
}

}  // namespace

// --- LocalBinder --------------------------------------------------------------------------------

LocalBinder::LocalBinder(const AIBinder_Class* clazz, void* userData)
    : AIBinder(clazz), mUserData(userData) {}

LocalBinder::~LocalBinder() {
    const AIBinder_Class* clazz = mClass.load(std::memory_order_acquire);
    if (clazz->mOnDestroy != nullptr) clazz->mOnDestroy(mUserData);
}

binder_status_t LocalBinder::onTransact(transaction_code_t code, const AParcel& data,
                                        AParcel* reply) {
    const AIBinder_Class* clazz = mClass.load(std::memory_order_acquire);
    data.mPos = 0;
    switch (code) {
        case kPingTransaction:
            return STATUS_OK;
        case kInterfaceTransaction:
            return writeInterfaceToken(reply, clazz->mDescriptor.c_str());
        case kDumpTransaction:
            return serveDump(this, data, reply);
        default:
            break;
    }
    if (code < FIRST_CALL_TRANSACTION || code > LAST_CALL_TRANSACTION) {
        return STATUS_UNKNOWN_TRANSACTION;
    }
    // The token names the interface the caller believes it talks to.
    if (enforceInterfaceToken(&data, clazz->mDescriptor.c_str()) != STATUS_OK) {
        return STATUS_BAD_TYPE;
    }
    if (clazz->mOnTransact == nullptr) return STATUS_UNKNOWN_TRANSACTION;
    return clazz->mOnTransact(this, code, &data, reply);
}

binder_status_t LocalBinder::transact(transaction_code_t code, const AParcel& data, AParcel** reply,
                                      binder_flags_t flags) {
    // A local object is called directly, on the caller's thread, as binder does.
    auto* out = new (std::nothrow) AParcel;
    if (out == nullptr) return STATUS_NO_MEMORY;
    const binder_status_t st = onTransact(code, data, out);
    if (st != STATUS_OK || (flags & FLAG_ONEWAY) != 0) {
        delete out;
        *reply = nullptr;
        return st;
    }
    out->mPos = 0;
    *reply = out;
    return STATUS_OK;
}

binder_status_t serveTransaction(AIBinder* target, transaction_code_t code, const AParcel& data,
                                 AParcel* reply, binder_flags_t flags) {
    if (!target->isRemote()) {
        return static_cast<LocalBinder*>(target)->onTransact(code, data, reply);
    }
    // Relayed object: pass the transaction on to where the object lives.
    AParcel* forwarded = nullptr;
    const binder_status_t st = target->transact(code, data, &forwarded, flags);
    if (forwarded != nullptr) {
        reply->mData.swap(forwarded->mData);
        reply->mObjects.swap(forwarded->mObjects);
        delete forwarded;
    }
    return st;
}

}  // namespace hostbinder

// --- AIBinder base ------------------------------------------------------------------------------

class AIBinder::OnewayDrain final : public hostbinder::Task {
public:
    explicit OnewayDrain(AIBinder* binder) : mBinder(binder) {}
    ~OnewayDrain() override { mBinder->mRefs->decStrong(); }
    void run() override { mBinder->drainOneway(); }

private:
    AIBinder* const mBinder;  // one strong reference: the queue lives in the object
};

AIBinder::AIBinder(const AIBinder_Class* clazz)
    : mRefs(new hostbinder::RefControl(this)), mClass(clazz) {}

AIBinder::~AIBinder() = default;

void AIBinder::enqueueOneway(std::unique_ptr<hostbinder::Task> task) {
    {
        hostbinder::MutexLock lock(mOnewayLock);
        if (mOnewayQueue == nullptr) {
            mOnewayQueue = std::make_unique<std::deque<std::unique_ptr<hostbinder::Task>>>();
        }
        mOnewayQueue->push_back(std::move(task));
        if (mOnewayRunning) return;
        mOnewayRunning = true;
    }
    mRefs->incStrong();
    hostbinder::ThreadPool::instance().submit(std::make_unique<OnewayDrain>(this));
}

void AIBinder::drainOneway() {
    for (;;) {
        std::unique_ptr<hostbinder::Task> next;
        {
            hostbinder::MutexLock lock(mOnewayLock);
            if (mOnewayQueue->empty()) {
                mOnewayRunning = false;
                return;
            }
            next = std::move(mOnewayQueue->front());
            mOnewayQueue->pop_front();
        }
        next->run();
    }
}

// --- C API --------------------------------------------------------------------------------------

using hostbinder::byteVectorAllocator;
using hostbinder::LocalBinder;
using hostbinder::ProxyBinder;
using hostbinder::writeAll;

AIBinder_Class* AIBinder_Class_define(const char* interfaceDescriptor,
                                      AIBinder_Class_onCreate onCreate,
                                      AIBinder_Class_onDestroy onDestroy,
                                      AIBinder_Class_onTransact onTransact) {
    if (interfaceDescriptor == nullptr) return nullptr;
    // Plain heap object, never freed: classes are defined from static initialisers and used
    // until exit, so nothing here may depend on other statics.
    auto* clazz = new AIBinder_Class;
    clazz->mDescriptor = interfaceDescriptor;
    clazz->mOnCreate = onCreate;
    clazz->mOnDestroy = onDestroy;
    clazz->mOnTransact = onTransact;
    return clazz;
}

void AIBinder_Class_setOnDump(AIBinder_Class* clazz, AIBinder_onDump onDump) {
    if (clazz != nullptr) clazz->mOnDump.store(onDump, std::memory_order_release);
}

const char* AIBinder_Class_getDescriptor(const AIBinder_Class* clazz) {
    return clazz == nullptr ? nullptr : clazz->mDescriptor.c_str();
}

AIBinder* AIBinder_new(const AIBinder_Class* clazz, void* args) {
    if (clazz == nullptr) return nullptr;
    void* userData = clazz->mOnCreate != nullptr ? clazz->mOnCreate(args) : args;
    return new LocalBinder(clazz, userData);
}

bool AIBinder_isRemote(const AIBinder* binder) {
    return binder != nullptr && binder->isRemote();
}

bool AIBinder_isAlive(const AIBinder* binder) {
    return binder != nullptr && binder->isAlive();
}

binder_status_t AIBinder_ping(AIBinder* binder) {
    if (binder == nullptr) return STATUS_UNEXPECTED_NULL;
    if (!binder->isRemote()) return STATUS_OK;
    AParcel data;
    AParcel* reply = nullptr;
    const binder_status_t st = binder->transact(hostbinder::kPingTransaction, data, &reply, 0);
    delete reply;
    return st;
}

binder_status_t AIBinder_dump(AIBinder* binder, int fd, const char** args, uint32_t numArgs) {
    if (binder == nullptr) return STATUS_UNEXPECTED_NULL;
    if (numArgs > 0 && args == nullptr) return STATUS_UNEXPECTED_NULL;
    if (!binder->isRemote()) {
        const AIBinder_Class* clazz = binder->mClass.load(std::memory_order_acquire);
        const AIBinder_onDump onDump = clazz->mOnDump.load(std::memory_order_acquire);
        return onDump == nullptr ? STATUS_OK : onDump(binder, fd, args, numArgs);
    }
    AParcel data;
    binder_status_t st = AParcel_writeStringArray(
            &data, args, static_cast<int32_t>(numArgs),
            [](const void* array, size_t index, int32_t* length) -> const char* {
                const char* arg = static_cast<const char* const*>(array)[index];
                *length = arg == nullptr ? -1 : static_cast<int32_t>(strlen(arg));
                return arg;
            });
    if (st != STATUS_OK) return st;
    AParcel* reply = nullptr;
    st = binder->transact(hostbinder::kDumpTransaction, data, &reply, 0);
    if (st != STATUS_OK) return st;
    std::unique_ptr<AParcel> owned(reply);
    std::vector<int8_t> output;
    st = AParcel_readByteArray(reply, &output, byteVectorAllocator);
    if (st != STATUS_OK) return st;
    return writeAll(fd, reinterpret_cast<const uint8_t*>(output.data()), output.size());
}

binder_status_t AIBinder_linkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                     void* cookie) {
    if (binder == nullptr || recipient == nullptr) return STATUS_UNEXPECTED_NULL;
    if (!binder->isRemote()) return STATUS_INVALID_OPERATION;
    return static_cast<ProxyBinder*>(binder)->linkToDeath(recipient->mState, cookie);
}

binder_status_t AIBinder_unlinkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                       void* cookie) {
    if (binder == nullptr || recipient == nullptr) return STATUS_UNEXPECTED_NULL;
    if (!binder->isRemote()) return STATUS_INVALID_OPERATION;
    return static_cast<ProxyBinder*>(binder)->unlinkToDeath(recipient->mState, cookie);
}

uid_t AIBinder_getCallingUid(void) {
    return hostbinder::callingIdentity().uid;
}

pid_t AIBinder_getCallingPid(void) {
    return hostbinder::callingIdentity().pid;
}

void AIBinder_incStrong(AIBinder* binder) {
    if (binder != nullptr) binder->mRefs->incStrong();
}

void AIBinder_decStrong(AIBinder* binder) {
    if (binder != nullptr) binder->mRefs->decStrong();
}

int32_t AIBinder_debugGetRefCount(AIBinder* binder) {
    return binder == nullptr ? -1 : binder->mRefs->strongCount();
}

bool AIBinder_associateClass(AIBinder* binder, const AIBinder_Class* clazz) {
    if (binder == nullptr || clazz == nullptr) return false;
    const AIBinder_Class* current = binder->mClass.load(std::memory_order_acquire);
    // Two classes with one descriptor (e.g. defined in two libraries) describe one interface.
    if (current != nullptr) return current == clazz || current->mDescriptor == clazz->mDescriptor;
    if (!binder->isRemote()) return false;  // a local object always has its class

    std::string descriptor;
    if (static_cast<ProxyBinder*>(binder)->remoteDescriptor(&descriptor) != STATUS_OK ||
        descriptor != clazz->mDescriptor) {
        return false;
    }
    if (binder->mClass.compare_exchange_strong(current, clazz, std::memory_order_acq_rel)) {
        return true;
    }
    // Another thread associated a class first; `current` now holds it.
    return current == clazz || current->mDescriptor == clazz->mDescriptor;
}

const AIBinder_Class* AIBinder_getClass(AIBinder* binder) {
    return binder == nullptr ? nullptr : binder->mClass.load(std::memory_order_acquire);
}

void* AIBinder_getUserData(AIBinder* binder) {
    if (binder == nullptr || binder->isRemote()) return nullptr;
    return static_cast<LocalBinder*>(binder)->mUserData;
}

binder_status_t AIBinder_prepareTransaction(AIBinder* binder, AParcel** in) {
    if (binder == nullptr || in == nullptr) return STATUS_UNEXPECTED_NULL;
    const AIBinder_Class* clazz = binder->mClass.load(std::memory_order_acquire);
    if (clazz == nullptr) return STATUS_INVALID_OPERATION;
    auto* parcel = new (std::nothrow) AParcel;
    if (parcel == nullptr) return STATUS_NO_MEMORY;
    const binder_status_t st = hostbinder::writeInterfaceToken(parcel, clazz->mDescriptor.c_str());
    if (st != STATUS_OK) {
        delete parcel;
        return st;
    }
    *in = parcel;
    return STATUS_OK;
}

binder_status_t AIBinder_transact(AIBinder* binder, transaction_code_t code, AParcel** in,
                                  AParcel** out, binder_flags_t flags) {
    if (in == nullptr) return STATUS_UNEXPECTED_NULL;
    // The input is consumed whatever happens.
    std::unique_ptr<AParcel> data(*in);
    *in = nullptr;
    if (binder == nullptr || data == nullptr || out == nullptr) return STATUS_UNEXPECTED_NULL;
    if ((flags & ~static_cast<binder_flags_t>(FLAG_ONEWAY)) != 0) return STATUS_BAD_VALUE;

    AParcel* reply = nullptr;
    const binder_status_t st = binder->transact(code, *data, &reply, flags);
    if (st != STATUS_OK) {
        delete reply;
        *out = nullptr;
        return st;
    }
    // A oneway call has no reply; callers still get a (empty) parcel, as on Android.
    if (reply == nullptr) reply = new AParcel;
    *out = reply;
    return STATUS_OK;
}

// --- Weak references ----------------------------------------------------------------------------

struct AIBinder_Weak {
    hostbinder::RefControl* mRefs;  // one weak reference
};

AIBinder_Weak* AIBinder_Weak_new(AIBinder* binder) {
    if (binder == nullptr) return nullptr;
    binder->mRefs->incWeak();
    return new AIBinder_Weak{binder->mRefs};
}

void AIBinder_Weak_delete(AIBinder_Weak* weakBinder) {
    if (weakBinder == nullptr) return;
    weakBinder->mRefs->decWeak();
    delete weakBinder;
}

AIBinder* AIBinder_Weak_promote(AIBinder_Weak* weakBinder) {
    if (weakBinder == nullptr || !weakBinder->mRefs->tryIncStrong()) return nullptr;
    return weakBinder->mRefs->object();
}
