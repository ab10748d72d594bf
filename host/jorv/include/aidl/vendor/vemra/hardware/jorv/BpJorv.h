/*
 * Host build of the NDK proxy of vendor.vemra.hardware.jorv.IJorv (version 1).
 * Same declarations as the library the device build generates from the frozen interface.
 */
#pragma once

#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android/binder_interface_utils.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace aidl {
namespace vendor {
namespace vemra {
namespace hardware {
namespace jorv {

class BpJorv : public ::ndk::BpCInterface<IJorv> {
public:
    explicit BpJorv(const ::ndk::SpAIBinder& binder);
    virtual ~BpJorv();

    ::ndk::ScopedAStatus init() override;
    ::ndk::ScopedAStatus request(
            const ::aidl::vendor::vemra::hardware::jorv::JorvRequestParcel& in_parcel,
            int32_t* _aidl_return) override;
    ::ndk::ScopedAStatus release(int32_t in_handle, int32_t* _aidl_return) override;
    ::ndk::ScopedAStatus stateRequest(
            const ::aidl::vendor::vemra::hardware::jorv::JorvRequestParcel& in_parcel,
            std::vector<::aidl::vendor::vemra::hardware::jorv::JorvRequestData>* _aidl_return)
            override;
    ::ndk::ScopedAStatus listeningRegister(
            const ::aidl::vendor::vemra::hardware::jorv::JorvRequestParcel& in_parcel,
            const std::shared_ptr<::aidl::vendor::vemra::hardware::jorv::IJorvCallback>&
                    in_callback,
            int32_t* _aidl_return) override;
    ::ndk::ScopedAStatus listeningUnregister(int32_t in_handle, int32_t* _aidl_return) override;
    ::ndk::ScopedAStatus propertyGet(const std::string& in_name,
                                     std::string* _aidl_return) override;
    ::ndk::ScopedAStatus propertySet(const std::string& in_name, const std::string& in_value,
                                     int32_t* _aidl_return) override;
    ::ndk::ScopedAStatus thermalListeningRegister(
            const std::vector<int32_t>& in_ids,
            const std::shared_ptr<::aidl::vendor::vemra::hardware::jorv::IJorvCallback>&
                    in_callback,
            int32_t* _aidl_return) override;
    ::ndk::ScopedAStatus thermalListeningUnregister(int32_t in_handle,
                                                    int32_t* _aidl_return) override;
    ::ndk::ScopedAStatus reserved10() override;
    ::ndk::ScopedAStatus setRelatedSysInfo(int32_t in_a, const std::string& in_info,
                                           int32_t* _aidl_return) override;
    ::ndk::ScopedAStatus ruleCtl(
            int32_t in_ruleId, int32_t in_status,
            const std::vector<::aidl::vendor::vemra::hardware::jorv::JorvRequestData>& in_data,
            int32_t* _aidl_return) override;
    ::ndk::ScopedAStatus requestOneWay(
            const ::aidl::vendor::vemra::hardware::jorv::JorvRequestParcel& in_parcel) override;
    ::ndk::ScopedAStatus getInterfaceVersion(int32_t* _aidl_return) override;
    ::ndk::ScopedAStatus getInterfaceHash(std::string* _aidl_return) override;

    // One call made through a proxy, given to logFunc once the reply (or the failure) is in.
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

private:
    // The remote's version and hash never change for the life of its binder: asked once.
    std::atomic<int32_t> _aidl_cached_version{-1};
    std::mutex _aidl_cached_hash_mutex;
    std::string _aidl_cached_hash;  // guarded by _aidl_cached_hash_mutex; empty until known
};

}  // namespace jorv
}  // namespace hardware
}  // namespace vemra
}  // namespace vendor
}  // namespace aidl
