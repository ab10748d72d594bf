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

std::vector<JorvRequestData> toRequestData(const ResourceList& resources) {
    std::vector<JorvRequestData> data;
    data.reserve(resources.size());
    for (const QarClient::Resource& resource : resources) {
        JorvRequestData& entry = data.emplace_back();
        entry.id = resource.id;
        if (resource.value.has_value()) entry.value = resource.value;
    }
    return data;
}

}  // namespace jorvHalclient
