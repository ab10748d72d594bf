#include "receive_buffer.h"

#include <hostbinder/control.h>

#include <algorithm>

#include "mutex.h"

namespace hostbinder {
namespace {

struct BufferState {
    Mutex lock;
    size_t size GUARDED_BY(lock) = HOSTBINDER_RECEIVE_BUFFER_SIZE;
    size_t used GUARDED_BY(lock) = 0;
    size_t onewayUsed GUARDED_BY(lock) = 0;
};

BufferState& state() {
    // Leaked: parcels may be freed on runtime threads while static destructors run at exit.
    static BufferState* const instance = new BufferState;
    return *instance;
}

}  // namespace

size_t bufferCharge(size_t dataSize, size_t objectCount) {
    return ((dataSize + 7) & ~static_cast<size_t>(7)) + 8 * objectCount;
}

bool reserveBuffer(size_t bytes, bool oneway) {
    BufferState& s = state();
    MutexLock lock(s.lock);
    // The size may have been lowered below what is held.
    if (s.used > s.size || bytes > s.size - s.used) return false;
    if (oneway && bytes > s.size / 2 - std::min(s.onewayUsed, s.size / 2)) return false;
    s.used += bytes;
    if (oneway) s.onewayUsed += bytes;
    return true;
}

void releaseBuffer(const BufferCharge& charge) {
    if (charge.bytes == 0) return;
    BufferState& s = state();
    MutexLock lock(s.lock);
    s.used -= charge.bytes;
    if (charge.oneway) s.onewayUsed -= charge.bytes;
}

bool couldEverFit(size_t bytes, bool oneway) {
    BufferState& s = state();
    MutexLock lock(s.lock);
    return bytes <= (oneway ? s.size / 2 : s.size);
}

size_t setReceiveBufferSize(size_t bytes) {
    BufferState& s = state();
    MutexLock lock(s.lock);
    const size_t previous = s.size;
    s.size = bytes == 0 ? HOSTBINDER_RECEIVE_BUFFER_SIZE : bytes;
    return previous;
}

size_t receiveBufferInUse() {
    BufferState& s = state();
    MutexLock lock(s.lock);
    return s.used;
}

}  // namespace hostbinder
