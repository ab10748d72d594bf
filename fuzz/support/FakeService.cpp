#include "FakeService.h"

#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <hostbinder/control.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "FuzzSupport.h"
#include "support/ServiceEnv.h"

namespace qarfuzz {

qartest::FakeJorv& publishFakeService(std::string* dir) {
    char pattern[] = "/tmp/qar-fuzz-XXXXXX";
    check(mkdtemp(pattern) != nullptr, "cannot create a service directory");
    HostBinder_setServiceDir(pattern);
    HostBinder_declareInstance(qartest::kInstance);
    // Outlives the handler: it was constructed before the handler was registered.
    static std::string serviceDir;
    serviceDir = pattern;
    atexit([] {
        std::error_code ignored;
        std::filesystem::remove_all(serviceDir, ignored);
    });
    if (dir != nullptr) *dir = pattern;
    ABinderProcess_startThreadPool();
    static auto* const service = new std::shared_ptr(ndk::SharedRefBase::make<qartest::FakeJorv>());
    check(AServiceManager_addService((*service)->asBinder().get(), qartest::kInstance) == EX_NONE,
          "cannot publish the service");
    return **service;
}

}  // namespace qarfuzz
