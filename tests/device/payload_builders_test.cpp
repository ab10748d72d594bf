// The notification payload builders: which records come out of which texts, including the payloads
// that give nothing, the positions that skipped items keep and the values past the last opcode set.

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "QarPayloadBuilders.h"

namespace qartest {
namespace {

using QarClient::Resource;

// "id=value" per record (hex id), "<none>" for a record without a value, so that a whole list
// compares and prints as one string.
std::string show(const std::vector<Resource>& resources) {
    std::string out;
    char id[16];
    for (const Resource& r : resources) {
        snprintf(id, sizeof(id), "%08X", static_cast<unsigned>(r.id));
        out += std::string(out.empty() ? "" : " ") + id + "=" + r.value.value_or("<none>");
    }
    return out;
}

struct Case {
    const char* payload;
    const char* expected;
};

void expectAll(const std::function<std::vector<Resource>(const std::string&)>& build,
               const std::vector<Case>& cases) {
    for (const Case& c : cases) EXPECT_EQ(show(build(c.payload)), c.expected) << c.payload;
}

TEST(PayloadBuildersTest, TargetLoad) {
    expectAll(getTargetLoadList,
              {
                      {"", ""},
                      {"100", "010108A0=100"},
                      {"100,200", "010108A0=100 010108B0=200"},
                      {"a-100,b-200,c-300", "010108A0=100 010108B0=200 010108C0=300"},
                      // A dash anywhere switches every item to "label-value".
                      {"100,-1,300", ""},
                      {"x-1,,y-2", "010108A0=1 010108B0=2"},
                      {"x,y-2", "010108B0=2"},
                      {"a-1-2", "010108A0=1"},
                      {",,,", ""},
                      // Extra values run on into the next set.
                      {"1,2,3,4,5", "010108A0=1 010108B0=2 010108C0=3 01010B10=4 01010B20=5"},
              });
}

TEST(PayloadBuildersTest, TargetLoadStopsAfterTheLastSet) {
    std::string payload;
    for (int i = 0; i < 25; ++i) payload += std::to_string(i) + ",";
    const std::vector<Resource> resources = getTargetLoadList(payload);
    ASSERT_EQ(resources.size(), 19u);
    EXPECT_EQ(resources.back().id, 0x01020060);
    EXPECT_EQ(resources.back().value, "18");
}

TEST(PayloadBuildersTest, Colocation) {
    expectAll(getColocationList,
              {
                      {"", ""},
                      {"colocation", ""},
                      {"colocation:1,groupmigrate:80-60", "01011040=1 01010FB0=80 01010FC0=60"},
                      {"groupmigrate:60-80", ""},
                      {"groupmigrate:60-60", ""},
                      {"groupmigrate:80", ""},
                      {"groupmigrate:-80", ""},
                      // Numbers are re-rendered; a piece without one counts as 0.
                      {"groupmigrate:060-x", "01010FB0=60 01010FC0=0"},
                      {"groupmigrate: +7-2", "01010FB0=7 01010FC0=2"},
                      {"groupmigrate:99999999999-1", ""},
                      {"foo:1,colocation:0", "01011040=0"},
                      {"colocation:a:b,:x,colocation", "01011040=a"},
                      {"groupmigrate:5-1,colocation:2", "01010FB0=5 01010FC0=1 01011040=2"},
              });
}

TEST(PayloadBuildersTest, GameAdp) {
    expectAll(getGameAdpList,
              {
                      {"", ""},
                      {"1,2,3,4;5,6",
                       "01010B10=1 01010B20=2 01010B30=3 01020070=4 01010B90=5 01010BA0=6"},
                      // A comma-less group is skipped but keeps its position.
                      {"1200;800,", "01010B90=800"},
                      {"x;x;x;9,", "010100A0=9"},
                      // Empty groups vanish, so ";;" does not skip a position.
                      {";;7,", "01010B10=7"},
                      {" 1 , 2 ,", "01010B10=1 01010B20=2"},
                      {"\t,1", "01010B10= 01010B20=1"},
                      {"1,;2,;3,;4,;5,", "01010B10=1 01010B90=2 01010010=3 010100A0=4"},
                      // Extra values run on into the next set, and stop after the last one.
                      {"1,2,3,4,5", "01010B10=1 01010B20=2 01010B30=3 01020070=4 01010B90=5"},
                      {"x;x;x;1,2,3,4,5,6", "010100A0=1 010100B0=2 010100C0=3 01020060=4"},
              });
}

TEST(PayloadBuildersTest, GameUpgradeAndResourceInfo) {
    EXPECT_EQ(show(getGameUpgradeList(9, 9, 0, 9, 9, "")), "");
    EXPECT_EQ(show(getGameUpgradeList(0, 0, -1, 0, 0, "p")), "010115B0=p");
    EXPECT_EQ(show(getGameUpgradeList(0, 0, 1, 0, 0, "")), "01011040=1");
    EXPECT_EQ(show(getGameUpgradeList(0, 0, 2, 0, 0, "game.sample")),
              "01011040=2 010115B0=game.sample");
    // An empty value stays a value.
    EXPECT_EQ(show({QarResourceInfo(5, "")}), "00000005=");
}

}  // namespace
}  // namespace qartest
