/*
 * Host build of the NDK stub of vendor.vemra.hardware.jorv.IJorvCallback (version 1).
 * Same declarations as the library the device build generates from the frozen interface.
 */
#pragma once

#include <aidl/vendor/vemra/hardware/jorv/IJorvCallback.h>
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

// A BnJorvCallback that hands every call of the interface to another IJorvCallback, e.g. to publish
// an implementation under a binder of its own. The version and hash are answered by BnJorvCallback
// itself, so the implementation must be of this version: the constructor aborts otherwise.
class IJorvCallbackDelegator : public BnJorvCallback {
public:
    explicit IJorvCallbackDelegator(const std::shared_ptr<IJorvCallback>& impl) : _impl(impl) {
        int32_t implVersion = 0;
        if (!impl->getInterfaceVersion(&implVersion).isOk() ||
            implVersion != IJorvCallback::version) {
            std::fprintf(stderr, "IJorvCallbackDelegator: the implementation is not version %d\n",
                         static_cast<int>(IJorvCallback::version));
            std::abort();
        }
    }

    ::ndk::ScopedAStatus onCallback(
            const std::vector<::aidl::vendor::vemra::hardware::jorv::JorvRequestData>& in_data)
            override {
        return _impl->onCallback(in_data);
    }

private:
    std::shared_ptr<IJorvCallback> _impl;
};

}  // namespace jorv
}  // namespace hardware
}  // namespace vemra
}  // namespace vendor
}  // namespace aidl
