// Who sent the transaction that the current thread is serving.
#pragma once

#include <sys/types.h>

namespace hostbinder {

struct CallingIdentity {
    pid_t pid;
    uid_t uid;
};

// The sender of the transaction being served on this thread, else this process's own identity.
CallingIdentity callingIdentity();

// Sets the calling identity for the lifetime of the scope (restoring the previous one, so nested
// serving on one thread stays correct).
class ScopedCallingIdentity {
public:
    explicit ScopedCallingIdentity(CallingIdentity identity);
    ~ScopedCallingIdentity();
    ScopedCallingIdentity(const ScopedCallingIdentity&) = delete;
    ScopedCallingIdentity& operator=(const ScopedCallingIdentity&) = delete;

private:
    bool mHadPrevious;
    CallingIdentity mPrevious;
};

}  // namespace hostbinder
