#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "QarExport.h"

// The action names that callers of the wrapper API name (behind the prefix "TRIVEX_"); the
// position of a name is its action id. Filled when the library is loaded and never changed by
// the library afterwards, so readers need no lock. Some names occur twice; an action id is always
// the first position of its name.
QAR_EXPORT extern std::vector<std::string> gActionList;

// Resource ids that the notification payload builders assign, one per value position. The five
// sets are laid out one after another in this order, and a payload with more values than its set
// runs on into the next set; nothing follows the last one.
QAR_EXPORT extern int32_t opCodeTargetLoad[3];
QAR_EXPORT extern int32_t opCodeAdpXpuCoreBoost[4];
QAR_EXPORT extern int32_t opCodeAdpXpuCoreLimit[4];
QAR_EXPORT extern int32_t opCodeAdpXpuFreqBoost[4];
QAR_EXPORT extern int32_t opCodeAdpXpuFreqLimit[4];
