// Where services are published: one Unix-domain socket per instance in the service directory.
#pragma once

#include <string>

namespace hostbinder {

// The directory chosen with HostBinder_setServiceDir, else $HOSTBINDER_DIR, else
// /tmp/hostbinder-<uid>. Read on every use so a change applies to later look-ups.
std::string serviceDir();
// Null or empty goes back to the environment/default choice.
void setServiceDir(const char* dir);
// Creates the directory (and missing parents, mode 0700); true when it exists afterwards.
bool ensureServiceDir(const std::string& dir);

// The socket path of `instance` in `dir`, or an empty string when the name is empty or the path
// does not fit a socket address.
std::string socketPath(const std::string& dir, const char* instance);

}  // namespace hostbinder
