// ABinderProcess_*: the host runtime serves transactions on its own pool whether or not these are
// called; they only size the pool and let a thread join it.
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
