// The action table: ids are positions, so size, order, duplicates and spellings are all contract.
// The fast lookup must answer exactly like a scan from the front. The opcode sets are one block.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <string>

#include "QarActionTable.h"
#include "wrapper/ActionLookup.h"
#include "wrapper/OpCodeSets.h"

namespace qartest {
namespace {

using qar::wrapper::findActionIdForEvent;
using qar::wrapper::findActionIndex;

int scanFirst(const std::string& name) {
    const auto it = std::find(gActionList.begin(), gActionList.end(), name);
    return it == gActionList.end() ? -1 : static_cast<int>(it - gActionList.begin());
}

TEST(ActionTableTest, ShapeAndNotableEntries) {
    ASSERT_EQ(gActionList.size(), 199u);
    EXPECT_EQ(gActionList.capacity(), 199u);
    EXPECT_EQ(std::set<std::string>(gActionList.begin(), gActionList.end()).size(), 194u);

    struct Row {
        size_t position;
        const char* name;
    };
    for (const Row& row :
         {Row{0, "ACTION_LAUNCH"}, Row{37, "ACTION_TOUCH_BOOST"},
          Row{78, "ACTION_CAMERA_STIKER_RECORD"}, Row{120, "ACTION_CAMERA_PREVIEW_PORTAIT"},
          Row{106, "ACTION_CAMERA_APS_CAPTURE_L1"}, Row{162, "ACTION_CAMERA_MULTI_SCENE"},
          Row{198, "ACTION_CAMERA_APS_INNER_THDR_CAPTURE_L1"}}) {
        EXPECT_EQ(gActionList[row.position], row.name) << row.position;
    }
}

// Names look up by themselves; event ids by the name after a seven-character marker.
TEST(ActionTableTest, LookupMatchesScanFromTheFront) {
    for (const std::string& name : gActionList) EXPECT_EQ(findActionIndex(name), scanFirst(name));

    struct Case {
        const char* text;
        int index;  // as an action name
        int event;  // as an event id
    };
    for (const Case& c : {
                 Case{"ACTION_CAMERA_APS_CAPTURE_L1", 91, -1},
                 Case{"ACTION_CAMERA_APS_CAPTURE_L4", 94, -1},
                 Case{"ACTION_CAMERA_MULTI_SCENE", 102, -1},
                 Case{"ACTION_CAMERA_APS_INNER_THDR_CAPTURE_L1", 198, -1},
                 Case{"ACTION_CAMERA_STICKER_RECORD", -1, -1},  // the table's spelling is STIKER
                 Case{"action_launch", -1, -1},
                 Case{"ACTION_LAUNCH ", -1, -1},
                 Case{"ACTION_LAUNC", -1, -1},
                 Case{"", -1, -1},
                 Case{"TRIVEX_ACTION_LAUNCH", -1, 0},
                 Case{"TRIVEX_ACTION_TOUCH_BOOST", -1, 37},
                 Case{"TRIVEX_ACTION_CAMERA_MULTI_SCENE", -1, 102},
                 Case{"TRIVEX_ACTION_CAMERA_APS_INNER_THDR_CAPTURE_L1", -1, 198},
                 Case{"TRIVEX_ACTION_LAUNCH ", -1, -1},
                 Case{"TRIVEX_", -1, -1},
                 Case{"xTRIVEX_ACTION_TOUCH_BOOST", -1, -1},
                 Case{"trivex_ACTION_LAUNCH", -1, -1},
                 // The cut is always seven characters, wherever the marker is.
                 Case{"ABCDEFGACTION_LAUNCH", -1, -1},
         }) {
        EXPECT_EQ(findActionIndex(c.text), c.index) << c.text;
        EXPECT_EQ(findActionIndex(c.text), scanFirst(c.text)) << c.text;
        EXPECT_EQ(findActionIdForEvent(c.text), c.event) << c.text;
    }
}

TEST(OpCodeSetsTest, ValuesAndContiguousLayout) {
    const int32_t* const sets[] = {opCodeTargetLoad, opCodeAdpXpuCoreBoost, opCodeAdpXpuCoreLimit,
                                   opCodeAdpXpuFreqBoost, opCodeAdpXpuFreqLimit};
    const int32_t expected[] = {
            0x010108A0, 0x010108B0, 0x010108C0,              // target load
            0x01010B10, 0x01010B20, 0x01010B30, 0x01020070,  // core boost
            0x01010B90, 0x01010BA0, 0x01010BB0, 0x01020080,  // core limit
            0x01010010, 0x01010020, 0x01010030, 0x01020050,  // frequency boost
            0x010100A0, 0x010100B0, 0x010100C0, 0x01020060,  // frequency limit
    };
    const size_t starts[] = {0, 3, 7, 11, 15};
    using qar::wrapper::opCodeAt;
    using qar::wrapper::OpCodeSet;
    for (size_t s = 0; s < 5; ++s) {
        // Compared as addresses: each set begins where the block says, with no gap before it.
        EXPECT_EQ(reinterpret_cast<uintptr_t>(sets[s]),
                  reinterpret_cast<uintptr_t>(opCodeTargetLoad) + starts[s] * sizeof(int32_t));
        // Each set reads on into the sets after it, up to the end of the block.
        const auto set = static_cast<OpCodeSet>(starts[s]);
        for (size_t i = starts[s]; i <= std::size(expected); ++i) {
            const auto want = i < std::size(expected) ? std::optional(expected[i]) : std::nullopt;
            EXPECT_EQ(opCodeAt(set, i - starts[s]), want) << s << " " << i;
        }
    }
}

TEST(OpCodeSetsTest, BuildersReadWhatCallersWrite) {
    const int32_t saved = opCodeAdpXpuCoreBoost[0];
    opCodeAdpXpuCoreBoost[0] = 0x7;
    EXPECT_EQ(qar::wrapper::opCodeAt(qar::wrapper::OpCodeSet::kTargetLoad, 3), 0x7);
    opCodeAdpXpuCoreBoost[0] = saved;
}

}  // namespace
}  // namespace qartest
