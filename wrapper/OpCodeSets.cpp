#include "wrapper/OpCodeSets.h"

#include <iterator>

#include "QarActionTable.h"

// The five exported sets must lie one after another with no gap, because a payload's extra values
// run on into the next set. Separate arrays give no such guarantee, so a single block holds them
// and the exported names are assembler aliases at the sets' offsets. The block is ordinary mutable
// data: what a caller writes through an exported name is what the builders read.
extern "C" {
// clang-format off
int32_t qarOpCodeBlock[qar::wrapper::kOpCodeBlockSize] = {
    0x010108A0, 0x010108B0, 0x010108C0,              // opCodeTargetLoad
    0x01010B10, 0x01010B20, 0x01010B30, 0x01020070,  // opCodeAdpXpuCoreBoost
    0x01010B90, 0x01010BA0, 0x01010BB0, 0x01020080,  // opCodeAdpXpuCoreLimit
    0x01010010, 0x01010020, 0x01010030, 0x01020050,  // opCodeAdpXpuFreqBoost
    0x010100A0, 0x010100B0, 0x010100C0, 0x01020060,  // opCodeAdpXpuFreqLimit
};
// clang-format on
}

// Offsets and sizes in bytes. "%object" rather than "@object": '@' starts a comment in 32-bit ARM
// assembly.
asm(R"(
    .globl opCodeTargetLoad
    .type opCodeTargetLoad, %object
    .size opCodeTargetLoad, 12
    .set opCodeTargetLoad, qarOpCodeBlock + 0
    .globl opCodeAdpXpuCoreBoost
    .type opCodeAdpXpuCoreBoost, %object
    .size opCodeAdpXpuCoreBoost, 16
    .set opCodeAdpXpuCoreBoost, qarOpCodeBlock + 12
    .globl opCodeAdpXpuCoreLimit
    .type opCodeAdpXpuCoreLimit, %object
    .size opCodeAdpXpuCoreLimit, 16
    .set opCodeAdpXpuCoreLimit, qarOpCodeBlock + 28
    .globl opCodeAdpXpuFreqBoost
    .type opCodeAdpXpuFreqBoost, %object
    .size opCodeAdpXpuFreqBoost, 16
    .set opCodeAdpXpuFreqBoost, qarOpCodeBlock + 44
    .globl opCodeAdpXpuFreqLimit
    .type opCodeAdpXpuFreqLimit, %object
    .size opCodeAdpXpuFreqLimit, 16
    .set opCodeAdpXpuFreqLimit, qarOpCodeBlock + 60
)");

namespace qar::wrapper {

static_assert(static_cast<size_t>(OpCodeSet::kAdpXpuCoreBoost) == std::size(opCodeTargetLoad));
static_assert(static_cast<size_t>(OpCodeSet::kAdpXpuCoreLimit) ==
              static_cast<size_t>(OpCodeSet::kAdpXpuCoreBoost) + std::size(opCodeAdpXpuCoreBoost));
static_assert(static_cast<size_t>(OpCodeSet::kAdpXpuFreqBoost) ==
              static_cast<size_t>(OpCodeSet::kAdpXpuCoreLimit) + std::size(opCodeAdpXpuCoreLimit));
static_assert(static_cast<size_t>(OpCodeSet::kAdpXpuFreqLimit) ==
              static_cast<size_t>(OpCodeSet::kAdpXpuFreqBoost) + std::size(opCodeAdpXpuFreqBoost));
static_assert(kOpCodeBlockSize ==
              static_cast<size_t>(OpCodeSet::kAdpXpuFreqLimit) + std::size(opCodeAdpXpuFreqLimit));

std::optional<int32_t> opCodeAt(OpCodeSet set, size_t position) {
    const size_t start = static_cast<size_t>(set);
    if (position >= kOpCodeBlockSize - start) return std::nullopt;
    return qarOpCodeBlock[start + position];
}

}  // namespace qar::wrapper
