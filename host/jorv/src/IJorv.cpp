/*
 * Host build of the NDK binding of vendor.vemra.hardware.jorv.IJorv (version 1): class
 * registration, stub dispatch, proxy and default implementation.
 */
#include <aidl/vendor/vemra/hardware/jorv/BnJorv.h>
#include <aidl/vendor/vemra/hardware/jorv/BpJorv.h>
#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
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

const char* IJorv::descriptor = "vendor.vemra.hardware.jorv.IJorv";
const int32_t IJorv::version;

namespace {

binder_status_t onTransactJorv(AIBinder* binder, transaction_code_t code, const AParcel* in,
                               AParcel* out) {
    std::shared_ptr<BnJorv> impl =
            std::static_pointer_cast<BnJorv>(::ndk::ICInterface::asInterface(binder));
    if (impl == nullptr) return STATUS_UNEXPECTED_NULL;
    const void* const stub = impl.get();

    switch (code) {
        case IJorv::TRANSACTION_init: {
            internal::CallLog<BnJorv::TransactionLog> log(BnJorv::logFunc);
            ::ndk::ScopedAStatus status = impl->init();
            if (log.enabled()) {
                log.finish(IJorv::descriptor, "init", nullptr, stub, status);
            }
            return internal::reply(out, status);
        }
        case IJorv::TRANSACTION_request: {
            JorvRequestParcel in_parcel;
            binder_status_t ret = ::ndk::AParcel_readData(in, &in_parcel);
            if (ret != STATUS_OK) return ret;
            int32_t _aidl_return = 0;
            internal::CallLog<BnJorv::TransactionLog> log(BnJorv::logFunc);
            ::ndk::ScopedAStatus status = impl->request(in_parcel, &_aidl_return);
            if (log.enabled()) {
                log.input("in_parcel", in_parcel);
                if (status.isOk()) log.result(_aidl_return);
                log.finish(IJorv::descriptor, "request", nullptr, stub, status);
            }
            return internal::reply(out, status, _aidl_return);
        }
        case IJorv::TRANSACTION_release: {
            int32_t in_handle = 0;
            binder_status_t ret = ::ndk::AParcel_readData(in, &in_handle);
            if (ret != STATUS_OK) return ret;
            int32_t _aidl_return = 0;
            internal::CallLog<BnJorv::TransactionLog> log(BnJorv::logFunc);
            ::ndk::ScopedAStatus status = impl->release(in_handle, &_aidl_return);
            if (log.enabled()) {
                log.input("in_handle", in_handle);
                if (status.isOk()) log.result(_aidl_return);
                log.finish(IJorv::descriptor, "release", nullptr, stub, status);
            }
            return internal::reply(out, status, _aidl_return);
        }
        case IJorv::TRANSACTION_stateRequest: {
            JorvRequestParcel in_parcel;
            binder_status_t ret = ::ndk::AParcel_readData(in, &in_parcel);
            if (ret != STATUS_OK) return ret;
            std::vector<JorvRequestData> _aidl_return;
            internal::CallLog<BnJorv::TransactionLog> log(BnJorv::logFunc);
            ::ndk::ScopedAStatus status = impl->stateRequest(in_parcel, &_aidl_return);
            if (log.enabled()) {
                log.input("in_parcel", in_parcel);
                if (status.isOk()) log.result(_aidl_return);
                log.finish(IJorv::descriptor, "stateRequest", nullptr, stub, status);
            }
            return internal::reply(out, status, _aidl_return);
        }
        case IJorv::TRANSACTION_listeningRegister: {
            JorvRequestParcel in_parcel;
            std::shared_ptr<IJorvCallback> in_callback;
            binder_status_t ret = ::ndk::AParcel_readData(in, &in_parcel);
            if (ret != STATUS_OK) return ret;
            ret = ::ndk::AParcel_readData(in, &in_callback);
            if (ret != STATUS_OK) return ret;
            int32_t _aidl_return = 0;
            internal::CallLog<BnJorv::TransactionLog> log(BnJorv::logFunc);
            ::ndk::ScopedAStatus status =
                    impl->listeningRegister(in_parcel, in_callback, &_aidl_return);
            if (log.enabled()) {
                log.input("in_parcel", in_parcel);
                log.input("in_callback", in_callback);
                if (status.isOk()) log.result(_aidl_return);
                log.finish(IJorv::descriptor, "listeningRegister", nullptr, stub, status);
            }
            return internal::reply(out, status, _aidl_return);
        }
        case IJorv::TRANSACTION_listeningUnregister: {
            int32_t in_handle = 0;
            binder_status_t ret = ::ndk::AParcel_readData(in, &in_handle);
            if (ret != STATUS_OK) return ret;
            int32_t _aidl_return = 0;
            internal::CallLog<BnJorv::TransactionLog> log(BnJorv::logFunc);
            ::ndk::ScopedAStatus status = impl->listeningUnregister(in_handle, &_aidl_return);
            if (log.enabled()) {
                log.input("in_handle", in_handle);
                if (status.isOk()) log.result(_aidl_return);
                log.finish(IJorv::descriptor, "listeningUnregister", nullptr, stub, status);
            }
            return internal::reply(out, status, _aidl_return);
        }
        case IJorv::TRANSACTION_propertyGet: {
            std::string in_name;
            binder_status_t ret = ::ndk::AParcel_readData(in, &in_name);
            if (ret != STATUS_OK) return ret;
            std::string _aidl_return;
            internal::CallLog<BnJorv::TransactionLog> log(BnJorv::logFunc);
            ::ndk::ScopedAStatus status = impl->propertyGet(in_name, &_aidl_return);
            if (log.enabled()) {
                log.input("in_name", in_name);
                if (status.isOk()) log.result(_aidl_return);
                log.finish(IJorv::descriptor, "propertyGet", nullptr, stub, status);
            }
            return internal::reply(out, status, _aidl_return);
        }
        case IJorv::TRANSACTION_propertySet: {
            std::string in_name;
            std::string in_value;
            binder_status_t ret = ::ndk::AParcel_readData(in, &in_name);
            if (ret != STATUS_OK) return ret;
            ret = ::ndk::AParcel_readData(in, &in_value);
            if (ret != STATUS_OK) return ret;
            int32_t _aidl_return = 0;
            internal::CallLog<BnJorv::TransactionLog> log(BnJorv::logFunc);
            ::ndk::ScopedAStatus status = impl->propertySet(in_name, in_value, &_aidl_return);
            if (log.enabled()) {
                log.input("in_name", in_name);
                log.input("in_value", in_value);
                if (status.isOk()) log.result(_aidl_return);
                log.finish(IJorv::descriptor, "propertySet", nullptr, stub, status);
            }
            return internal::reply(out, status, _aidl_return);
        }
        case IJorv::TRANSACTION_thermalListeningRegister: {
            std::vector<int32_t> in_ids;
            std::shared_ptr<IJorvCallback> in_callback;
            binder_status_t ret = ::ndk::AParcel_readData(in, &in_ids);
            if (ret != STATUS_OK) return ret;
            ret = ::ndk::AParcel_readData(in, &in_callback);
            if (ret != STATUS_OK) return ret;
            int32_t _aidl_return = 0;
            internal::CallLog<BnJorv::TransactionLog> log(BnJorv::logFunc);
            ::ndk::ScopedAStatus status =
                    impl->thermalListeningRegister(in_ids, in_callback, &_aidl_return);
            if (log.enabled()) {
                log.input("in_ids", in_ids);
                log.input("in_callback", in_callback);
                if (status.isOk()) log.result(_aidl_return);
                log.finish(IJorv::descriptor, "thermalListeningRegister", nullptr, stub, status);
            }
            return internal::reply(out, status, _aidl_return);
        }
        case IJorv::TRANSACTION_thermalListeningUnregister: {
            int32_t in_handle = 0;
            binder_status_t ret = ::ndk::AParcel_readData(in, &in_handle);
            if (ret != STATUS_OK) return ret;
            int32_t _aidl_return = 0;
            internal::CallLog<BnJorv::TransactionLog> log(BnJorv::logFunc);
            ::ndk::ScopedAStatus status =
                    impl->thermalListeningUnregister(in_handle, &_aidl_return);
            if (log.enabled()) {
                log.input("in_handle", in_handle);
                if (status.isOk()) log.result(_aidl_return);
                log.finish(IJorv::descriptor, "thermalListeningUnregister", nullptr, stub, status);
            }
            return internal::reply(out, status, _aidl_return);
        }
        case IJorv::TRANSACTION_reserved10: {
            internal::CallLog<BnJorv::TransactionLog> log(BnJorv::logFunc);
            ::ndk::ScopedAStatus status = impl->reserved10();
            if (log.enabled()) {
                log.finish(IJorv::descriptor, "reserved10", nullptr, stub, status);
            }
            return internal::reply(out, status);
        }
        case IJorv::TRANSACTION_setRelatedSysInfo: {
            int32_t in_a = 0;
            std::string in_info;
            binder_status_t ret = ::ndk::AParcel_readData(in, &in_a);
            if (ret != STATUS_OK) return ret;
            ret = ::ndk::AParcel_readData(in, &in_info);
            if (ret != STATUS_OK) return ret;
            int32_t _aidl_return = 0;
            internal::CallLog<BnJorv::TransactionLog> log(BnJorv::logFunc);
            ::ndk::ScopedAStatus status = impl->setRelatedSysInfo(in_a, in_info, &_aidl_return);
            if (log.enabled()) {
                log.input("in_a", in_a);
                log.input("in_info", in_info);
                if (status.isOk()) log.result(_aidl_return);
                log.finish(IJorv::descriptor, "setRelatedSysInfo", nullptr, stub, status);
            }
            return internal::reply(out, status, _aidl_return);
        }
        case IJorv::TRANSACTION_ruleCtl: {
            int32_t in_ruleId = 0;
            int32_t in_status = 0;
            std::vector<JorvRequestData> in_data;
            binder_status_t ret = ::ndk::AParcel_readData(in, &in_ruleId);
            if (ret != STATUS_OK) return ret;
            ret = ::ndk::AParcel_readData(in, &in_status);
            if (ret != STATUS_OK) return ret;
            ret = ::ndk::AParcel_readData(in, &in_data);
            if (ret != STATUS_OK) return ret;
            int32_t _aidl_return = 0;
            internal::CallLog<BnJorv::TransactionLog> log(BnJorv::logFunc);
            ::ndk::ScopedAStatus status =
                    impl->ruleCtl(in_ruleId, in_status, in_data, &_aidl_return);
            if (log.enabled()) {
                log.input("in_ruleId", in_ruleId);
                log.input("in_status", in_status);
                log.input("in_data", in_data);
                if (status.isOk()) log.result(_aidl_return);
                log.finish(IJorv::descriptor, "ruleCtl", nullptr, stub, status);
            }
            return internal::reply(out, status, _aidl_return);
        }
        case IJorv::TRANSACTION_requestOneWay: {
            JorvRequestParcel in_parcel;
            binder_status_t ret = ::ndk::AParcel_readData(in, &in_parcel);
            if (ret != STATUS_OK) return ret;
            internal::CallLog<BnJorv::TransactionLog> log(BnJorv::logFunc);
            ::ndk::ScopedAStatus status = impl->requestOneWay(in_parcel);
            if (log.enabled()) {
                log.input("in_parcel", in_parcel);
                log.finish(IJorv::descriptor, "requestOneWay", nullptr, stub, status);
            }
            // A oneway call has no reply to write.
            return STATUS_OK;
        }
        case hostjorv::kGetInterfaceVersionTransaction: {
            int32_t _aidl_return = 0;
            internal::CallLog<BnJorv::TransactionLog> log(BnJorv::logFunc);
            ::ndk::ScopedAStatus status = impl->getInterfaceVersion(&_aidl_return);
            if (log.enabled()) {
                if (status.isOk()) log.result(_aidl_return);
                log.finish(IJorv::descriptor, "getInterfaceVersion", nullptr, stub, status);
            }
            return internal::reply(out, status, _aidl_return);
        }
        case hostjorv::kGetInterfaceHashTransaction: {
            std::string _aidl_return;
            internal::CallLog<BnJorv::TransactionLog> log(BnJorv::logFunc);
            ::ndk::ScopedAStatus status = impl->getInterfaceHash(&_aidl_return);
            if (log.enabled()) {
                if (status.isOk()) log.result(_aidl_return);
                log.finish(IJorv::descriptor, "getInterfaceHash", nullptr, stub, status);
            }
            return internal::reply(out, status, _aidl_return);
        }
        default:
            return STATUS_UNKNOWN_TRANSACTION;
    }
}

// Defined on first use rather than relying on static initialisation order: another library's
// static initialiser may already receive or wrap binders of this interface.
AIBinder_Class* jorvClass() {
    static AIBinder_Class* const clazz =
            ::ndk::ICInterface::defineClass(IJorv::descriptor, onTransactJorv);
    return clazz;
}

// Registered while the library loads, so that the class exists before any binder arrives.
[[maybe_unused]] AIBinder_Class* const gJorvClass = jorvClass();

internal::DefaultImplSlot<IJorv> gDefaultImpl;

}  // namespace

