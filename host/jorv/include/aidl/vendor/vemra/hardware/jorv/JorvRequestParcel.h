/*
 * Host build of the NDK binding of vendor.vemra.hardware.jorv.JorvRequestParcel (version 1).
 * Same declarations as the library the device build generates from the frozen interface.
 */
#pragma once

#include <aidl/vendor/vemra/hardware/jorv/IJorvCallback.h>
#include <aidl/vendor/vemra/hardware/jorv/JorvRequestData.h>
#include <android/binder_interface_utils.h>
#include <android/binder_parcel_utils.h>
#include <android/binder_to_string.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

namespace aidl {
namespace vendor {
namespace vemra {
namespace hardware {
namespace jorv {
class IJorvCallback;
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

class JorvRequestParcel {
public:
    typedef std::false_type fixed_size;
    static const char* descriptor;

    int32_t requestType = 0;
    std::vector<::aidl::vendor::vemra::hardware::jorv::JorvRequestData> dataList;
    bool flag = false;
    int32_t param3 = 0;
    int32_t param5 = 0;
    int64_t param1 = 0L;
    std::optional<std::vector<std::optional<std::string>>> paths;
    int32_t param0 = 0;
    std::shared_ptr<::aidl::vendor::vemra::hardware::jorv::IJorvCallback> callback = nullptr;
    std::optional<std::string> text1;
    std::optional<std::string> text2;
    std::optional<std::vector<int32_t>> numbers;

    binder_status_t readFromParcel(const AParcel* parcel);
    binder_status_t writeToParcel(AParcel* parcel) const;

    inline bool operator==(const JorvRequestParcel& rhs) const {
        return std::tie(requestType, dataList, flag, param3, param5, param1, paths, param0,
                        callback, text1, text2, numbers) ==
               std::tie(rhs.requestType, rhs.dataList, rhs.flag, rhs.param3, rhs.param5, rhs.param1,
                        rhs.paths, rhs.param0, rhs.callback, rhs.text1, rhs.text2, rhs.numbers);
    }
    inline bool operator!=(const JorvRequestParcel& rhs) const {
        return std::tie(requestType, dataList, flag, param3, param5, param1, paths, param0,
                        callback, text1, text2, numbers) !=
               std::tie(rhs.requestType, rhs.dataList, rhs.flag, rhs.param3, rhs.param5, rhs.param1,
                        rhs.paths, rhs.param0, rhs.callback, rhs.text1, rhs.text2, rhs.numbers);
    }
    inline bool operator<(const JorvRequestParcel& rhs) const {
        return std::tie(requestType, dataList, flag, param3, param5, param1, paths, param0,
                        callback, text1, text2, numbers) <
               std::tie(rhs.requestType, rhs.dataList, rhs.flag, rhs.param3, rhs.param5, rhs.param1,
                        rhs.paths, rhs.param0, rhs.callback, rhs.text1, rhs.text2, rhs.numbers);
    }
    inline bool operator>(const JorvRequestParcel& rhs) const {
        return std::tie(requestType, dataList, flag, param3, param5, param1, paths, param0,
                        callback, text1, text2, numbers) >
               std::tie(rhs.requestType, rhs.dataList, rhs.flag, rhs.param3, rhs.param5, rhs.param1,
                        rhs.paths, rhs.param0, rhs.callback, rhs.text1, rhs.text2, rhs.numbers);
    }
    inline bool operator<=(const JorvRequestParcel& rhs) const {
        return std::tie(requestType, dataList, flag, param3, param5, param1, paths, param0,
                        callback, text1, text2, numbers) <=
               std::tie(rhs.requestType, rhs.dataList, rhs.flag, rhs.param3, rhs.param5, rhs.param1,
                        rhs.paths, rhs.param0, rhs.callback, rhs.text1, rhs.text2, rhs.numbers);
    }
    inline bool operator>=(const JorvRequestParcel& rhs) const {
        return std::tie(requestType, dataList, flag, param3, param5, param1, paths, param0,
                        callback, text1, text2, numbers) >=
               std::tie(rhs.requestType, rhs.dataList, rhs.flag, rhs.param3, rhs.param5, rhs.param1,
                        rhs.paths, rhs.param0, rhs.callback, rhs.text1, rhs.text2, rhs.numbers);
    }

    static const ::ndk::parcelable_stability_t _aidl_stability = ::ndk::STABILITY_VINTF;

    inline std::string toString() const {
        std::ostringstream os;
        os << "JorvRequestParcel{";
        os << "requestType: " << ::android::internal::ToString(requestType);
        os << ", dataList: " << ::android::internal::ToString(dataList);
        os << ", flag: " << ::android::internal::ToString(flag);
        os << ", param3: " << ::android::internal::ToString(param3);
        os << ", param5: " << ::android::internal::ToString(param5);
        os << ", param1: " << ::android::internal::ToString(param1);
        os << ", paths: " << ::android::internal::ToString(paths);
        os << ", param0: " << ::android::internal::ToString(param0);
        os << ", callback: " << ::android::internal::ToString(callback);
        os << ", text1: " << ::android::internal::ToString(text1);
        os << ", text2: " << ::android::internal::ToString(text2);
        os << ", numbers: " << ::android::internal::ToString(numbers);
        os << "}";
        return os.str();
    }
};

}  // namespace jorv
}  // namespace hardware
}  // namespace vemra
}  // namespace vendor
}  // namespace aidl
