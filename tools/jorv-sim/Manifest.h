// Declaring the instance in the host manifest, so that clients in other processes find it
// declared (AServiceManager_isDeclared reads <service dir>/manifest).
#pragma once

#include <string>

namespace jorvsim {

// Creates `dir` and any missing parents (mode 0700). False, with the reason, when it cannot.
bool makeDirectories(const std::string& dir, std::string* error);

// Adds `instance` as a line of <dir>/manifest unless it is listed there already. False, with the
// reason in `error`, when the file cannot be read or written.
bool declareInManifest(const std::string& dir, const std::string& instance, std::string* error);

}  // namespace jorvsim