// ---- BpJorv ---------------------------------------------------------------------------------

std::function<void(const BpJorv::TransactionLog&)> BpJorv::logFunc;

BpJorv::BpJorv(const ::ndk::SpAIBinder& binder) : BpCInterface(binder) {}
BpJorv::~BpJorv() {}

::ndk::ScopedAStatus BpJorv::init() {
    internal::CallLog<TransactionLog> log(logFunc);
    ::ndk::ScopedAStatus status = internal::transact<IJorv>(
            asBinder(), TRANSACTION_init, 0, internal::noArgs, internal::noReplyData,
            [&](IJorv& impl) { return impl.init(); });
    if (log.enabled()) {
        log.finish(descriptor, "init", this, nullptr, status);
    }
    return status;
}

::ndk::ScopedAStatus BpJorv::request(const JorvRequestParcel& in_parcel, int32_t* _aidl_return) {
    internal::CallLog<TransactionLog> log(logFunc);
    ::ndk::ScopedAStatus status = internal::transact<IJorv>(
            asBinder(), TRANSACTION_request, 0,
            [&](AParcel* in) { return ::ndk::AParcel_writeData(in, in_parcel); },
            [&](const AParcel* out) { return ::ndk::AParcel_readData(out, _aidl_return); },
            [&](IJorv& impl) { return impl.request(in_parcel, _aidl_return); });
    if (log.enabled()) {
        log.input("in_parcel", in_parcel);
        if (status.isOk()) log.result(*_aidl_return);
        log.finish(descriptor, "request", this, nullptr, status);
    }
    return status;
}

