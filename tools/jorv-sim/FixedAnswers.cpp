#include "FixedAnswers.h"

#include <algorithm>
#include <array>
#include <utility>

namespace jorvsim {
namespace {

constexpr std::array<const char*, 3> kPowerFigures = {"1260", "840", "415"};
constexpr std::array<int32_t, 4> kFeaturesOn = {1, 2, 4, 8};
const std::array<std::pair<int32_t, const char*>, 4> kDataSet = {{
        {1, "1804800"},
        {2, "2419200"},
        {3, "3187200"},
        {4, "900"},
}};

JorvRequestData record(int32_t id, std::string value) {
    JorvRequestData data;
    data.id = id;
    data.value = std::move(value);
    return data;
}

}  // namespace

DataList powerConsumption(const DataList& query) {
    if (query.empty()) return {record(0, kPowerFigures[0])};
    DataList answers;
    for (size_t i = 0; i < query.size(); ++i) {
        answers.push_back(record(query[i].id, kPowerFigures[i % kPowerFigures.size()]));
    }
    return answers;
}

DataList powerModeStatus(const DataList& query) {
    DataList answers;
    for (const JorvRequestData& mode : query) {
        answers.push_back(record(mode.id, mode.id == kActivePowerMode ? "1" : "0"));
    }
    return answers;
}

DataList dataSet() {
    DataList answers;
    for (const auto& [id, value] : kDataSet) answers.push_back(record(id, value));
    return answers;
}

DataList featureStatus(const DataList& query) {
    if (query.empty()) return {};
    const int32_t feature = query.front().id;
    const bool on = std::find(kFeaturesOn.begin(), kFeaturesOn.end(), feature) != kFeaturesOn.end();
    return {record(feature, on ? "1" : "0")};
}

}  // namespace jorvsim
