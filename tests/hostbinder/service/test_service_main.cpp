// Helper process for the host binder tests: publishes an EchoJorv (support/echo_jorv.h) so calls
// really cross a process boundary, then serves until killed.
//
//   hostbinder_test_service <instance> [<service-dir>] [--mirror]
//
// Without <service-dir> the runtime's own choice ($HOSTBINDER_DIR, ...) is used. --mirror also
// publishes the binder mirror (support/mirror.h) under mirror::instanceFor(<instance>).
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <hostbinder/control.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "support/echo_jorv.h"
#include "support/mirror.h"

int main(int argc, char** argv) {
    // A test binary that crashes must not leave helper services behind.
    const pid_t parent = getppid();
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) return 1;

    std::string instance;
    bool mirror = false;
    const char* dir = nullptr;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--mirror") == 0) {
            mirror = true;
        } else if (instance.empty()) {
            instance = argv[i];
        } else if (dir == nullptr) {
            dir = argv[i];
        }
    }
    if (instance.empty()) {
        std::fprintf(stderr, "usage: %s <instance> [<service-dir>] [--mirror]\n", argv[0]);
        return 2;
    }
    if (dir != nullptr) HostBinder_setServiceDir(dir);

    auto service = ndk::SharedRefBase::make<hbtest::EchoJorv>();
    if (AServiceManager_addService(service->asBinder().get(), instance.c_str()) != EX_NONE) {
        std::fprintf(stderr, "hostbinder_test_service: cannot publish %s\n", instance.c_str());
        return 3;
    }
    ndk::SpAIBinder mirrorBinder;
    if (mirror) {
        mirrorBinder = hbtest::mirror::newMirror();
        const std::string name = hbtest::mirror::instanceFor(instance);
        if (AServiceManager_addService(mirrorBinder.get(), name.c_str()) != EX_NONE) {
            std::fprintf(stderr, "hostbinder_test_service: cannot publish %s\n", name.c_str());
            return 3;
        }
    }
    // As a device service: a pool that grows while every thread is busy, and this thread in it.
    ABinderProcess_startThreadPool();
    ABinderProcess_joinThreadPool();
    return 0;
}