::ndk::ScopedAStatus BpJorv::release(int32_t in_handle, int32_t* _aidl_return) {
    internal::CallLog<TransactionLog> log(logFunc);
    ::ndk::ScopedAStatus status = internal::transact<IJorv>(
            asBinder(), TRANSACTION_release, 0,
            [&](AParcel* in) { return ::ndk::AParcel_writeData(in, in_handle); },
            [&](const AParcel* out) { return ::ndk::AParcel_readData(out, _aidl_return); },
            [&](IJorv& impl) { return impl.release(in_handle, _aidl_return); });
    if (log.enabled()) {
        log.input("in_handle", in_handle);
        if (status.isOk()) log.result(*_aidl_return);
        log.finish(descriptor, "release", this, nullptr, status);
    }
    return status;
}

::ndk::ScopedAStatus BpJorv::stateRequest(const JorvRequestParcel& in_parcel,
                                          std::vector<JorvRequestData>* _aidl_return) {
    internal::CallLog<TransactionLog> log(logFunc);
    ::ndk::ScopedAStatus status = internal::transact<IJorv>(
            asBinder(), TRANSACTION_stateRequest, 0,
            [&](AParcel* in) { return ::ndk::AParcel_writeData(in, in_parcel); },
            [&](const AParcel* out) { return ::ndk::AParcel_readData(out, _aidl_return); },
            [&](IJorv& impl) { return impl.stateRequest(in_parcel, _aidl_return); });
    if (log.enabled()) {
        log.input("in_parcel", in_parcel);
        if (status.isOk()) log.result(*_aidl_return);
        log.finish(descriptor, "stateRequest", this, nullptr, status);
    }
    return status;
}

