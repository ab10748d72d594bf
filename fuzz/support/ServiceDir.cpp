#include "ServiceDir.h"

#include <hostbinder/control.h>
#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "FuzzSupport.h"

namespace qarfuzz {

std::string usePrivateServiceDir() {
    char pattern[] = "/tmp/qar-fuzz-XXXXXX";
    check(mkdtemp(pattern) != nullptr, "cannot create a service directory");
    HostBinder_setServiceDir(pattern);
    HostBinder_declareInstance("vendor.vemra.hardware.jorv.IJorv/default");
    std::atexit([] {
        char dir[64] = {};
        HostBinder_getServiceDir(dir, sizeof(dir));
        std::error_code ignored;
        std::filesystem::remove_all(dir, ignored);
    });
    return pattern;
}

}  // namespace qarfuzz
