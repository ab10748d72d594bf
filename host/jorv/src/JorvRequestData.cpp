/*
 * Host build of the NDK binding of vendor.vemra.hardware.jorv.JorvRequestData (version 1).
 */
#include <aidl/vendor/vemra/hardware/jorv/JorvRequestData.h>

#include "ParcelableSupport.h"

namespace aidl {
namespace vendor {
namespace vemra {
namespace hardware {
namespace jorv {

const char* JorvRequestData::descriptor = "vendor.vemra.hardware.jorv.JorvRequestData";
const ::ndk::parcelable_stability_t JorvRequestData::_aidl_stability;

binder_status_t JorvRequestData::readFromParcel(const AParcel* parcel) {
    internal::ParcelableReader reader(parcel);
    reader.field(&id);
    reader.field(&intValue);
    reader.nullableField(&value);
    reader.nullableField(&path);
    reader.nullableField(&extra);
    return reader.finish();
}

binder_status_t JorvRequestData::writeToParcel(AParcel* parcel) const {
    internal::ParcelableWriter writer(parcel);
    writer.field(id);
    writer.field(intValue);
    writer.nullableField(value);
    writer.nullableField(path);
    writer.nullableField(extra);
    return writer.finish();
}

}  // namespace jorv
}  // namespace hardware
}  // namespace vemra
}  // namespace vendor
}  // namespace aidl
