// Notifications through the wrapper end to end against the fake service: which rule switch each
// one sends (or that it sends none), and what the callers get back.

#include <optional>
#include <string>
#include <vector>

#include "QarWrapper.h"
#include "support/FakeServiceTest.h"

namespace qartest {
namespace {

constexpr char kWrapperTag[] = "[QAR_CLIENT_WRAPPER]";
// In a row's rule id or status: the notification's source number.
constexpr int32_t kSrc = INT32_MIN;

struct Rule {
    int32_t id;
    int32_t status;
    std::vector<JorvRequestData> data;
};

struct NotifyRow {
    std::vector<int32_t> srcs;
    int32_t type;
    int32_t param;
    std::string payload;
    std::optional<Rule> sent;  // nullopt: nothing reaches the service
};

TEST_F(FakeServiceTest, NotifyDispatch) {
    const std::vector<int32_t> plainSources = {1, 10, 11, 12, 16, 110, 129, 1000};
    const std::vector<int32_t> sharedSources = {2, 3, 5, 6};
    const std::vector<int32_t> noRule = {INT32_MIN, 0,   4,   7,   13,  17,   101,
                                         103,       109, 112, 128, 132, 1001, 9001};
    const std::vector<NotifyRow> rows = {
            {plainSources, 7, 1, "x", Rule{kSrc, 7, {}}},
            {sharedSources, 1, 0, "", Rule{200, kSrc, {}}},
            {sharedSources, 7, 0, "", Rule{200, 0, {}}},
            {{8}, 0, 1, "", Rule{8, 0, {}}},
            {{8}, 2, 1, "", Rule{8, 2, {entry(0x010103A0, "0")}}},
            {{8}, 1, 0, "", Rule{8, 1, {}}},
            {{9}, 0, 0, "", Rule{9, 0, {}}},
            {{9}, 1, 0, "", Rule{9, 1, {entry(0x010112F0, "enable 0"), entry(0x01011910, "0")}}},
            {{14}, 0, 5, "p", Rule{14, 0, {entry(0x01011040, "-1"), entry(0x01011040, "")}}},
            {{14}, 1, 2, "g", Rule{14, 1, {entry(0x01011040, "2"), entry(0x010115B0, "g")}}},
            {{14}, 1, 0, "", Rule{14, 1, {}}},
            // Type in the low byte, param in the 24 bits above it.
            {{15}, -1, 2, "", Rule{15, 0x2FF, {}}},
            {{15}, 1, -1, "", Rule{15, static_cast<int32_t>(0xFFFFFF01u), {}}},
            {{102}, 0, 25, "", Rule{102, 0, {entry(0x01011070, "0")}}},
            {{102}, 1, 25, "", Rule{102, 1, {entry(0x01011070, "25")}}},
            {{102}, 1, 0, "", Rule{102, 1, {entry(0x01011070, "3")}}},
            {{102}, 1, -1, "", Rule{102, 1, {entry(0x01011070, "3")}}},
            {{111}, -1, 0, "", Rule{111, -1, {entry(0x010103A0, "-1")}}},
            {{130}, 0, 0, "100", Rule{130, 0, {}}},
            {{130}, 1, 0, "1,2", Rule{130, 1, {entry(0x010108A0, "1"), entry(0x010108B0, "2")}}},
            {{131}, 0, 0, "colocation:1", Rule{131, 0, {}}},
            {{131}, 1, 0, "colocation:1", Rule{131, 1, {entry(0x01011040, "1")}}},
            // A payload that parses to nothing still switches the rule.
            {{131}, 1, 0, "colocation", Rule{131, 1, {}}},
            {{9000}, 0, 0, "1,2", Rule{9000, 0, {}}},
            {{9000}, 1, 0, "1,2", Rule{9000, 1, {entry(0x01010B10, "1"), entry(0x01010B20, "2")}}},
            // Nothing for sources without a rule, types outside a source's rows, and switching
            // a payload rule on without a payload.
            {noRule, 1, 1, "1,2", {}},
            {{8}, 3, 1, "1,2", {}},
            {{9, 14, 15, 102, 111, 130, 131, 9000}, 2, 1, "1,2", {}},
            {{130, 131, 9000}, 1, 1, "", {}},
    };
    for (const NotifyRow& row : rows) {
        for (const int32_t src : row.srcs) {
            SCOPED_TRACE("src " + std::to_string(src) + " type " + std::to_string(row.type));
            fake->clearCalls();
            EXPECT_EQ(QarNotifyWapper("n", src, row.type, row.param, 0, 0, row.payload), 0);
            const std::vector<Call> calls = fake->calls();
            if (!row.sent) {
                EXPECT_TRUE(calls.empty());
                continue;
            }
            ASSERT_EQ(calls.size(), 1u);
            const Rule& rule = *row.sent;
            EXPECT_EQ(calls[0].op, "ruleCtl");
            EXPECT_EQ(calls[0].ints,
                      (std::vector<int32_t>{rule.id == kSrc ? src : rule.id,
                                            rule.status == kSrc ? src : rule.status}));
            EXPECT_EQ(calls[0].data, rule.data);
        }
    }
    EXPECT_EQ(log.count(ANDROID_LOG_INFO, kWrapperTag, "[QarNotifyWapper] n, src:9000, type:1"),
              2u);
}

TEST_F(FakeServiceTest, NotifyReturnsZeroWhateverTheServiceSays) {
    fake->setDefault("ruleCtl", Answer::serviceSpecific(3));
    EXPECT_EQ(QarNotifyWapper("", 1, 1, 0, 0, 0, ""), 0);
    EXPECT_EQ(fake->callsOf("ruleCtl").size(), 1u);
    EXPECT_EQ(log.count(ANDROID_LOG_INFO, kWrapperTag, "[QarNotifyWapper] none, src:1, type:1"),
              1u);
}

}  // namespace
}  // namespace qartest
