#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace qar::wrapper {

// Where each exported opcode set starts inside the block that holds all five.
enum class OpCodeSet : size_t {
    kTargetLoad = 0,
    kAdpXpuCoreBoost = 3,
    kAdpXpuCoreLimit = 7,
    kAdpXpuFreqBoost = 11,
    kAdpXpuFreqLimit = 15,
};
inline constexpr size_t kOpCodeBlockSize = 19;

// Resource id for the value at `position` of a payload that uses `set`. Positions past the end of
// the set read on into the sets laid out after it, since a payload's extra values take the next
// set's ids; past the end of the last set there is no id.
std::optional<int32_t> opCodeAt(OpCodeSet set, size_t position);

}  // namespace qar::wrapper
