/*
 * Host build of the part of libbinder's IPCThreadState that vendor code uses: the identity of the
 * process that sent the transaction being served on the current thread.
 */
#pragma once

#include <sys/types.h>

namespace android {

class IPCThreadState {
public:
    // The per-thread state; never null, owned by the runtime.
    static IPCThreadState* self();

    // The sender's pid while serving a transaction on this thread, else this process's pid.
    pid_t getCallingPid() const;
    uid_t getCallingUid() const;

private:
    IPCThreadState() = default;
};

}  // namespace android
