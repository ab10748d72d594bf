// The check of a resource list before it is sent, and that it leaves the list as it was.

#include <gtest/gtest.h>

#include <list>
#include <optional>
#include <vector>

#include "QarResource.h"

namespace qartest {
namespace {

using ResourceList = std::list<QarClient::Resource>;

TEST(CheckResourceListTest, Rules) {
    struct Case {
        const char* name;
        ResourceList list;
        bool valid;
    };
    const std::vector<Case> cases = {
            {"empty list", {}, true},
            {"id with value, then id 0 without", {{5, "x"}, {0, std::nullopt}}, true},
            {"id without value", {{5, std::nullopt}}, false},
            {"id with empty value", {{5, ""}}, false},
            {"id 0 with text", {{0, "x"}}, false},
            {"id 0 with empty text", {{0, ""}}, true},
            {"negative id with value", {{-7, "1"}}, true},
            {"failure after valid elements", {{1, "a"}, {2, "b"}, {3, std::nullopt}}, false},
    };
    for (Case c : cases) {
        const ResourceList before = c.list;
        EXPECT_EQ(checkResourceList(c.list), c.valid) << c.name;
        EXPECT_EQ(c.list.size(), before.size()) << c.name;
    }
}

}  // namespace
}  // namespace qartest
