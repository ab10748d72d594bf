/*
 * Host build of the NDK binding of vendor.vemra.hardware.jorv.JorvRequestData (version 1).
 * Same declarations as the library the device build generates from the frozen interface.
 */
#pragma once

#include <android/binder_interface_utils.h>
#include <android/binder_parcel_utils.h>
#include <android/binder_to_string.h>

#include <cstdint>
#include <optional>
#include <sstream>
#include <string>
#include <tuple>
#include <type_traits>

namespace aidl {
namespace vendor {
namespace vemra {
namespace hardware {
namespace jorv {

class JorvRequestData {
public:
    typedef std::false_type fixed_size;
    static const char* descriptor;

    int32_t id = 0;
    int32_t intValue = 0;
    std::optional<std::string> value;
    std::optional<std::string> path;
    std::optional<std::string> extra;

    binder_status_t readFromParcel(const AParcel* parcel);
    binder_status_t writeToParcel(AParcel* parcel) const;

    inline bool operator==(const JorvRequestData& rhs) const {
        return std::tie(id, intValue, value, path, extra) ==
               std::tie(rhs.id, rhs.intValue, rhs.value, rhs.path, rhs.extra);
    }
    inline bool operator!=(const JorvRequestData& rhs) const {
        return std::tie(id, intValue, value, path, extra) !=
               std::tie(rhs.id, rhs.intValue, rhs.value, rhs.path, rhs.extra);
    }
    inline bool operator<(const JorvRequestData& rhs) const {
        return std::tie(id, intValue, value, path, extra) <
               std::tie(rhs.id, rhs.intValue, rhs.value, rhs.path, rhs.extra);
    }
    inline bool operator>(const JorvRequestData& rhs) const {
        return std::tie(id, intValue, value, path, extra) >
               std::tie(rhs.id, rhs.intValue, rhs.value, rhs.path, rhs.extra);
    }
    inline bool operator<=(const JorvRequestData& rhs) const {
        return std::tie(id, intValue, value, path, extra) <=
               std::tie(rhs.id, rhs.intValue, rhs.value, rhs.path, rhs.extra);
    }
    inline bool operator>=(const JorvRequestData& rhs) const {
        return std::tie(id, intValue, value, path, extra) >=
               std::tie(rhs.id, rhs.intValue, rhs.value, rhs.path, rhs.extra);
    }

    static const ::ndk::parcelable_stability_t _aidl_stability = ::ndk::STABILITY_VINTF;

    inline std::string toString() const {
        std::ostringstream os;
        os << "JorvRequestData{";
        os << "id: " << ::android::internal::ToString(id);
        os << ", intValue: " << ::android::internal::ToString(intValue);
        os << ", value: " << ::android::internal::ToString(value);
        os << ", path: " << ::android::internal::ToString(path);
        os << ", extra: " << ::android::internal::ToString(extra);
        os << "}";
        return os.str();
    }
};

}  // namespace jorv
}  // namespace hardware
}  // namespace vemra
}  // namespace vendor
}  // namespace aidl
