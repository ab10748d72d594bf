#pragma once

#include <aidl/vendor/vemra/hardware/jorv/JorvRequestData.h>

#include <vector>

#include "QarResource.h"

namespace qarEvent {

// Appends one entry per resource, in order: its id and, when it carries one, its value (an absent
// value stays absent).
void appendRequestData(std::vector<::aidl::vendor::vemra::hardware::jorv::JorvRequestData>& data,
                       const std::vector<QarClient::Resource>& resources);

}  // namespace qarEvent
