/*
 * Host build of the NDK binding of vendor.vemra.hardware.jorv.IJorvCallback (version 1).
 * Same declarations as the library the device build generates from the frozen interface.
 */
#pragma once

#include <aidl/vendor/vemra/hardware/jorv/JorvRequestData.h>
#include <android/binder_ibinder.h>
#include <android/binder_interface_utils.h>
#include <android/binder_parcel_utils.h>
#include <android/binder_status.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace aidl {
namespace vendor {
namespace vemra {
namespace hardware {
namespace jorv {
class JorvRequestData;
}  // namespace jorv
}  // namespace hardware
}  // namespace vemra
}  // namespace vendor
}  // namespace aidl

namespace aidl {
namespace vendor {
namespace vemra {
namespace hardware {
namespace jorv {

class IJorvCallbackDelegator;

class IJorvCallback : public ::ndk::ICInterface {
public:
    typedef IJorvCallbackDelegator DefaultDelegator;
    static const char* descriptor;
    IJorvCallback();
    virtual ~IJorvCallback();

    static const int32_t version = 1;
    static inline const std::string hash = "cae43655eaf0af39cbb6d273c5e2206eebe33a10";
    static constexpr uint32_t TRANSACTION_onCallback = FIRST_CALL_TRANSACTION + 0;

    // The interface behind `binder`: the local object itself, or a proxy; null when the binder is
    // null or is not an IJorvCallback.
    static std::shared_ptr<IJorvCallback> fromBinder(const ::ndk::SpAIBinder& binder);
    static binder_status_t writeToParcel(AParcel* parcel,
                                         const std::shared_ptr<IJorvCallback>& instance);
    static binder_status_t readFromParcel(const AParcel* parcel,
                                          std::shared_ptr<IJorvCallback>* instance);
    // Serves calls the remote side does not know (an older version). Only the first non-null
    // `impl` is taken; later calls, and a null `impl`, return false.
    static bool setDefaultImpl(const std::shared_ptr<IJorvCallback>& impl);
    static const std::shared_ptr<IJorvCallback>& getDefaultImpl();

    virtual ::ndk::ScopedAStatus onCallback(
            const std::vector<::aidl::vendor::vemra::hardware::jorv::JorvRequestData>& in_data) = 0;
    virtual ::ndk::ScopedAStatus getInterfaceVersion(int32_t* _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus getInterfaceHash(std::string* _aidl_return) = 0;
};

class IJorvCallbackDefault : public IJorvCallback {
public:
    ::ndk::ScopedAStatus onCallback(
            const std::vector<::aidl::vendor::vemra::hardware::jorv::JorvRequestData>& in_data)
            override;
    ::ndk::ScopedAStatus getInterfaceVersion(int32_t* _aidl_return) override;
    ::ndk::ScopedAStatus getInterfaceHash(std::string* _aidl_return) override;
    ::ndk::SpAIBinder asBinder() override;
    bool isRemote() override;
};

}  // namespace jorv
}  // namespace hardware
}  // namespace vemra
}  // namespace vendor
}  // namespace aidl
