#pragma once

// Builders of the request parcel shared by the namespace client's operations. Internal.

#include <aidl/vendor/vemra/hardware/jorv/JorvRequestData.h>
#include <aidl/vendor/vemra/hardware/jorv/JorvRequestParcel.h>

#include <cstdint>

#include "common/RequestData.h"
#include "common/RequestTypes.h"

namespace jorvHalclient {

using ::aidl::vendor::vemra::hardware::jorv::JorvRequestData;
using ::aidl::vendor::vemra::hardware::jorv::JorvRequestParcel;

// The scalar fields of resource and scene-action requests. param4 only decides the flag; param1 is
// widened with its sign.
void fillRequestScalars(JorvRequestParcel& parcel, int32_t requestType, int param0, int param1,
                        int param3, int param4, int param5);

}  // namespace jorvHalclient
