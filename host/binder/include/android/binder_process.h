/*
 * Host build of the binder NDK thread-pool control (<android/binder_process.h>).
 * As on a device, incoming transactions, one-way calls and death notifications are served only on
 * the threads these calls give the runtime; without them such work waits. A call that comes back
 * along a thread's own call chain is served on that waiting thread.
 */
#pragma once

#include <stdbool.h>
#include <stdint.h>
#include <sys/cdefs.h>

__BEGIN_DECLS

/* Starts one binder thread; more start while all are busy, up to the maximum. */
void ABinderProcess_startThreadPool(void);
/* The pool's maximum (15 unless set). Returns false once the pool has started. */
bool ABinderProcess_setThreadPoolMaxThreadCount(uint32_t numThreads);
bool ABinderProcess_isThreadPoolStarted(void);
/* The calling thread serves transactions and never returns. */
void ABinderProcess_joinThreadPool(void);

__END_DECLS
