// Where services are published: one Unix-domain socket per instance in the service directory.
#pragma once

#include <sys/types.h>

#include <string>

namespace hostbinder {

// The directory chosen with HostBinder_setServiceDir, else $HOSTBINDER_DIR, else
// /tmp/hostbinder-<uid>. Read on every use so a change applies to later look-ups.
std::string serviceDir();
// Null or empty goes back to the environment/default choice.
void setServiceDir(const char* dir);

// Whether the service directory may be shared with its group: as set with setServiceDirShared,
// else HOSTBINDER_DIR_SHARED=1 in the environment.
bool serviceDirShared();
void setServiceDirShared(bool shared);
// The mode of the sockets and the manifest: 0600, or 0660 when the directory is shared.
mode_t serviceFileMode();

// Whether this process may use `dir` (see <hostbinder/control.h>): true when it is a real
// directory, not a symlink, that this user owns with no access for group or others (shared: any
// owner, no access for others). Otherwise false with errno ENOENT when it does not exist, EPERM
// when it is refused (logged once per directory and finding), or the error that stopped the check.
bool checkServiceDir(const std::string& dir);
// checkServiceDir, but a missing directory is created first (missing parents with mode 0700, the
// directory itself with exactly 0700, or 0770 when shared, whatever the umask). Logs failures.
bool ensureServiceDir(const std::string& dir);

// The socket path of `instance` in `dir`, or an empty string when the name is empty or the path
// does not fit a socket address.
std::string socketPath(const std::string& dir, const char* instance);

}  // namespace hostbinder
