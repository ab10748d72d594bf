// The process's receive buffer: what a device's binder driver maps into every process that opens
// it, and the only place received transactions and replies live until they are freed. Its size
// bounds what peers can make this process hold, whoever they are.
#pragma once

#include <cstddef>

namespace hostbinder {

// Bytes a received parcel occupies: its data, 8-aligned, and an 8-byte offset per object, as in
// a device's buffer.
size_t bufferCharge(size_t dataSize, size_t objectCount);

// Space held by one received parcel; given back when the parcel is destroyed.
struct BufferCharge {
    size_t bytes = 0;
    bool oneway = false;
};

// Takes `bytes` of the free buffer for a received parcel; false when they do not fit (one-way
// transactions together may take at most half of the buffer).
bool reserveBuffer(size_t bytes, bool oneway);
void releaseBuffer(const BufferCharge& charge);

// Whether a parcel of `bytes` could ever fit, however much is freed.
bool couldEverFit(size_t bytes, bool oneway);

size_t setReceiveBufferSize(size_t bytes);
size_t receiveBufferInUse();

}  // namespace hostbinder
