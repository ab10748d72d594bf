#include "RequestParcels.h"

namespace jorvHalclient {

void fillRequestScalars(JorvRequestParcel& parcel, int32_t requestType, int param0, int param1,
                        int param3, int param4, int param5) {
    parcel.requestType = requestType;
    parcel.flag = param4 >= 1;
    parcel.param3 = param3;
    parcel.param5 = param5;
    parcel.param1 = static_cast<int64_t>(param1);
    parcel.param0 = param0;
}

}  // namespace jorvHalclient