::ndk::ScopedAStatus BpJorv::listeningRegister(const JorvRequestParcel& in_parcel,
                                               const std::shared_ptr<IJorvCallback>& in_callback,
                                               int32_t* _aidl_return) {
    internal::CallLog<TransactionLog> log(logFunc);
    ::ndk::ScopedAStatus status = internal::transact<IJorv>(
            asBinder(), TRANSACTION_listeningRegister, 0,
            [&](AParcel* in) {
                binder_status_t ret = ::ndk::AParcel_writeData(in, in_parcel);
                if (ret != STATUS_OK) return ret;
                return ::ndk::AParcel_writeData(in, in_callback);
            },
            [&](const AParcel* out) { return ::ndk::AParcel_readData(out, _aidl_return); },
            [&](IJorv& impl) {
                return impl.listeningRegister(in_parcel, in_callback, _aidl_return);
            });
    if (log.enabled()) {
        log.input("in_parcel", in_parcel);
        log.input("in_callback", in_callback);
        if (status.isOk()) log.result(*_aidl_return);
        log.finish(descriptor, "listeningRegister", this, nullptr, status);
    }
    return status;
}

::ndk::ScopedAStatus BpJorv::listeningUnregister(int32_t in_handle, int32_t* _aidl_return) {
    internal::CallLog<TransactionLog> log(logFunc);
    ::ndk::ScopedAStatus status = internal::transact<IJorv>(
            asBinder(), TRANSACTION_listeningUnregister, 0,
            [&](AParcel* in) { return ::ndk::AParcel_writeData(in, in_handle); },
            [&](const AParcel* out) { return ::ndk::AParcel_readData(out, _aidl_return); },
            [&](IJorv& impl) { return impl.listeningUnregister(in_handle, _aidl_return); });
    if (log.enabled()) {
        log.input("in_handle", in_handle);
        if (status.isOk()) log.result(*_aidl_return);
        log.finish(descriptor, "listeningUnregister", this, nullptr, status);
    }
    return status;
}

