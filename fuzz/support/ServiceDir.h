#pragma once

#include <string>

namespace qarfuzz {

// Points the host runtime at a fresh service directory of this process, removed at exit, and
// declares the client library's instance in it. Returns its path.
std::string usePrivateServiceDir();

}  // namespace qarfuzz
