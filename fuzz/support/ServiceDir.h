#pragma once

// A service directory of the fuzzer's own, through the host runtime's control API (host only).

#include <string>

namespace qarfuzz {

// Creates a fresh service directory for this process, declares the client library's instance in
// it, and removes the directory at exit. Returns its path.
std::string usePrivateServiceDir();

}  // namespace qarfuzz
