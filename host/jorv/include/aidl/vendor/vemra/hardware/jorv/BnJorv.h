/*
 * Host build of the NDK stub of vendor.vemra.hardware.jorv.IJorv (version 1).
 * Same declarations as the library the device build generates from the frozen interface.
 */
#pragma once

#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android/binder_interface_utils.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace aidl {
namespace vendor {
namespace vemra {
namespace hardware {
namespace jorv {

class BnJorv : public ::ndk::BnCInterface<IJorv> {
public:
    BnJorv();
    virtual ~BnJorv();

    ::ndk::ScopedAStatus getInterfaceVersion(int32_t* _aidl_return) final;
    ::ndk::ScopedAStatus getInterfaceHash(std::string* _aidl_return) final;

    // One served call, given to logFunc after the implementation returned.
    struct TransactionLog {
        double duration_ms;
        std::string interface_name;
        std::string method_name;
        const void* proxy_address;
        const void* stub_address;
        std::vector<std::pair<std::string, std::string>> input_args;
        std::vector<std::pair<std::string, std::string>> output_args;
        std::string result;
        std::string exception_message;
        int32_t exception_code;
        int32_t transaction_error;
        int32_t service_specific_error_code;
    };
    static std::function<void(const TransactionLog&)> logFunc;

protected:
    ::ndk::SpAIBinder createBinder() override;
};

// A BnJorv that hands every call of the interface to another IJorv, e.g. to publish an
// implementation under a binder of its own. The version and hash are answered by BnJorv
// itself, so the implementation must be of this version: the constructor aborts otherwise.
class IJorvDelegator : public BnJorv {
public:
    explicit IJorvDelegator(const std::shared_ptr<IJorv>& impl) : _impl(impl) {
        int32_t implVersion = 0;
        if (!impl->getInterfaceVersion(&implVersion).isOk() || implVersion != IJorv::version) {
            std::fprintf(stderr, "IJorvDelegator: the implementation is not version %d\n",
                         static_cast<int>(IJorv::version));
            std::abort();
        }
    }

    ::ndk::ScopedAStatus init() override { return _impl->init(); }
    ::ndk::ScopedAStatus request(
            const ::aidl::vendor::vemra::hardware::jorv::JorvRequestParcel& in_parcel,
            int32_t* _aidl_return) override {
        return _impl->request(in_parcel, _aidl_return);
    }
    ::ndk::ScopedAStatus release(int32_t in_handle, int32_t* _aidl_return) override {
        return _impl->release(in_handle, _aidl_return);
    }
    ::ndk::ScopedAStatus stateRequest(
            const ::aidl::vendor::vemra::hardware::jorv::JorvRequestParcel& in_parcel,
            std::vector<::aidl::vendor::vemra::hardware::jorv::JorvRequestData>* _aidl_return)
            override {
        return _impl->stateRequest(in_parcel, _aidl_return);
    }
    ::ndk::ScopedAStatus listeningRegister(
            const ::aidl::vendor::vemra::hardware::jorv::JorvRequestParcel& in_parcel,
            const std::shared_ptr<::aidl::vendor::vemra::hardware::jorv::IJorvCallback>&
                    in_callback,
            int32_t* _aidl_return) override {
        return _impl->listeningRegister(in_parcel, in_callback, _aidl_return);
    }
    ::ndk::ScopedAStatus listeningUnregister(int32_t in_handle, int32_t* _aidl_return) override {
        return _impl->listeningUnregister(in_handle, _aidl_return);
    }
    ::ndk::ScopedAStatus propertyGet(const std::string& in_name,
                                     std::string* _aidl_return) override {
        return _impl->propertyGet(in_name, _aidl_return);
    }
    ::ndk::ScopedAStatus propertySet(const std::string& in_name, const std::string& in_value,
                                     int32_t* _aidl_return) override {
        return _impl->propertySet(in_name, in_value, _aidl_return);
    }
    ::ndk::ScopedAStatus thermalListeningRegister(
            const std::vector<int32_t>& in_ids,
            const std::shared_ptr<::aidl::vendor::vemra::hardware::jorv::IJorvCallback>&
                    in_callback,
            int32_t* _aidl_return) override {
        return _impl->thermalListeningRegister(in_ids, in_callback, _aidl_return);
    }
    ::ndk::ScopedAStatus thermalListeningUnregister(int32_t in_handle,
                                                    int32_t* _aidl_return) override {
        return _impl->thermalListeningUnregister(in_handle, _aidl_return);
    }
    ::ndk::ScopedAStatus reserved10() override { return _impl->reserved10(); }
    ::ndk::ScopedAStatus setRelatedSysInfo(int32_t in_a, const std::string& in_info,
                                           int32_t* _aidl_return) override {
        return _impl->setRelatedSysInfo(in_a, in_info, _aidl_return);
    }
    ::ndk::ScopedAStatus ruleCtl(
            int32_t in_ruleId, int32_t in_status,
            const std::vector<::aidl::vendor::vemra::hardware::jorv::JorvRequestData>& in_data,
            int32_t* _aidl_return) override {
        return _impl->ruleCtl(in_ruleId, in_status, in_data, _aidl_return);
    }
    ::ndk::ScopedAStatus requestOneWay(
            const ::aidl::vendor::vemra::hardware::jorv::JorvRequestParcel& in_parcel) override {
        return _impl->requestOneWay(in_parcel);
    }

private:
    std::shared_ptr<IJorv> _impl;
};

}  // namespace jorv
}  // namespace hardware
}  // namespace vemra
}  // namespace vendor
}  // namespace aidl
