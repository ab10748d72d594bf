#pragma once

#include <aidl/vendor/vemra/hardware/jorv/JorvRequestParcel.h>

#include "QarExport.h"

namespace jorvHalclient {

// Tags a parcel for the service's debug handling of path-addressed requests: `paths` becomes
// exactly ["zdbdebug"], whatever it held before. Touches nothing else.
QAR_EXPORT void jorv_add_zdbdebug_for_request_parcel(
        ::aidl::vendor::vemra::hardware::jorv::JorvRequestParcel& parcel);

}  // namespace jorvHalclient
