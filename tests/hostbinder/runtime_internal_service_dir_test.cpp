// The instance-name -> socket-file mapping: distinct instances must never share a socket, names
// must stay inside the service directory, and names too long for a socket address are refused.
#include <gtest/gtest.h>
#include <sys/un.h>

#include <set>
#include <string>

#include "service_dir.h"

namespace hbtest {
namespace {

TEST(RuntimeInternalServiceDirTest, InstancesGetDistinctFlatFilesOrAreRefused) {
    const std::string dir = "/tmp/hb";
    const size_t room = sizeof(sockaddr_un::sun_path) - 1 - dir.size() - 1;
    struct Case {
        std::string instance;
        bool usable;
    };
    const Case cases[] = {
            // Pairs that a naive mapping (dropping, or replacing '/' with a legal character) would
            // merge.
            {"a.IFoo/default", true},
            {"a.IFoo%2Fdefault", true},
            {"a.IFoo_default", true},
            {"a.IFoo-default", true},
            {"a.IFoo/x/y", true},
            {"a.IFoo/x%2Fy", true},
            {"a.IFoo%x/y", true},
            {"a.IFoo default", true},
            {".hidden", true},
            {"%2Ehidden", true},
            {"..", true},
            {"manifest/", true},
            {"", false},
            {std::string(room, 'a'), true},  // the longest that fits
            {std::string(room + 1, 'a'), false},
            // Escaping triples the length of every '/', which must be counted.
            {std::string(room - 2, 'a') + "/", false},
    };
    std::set<std::string> paths;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.instance);
        const std::string path = hostbinder::socketPath(dir, c.instance.c_str());
        ASSERT_EQ(!path.empty(), c.usable);
        if (!c.usable) continue;
        ASSERT_EQ(path.rfind(dir + "/", 0), 0u);
        const std::string name = path.substr(dir.size() + 1);
        EXPECT_EQ(name.find('/'), std::string::npos) << "must be one file in the directory";
        EXPECT_NE(name[0], '.') << "no hidden files, no '.' or '..'";
        EXPECT_TRUE(paths.insert(path).second) << "collides with another instance";
    }
    EXPECT_TRUE(hostbinder::socketPath(dir, nullptr).empty());
}

}  // namespace
}  // namespace hbtest
