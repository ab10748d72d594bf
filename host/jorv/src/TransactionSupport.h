/*
 * What every proxy method and every served call of the interfaces in this library share: making a
 * transaction, writing a reply, and the transaction log. Private to the library.
 */
#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>
#include <android/binder_parcel.h>
#include <android/binder_parcel_utils.h>
#include <android/binder_status.h>
#include <android/binder_to_string.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace aidl {
namespace vendor {
namespace vemra {
namespace hardware {
namespace jorv {
namespace internal {

inline binder_status_t noArgs(AParcel* /*in*/) {
    return STATUS_OK;
}
inline binder_status_t noReplyData(const AParcel* /*out*/) {
    return STATUS_OK;
}

/*
 * Makes one call on `binder`. `writeArgs(AParcel*)` writes the arguments; `readReply(const
 * AParcel*)` reads the reply data once the reply's status is ok. When the remote side does not know
 * the call (it implements an older version) and a default implementation is set,
 * `callDefault(Interface&)` answers instead. Transport failures come back as EX_TRANSACTION_FAILED
 * statuses, as the caller sees them on a device.
 */
template <typename Interface, typename WriteArgs, typename ReadReply, typename CallDefault>
::ndk::ScopedAStatus transact(const ::ndk::SpAIBinder& binder, transaction_code_t code,
                              binder_flags_t flags, WriteArgs&& writeArgs, ReadReply&& readReply,
                              CallDefault&& callDefault) {
    ::ndk::ScopedAParcel in;
    binder_status_t ret = AIBinder_prepareTransaction(binder.get(), in.getR());
    if (ret != STATUS_OK) return ::ndk::ScopedAStatus::fromStatus(ret);
    ret = writeArgs(in.get());
    if (ret != STATUS_OK) return ::ndk::ScopedAStatus::fromStatus(ret);

    ::ndk::ScopedAParcel out;
    ret = AIBinder_transact(binder.get(), code, in.getR(), out.getR(), flags);
    if (ret == STATUS_UNKNOWN_TRANSACTION) {
        const std::shared_ptr<Interface>& defaultImpl = Interface::getDefaultImpl();
        if (defaultImpl != nullptr) return callDefault(*defaultImpl);
    }
    if (ret != STATUS_OK) return ::ndk::ScopedAStatus::fromStatus(ret);
    if ((flags & FLAG_ONEWAY) != 0) return ::ndk::ScopedAStatus::ok();

    ::ndk::ScopedAStatus status;
    ret = AParcel_readStatusHeader(out.get(), status.getR());
    if (ret != STATUS_OK) return ::ndk::ScopedAStatus::fromStatus(ret);
    if (!status.isOk()) return status;
    ret = readReply(static_cast<const AParcel*>(out.get()));
    if (ret != STATUS_OK) return ::ndk::ScopedAStatus::fromStatus(ret);
    return status;
}

/*
 * Where an interface keeps its default implementation. getDefaultImpl hands out a reference, so the
 * pointer may never change once readers can see it: only the first non-null implementation is
 * taken, and it is published with release ordering so that a reader that sees it set also sees the
 * object it points to.
 */
template <typename Interface>
class DefaultImplSlot {
public:
    bool set(const std::shared_ptr<Interface>& impl) {
        if (impl == nullptr) return false;
        std::lock_guard<std::mutex> lock(mMutex);
        if (mSet.load(std::memory_order_relaxed)) return false;
        mImpl = impl;
        mSet.store(true, std::memory_order_release);
        return true;
    }

    const std::shared_ptr<Interface>& get() const {
        return mSet.load(std::memory_order_acquire) ? mImpl : mNone;
    }

private:
    std::mutex mMutex;  // serialises set()
    std::atomic<bool> mSet{false};
    std::shared_ptr<Interface> mImpl;  // written once, before mSet
    const std::shared_ptr<Interface> mNone;
};

/*
 * Writes the reply of a served call: the status, then the out values when the status is ok. A
 * status carrying a transport failure is not written; that failure is returned to the runtime.
 */
template <typename... Values>
binder_status_t reply(AParcel* out, const ::ndk::ScopedAStatus& status, const Values&... values) {
    binder_status_t ret = AParcel_writeStatusHeader(out, status.get());
    if (ret != STATUS_OK || !status.isOk()) return ret;
    (void)(((ret = ::ndk::AParcel_writeData(out, values)) == STATUS_OK) && ...);
    return ret;
}

/*
 * The record of one call for a stub's or a proxy's logFunc. Nothing is timed, rendered or
 * allocated unless a logFunc was set when the call began.
 */
template <typename Log>
class CallLog {
public:
    explicit CallLog(const std::function<void(const Log&)>& logFunc) {
        if (logFunc) {
            mLogFunc = logFunc;
            mRecord.emplace();
            mStart = std::chrono::steady_clock::now();
        }
    }

    bool enabled() const { return mRecord.has_value(); }

    template <typename T>
    void input(const char* name, const T& value) {
        mRecord->input_args.emplace_back(name, ::android::internal::ToString(value));
    }
    template <typename T>
    void result(const T& value) {
        mRecord->result = ::android::internal::ToString(value);
    }

    void finish(const char* interfaceName, const char* methodName, const void* proxy,
                const void* stub, const ::ndk::ScopedAStatus& status) {
        Log& record = *mRecord;
        record.duration_ms =
                std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - mStart)
                        .count();
        record.interface_name = interfaceName;
        record.method_name = methodName;
        record.proxy_address = proxy;
        record.stub_address = stub;
        record.exception_code = status.getExceptionCode();
        record.exception_message = status.getMessage();
        record.transaction_error = status.getStatus();
        record.service_specific_error_code = status.getServiceSpecificError();
        mLogFunc(record);
    }

private:
    std::function<void(const Log&)> mLogFunc;
    std::optional<Log> mRecord;
    std::chrono::steady_clock::time_point mStart;
};

}  // namespace internal
}  // namespace jorv
}  // namespace hardware
}  // namespace vemra
}  // namespace vendor
}  // namespace aidl
