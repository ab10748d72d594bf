#pragma once

// The records a list of resources travels as. Internal.

#include <aidl/vendor/vemra/hardware/jorv/JorvRequestData.h>

#include <vector>

#include "QarResource.h"

namespace qar {

// Appends one record per resource, in order: its id and, when it carries one, its value (an
// absent value stays absent). `Resources` is any container of QarClient::Resource: the namespace
// client takes lists, the event API vectors.
template <typename Resources>
void appendRequestData(std::vector<::aidl::vendor::vemra::hardware::jorv::JorvRequestData>& data,
                       const Resources& resources) {
    data.reserve(data.size() + resources.size());
    for (const QarClient::Resource& resource : resources) {
        auto& entry = data.emplace_back();
        entry.id = resource.id;
        if (resource.value.has_value()) entry.value = resource.value;
    }
}

}  // namespace qar
