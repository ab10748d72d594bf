// ABinderProcess_*: as on a device, incoming transactions, one-way calls and death notifications
// are served only on the threads these give the runtime (see thread_pool.h). A process that never
// calls them still makes calls, and is called back on a thread waiting in its own call chain.
#include <android/binder_process.h>

#include "thread_pool.h"

using hostbinder::ThreadPool;

void ABinderProcess_startThreadPool(void) {
    ThreadPool::instance().start();
}

bool ABinderProcess_setThreadPoolMaxThreadCount(uint32_t numThreads) {
    return ThreadPool::instance().setMaxThreadCount(numThreads);
}

bool ABinderProcess_isThreadPoolStarted(void) {
    return ThreadPool::instance().isStarted();
}

void ABinderProcess_joinThreadPool(void) {
    ThreadPool::instance().join();
}