::ndk::ScopedAStatus BpJorv::propertyGet(const std::string& in_name, std::string* _aidl_return) {
    internal::CallLog<TransactionLog> log(logFunc);
    ::ndk::ScopedAStatus status = internal::transact<IJorv>(
            asBinder(), TRANSACTION_propertyGet, 0,
            [&](AParcel* in) { return ::ndk::AParcel_writeData(in, in_name); },
            [&](const AParcel* out) { return ::ndk::AParcel_readData(out, _aidl_return); },
            [&](IJorv& impl) { return impl.propertyGet(in_name, _aidl_return); });
    if (log.enabled()) {
        log.input("in_name", in_name);
        if (status.isOk()) log.result(*_aidl_return);
        log.finish(descriptor, "propertyGet", this, nullptr, status);
    }
    return status;
}

::ndk::ScopedAStatus BpJorv::propertySet(const std::string& in_name, const std::string& in_value,
                                         int32_t* _aidl_return) {
    internal::CallLog<TransactionLog> log(logFunc);
    ::ndk::ScopedAStatus status = internal::transact<IJorv>(
            asBinder(), TRANSACTION_propertySet, 0,
            [&](AParcel* in) {
                binder_status_t ret = ::ndk::AParcel_writeData(in, in_name);
                if (ret != STATUS_OK) return ret;
                return ::ndk::AParcel_writeData(in, in_value);
            },
            [&](const AParcel* out) { return ::ndk::AParcel_readData(out, _aidl_return); },
            [&](IJorv& impl) { return impl.propertySet(in_name, in_value, _aidl_return); });
    if (log.enabled()) {
        log.input("in_name", in_name);
        log.input("in_value", in_value);
        if (status.isOk()) log.result(*_aidl_return);
        log.finish(descriptor, "propertySet", this, nullptr, status);
    }
    return status;
}

::ndk::ScopedAStatus BpJorv::thermalListeningRegister(
        const std::vector<int32_t>& in_ids, const std::shared_ptr<IJorvCallback>& in_callback,
        int32_t* _aidl_return) {
    internal::CallLog<TransactionLog> log(logFunc);
    ::ndk::ScopedAStatus status = internal::transact<IJorv>(
            asBinder(), TRANSACTION_thermalListeningRegister, 0,
            [&](AParcel* in) {
                binder_status_t ret = ::ndk::AParcel_writeData(in, in_ids);
                if (ret != STATUS_OK) return ret;
                return ::ndk::AParcel_writeData(in, in_callback);
            },
            [&](const AParcel* out) { return ::ndk::AParcel_readData(out, _aidl_return); },
            [&](IJorv& impl) {
                return impl.thermalListeningRegister(in_ids, in_callback, _aidl_return);
            });
    if (log.enabled()) {
        log.input("in_ids", in_ids);
        log.input("in_callback", in_callback);
        if (status.isOk()) log.result(*_aidl_return);
        log.finish(descriptor, "thermalListeningRegister", this, nullptr, status);
    }
    return status;
}

