#include "service_dir.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <optional>
#include <set>

#include "logging.h"
#include "mutex.h"

namespace hostbinder {
namespace {

constexpr mode_t kPrivateDirMode = 0700;
constexpr mode_t kSharedDirMode = 0770;
constexpr mode_t kPrivateFileMode = 0600;
constexpr mode_t kSharedFileMode = 0660;

struct DirState {
    Mutex lock;
    std::string dir GUARDED_BY(lock);
    std::optional<bool> shared GUARDED_BY(lock);
    // "<dir>\n<finding>" for every refusal logged: look-ups poll, and one line is enough.
    std::set<std::string> reported GUARDED_BY(lock);
};

DirState& dirState() {
    // Leaked: may be used from runtime threads during static destruction.
    static DirState* const instance = new DirState;
    return *instance;
}

std::string octal(mode_t mode) {
    char text[8];
    std::snprintf(text, sizeof(text), "%04o", static_cast<unsigned>(mode & 07777));
    return text;
}

// What makes the entry `st` (the entry itself, never a symlink's target) unfit to be a service
// directory, or an empty string when nothing does. Whoever can write the directory can replace a
// service's socket with their own and answer its clients, so only its owner may, or, when shared,
// its owner and group.
std::string findingFor(const struct stat& st, bool shared) {
    if (S_ISLNK(st.st_mode)) return "a symlink";
    if (!S_ISDIR(st.st_mode)) return "not a directory";
    if (!shared && st.st_uid != geteuid()) {
        return "owned by uid " + std::to_string(st.st_uid) + ", not by this process's uid " +
               std::to_string(geteuid());
    }
    const mode_t forbidden = shared ? S_IRWXO : (S_IRWXG | S_IRWXO);
    if ((st.st_mode & forbidden) != 0) {
        return "mode " + octal(st.st_mode) +
               (shared ? " (every user has access)" : " (other users have access)");
    }
    return std::string();
}

// The way out, for the error line.
std::string fixFor(const struct stat& st, bool shared) {
    const bool directory = S_ISDIR(st.st_mode);
    if (shared) {
        return directory
                       ? "chmod o-rwx it, or set HOSTBINDER_DIR to a directory only its group uses"
                       : "remove it, or set HOSTBINDER_DIR to a real directory";
    }
    const std::string elsewhere = ", or set HOSTBINDER_DIR to a private directory (mode 0700)";
    if (directory && st.st_uid == geteuid()) return "chmod 700 it" + elsewhere;
    return "remove it" + elsewhere;
}

void reportRefusal(const std::string& dir, const struct stat& st, bool shared) {
    const std::string finding = findingFor(st, shared);
    {
        DirState& s = dirState();
        MutexLock lock(s.lock);
        if (!s.reported.insert(dir + "\n" + finding).second) return;
    }
    ALOGE("refusing the service directory %s: %s; %s", dir.c_str(), finding.c_str(),
          fixFor(st, shared).c_str());
}

// 0 when this process may use `dir`, ENOENT when it does not exist, EPERM when it is refused, or
// the errno that stopped the check. lstat: a symlink is judged as itself, not by its target.
int inspect(const std::string& dir, bool shared) {
    struct stat st;
    if (lstat(dir.c_str(), &st) != 0) return errno;
    if (findingFor(st, shared).empty()) return 0;
    reportRefusal(dir, st, shared);
    return EPERM;
}

// Creates `dir`, and its missing parents with mode 0700; 0 (also when another process created it
// first) or an errno value.
int create(const std::string& dir, bool shared) {
    for (size_t slash = dir.find('/', 1); slash != std::string::npos;
         slash = dir.find('/', slash + 1)) {
        const std::string parent = dir.substr(0, slash);
        if (mkdir(parent.c_str(), 0700) != 0 && errno != EEXIST) return errno;
    }
    const mode_t mode = shared ? kSharedDirMode : kPrivateDirMode;
    if (mkdir(dir.c_str(), mode) != 0) return errno == EEXIST ? 0 : errno;
    // mkdir applied the umask, which may have taken bits the owner or the group needs. Should this
    // fail, the mode stays narrower than wanted, never wider.
    fchmodat(AT_FDCWD, dir.c_str(), mode, AT_SYMLINK_NOFOLLOW);
    return 0;
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
        DirState& s = dirState();
        MutexLock lock(s.lock);
        if (!s.dir.empty()) return s.dir;
    }
    const char* env = getenv("HOSTBINDER_DIR");
    if (env != nullptr && env[0] != '\0') return env;
    return "/tmp/hostbinder-" + std::to_string(getuid());
}

void setServiceDir(const char* dir) {
    DirState& s = dirState();
    MutexLock lock(s.lock);
    s.dir = dir == nullptr ? "" : dir;
}

bool serviceDirShared() {
    {
        DirState& s = dirState();
        MutexLock lock(s.lock);
        if (s.shared.has_value()) return *s.shared;
    }
    const char* env = getenv("HOSTBINDER_DIR_SHARED");
    return env != nullptr && std::strcmp(env, "1") == 0;
}

void setServiceDirShared(bool shared) {
    DirState& s = dirState();
    MutexLock lock(s.lock);
    s.shared = shared;
}

mode_t serviceFileMode() {
    return serviceDirShared() ? kSharedFileMode : kPrivateFileMode;
}

bool checkServiceDir(const std::string& dir) {
    const int err = inspect(dir, serviceDirShared());
    errno = err;
    return err == 0;
}

bool ensureServiceDir(const std::string& dir) {
    const bool shared = serviceDirShared();
    int err = inspect(dir, shared);
    if (err == ENOENT) {
        err = create(dir, shared);
        if (err == 0) err = inspect(dir, shared);
    }
    if (err != 0 && err != EPERM) {
        ALOGE("cannot create the service directory %s: %s", dir.c_str(), strerror(err));
    }
    errno = err;
    return err == 0;
}

std::string socketPath(const std::string& dir, const char* instance) {
    if (instance == nullptr || instance[0] == '\0') return std::string();
    std::string path = dir + "/" + escapeInstance(instance);
    if (path.size() >= sizeof(sockaddr_un::sun_path)) return std::string();
    return path;
}

}  // namespace hostbinder
