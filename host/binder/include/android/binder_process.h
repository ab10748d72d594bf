/*
 * Host build of the binder NDK thread-pool control (<android/binder_process.h>).
 * The host runtime always serves incoming transactions on threads of its own; these calls only
 * adjust that pool and let a thread join it.
 */
#pragma once

#include <stdbool.h>
#include <stdint.h>
#include <sys/cdefs.h>

__BEGIN_DECLS

void ABinderProcess_startThreadPool(void);
/* Returns false once the pool has started serving. */
bool ABinderProcess_setThreadPoolMaxThreadCount(uint32_t numThreads);
bool ABinderProcess_isThreadPoolStarted(void);
/* The calling thread serves transactions and never returns. */
void ABinderProcess_joinThreadPool(void);

__END_DECLS
