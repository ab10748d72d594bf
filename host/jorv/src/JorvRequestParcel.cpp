/*
 * Host build of the NDK binding of vendor.vemra.hardware.jorv.JorvRequestParcel (version 1).
 */
#include <aidl/vendor/vemra/hardware/jorv/JorvRequestParcel.h>

#include "ParcelableSupport.h"

namespace aidl {
namespace vendor {
namespace vemra {
namespace hardware {
namespace jorv {

const char* JorvRequestParcel::descriptor = "vendor.vemra.hardware.jorv.JorvRequestParcel";
const ::ndk::parcelable_stability_t JorvRequestParcel::_aidl_stability;

binder_status_t JorvRequestParcel::readFromParcel(const AParcel* parcel) {
    internal::ParcelableReader reader(parcel);
    reader.field(&requestType);
    reader.field(&dataList);
    reader.field(&flag);
    reader.field(&param3);
    reader.field(&param5);
    reader.field(&param1);
    reader.nullableField(&paths);
    reader.field(&param0);
    reader.nullableField(&callback);
    reader.nullableField(&text1);
    reader.nullableField(&text2);
    reader.nullableField(&numbers);
    return reader.finish();
}

binder_status_t JorvRequestParcel::writeToParcel(AParcel* parcel) const {
    internal::ParcelableWriter writer(parcel);
    writer.field(requestType);
    writer.field(dataList);
    writer.field(flag);
    writer.field(param3);
    writer.field(param5);
    writer.field(param1);
    writer.nullableField(paths);
    writer.field(param0);
    writer.nullableField(callback);
    writer.nullableField(text1);
    writer.nullableField(text2);
    writer.nullableField(numbers);
    return writer.finish();
}

}  // namespace jorv
}  // namespace hardware
}  // namespace vemra
}  // namespace vendor
}  // namespace aidl
