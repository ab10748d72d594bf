#include "ServiceDir.h"

#include <hostbinder/control.h>
#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "FuzzSupport.h"

namespace qarfuzz {
namespace {

std::string& serviceDir() {
    static std::string* const dir = new std::string;
    return *dir;
}

void removeServiceDir() {
    std::error_code ignored;
    std::filesystem::remove_all(serviceDir(), ignored);
}

}  // namespace

std::string usePrivateServiceDir() {
    char pattern[] = "/tmp/qar-fuzz-XXXXXX";
    check(mkdtemp(pattern) != nullptr, "cannot create a service directory");
    serviceDir() = pattern;
    HostBinder_setServiceDir(pattern);
    HostBinder_declareInstance("vendor.vemra.hardware.jorv.IJorv/default");
    std::atexit(removeServiceDir);
    return pattern;
}

}  // namespace qarfuzz
