/*
 * Host build of the NDK stub of vendor.vemra.hardware.jorv.IJorvCallback (version 1).
 * Same declarations as the library the device build generates from the frozen interface.
 */
#pragma once

#include <aidl/vendor/vemra/hardware/jorv/IJorvCallback.h>
#include <android/binder_interface_utils.h>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace aidl {
namespace vendor {
namespace vemra {
namespace hardware {
namespace jorv {

class BnJorvCallback : public ::ndk::BnCInterface<IJorvCallback> {
public:
    BnJorvCallback();
    virtual ~BnJorvCallback();

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

}  // namespace jorv
}  // namespace hardware
}  // namespace vemra
}  // namespace vendor
}  // namespace aidl
