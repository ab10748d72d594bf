#pragma once

// Builders of the request parcel shared by the namespace client's operations. Internal.

#include <aidl/vendor/vemra/hardware/jorv/JorvRequestData.h>
#include <aidl/vendor/vemra/hardware/jorv/JorvRequestParcel.h>

#include <cstdint>
#include <vector>

#include "JorvHalclient.h"

namespace jorvHalclient {

using ::aidl::vendor::vemra::hardware::jorv::JorvRequestData;
using ::aidl::vendor::vemra::hardware::jorv::JorvRequestParcel;

// requestType values this client sends.
inline constexpr int32_t kRequestTypeQuery = 0;  // listening registrations and state queries
inline constexpr int32_t kRequestTypeResource = 1;
inline constexpr int32_t kRequestTypeSceneAction = 2;
inline constexpr int32_t kRequestTypeDiagnostic = 5;
inline constexpr int32_t kRequestTypeThermal = 7;

// The scalar fields of resource and scene-action requests. param4 only decides the flag; param1 is
// widened with its sign.
void fillRequestScalars(JorvRequestParcel& parcel, int32_t requestType, int param0, int param1,
                        int param3, int param4, int param5);

// One record per resource, in list order: id and, when present, value.
std::vector<JorvRequestData> toRequestData(const ResourceList& resources);

}  // namespace jorvHalclient
