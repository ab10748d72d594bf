// The runtime locks with the host's annotated mutex.
#pragma once

#include <host-base/Mutex.h>

namespace hostbinder {
using hostbase::Mutex;
using hostbase::MutexLock;
}  // namespace hostbinder
