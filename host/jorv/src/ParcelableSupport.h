/*
 * Reading and writing the body of a parcelable as AIDL frames it: an int32 size (counted from the
 * size field itself) followed by the fields in declared order. The size lets a reader of a newer
 * version stop where an older sender's fields end, and skip fields it does not know. Private to
 * the library.
 */
#pragma once

#include <android/binder_parcel.h>
#include <android/binder_parcel_utils.h>
#include <android/binder_status.h>

#include <cstdint>
#include <limits>

namespace aidl {
namespace vendor {
namespace vemra {
namespace hardware {
namespace jorv {
namespace internal {

/*
 * Reads a parcelable's fields; the first failure sticks and later calls do nothing. Fields past the
 * written size keep their defaults. finish() leaves the parcel after the whole parcelable.
 */
class ParcelableReader {
public:
    explicit ParcelableReader(const AParcel* parcel)
        : mParcel(parcel), mStart(AParcel_getDataPosition(parcel)) {
        mStatus = AParcel_readInt32(parcel, &mSize);
        if (mStatus != STATUS_OK) return;
        // The size covers at least itself, and the end must still be a valid position.
        if (mSize < static_cast<int32_t>(sizeof(int32_t)) ||
            mStart > std::numeric_limits<int32_t>::max() - mSize) {
            mStatus = STATUS_BAD_VALUE;
        }
    }

    template <typename T>
    void field(T* value) {
        if (wantsField()) mStatus = ::ndk::AParcel_readData(mParcel, value);
    }
    template <typename T>
    void nullableField(T* value) {
        if (wantsField()) mStatus = ::ndk::AParcel_readNullableData(mParcel, value);
    }

    binder_status_t finish() {
        if (mStatus != STATUS_OK) return mStatus;
        return AParcel_setDataPosition(mParcel, mStart + mSize);
    }

private:
    bool wantsField() const {
        return mStatus == STATUS_OK && AParcel_getDataPosition(mParcel) - mStart < mSize;
    }

    const AParcel* const mParcel;
    const int32_t mStart;
    int32_t mSize = 0;
    binder_status_t mStatus = STATUS_OK;
};

/*
 * Writes a parcelable's fields after a size placeholder; finish() fills in the size. The first
 * failure sticks and later calls do nothing.
 */
class ParcelableWriter {
public:
    explicit ParcelableWriter(AParcel* parcel)
        : mParcel(parcel), mStart(AParcel_getDataPosition(parcel)) {
        mStatus = AParcel_writeInt32(parcel, 0);
    }

    template <typename T>
    void field(const T& value) {
        if (mStatus == STATUS_OK) mStatus = ::ndk::AParcel_writeData(mParcel, value);
    }
    template <typename T>
    void nullableField(const T& value) {
        if (mStatus == STATUS_OK) mStatus = ::ndk::AParcel_writeNullableData(mParcel, value);
    }

    binder_status_t finish() {
        if (mStatus != STATUS_OK) return mStatus;
        const int32_t end = AParcel_getDataPosition(mParcel);
        binder_status_t status = AParcel_setDataPosition(mParcel, mStart);
        if (status == STATUS_OK) status = AParcel_writeInt32(mParcel, end - mStart);
        if (status == STATUS_OK) status = AParcel_setDataPosition(mParcel, end);
        return status;
    }

private:
    AParcel* const mParcel;
    const int32_t mStart;
    binder_status_t mStatus = STATUS_OK;
};

}  // namespace internal
}  // namespace jorv
}  // namespace hardware
}  // namespace vemra
}  // namespace vendor
}  // namespace aidl
