#pragma once

// The requestType values the library writes into a JorvRequestParcel; the service tells its
// operations apart by them. Internal.

#include <cstdint>

namespace qar {

inline constexpr int32_t kRequestTypeQuery = 0;  // listening registrations and state queries
inline constexpr int32_t kRequestTypeResource = 1;
inline constexpr int32_t kRequestTypeSceneAction = 2;
inline constexpr int32_t kRequestTypeDiagnostic = 5;
inline constexpr int32_t kRequestTypeThermal = 7;
inline constexpr int32_t kRequestTypeEvent = 8;
inline constexpr int32_t kRequestTypeNotify = 10;
inline constexpr int32_t kRequestTypeHistory = 11;
inline constexpr int32_t kRequestTypePlatformResource = 12;
inline constexpr int32_t kRequestTypePowerMode = 13;
inline constexpr int32_t kRequestTypePowerConsumption = 15;
inline constexpr int32_t kRequestTypeDataSet = 16;
inline constexpr int32_t kRequestTypeFeature = 17;

}  // namespace qar
