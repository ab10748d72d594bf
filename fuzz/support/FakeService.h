#pragma once

#include <string>

#include "support/FakeJorv.h"

namespace qarfuzz {

// Publishes a fake service as the library's instance in a private service directory (removed at
// exit; its path put in `dir` if given) and starts the binder thread pool. The service lives for
// the whole process: the runtime's threads may still use it at exit.
qartest::FakeJorv& publishFakeService(std::string* dir = nullptr);

}  // namespace qarfuzz
