// Builders for the records and parcels the tests send.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "ModelTypes.h"

namespace jorvsimtest {

using jorvsim::DataList;
using jorvsim::JorvRequestData;
using jorvsim::JorvRequestParcel;

inline JorvRequestData idRecord(int32_t id, std::optional<std::string> value = std::nullopt) {
    JorvRequestData record;
    record.id = id;
    record.value = std::move(value);
    return record;
}

inline JorvRequestData pathRecord(std::string path,
                                  std::optional<std::string> value = std::nullopt) {
    JorvRequestData record;
    record.path = std::move(path);
    record.value = std::move(value);
    return record;
}

inline JorvRequestParcel parcelOf(int32_t type, DataList data, int64_t durationMs = 0) {
    JorvRequestParcel parcel;
    parcel.requestType = type;
    parcel.dataList = std::move(data);
    parcel.param1 = durationMs;
    return parcel;
}

}  // namespace jorvsimtest
