/*
 * Host build of the NDK proxy of vendor.vemra.hardware.jorv.IJorvCallback (version 1).
 * Same declarations as the library the device build generates from the frozen interface.
 */
#pragma once

#include <aidl/vendor/vemra/hardware/jorv/IJorvCallback.h>
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

class BpJorvCallback : public ::ndk::BpCInterface<IJorvCallback> {
public:
    explicit BpJorvCallback(const ::ndk::SpAIBinder& binder);
    virtual ~BpJorvCallback();

    ::ndk::ScopedAStatus onCallback(
            const std::vector<::aidl::vendor::vemra::hardware::jorv::JorvRequestData>& in_data)
            override;
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
