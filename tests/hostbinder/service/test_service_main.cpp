// Helper process for the host binder tests: publishes an EchoJorv (support/echo_jorv.h) so calls
// really cross a process boundary, then the binder mirror (support/mirror.h) under
// mirror::instanceFor(<instance>), and serves until killed.
//
//   hostbinder_test_service <instance> [<service-dir>]
//
// Without <service-dir> the runtime's own choice ($HOSTBINDER_DIR, ...) is used.
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <hostbinder/control.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "support/echo_jorv.h"
#include "support/mirror.h"

int main(int argc, char** argv) {
    // A test binary that crashes must not leave helper services behind.
    const pid_t parent = getppid();
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) return 1;
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s <instance> [<service-dir>]\n", argv[0]);
        return 2;
    }
    if (argc > 2) HostBinder_setServiceDir(argv[2]);

    const std::string instance = argv[1];
    const std::string mirrorName = hbtest::mirror::instanceFor(instance);
    auto service = ndk::SharedRefBase::make<hbtest::EchoJorv>();
    ndk::SpAIBinder mirror = hbtest::mirror::newMirror();
    if (AServiceManager_addService(service->asBinder().get(), instance.c_str()) != EX_NONE ||
        AServiceManager_addService(mirror.get(), mirrorName.c_str()) != EX_NONE) {
        std::fprintf(stderr, "hostbinder_test_service: cannot publish %s\n", instance.c_str());
        return 3;
    }
    // As a device service: a pool that grows while every thread is busy, and this thread in it.
    ABinderProcess_startThreadPool();
    ABinderProcess_joinThreadPool();
    return 0;
}
