// main() of every test binary. A test process is a binder process like any other: the services it
// publishes, the callbacks its services make to it and the death notices it links to are served
// only on threads it gives the runtime. So, as a device process would, it starts its binder thread
// pool before anything else runs. The NDK's default cap on that pool is enough: no test has more
// than ten incoming calls in progress at once.
//
// HOSTBINDER_TEST_NO_POOL=1 leaves the pool unstarted. Tests of what happens in a process without
// binder threads re-run their own binary as a child with that variable set (and a --gtest_filter
// naming the case to run there).
#include <android/binder_process.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

namespace {

bool poolWanted() {
    const char* noPool = std::getenv("HOSTBINDER_TEST_NO_POOL");
    return noPool == nullptr || std::strcmp(noPool, "1") != 0;
}

}  // namespace

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    if (poolWanted()) ABinderProcess_startThreadPool();
    return RUN_ALL_TESTS();
}
