/*
 * Host build of the NDK binding of vendor.vemra.hardware.jorv.IJorvCallback (version 1): class
 * registration, stub dispatch, proxy and default implementation.
 */
#include <aidl/vendor/vemra/hardware/jorv/BnJorvCallback.h>
#include <aidl/vendor/vemra/hardware/jorv/BpJorvCallback.h>
#include <aidl/vendor/vemra/hardware/jorv/IJorvCallback.h>
#include <android/binder_stability.h>
#include <hostjorv/meta_transactions.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "TransactionSupport.h"

namespace aidl {
namespace vendor {
namespace vemra {
namespace hardware {
namespace jorv {

const char* IJorvCallback::descriptor = "vendor.vemra.hardware.jorv.IJorvCallback";
const int32_t IJorvCallback::version;

namespace {

binder_status_t onTransactJorvCallback(AIBinder* binder, transaction_code_t code, const AParcel* in,
                                       AParcel* out) {
    std::shared_ptr<BnJorvCallback> impl =
            std::static_pointer_cast<BnJorvCallback>(::ndk::ICInterface::asInterface(binder));
    if (impl == nullptr) return STATUS_UNEXPECTED_NULL;
    const void* const stub = impl.get();

    switch (code) {
        case IJorvCallback::TRANSACTION_onCallback: {
            std::vector<JorvRequestData> in_data;
            binder_status_t ret = ::ndk::AParcel_readData(in, &in_data);
            if (ret != STATUS_OK) return ret;
            internal::CallLog<BnJorvCallback::TransactionLog> log(BnJorvCallback::logFunc);
            ::ndk::ScopedAStatus status = impl->onCallback(in_data);
            if (log.enabled()) {
                log.input("in_data", in_data);
                log.finish(IJorvCallback::descriptor, "onCallback", nullptr, stub, status);
            }
            return internal::reply(out, status);
        }
        case hostjorv::kGetInterfaceVersionTransaction: {
            int32_t _aidl_return = 0;
            internal::CallLog<BnJorvCallback::TransactionLog> log(BnJorvCallback::logFunc);
            ::ndk::ScopedAStatus status = impl->getInterfaceVersion(&_aidl_return);
            if (log.enabled()) {
                if (status.isOk()) log.result(_aidl_return);
                log.finish(IJorvCallback::descriptor, "getInterfaceVersion", nullptr, stub, status);
            }
            return internal::reply(out, status, _aidl_return);
        }
        case hostjorv::kGetInterfaceHashTransaction: {
            std::string _aidl_return;
            internal::CallLog<BnJorvCallback::TransactionLog> log(BnJorvCallback::logFunc);
            ::ndk::ScopedAStatus status = impl->getInterfaceHash(&_aidl_return);
            if (log.enabled()) {
                if (status.isOk()) log.result(_aidl_return);
                log.finish(IJorvCallback::descriptor, "getInterfaceHash", nullptr, stub, status);
            }
            return internal::reply(out, status, _aidl_return);
        }
        default:
            return STATUS_UNKNOWN_TRANSACTION;
    }
}

// Defined on first use rather than relying on static initialisation order: another library's
// static initialiser may already receive or wrap binders of this interface.
AIBinder_Class* jorvCallbackClass() {
    static AIBinder_Class* const clazz =
            ::ndk::ICInterface::defineClass(IJorvCallback::descriptor, onTransactJorvCallback);
    return clazz;
}

// Registered while the library loads, so that the class exists before any binder arrives.
[[maybe_unused]] AIBinder_Class* const gJorvCallbackClass = jorvCallbackClass();

internal::DefaultImplSlot<IJorvCallback> gDefaultImpl;

}  // namespace

// ---- BpJorvCallback --------------------------------------------------------------------------

std::function<void(const BpJorvCallback::TransactionLog&)> BpJorvCallback::logFunc;

BpJorvCallback::BpJorvCallback(const ::ndk::SpAIBinder& binder) : BpCInterface(binder) {}
BpJorvCallback::~BpJorvCallback() {}

::ndk::ScopedAStatus BpJorvCallback::onCallback(const std::vector<JorvRequestData>& in_data) {
    internal::CallLog<TransactionLog> log(logFunc);
    ::ndk::ScopedAStatus status = internal::transact<IJorvCallback>(
            asBinder(), TRANSACTION_onCallback, 0,
            [&](AParcel* in) { return ::ndk::AParcel_writeData(in, in_data); },
            internal::noReplyData, [&](IJorvCallback& impl) { return impl.onCallback(in_data); });
    if (log.enabled()) {
        log.input("in_data", in_data);
        log.finish(descriptor, "onCallback", this, nullptr, status);
    }
    return status;
}

::ndk::ScopedAStatus BpJorvCallback::getInterfaceVersion(int32_t* _aidl_return) {
    const int32_t cached = _aidl_cached_version.load(std::memory_order_relaxed);
    if (cached != -1) {
        *_aidl_return = cached;
        return ::ndk::ScopedAStatus::ok();
    }
    internal::CallLog<TransactionLog> log(logFunc);
    ::ndk::ScopedAStatus status = internal::transact<IJorvCallback>(
            asBinder(), hostjorv::kGetInterfaceVersionTransaction, 0, internal::noArgs,
            [&](const AParcel* out) { return ::ndk::AParcel_readData(out, _aidl_return); },
            [&](IJorvCallback& impl) { return impl.getInterfaceVersion(_aidl_return); });
    if (status.isOk()) _aidl_cached_version.store(*_aidl_return, std::memory_order_relaxed);
    if (log.enabled()) {
        if (status.isOk()) log.result(*_aidl_return);
        log.finish(descriptor, "getInterfaceVersion", this, nullptr, status);
    }
    return status;
}

::ndk::ScopedAStatus BpJorvCallback::getInterfaceHash(std::string* _aidl_return) {
    {
        std::lock_guard<std::mutex> lock(_aidl_cached_hash_mutex);
        if (!_aidl_cached_hash.empty()) {
            *_aidl_return = _aidl_cached_hash;
            return ::ndk::ScopedAStatus::ok();
        }
    }
    internal::CallLog<TransactionLog> log(logFunc);
    ::ndk::ScopedAStatus status = internal::transact<IJorvCallback>(
            asBinder(), hostjorv::kGetInterfaceHashTransaction, 0, internal::noArgs,
            [&](const AParcel* out) { return ::ndk::AParcel_readData(out, _aidl_return); },
            [&](IJorvCallback& impl) { return impl.getInterfaceHash(_aidl_return); });
    if (status.isOk()) {
        std::lock_guard<std::mutex> lock(_aidl_cached_hash_mutex);
        _aidl_cached_hash = *_aidl_return;
    }
    if (log.enabled()) {
        if (status.isOk()) log.result(*_aidl_return);
        log.finish(descriptor, "getInterfaceHash", this, nullptr, status);
    }
    return status;
}

// ---- BnJorvCallback --------------------------------------------------------------------------

std::function<void(const BnJorvCallback::TransactionLog&)> BnJorvCallback::logFunc;

BnJorvCallback::BnJorvCallback() {}
BnJorvCallback::~BnJorvCallback() {}

::ndk::SpAIBinder BnJorvCallback::createBinder() {
    AIBinder* binder = AIBinder_new(jorvCallbackClass(), static_cast<::ndk::ICInterface*>(this));
    if (binder != nullptr) AIBinder_markVintfStability(binder);
    return ::ndk::SpAIBinder(binder);
}

::ndk::ScopedAStatus BnJorvCallback::getInterfaceVersion(int32_t* _aidl_return) {
    *_aidl_return = IJorvCallback::version;
    return ::ndk::ScopedAStatus::ok();
}

::ndk::ScopedAStatus BnJorvCallback::getInterfaceHash(std::string* _aidl_return) {
    *_aidl_return = IJorvCallback::hash;
    return ::ndk::ScopedAStatus::ok();
}

// ---- IJorvCallback ---------------------------------------------------------------------------

IJorvCallback::IJorvCallback() {}
IJorvCallback::~IJorvCallback() {}

std::shared_ptr<IJorvCallback> IJorvCallback::fromBinder(const ::ndk::SpAIBinder& binder) {
    if (binder.get() == nullptr) return nullptr;
    if (!AIBinder_associateClass(binder.get(), jorvCallbackClass())) return nullptr;
    std::shared_ptr<::ndk::ICInterface> local = ::ndk::ICInterface::asInterface(binder.get());
    if (local != nullptr) return std::static_pointer_cast<IJorvCallback>(local);
    return ::ndk::SharedRefBase::make<BpJorvCallback>(binder);
}

binder_status_t IJorvCallback::writeToParcel(AParcel* parcel,
                                             const std::shared_ptr<IJorvCallback>& instance) {
    return AParcel_writeStrongBinder(parcel,
                                     instance != nullptr ? instance->asBinder().get() : nullptr);
}

binder_status_t IJorvCallback::readFromParcel(const AParcel* parcel,
                                              std::shared_ptr<IJorvCallback>* instance) {
    ::ndk::SpAIBinder binder;
    binder_status_t status = AParcel_readStrongBinder(parcel, binder.getR());
    if (status != STATUS_OK) return status;
    *instance = IJorvCallback::fromBinder(binder);
    return STATUS_OK;
}

bool IJorvCallback::setDefaultImpl(const std::shared_ptr<IJorvCallback>& impl) {
    return gDefaultImpl.set(impl);
}

const std::shared_ptr<IJorvCallback>& IJorvCallback::getDefaultImpl() {
    return gDefaultImpl.get();
}

// ---- IJorvCallbackDefault --------------------------------------------------------------------

::ndk::ScopedAStatus IJorvCallbackDefault::onCallback(
        const std::vector<JorvRequestData>& /*in_data*/) {
    return ::ndk::ScopedAStatus::fromStatus(STATUS_UNKNOWN_TRANSACTION);
}

::ndk::ScopedAStatus IJorvCallbackDefault::getInterfaceVersion(int32_t* _aidl_return) {
    *_aidl_return = 0;
    return ::ndk::ScopedAStatus::ok();
}

::ndk::ScopedAStatus IJorvCallbackDefault::getInterfaceHash(std::string* _aidl_return) {
    *_aidl_return = "";
    return ::ndk::ScopedAStatus::ok();
}

::ndk::SpAIBinder IJorvCallbackDefault::asBinder() {
    return ::ndk::SpAIBinder();
}

bool IJorvCallbackDefault::isRemote() {
    return false;
}

}  // namespace jorv
}  // namespace hardware
}  // namespace vemra
}  // namespace vendor
}  // namespace aidl
