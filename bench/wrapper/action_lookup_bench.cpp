// Cost of finding an action id by event name, against the scan it replaces:
//
//   BM_ActionLookup/<case>   findActionIdForEvent: marker check, then a binary search over the
//                            table sorted at compile time
//   BM_LinearScan/<case>     the scan from the front that compares through stringUtils, copying
//                            the name and the entry (and cutting the name again) for every entry
//
// Cases: the first entry, one in the middle, the last entry and a name that is not in the table
// (the scan's worst case, like the last entry).
#include <benchmark/benchmark.h>

#include <string>

#include "QarActionTable.h"
#include "StringUtils.h"
#include "wrapper/ActionLookup.h"

namespace {

const std::string kFirst = "TRIVEX_ACTION_LAUNCH";
const std::string kMiddle = "TRIVEX_ACTION_CAMERA_VIDEO_GIFMAKER_REAR";  // id 99
const std::string kLast = "TRIVEX_ACTION_CAMERA_APS_INNER_THDR_CAPTURE_L1";
const std::string kUnknown = "TRIVEX_ACTION_CAMERA_APS_INNER_THDR_CAPTURE_L2";

int linearScan(const std::string& eventId) {
    for (size_t i = 0; i < gActionList.size(); ++i) {
        if (stringUtils::contains(eventId, "TRIVEX_") &&
            stringUtils::equals(eventId.substr(7), gActionList[i])) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

void BM_ActionLookup(benchmark::State& state, const std::string& eventId) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(qar::wrapper::findActionIdForEvent(eventId));
    }
}

void BM_LinearScan(benchmark::State& state, const std::string& eventId) {
    for (auto _ : state) benchmark::DoNotOptimize(linearScan(eventId));
}

BENCHMARK_CAPTURE(BM_ActionLookup, first, kFirst);
BENCHMARK_CAPTURE(BM_ActionLookup, middle, kMiddle);
BENCHMARK_CAPTURE(BM_ActionLookup, last, kLast);
BENCHMARK_CAPTURE(BM_ActionLookup, unknown, kUnknown);
BENCHMARK_CAPTURE(BM_LinearScan, first, kFirst);
BENCHMARK_CAPTURE(BM_LinearScan, middle, kMiddle);
BENCHMARK_CAPTURE(BM_LinearScan, last, kLast);
BENCHMARK_CAPTURE(BM_LinearScan, unknown, kUnknown);

}  // namespace

BENCHMARK_MAIN();