::ndk::ScopedAStatus BpJorv::thermalListeningUnregister(int32_t in_handle, int32_t* _aidl_return) {
    internal::CallLog<TransactionLog> log(logFunc);
    ::ndk::ScopedAStatus status = internal::transact<IJorv>(
            asBinder(), TRANSACTION_thermalListeningUnregister, 0,
            [&](AParcel* in) { return ::ndk::AParcel_writeData(in, in_handle); },
            [&](const AParcel* out) { return ::ndk::AParcel_readData(out, _aidl_return); },
            [&](IJorv& impl) { return impl.thermalListeningUnregister(in_handle, _aidl_return); });
    if (log.enabled()) {
        log.input("in_handle", in_handle);
        if (status.isOk()) log.result(*_aidl_return);
        log.finish(descriptor, "thermalListeningUnregister", this, nullptr, status);
    }
    return status;
}

::ndk::ScopedAStatus BpJorv::reserved10() {
    internal::CallLog<TransactionLog> log(logFunc);
    ::ndk::ScopedAStatus status = internal::transact<IJorv>(
            asBinder(), TRANSACTION_reserved10, 0, internal::noArgs, internal::noReplyData,
            [&](IJorv& impl) { return impl.reserved10(); });
    if (log.enabled()) {
        log.finish(descriptor, "reserved10", this, nullptr, status);
    }
    return status;
}

::ndk::ScopedAStatus BpJorv::setRelatedSysInfo(int32_t in_a, const std::string& in_info,
                                               int32_t* _aidl_return) {
    internal::CallLog<TransactionLog> log(logFunc);
    ::ndk::ScopedAStatus status = internal::transact<IJorv>(
            asBinder(), TRANSACTION_setRelatedSysInfo, 0,
            [&](AParcel* in) {
                binder_status_t ret = ::ndk::AParcel_writeData(in, in_a);
                if (ret != STATUS_OK) return ret;
                return ::ndk::AParcel_writeData(in, in_info);
            },
            [&](const AParcel* out) { return ::ndk::AParcel_readData(out, _aidl_return); },
            [&](IJorv& impl) { return impl.setRelatedSysInfo(in_a, in_info, _aidl_return); });
    if (log.enabled()) {
        log.input("in_a", in_a);
        log.input("in_info", in_info);
        if (status.isOk()) log.result(*_aidl_return);
        log.finish(descriptor, "setRelatedSysInfo", this, nullptr, status);
    }
    return status;
}

::ndk::ScopedAStatus BpJorv::ruleCtl(int32_t in_ruleId, int32_t in_status,
                                     const std::vector<JorvRequestData>& in_data,
                                     int32_t* _aidl_return) {
    internal::CallLog<TransactionLog> log(logFunc);
    ::ndk::ScopedAStatus status = internal::transact<IJorv>(
            asBinder(), TRANSACTION_ruleCtl, 0,
            [&](AParcel* in) {
                binder_status_t ret = ::ndk::AParcel_writeData(in, in_ruleId);
                if (ret != STATUS_OK) return ret;
                ret = ::ndk::AParcel_writeData(in, in_status);
                if (ret != STATUS_OK) return ret;
                return ::ndk::AParcel_writeData(in, in_data);
            },
            [&](const AParcel* out) { return ::ndk::AParcel_readData(out, _aidl_return); },
            [&](IJorv& impl) { return impl.ruleCtl(in_ruleId, in_status, in_data, _aidl_return); });
    if (log.enabled()) {
        log.input("in_ruleId", in_ruleId);
        log.input("in_status", in_status);
        log.input("in_data", in_data);
        if (status.isOk()) log.result(*_aidl_return);
        log.finish(descriptor, "ruleCtl", this, nullptr, status);
    }
    return status;
}

::ndk::ScopedAStatus BpJorv::requestOneWay(const JorvRequestParcel& in_parcel) {
    internal::CallLog<TransactionLog> log(logFunc);
    ::ndk::ScopedAStatus status = internal::transact<IJorv>(
            asBinder(), TRANSACTION_requestOneWay, FLAG_ONEWAY,
            [&](AParcel* in) { return ::ndk::AParcel_writeData(in, in_parcel); },
            internal::noReplyData, [&](IJorv& impl) { return impl.requestOneWay(in_parcel); });
    if (log.enabled()) {
        log.input("in_parcel", in_parcel);
        log.finish(descriptor, "requestOneWay", this, nullptr, status);
    }
    return status;
}

