#include "RequestData.h"

namespace qarEvent {

using ::aidl::vendor::vemra::hardware::jorv::JorvRequestData;

void appendRequestData(std::vector<JorvRequestData>& data,
                       const std::vector<QarClient::Resource>& resources) {
    data.reserve(data.size() + resources.size());
    for (const QarClient::Resource& resource : resources) {
        JorvRequestData& entry = data.emplace_back();
        entry.id = resource.id;
        if (resource.value.has_value()) entry.value = resource.value;
    }
}

}  // namespace qarEvent
