/*
 * Host build of the NDK binding of vendor.vemra.hardware.jorv.IJorv (version 1).
 * Same declarations as the library the device build generates from the frozen interface.
 */
#pragma once

#include <aidl/vendor/vemra/hardware/jorv/IJorvCallback.h>
#include <aidl/vendor/vemra/hardware/jorv/JorvRequestData.h>
#include <aidl/vendor/vemra/hardware/jorv/JorvRequestParcel.h>
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
class IJorvCallback;
class JorvRequestData;
class JorvRequestParcel;
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

class IJorvDelegator;

class IJorv : public ::ndk::ICInterface {
public:
    typedef IJorvDelegator DefaultDelegator;
    static const char* descriptor;
    IJorv();
    virtual ~IJorv();

    static const int32_t version = 1;
    static inline const std::string hash = "cae43655eaf0af39cbb6d273c5e2206eebe33a10";
    static constexpr uint32_t TRANSACTION_init = FIRST_CALL_TRANSACTION + 0;
    static constexpr uint32_t TRANSACTION_request = FIRST_CALL_TRANSACTION + 1;
    static constexpr uint32_t TRANSACTION_release = FIRST_CALL_TRANSACTION + 2;
    static constexpr uint32_t TRANSACTION_stateRequest = FIRST_CALL_TRANSACTION + 3;
    static constexpr uint32_t TRANSACTION_listeningRegister = FIRST_CALL_TRANSACTION + 4;
    static constexpr uint32_t TRANSACTION_listeningUnregister = FIRST_CALL_TRANSACTION + 5;
    static constexpr uint32_t TRANSACTION_propertyGet = FIRST_CALL_TRANSACTION + 6;
    static constexpr uint32_t TRANSACTION_propertySet = FIRST_CALL_TRANSACTION + 7;
    static constexpr uint32_t TRANSACTION_thermalListeningRegister = FIRST_CALL_TRANSACTION + 8;
    static constexpr uint32_t TRANSACTION_thermalListeningUnregister = FIRST_CALL_TRANSACTION + 9;
    static constexpr uint32_t TRANSACTION_reserved10 = FIRST_CALL_TRANSACTION + 10;
    static constexpr uint32_t TRANSACTION_setRelatedSysInfo = FIRST_CALL_TRANSACTION + 11;
    static constexpr uint32_t TRANSACTION_ruleCtl = FIRST_CALL_TRANSACTION + 12;
    static constexpr uint32_t TRANSACTION_requestOneWay = FIRST_CALL_TRANSACTION + 13;

    // The interface behind `binder`: the local object itself, or a proxy; null when the binder is
    // null or is not an IJorv.
    static std::shared_ptr<IJorv> fromBinder(const ::ndk::SpAIBinder& binder);
    static binder_status_t writeToParcel(AParcel* parcel, const std::shared_ptr<IJorv>& instance);
    static binder_status_t readFromParcel(const AParcel* parcel, std::shared_ptr<IJorv>* instance);
    // Serves calls the remote side does not know (an older version). Only the first non-null
    // `impl` is taken; later calls, and a null `impl`, return false.
    static bool setDefaultImpl(const std::shared_ptr<IJorv>& impl);
    static const std::shared_ptr<IJorv>& getDefaultImpl();

    virtual ::ndk::ScopedAStatus init() = 0;
    virtual ::ndk::ScopedAStatus request(
            const ::aidl::vendor::vemra::hardware::jorv::JorvRequestParcel& in_parcel,
            int32_t* _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus release(int32_t in_handle, int32_t* _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus stateRequest(
            const ::aidl::vendor::vemra::hardware::jorv::JorvRequestParcel& in_parcel,
            std::vector<::aidl::vendor::vemra::hardware::jorv::JorvRequestData>* _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus listeningRegister(
            const ::aidl::vendor::vemra::hardware::jorv::JorvRequestParcel& in_parcel,
            const std::shared_ptr<::aidl::vendor::vemra::hardware::jorv::IJorvCallback>&
                    in_callback,
            int32_t* _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus listeningUnregister(int32_t in_handle, int32_t* _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus propertyGet(const std::string& in_name,
                                             std::string* _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus propertySet(const std::string& in_name,
                                             const std::string& in_value,
                                             int32_t* _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus thermalListeningRegister(
            const std::vector<int32_t>& in_ids,
            const std::shared_ptr<::aidl::vendor::vemra::hardware::jorv::IJorvCallback>&
                    in_callback,
            int32_t* _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus thermalListeningUnregister(int32_t in_handle,
                                                            int32_t* _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus reserved10() = 0;
    virtual ::ndk::ScopedAStatus setRelatedSysInfo(int32_t in_a, const std::string& in_info,
                                                   int32_t* _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus ruleCtl(
            int32_t in_ruleId, int32_t in_status,
            const std::vector<::aidl::vendor::vemra::hardware::jorv::JorvRequestData>& in_data,
            int32_t* _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus requestOneWay(
            const ::aidl::vendor::vemra::hardware::jorv::JorvRequestParcel& in_parcel) = 0;
    virtual ::ndk::ScopedAStatus getInterfaceVersion(int32_t* _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus getInterfaceHash(std::string* _aidl_return) = 0;
};

class IJorvDefault : public IJorv {
public:
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
    ::ndk::SpAIBinder asBinder() override;
    bool isRemote() override;
};

}  // namespace jorv
}  // namespace hardware
}  // namespace vemra
}  // namespace vendor
}  // namespace aidl