::ndk::ScopedAStatus BpJorv::getInterfaceVersion(int32_t* _aidl_return) {
    const int32_t cached = _aidl_cached_version.load(std::memory_order_relaxed);
    if (cached != -1) {
        *_aidl_return = cached;
        return ::ndk::ScopedAStatus::ok();
    }
    internal::CallLog<TransactionLog> log(logFunc);
    ::ndk::ScopedAStatus status = internal::transact<IJorv>(
            asBinder(), hostjorv::kGetInterfaceVersionTransaction, 0, internal::noArgs,
            [&](const AParcel* out) { return ::ndk::AParcel_readData(out, _aidl_return); },
            [&](IJorv& impl) { return impl.getInterfaceVersion(_aidl_return); });
    if (status.isOk()) _aidl_cached_version.store(*_aidl_return, std::memory_order_relaxed);
    if (log.enabled()) {
        if (status.isOk()) log.result(*_aidl_return);
        log.finish(descriptor, "getInterfaceVersion", this, nullptr, status);
    }
    return status;
}

::ndk::ScopedAStatus BpJorv::getInterfaceHash(std::string* _aidl_return) {
    {
        std::lock_guard<std::mutex> lock(_aidl_cached_hash_mutex);
        if (!_aidl_cached_hash.empty()) {
            *_aidl_return = _aidl_cached_hash;
            return ::ndk::ScopedAStatus::ok();
        }
    }
    internal::CallLog<TransactionLog> log(logFunc);
    ::ndk::ScopedAStatus status = internal::transact<IJorv>(
            asBinder(), hostjorv::kGetInterfaceHashTransaction, 0, internal::noArgs,
            [&](const AParcel* out) { return ::ndk::AParcel_readData(out, _aidl_return); },
            [&](IJorv& impl) { return impl.getInterfaceHash(_aidl_return); });
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

// ---- BnJorv ---------------------------------------------------------------------------------

std::function<void(const BnJorv::TransactionLog&)> BnJorv::logFunc;

BnJorv::BnJorv() {}
BnJorv::~BnJorv() {}

::ndk::SpAIBinder BnJorv::createBinder() {
    AIBinder* binder = AIBinder_new(jorvClass(), static_cast<::ndk::ICInterface*>(this));
    if (binder != nullptr) AIBinder_markVintfStability(binder);
    return ::ndk::SpAIBinder(binder);
}

::ndk::ScopedAStatus BnJorv::getInterfaceVersion(int32_t* _aidl_return) {
    *_aidl_return = IJorv::version;
    return ::ndk::ScopedAStatus::ok();
}

::ndk::ScopedAStatus BnJorv::getInterfaceHash(std::string* _aidl_return) {
    *_aidl_return = IJorv::hash;
    return ::ndk::ScopedAStatus::ok();
}

// ---- IJorv ----------------------------------------------------------------------------------

IJorv::IJorv() {}
IJorv::~IJorv() {}

std::shared_ptr<IJorv> IJorv::fromBinder(const ::ndk::SpAIBinder& binder) {
    if (binder.get() == nullptr) return nullptr;
    if (!AIBinder_associateClass(binder.get(), jorvClass())) return nullptr;
    std::shared_ptr<::ndk::ICInterface> local = ::ndk::ICInterface::asInterface(binder.get());
    if (local != nullptr) return std::static_pointer_cast<IJorv>(local);
    return ::ndk::SharedRefBase::make<BpJorv>(binder);
}

binder_status_t IJorv::writeToParcel(AParcel* parcel, const std::shared_ptr<IJorv>& instance) {
    return AParcel_writeStrongBinder(parcel,
                                     instance != nullptr ? instance->asBinder().get() : nullptr);
}

binder_status_t IJorv::readFromParcel(const AParcel* parcel, std::shared_ptr<IJorv>* instance) {
    ::ndk::SpAIBinder binder;
    binder_status_t status = AParcel_readStrongBinder(parcel, binder.getR());
    if (status != STATUS_OK) return status;
    *instance = IJorv::fromBinder(binder);
    return STATUS_OK;
}

bool IJorv::setDefaultImpl(const std::shared_ptr<IJorv>& impl) {
    return gDefaultImpl.set(impl);
}

const std::shared_ptr<IJorv>& IJorv::getDefaultImpl() {
    return gDefaultImpl.get();
}

// ---- IJorvDefault ---------------------------------------------------------------------------

::ndk::ScopedAStatus IJorvDefault::init() {
    return ::ndk::ScopedAStatus::fromStatus(STATUS_UNKNOWN_TRANSACTION);
}

::ndk::ScopedAStatus IJorvDefault::request(const JorvRequestParcel& /*in_parcel*/,
                                           int32_t* /*_aidl_return*/) {
    return ::ndk::ScopedAStatus::fromStatus(STATUS_UNKNOWN_TRANSACTION);
}

::ndk::ScopedAStatus IJorvDefault::release(int32_t /*in_handle*/, int32_t* /*_aidl_return*/) {
    return ::ndk::ScopedAStatus::fromStatus(STATUS_UNKNOWN_TRANSACTION);
}

::ndk::ScopedAStatus IJorvDefault::stateRequest(const JorvRequestParcel& /*in_parcel*/,
                                                std::vector<JorvRequestData>* /*_aidl_return*/) {
    return ::ndk::ScopedAStatus::fromStatus(STATUS_UNKNOWN_TRANSACTION);
}

::ndk::ScopedAStatus IJorvDefault::listeningRegister(
        const JorvRequestParcel& /*in_parcel*/,
        const std::shared_ptr<IJorvCallback>& /*in_callback*/, int32_t* /*_aidl_return*/) {
    return ::ndk::ScopedAStatus::fromStatus(STATUS_UNKNOWN_TRANSACTION);
}

::ndk::ScopedAStatus IJorvDefault::listeningUnregister(int32_t /*in_handle*/,
                                                       int32_t* /*_aidl_return*/) {
    return ::ndk::ScopedAStatus::fromStatus(STATUS_UNKNOWN_TRANSACTION);
}

::ndk::ScopedAStatus IJorvDefault::propertyGet(const std::string& /*in_name*/,
                                               std::string* /*_aidl_return*/) {
    return ::ndk::ScopedAStatus::fromStatus(STATUS_UNKNOWN_TRANSACTION);
}

::ndk::ScopedAStatus IJorvDefault::propertySet(const std::string& /*in_name*/,
                                               const std::string& /*in_value*/,
                                               int32_t* /*_aidl_return*/) {
    return ::ndk::ScopedAStatus::fromStatus(STATUS_UNKNOWN_TRANSACTION);
}

::ndk::ScopedAStatus IJorvDefault::thermalListeningRegister(
        const std::vector<int32_t>& /*in_ids*/,
        const std::shared_ptr<IJorvCallback>& /*in_callback*/, int32_t* /*_aidl_return*/) {
    return ::ndk::ScopedAStatus::fromStatus(STATUS_UNKNOWN_TRANSACTION);
}

::ndk::ScopedAStatus IJorvDefault::thermalListeningUnregister(int32_t /*in_handle*/,
                                                              int32_t* /*_aidl_return*/) {
    return ::ndk::ScopedAStatus::fromStatus(STATUS_UNKNOWN_TRANSACTION);
}

::ndk::ScopedAStatus IJorvDefault::reserved10() {
    return ::ndk::ScopedAStatus::fromStatus(STATUS_UNKNOWN_TRANSACTION);
}

::ndk::ScopedAStatus IJorvDefault::setRelatedSysInfo(int32_t /*in_a*/,
                                                     const std::string& /*in_info*/,
                                                     int32_t* /*_aidl_return*/) {
    return ::ndk::ScopedAStatus::fromStatus(STATUS_UNKNOWN_TRANSACTION);
}

::ndk::ScopedAStatus IJorvDefault::ruleCtl(int32_t /*in_ruleId*/, int32_t /*in_status*/,
                                           const std::vector<JorvRequestData>& /*in_data*/,
                                           int32_t* /*_aidl_return*/) {
    return ::ndk::ScopedAStatus::fromStatus(STATUS_UNKNOWN_TRANSACTION);
}

::ndk::ScopedAStatus IJorvDefault::requestOneWay(const JorvRequestParcel& /*in_parcel*/) {
    return ::ndk::ScopedAStatus::fromStatus(STATUS_UNKNOWN_TRANSACTION);
}

::ndk::ScopedAStatus IJorvDefault::getInterfaceVersion(int32_t* _aidl_return) {
    *_aidl_return = 0;
    return ::ndk::ScopedAStatus::ok();
}

::ndk::ScopedAStatus IJorvDefault::getInterfaceHash(std::string* _aidl_return) {
    *_aidl_return = "";
    return ::ndk::ScopedAStatus::ok();
}

::ndk::SpAIBinder IJorvDefault::asBinder() {
    return ::ndk::SpAIBinder();
}

bool IJorvDefault::isRemote() {
    return false;
}

}  // namespace jorv
}  // namespace hardware
}  // namespace vemra
}  // namespace vendor
}  // namespace aidl
