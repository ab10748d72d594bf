// The simulator locks with the host's annotated mutex, so the analysis follows every guarded field.
#pragma once

#include <host-base/Mutex.h>

namespace jorvsim {
using hostbase::Mutex;
using Lock = hostbase::MutexLock;
}  // namespace jorvsim
