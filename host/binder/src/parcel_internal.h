// The AParcel object: a byte buffer of 4-byte aligned values and the binder objects written into
// it. Reads and writes share one position, as on Android.
#pragma once

#include <android/binder_parcel.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "receive_buffer.h"

namespace hostbinder {

// A binder written into a parcel occupies kFlatBinderSize bytes of data: an int32 marker
// (kFlatBinderNull or kFlatBinderObject) and an int32 of padding. A non-null one also has an
// entry in the object table, at the same offset, which holds a strong reference.
inline constexpr int32_t kFlatBinderNull = 0;
inline constexpr int32_t kFlatBinderObject = 1;
inline constexpr size_t kFlatBinderSize = 8;

// Parcels never grow past this (the transport's frame limit is lower still).
inline constexpr size_t kMaxParcelSize = 0x7fffffff;

struct ParcelObject {
    size_t offset;
    AIBinder* binder;  // one strong reference owned by the parcel
};

}  // namespace hostbinder

struct AParcel {
    AParcel() = default;
    ~AParcel();
    AParcel(const AParcel&) = delete;
    AParcel& operator=(const AParcel&) = delete;

    // Drops data and objects.
    void clear();

    // Writes `size` bytes at the position, padded with zeros to a multiple of 4, and advances.
    binder_status_t write(const void* data, size_t size);
    // The next `size` bytes (padding included in the advance), or null without moving when fewer
    // remain.
    const uint8_t* read(size_t size) const;
    // True when `size` bytes remain after the position; checked before allocating for arrays.
    bool hasRemaining(size_t size) const {
        return mPos <= mData.size() && mData.size() - mPos >= size;
    }
    size_t remaining() const { return mPos <= mData.size() ? mData.size() - mPos : 0; }

    // Takes ownership of one strong reference on `binder`; replaces an object at `offset`.
    void addObject(size_t offset, AIBinder* binder);
    // The object at `offset`, or null.
    AIBinder* objectAt(size_t offset) const;

    std::vector<uint8_t> mData;
    mutable size_t mPos = 0;
    // Sorted by offset; entries never overlap.
    std::vector<hostbinder::ParcelObject> mObjects;
    // Receive-buffer space of a parcel that arrived from a peer, held until it is destroyed.
    hostbinder::BufferCharge mCharge;

private:
    // Drops the objects whose flat data intersects [begin, end); a later write there means the
    // binder was overwritten.
    void dropObjectsIn(size_t begin, size_t end);
};

namespace hostbinder {

// The interface token that starts every user transaction: the class descriptor.
binder_status_t writeInterfaceToken(AParcel* parcel, const char* descriptor);
// STATUS_OK when the next value is a token equal to `descriptor` (the position moves past it),
// STATUS_BAD_TYPE when it names another interface or is missing.
binder_status_t enforceInterfaceToken(const AParcel* parcel, const char* descriptor);

// Length-prefixed UTF-8 string without validation (messages, internal values). Null when
// `string` is null.
binder_status_t writeRawString(AParcel* parcel, const char* string, size_t length);

}  // namespace hostbinder
