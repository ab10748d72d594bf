#include "service_dir.h"

#include <errno.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include "thread_annotations.h"

namespace hostbinder {
namespace {

struct DirOverride {
    Mutex lock;
    std::string dir GUARDED_BY(lock);
};

DirOverride& dirOverride() {
    // Leaked: may be used from runtime threads during static destruction.
    static DirOverride* const instance = new DirOverride;
    return *instance;
}

// Instance names are flattened into one file name. Letters, digits, '.', '_' and '-' stay as
// they are; every other byte, and a leading '.', becomes %XX (upper-case hex). So
// "vendor.vemra.hardware.jorv.IJorv/default" is "vendor.vemra.hardware.jorv.IJorv%2Fdefault".
// The mapping is one-to-one because '%' itself is escaped.
std::string escapeInstance(const char* instance) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string name;
    for (const char* p = instance; *p != '\0'; ++p) {
        const auto c = static_cast<unsigned char>(*p);
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                           (c >= '0' && c <= '9') || c == '_' || c == '-' ||
                           (c == '.' && p != instance);
        if (plain) {
            name.push_back(static_cast<char>(c));
        } else {
            name.push_back('%');
            name.push_back(kHex[c >> 4]);
            name.push_back(kHex[c & 0xf]);
        }
    }
    return name;
}

}  // namespace

std::string serviceDir() {
    {
        DirOverride& o = dirOverride();
        MutexLock lock(o.lock);
        if (!o.dir.empty()) return o.dir;
    }
    const char* env = getenv("HOSTBINDER_DIR");
    if (env != nullptr && env[0] != '\0') return env;
    return "/tmp/hostbinder-" + std::to_string(getuid());
}

void setServiceDir(const char* dir) {
    DirOverride& o = dirOverride();
    MutexLock lock(o.lock);
    o.dir = dir == nullptr ? "" : dir;
}

bool ensureServiceDir(const std::string& dir) {
    struct stat st;
    if (stat(dir.c_str(), &st) == 0) return S_ISDIR(st.st_mode);
    for (size_t slash = dir.find('/', 1); slash != std::string::npos;
         slash = dir.find('/', slash + 1)) {
        const std::string parent = dir.substr(0, slash);
        if (mkdir(parent.c_str(), 0700) != 0 && errno != EEXIST) return false;
    }
    if (mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST) return false;
    return stat(dir.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string socketPath(const std::string& dir, const char* instance) {
    if (instance == nullptr || instance[0] == '\0') return std::string();
    std::string path = dir + "/" + escapeInstance(instance);
    if (path.size() >= sizeof(sockaddr_un::sun_path)) return std::string();
    return path;
}

}  // namespace hostbinder
