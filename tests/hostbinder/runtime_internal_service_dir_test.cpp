// The instance-name -> socket-file mapping: distinct instances must never share a socket, names
// must stay inside the service directory, and names too long for a socket address are refused.
#include <gtest/gtest.h>
#include <sys/un.h>

#include <set>
#include <string>
#include <vector>

#include "service_dir.h"

namespace hbtest {
namespace {

TEST(RuntimeInternalServiceDirTest, DistinctInstancesGetDistinctFlatFiles) {
    const std::string dir = "/tmp/hb";
    // Pairs that a naive mapping (dropping, or replacing '/' with a legal character) would merge.
    const std::vector<std::string> instances = {
            "a.IFoo/default",
            "a.IFoo%2Fdefault",
            "a.IFoo_default",
            "a.IFoo-default",
            "a.IFoo/x/y",
            "a.IFoo/x%2Fy",
            "a.IFoo%x/y",
            "a.IFoo default",
            ".hidden",
            "%2Ehidden",
            "..",
            "manifest/",
    };
    std::set<std::string> paths;
    for (const auto& instance : instances) {
        SCOPED_TRACE(instance);
        const std::string path = hostbinder::socketPath(dir, instance.c_str());
        ASSERT_FALSE(path.empty());
        ASSERT_EQ(path.rfind(dir + "/", 0), 0u);
        const std::string name = path.substr(dir.size() + 1);
        EXPECT_EQ(name.find('/'), std::string::npos) << "must be one file in the directory";
        EXPECT_NE(name[0], '.') << "no hidden files, no '.' or '..'";
        EXPECT_TRUE(paths.insert(path).second) << "collides with another instance";
    }
}

TEST(RuntimeInternalServiceDirTest, RefusesNamesThatCannotBeASocket) {
    const std::string dir = "/tmp/hb";
    struct Case {
        const char* what;
        std::string instance;
        bool usable;
    };
    const size_t room = sizeof(sockaddr_un::sun_path) - 1 - dir.size() - 1;
    const Case cases[] = {
            {"empty", "", false},
            {"longest that fits", std::string(room, 'a'), true},
            {"one byte too long", std::string(room + 1, 'a'), false},
            // Escaping triples the length of every '/', which must be counted.
            {"fits only unescaped", std::string(room - 2, 'a') + "/", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(!hostbinder::socketPath(dir, c.instance.c_str()).empty(), c.usable);
    }
    EXPECT_TRUE(hostbinder::socketPath(dir, nullptr).empty());
}

}  // namespace
}  // namespace hbtest
