// Answers that do not depend on the service's state: power figures, power-mode status, the data
// set and feature status. Fixed so that scripts and tests can rely on them.
#pragma once

#include <cstdint>

#include "ModelTypes.h"

namespace jorvsim {

// The power mode reported as active.
inline constexpr int32_t kActivePowerMode = 0;

// One record per queried record, same id, value = a fixed figure in mW (1260, 840, 415, then
// again); a query without records gets one record carrying the first figure.
DataList powerConsumption(const DataList& query);
// One record per queried mode (its id): value "1" for the active mode, "0" for any other.
DataList powerModeStatus(const DataList& query);
// A fixed set of four records, each with an id and a value.
DataList dataSet();
// One record for the first queried feature (its id): "1" when the feature is on, else "0". A
// query without records gets no answer.
DataList featureStatus(const DataList& query);

}  // namespace jorvsim
