// AParcel: flat, 4-byte aligned values. Every read is bounds-checked against the data size, and
// array lengths are checked against the remaining data before any allocator is called, so a
// corrupt length can neither overrun the buffer nor make the caller allocate absurd amounts.
#include <android/binder_ibinder.h>
#include <android/binder_parcel.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

#include "parcel_internal.h"
#include "status_internal.h"

namespace {

constexpr size_t align4(size_t size) {
    return (size + 3) & ~static_cast<size_t>(3);
}

// Strict UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
bool isValidUtf8(const uint8_t* s, size_t n) {
    size_t i = 0;
    while (i < n) {
        const uint8_t c = s[i];
        if (c < 0x80) {
            ++i;
            continue;
        }
        size_t extra;
        uint32_t cp;
        if ((c & 0xe0) == 0xc0) {
            extra = 1;
            cp = c & 0x1f;
        } else if ((c & 0xf0) == 0xe0) {
            extra = 2;
            cp = c & 0x0f;
        } else if ((c & 0xf8) == 0xf0) {
            extra = 3;
            cp = c & 0x07;
        } else {
            return false;
        }
        if (n - i <= extra) return false;
        for (size_t k = 1; k <= extra; ++k) {
            if ((s[i + k] & 0xc0) != 0x80) return false;
            cp = (cp << 6) | (s[i + k] & 0x3f);
        }
        static constexpr uint32_t kMinForLength[] = {0, 0x80, 0x800, 0x10000};
        if (cp < kMinForLength[extra] || cp > 0x10ffff || (cp >= 0xd800 && cp <= 0xdfff)) {
            return false;
        }
        i += extra + 1;
    }
    return true;
}

template <typename T>
binder_status_t writeValue(AParcel* parcel, T value) {
    if (parcel == nullptr) return STATUS_UNEXPECTED_NULL;
    return parcel->write(&value, sizeof(T));
}

// Sub-word values travel as int32, as on Android.
template <typename T>
binder_status_t writeAsInt32(AParcel* parcel, T value) {
    return writeValue<int32_t>(parcel, static_cast<int32_t>(value));
}

template <typename T>
binder_status_t readValue(const AParcel* parcel, T* out) {
    if (parcel == nullptr || out == nullptr) return STATUS_UNEXPECTED_NULL;
    const uint8_t* src = parcel->read(sizeof(T));
    if (src == nullptr) return STATUS_NOT_ENOUGH_DATA;
    std::memcpy(out, src, sizeof(T));
    return STATUS_OK;
}

binder_status_t readInt32(const AParcel* parcel, int32_t* out) {
    return readValue<int32_t>(parcel, out);
}

// Reads an array length and checks that `length * elementSize` bytes follow. -1 is null.
binder_status_t readArrayLength(const AParcel* parcel, size_t elementSize, int32_t* length) {
    int32_t n = 0;
    binder_status_t st = readInt32(parcel, &n);
    if (st != STATUS_OK) return st;
    if (n < -1) return STATUS_BAD_VALUE;
    if (n > 0 && !parcel->hasRemaining(align4(static_cast<size_t>(n) * elementSize))) {
        return STATUS_NOT_ENOUGH_DATA;
    }
    *length = n;
    return STATUS_OK;
}

template <typename T>
binder_status_t writeArray(AParcel* parcel, const T* data, int32_t length) {
    if (parcel == nullptr) return STATUS_UNEXPECTED_NULL;
    if (length < -1) return STATUS_BAD_VALUE;
    if (length > 0 && data == nullptr) return STATUS_UNEXPECTED_NULL;
    if (length > 0 && static_cast<size_t>(length) > hostbinder::kMaxParcelSize / sizeof(T)) {
        return STATUS_NO_MEMORY;
    }
    const size_t start = parcel->mPos;
    binder_status_t st = writeValue<int32_t>(parcel, length);
    if (st != STATUS_OK || length <= 0) return st;
    st = parcel->write(data, static_cast<size_t>(length) * sizeof(T));
    if (st != STATUS_OK) parcel->mPos = start;
    return st;
}

template <typename T>
binder_status_t readArray(const AParcel* parcel, void* arrayData,
                          bool (*allocator)(void*, int32_t, T**)) {
    if (parcel == nullptr || allocator == nullptr) return STATUS_UNEXPECTED_NULL;
    int32_t length = 0;
    binder_status_t st = readArrayLength(parcel, sizeof(T), &length);
    if (st != STATUS_OK) return st;
    T* buffer = nullptr;
    if (!allocator(arrayData, length, &buffer)) return STATUS_NO_MEMORY;
    if (length <= 0) return STATUS_OK;
    if (buffer == nullptr) return STATUS_NO_MEMORY;
    const size_t bytes = static_cast<size_t>(length) * sizeof(T);
    const uint8_t* src = parcel->read(bytes);
    if (src == nullptr) return STATUS_NOT_ENOUGH_DATA;  // checked above; kept for safety
    std::memcpy(buffer, src, bytes);
    return STATUS_OK;
}

// Sub-word values come back out of their int32 word.
template <typename T>
binder_status_t readFromInt32(const AParcel* parcel, T* value) {
    if (value == nullptr) return STATUS_UNEXPECTED_NULL;
    int32_t raw = 0;
    binder_status_t st = readInt32(parcel, &raw);
    if (st == STATUS_OK) *value = static_cast<T>(raw);
    return st;
}

// Writes an array of elements that are not plain bytes: its length (-1 for null), then each
// element through `writeElement(index)`.
template <typename WriteElement>
binder_status_t writeElements(AParcel* parcel, int32_t length, bool haveWriter,
                              WriteElement&& writeElement) {
    if (parcel == nullptr) return STATUS_UNEXPECTED_NULL;
    if (length < -1) return STATUS_BAD_VALUE;
    if (length > 0 && !haveWriter) return STATUS_UNEXPECTED_NULL;
    binder_status_t st = writeValue<int32_t>(parcel, length);
    for (int32_t i = 0; st == STATUS_OK && i < length; ++i) {
        st = writeElement(static_cast<size_t>(i));
    }
    return st;
}

// Reads such an array's elements once its length has been checked and allocated for.
template <typename ReadElement>
binder_status_t readElements(int32_t length, bool haveReader, ReadElement&& readElement) {
    if (length > 0 && !haveReader) return STATUS_UNEXPECTED_NULL;
    for (int32_t i = 0; i < length; ++i) {
        binder_status_t st = readElement(static_cast<size_t>(i));
        if (st != STATUS_OK) return st;
    }
    return STATUS_OK;
}

// Reads one string body after its length has been read. `allocate` receives the length including
// the terminator, as the NDK's allocators expect.
template <typename Allocate>
binder_status_t readStringBody(const AParcel* parcel, int32_t length, Allocate&& allocate) {
    char* buffer = nullptr;
    if (length == -1) return allocate(-1, &buffer) ? STATUS_OK : STATUS_NO_MEMORY;
    if (length < -1 || length == INT32_MAX) return STATUS_BAD_VALUE;
    const size_t n = static_cast<size_t>(length);
    if (!parcel->hasRemaining(align4(n + 1))) return STATUS_NOT_ENOUGH_DATA;
    const uint8_t* src = parcel->mData.data() + parcel->mPos;
    if (src[n] != 0) return STATUS_BAD_VALUE;
    if (!allocate(length + 1, &buffer) || buffer == nullptr) return STATUS_NO_MEMORY;
    std::memcpy(buffer, src, n);
    buffer[n] = '\0';
    parcel->read(n + 1);
    return STATUS_OK;
}

binder_status_t writeUtf8String(AParcel* parcel, const char* string, int32_t length) {
    if (parcel == nullptr) return STATUS_UNEXPECTED_NULL;
    if (string == nullptr || length == -1) return writeValue<int32_t>(parcel, -1);
    if (length < -1) return STATUS_BAD_VALUE;
    if (!isValidUtf8(reinterpret_cast<const uint8_t*>(string), static_cast<size_t>(length))) {
        return STATUS_BAD_VALUE;
    }
    return hostbinder::writeRawString(parcel, string, static_cast<size_t>(length));
}

}  // namespace

// --- AParcel members ----------------------------------------------------------------------------

AParcel::~AParcel() {
    clear();
    hostbinder::releaseBuffer(mCharge);
}

void AParcel::clear() {
    std::vector<hostbinder::ParcelObject> objects;
    objects.swap(mObjects);
    mData.clear();
    mPos = 0;
    // Dropping a reference may destroy an object and run its onDestroy; the parcel is already in
    // a consistent state by then.
    for (const auto& object : objects) AIBinder_decStrong(object.binder);
}

binder_status_t AParcel::write(const void* data, size_t size) {
    const size_t padded = align4(size);
    if (padded < size || mPos > hostbinder::kMaxParcelSize ||
        padded > hostbinder::kMaxParcelSize - mPos) {
        return STATUS_NO_MEMORY;
    }
    const size_t end = mPos + padded;
    if (end > mData.size()) {
        try {
            mData.resize(end);
        } catch (const std::bad_alloc&) {
            return STATUS_NO_MEMORY;
        }
    }
    if (!mObjects.empty()) dropObjectsIn(mPos, end);
    if (size > 0) std::memcpy(mData.data() + mPos, data, size);
    if (padded > size) std::memset(mData.data() + mPos + size, 0, padded - size);
    mPos = end;
    return STATUS_OK;
}

const uint8_t* AParcel::read(size_t size) const {
    const size_t padded = align4(size);
    if (padded < size || !hasRemaining(padded)) return nullptr;
    const uint8_t* p = mData.data() + mPos;
    mPos += padded;
    return p;
}

void AParcel::addObject(size_t offset, AIBinder* binder) {
    dropObjectsIn(offset, offset + hostbinder::kFlatBinderSize);
    auto it = std::lower_bound(
            mObjects.begin(), mObjects.end(), offset,
            [](const hostbinder::ParcelObject& o, size_t value) { return o.offset < value; });
    mObjects.insert(it, hostbinder::ParcelObject{offset, binder});
}

AIBinder* AParcel::objectAt(size_t offset) const {
    auto it = std::lower_bound(
            mObjects.begin(), mObjects.end(), offset,
            [](const hostbinder::ParcelObject& o, size_t value) { return o.offset < value; });
    return it != mObjects.end() && it->offset == offset ? it->binder : nullptr;
}

void AParcel::dropObjectsIn(size_t begin, size_t end) {
    // Fast path: appending past the last object.
    if (mObjects.empty() || mObjects.back().offset + hostbinder::kFlatBinderSize <= begin) return;
    std::vector<AIBinder*> dropped;
    auto keep = std::remove_if(
            mObjects.begin(), mObjects.end(), [&](const hostbinder::ParcelObject& o) {
                const bool hit = o.offset < end && begin < o.offset + hostbinder::kFlatBinderSize;
                if (hit) dropped.push_back(o.binder);
                return hit;
            });
    mObjects.erase(keep, mObjects.end());
    for (AIBinder* binder : dropped) AIBinder_decStrong(binder);
}

// --- Internal helpers ---------------------------------------------------------------------------

namespace hostbinder {

binder_status_t writeRawString(AParcel* parcel, const char* string, size_t length) {
    if (string == nullptr) return writeValue<int32_t>(parcel, -1);
    if (length >= static_cast<size_t>(INT32_MAX)) return STATUS_NO_MEMORY;
    const size_t start = parcel->mPos;
    binder_status_t st = writeValue<int32_t>(parcel, static_cast<int32_t>(length));
    if (st != STATUS_OK) return st;
    // The body and its terminator in one write; the padding is zero-filled by write().
    const size_t end = parcel->mPos + align4(length + 1);
    if (end > kMaxParcelSize) {
        parcel->mPos = start;
        return STATUS_NO_MEMORY;
    }
    st = parcel->write(string, length);
    if (st == STATUS_OK && parcel->mPos < end) {
        // length was a multiple of 4: the terminator needs a word of its own.
        static constexpr uint8_t kZero[4] = {};
        st = parcel->write(kZero, 4);
    }
    if (st != STATUS_OK) parcel->mPos = start;
    return st;
}

binder_status_t writeInterfaceToken(AParcel* parcel, const char* descriptor) {
    return writeRawString(parcel, descriptor, std::strlen(descriptor));
}

binder_status_t enforceInterfaceToken(const AParcel* parcel, const char* descriptor) {
    int32_t length = 0;
    if (readInt32(parcel, &length) != STATUS_OK || length < 0) return STATUS_BAD_TYPE;
    const size_t n = static_cast<size_t>(length);
    if (n != std::strlen(descriptor) || !parcel->hasRemaining(align4(n + 1))) {
        return STATUS_BAD_TYPE;
    }
    const uint8_t* token = parcel->read(n + 1);
    if (std::memcmp(token, descriptor, n) != 0) return STATUS_BAD_TYPE;
    return STATUS_OK;
}

}  // namespace hostbinder

// --- C API: lifetime and position ---------------------------------------------------------------

void AParcel_delete(AParcel* parcel) {
    delete parcel;
}

AParcel* AParcel_create(void) {
    return new (std::nothrow) AParcel;
}

binder_status_t AParcel_reset(AParcel* parcel) {
    if (parcel == nullptr) return STATUS_UNEXPECTED_NULL;
    parcel->clear();
    return STATUS_OK;
}

binder_status_t AParcel_setDataPosition(const AParcel* parcel, int32_t position) {
    if (parcel == nullptr) return STATUS_UNEXPECTED_NULL;
    if (position < 0) return STATUS_BAD_VALUE;
    parcel->mPos = static_cast<size_t>(position);
    return STATUS_OK;
}

int32_t AParcel_getDataPosition(const AParcel* parcel) {
    return parcel == nullptr ? 0 : static_cast<int32_t>(parcel->mPos);
}

int32_t AParcel_getDataSize(const AParcel* parcel) {
    return parcel == nullptr ? 0 : static_cast<int32_t>(parcel->mData.size());
}

binder_status_t AParcel_marshal(const AParcel* parcel, uint8_t* buffer, size_t start, size_t len) {
    if (parcel == nullptr || (buffer == nullptr && len > 0)) return STATUS_UNEXPECTED_NULL;
    if (!parcel->mObjects.empty()) return STATUS_INVALID_OPERATION;
    if (start > parcel->mData.size() || len > parcel->mData.size() - start) return STATUS_BAD_VALUE;
    if (len > 0) std::memcpy(buffer, parcel->mData.data() + start, len);
    return STATUS_OK;
}

binder_status_t AParcel_appendFrom(const AParcel* from, AParcel* to, int32_t start, int32_t size) {
    if (from == nullptr || to == nullptr) return STATUS_UNEXPECTED_NULL;
    if (start < 0 || size < 0) return STATUS_BAD_VALUE;
    const size_t begin = static_cast<size_t>(start);
    const size_t length = static_cast<size_t>(size);
    if (begin > from->mData.size() || length > from->mData.size() - begin) {
        return STATUS_BAD_VALUE;
    }
    const size_t end = begin + length;
    std::vector<hostbinder::ParcelObject> objects;
    for (const auto& o : from->mObjects) {
        const size_t objectEnd = o.offset + hostbinder::kFlatBinderSize;
        if (objectEnd <= begin || o.offset >= end) continue;
        // Half a binder cannot be copied.
        if (o.offset < begin || objectEnd > end) return STATUS_BAD_VALUE;
        objects.push_back(o);
    }
    const size_t destination = to->mData.size();
    if (length > hostbinder::kMaxParcelSize - destination) return STATUS_NO_MEMORY;
    try {
        // Copy first: `from` may be `to`, and growing `to` would move the source bytes.
        std::vector<uint8_t> bytes(from->mData.begin() + static_cast<ptrdiff_t>(begin),
                                   from->mData.begin() + static_cast<ptrdiff_t>(end));
        to->mData.insert(to->mData.end(), bytes.begin(), bytes.end());
    } catch (const std::bad_alloc&) {
        return STATUS_NO_MEMORY;
    }
    for (const auto& o : objects) {
        AIBinder_incStrong(o.binder);
        to->addObject(destination + (o.offset - begin), o.binder);
    }
    to->mPos = to->mData.size();
    return STATUS_OK;
}

// --- C API: binders and file descriptors --------------------------------------------------------

binder_status_t AParcel_writeStrongBinder(AParcel* parcel, AIBinder* binder) {
    if (parcel == nullptr) return STATUS_UNEXPECTED_NULL;
    const int32_t flat[2] = {
            binder == nullptr ? hostbinder::kFlatBinderNull : hostbinder::kFlatBinderObject, 0};
    const size_t offset = parcel->mPos;
    binder_status_t st = parcel->write(flat, sizeof(flat));
    if (st != STATUS_OK || binder == nullptr) return st;
    AIBinder_incStrong(binder);
    parcel->addObject(offset, binder);
    return STATUS_OK;
}

binder_status_t AParcel_readStrongBinder(const AParcel* parcel, AIBinder** binder) {
    if (parcel == nullptr || binder == nullptr) return STATUS_UNEXPECTED_NULL;
    const size_t offset = parcel->mPos;
    if (!parcel->hasRemaining(hostbinder::kFlatBinderSize)) return STATUS_NOT_ENOUGH_DATA;
    int32_t marker = 0;
    std::memcpy(&marker, parcel->mData.data() + offset, sizeof(marker));
    AIBinder* found = nullptr;
    if (marker == hostbinder::kFlatBinderObject) {
        found = parcel->objectAt(offset);
        if (found == nullptr) return STATUS_BAD_VALUE;
    } else if (marker != hostbinder::kFlatBinderNull) {
        return STATUS_BAD_VALUE;
    }
    parcel->read(hostbinder::kFlatBinderSize);
    if (found != nullptr) AIBinder_incStrong(found);
    *binder = found;
    return STATUS_OK;
}

binder_status_t AParcel_writeParcelFileDescriptor(AParcel* parcel, int fd) {
    if (parcel == nullptr) return STATUS_UNEXPECTED_NULL;
    // A null descriptor carries no fd, so it can be represented.
    if (fd < 0) return writeValue<int32_t>(parcel, 0);
    return STATUS_FDS_NOT_ALLOWED;
}

binder_status_t AParcel_readParcelFileDescriptor(const AParcel* parcel, int* fd) {
    if (fd == nullptr) return STATUS_UNEXPECTED_NULL;
    int32_t present = 0;
    binder_status_t st = readInt32(parcel, &present);
    if (st != STATUS_OK) return st;
    if (present != 0) return STATUS_FDS_NOT_ALLOWED;
    *fd = -1;
    return STATUS_OK;
}

// --- C API: status header -----------------------------------------------------------------------

binder_status_t AParcel_writeStatusHeader(AParcel* parcel, const AStatus* status) {
    if (parcel == nullptr || status == nullptr) return STATUS_UNEXPECTED_NULL;
    // A transport failure is not an answer the peer can read: it becomes the transaction's
    // result instead (and so reaches the caller as a failed transact).
    if (status->mException == EX_TRANSACTION_FAILED) {
        return status->mCode == STATUS_OK ? STATUS_FAILED_TRANSACTION : status->mCode;
    }
    const size_t start = parcel->mPos;
    binder_status_t st = writeValue<int32_t>(parcel, status->mException);
    if (st != STATUS_OK || status->mException == EX_NONE) return st;
    st = hostbinder::writeRawString(parcel, status->mMessage.data(), status->mMessage.size());
    if (st == STATUS_OK && status->mException == EX_SERVICE_SPECIFIC) {
        st = writeValue<int32_t>(parcel, status->mCode);
    }
    if (st != STATUS_OK) parcel->mPos = start;
    return st;
}

binder_status_t AParcel_readStatusHeader(const AParcel* parcel, AStatus** status) {
    if (parcel == nullptr || status == nullptr) return STATUS_UNEXPECTED_NULL;
    int32_t exception = 0;
    binder_status_t st = readInt32(parcel, &exception);
    if (st != STATUS_OK) return st;
    if (exception == EX_NONE) {
        *status = AStatus_newOk();
        return STATUS_OK;
    }
    int32_t length = 0;
    st = readInt32(parcel, &length);
    if (st != STATUS_OK) return st;
    std::string message;
    st = readStringBody(parcel, length, [&](int32_t n, char** buffer) {
        if (n < 0) return true;
        message.resize(static_cast<size_t>(n - 1));
        // std::string keeps room for the terminator, which readStringBody writes.
        *buffer = message.data();
        return true;
    });
    if (st != STATUS_OK) return st;
    int32_t code = 0;
    if (exception == EX_SERVICE_SPECIFIC) {
        st = readInt32(parcel, &code);
        if (st != STATUS_OK) return st;
    } else if (exception == EX_TRANSACTION_FAILED) {
        code = STATUS_FAILED_TRANSACTION;
    }
    auto* result = new AStatus;
    result->mException = exception;
    result->mCode = code;
    result->mMessage = std::move(message);
    *status = result;
    return STATUS_OK;
}

// --- C API: strings -----------------------------------------------------------------------------

binder_status_t AParcel_writeString(AParcel* parcel, const char* string, int32_t length) {
    return writeUtf8String(parcel, string, length);
}

binder_status_t AParcel_readString(const AParcel* parcel, void* stringData,
                                   AParcel_stringAllocator allocator) {
    if (parcel == nullptr || allocator == nullptr) return STATUS_UNEXPECTED_NULL;
    int32_t length = 0;
    binder_status_t st = readInt32(parcel, &length);
    if (st != STATUS_OK) return st;
    return readStringBody(parcel, length, [&](int32_t n, char** buffer) {
        return allocator(stringData, n, buffer);
    });
}

binder_status_t AParcel_writeStringArray(AParcel* parcel, const void* arrayData, int32_t length,
                                         AParcel_stringArrayElementGetter getter) {
    return writeElements(parcel, length, getter != nullptr, [&](size_t i) {
        int32_t elementLength = -1;
        const char* element = getter(arrayData, i, &elementLength);
        return writeUtf8String(parcel, element, element == nullptr ? -1 : elementLength);
    });
}

binder_status_t AParcel_readStringArray(const AParcel* parcel, void* arrayData,
                                        AParcel_stringArrayAllocator allocator,
                                        AParcel_stringArrayElementAllocator elementAllocator) {
    if (parcel == nullptr || allocator == nullptr) return STATUS_UNEXPECTED_NULL;
    // Every element takes at least one word (its length).
    int32_t length = 0;
    binder_status_t st = readArrayLength(parcel, 4, &length);
    if (st != STATUS_OK) return st;
    if (!allocator(arrayData, length)) return STATUS_NO_MEMORY;
    return readElements(length, elementAllocator != nullptr, [&](size_t i) {
        int32_t elementLength = 0;
        binder_status_t elementSt = readInt32(parcel, &elementLength);
        if (elementSt != STATUS_OK) return elementSt;
        return readStringBody(parcel, elementLength, [&](int32_t n, char** buffer) {
            return elementAllocator(arrayData, i, n, buffer);
        });
    });
}

binder_status_t AParcel_writeParcelableArray(AParcel* parcel, const void* arrayData, int32_t length,
                                             AParcel_writeParcelableElement elementWriter) {
    return writeElements(parcel, length, elementWriter != nullptr,
                         [&](size_t i) { return elementWriter(parcel, arrayData, i); });
}

binder_status_t AParcel_readParcelableArray(const AParcel* parcel, void* arrayData,
                                            AParcel_parcelableArrayAllocator allocator,
                                            AParcel_readParcelableElement elementReader) {
    if (parcel == nullptr || allocator == nullptr) return STATUS_UNEXPECTED_NULL;
    // An element may in principle be empty, but a length beyond the remaining bytes is not a
    // plausible array: refuse it before the caller allocates for it.
    int32_t length = 0;
    binder_status_t st = readInt32(parcel, &length);
    if (st != STATUS_OK) return st;
    if (length < -1) return STATUS_BAD_VALUE;
    if (length > 0 && !parcel->hasRemaining(static_cast<size_t>(length))) {
        return STATUS_NOT_ENOUGH_DATA;
    }
    if (!allocator(arrayData, length)) return STATUS_NO_MEMORY;
    return readElements(length, elementReader != nullptr,
                        [&](size_t i) { return elementReader(parcel, arrayData, i); });
}

// --- C API: scalars and arrays -----------------------------------------------------------------

// The C entry points of the fixed-size types differ only in their names and types, and in how
// a value is laid out: a word-or-larger type as itself, a sub-word type as an int32 (arrays of
// those are packed, then padded).
#define HB_PARCEL_VALUE(Name, Type, write, read)                             \
    binder_status_t AParcel_write##Name(AParcel* parcel, Type value) {       \
        return write(parcel, value);                                         \
    }                                                                        \
    binder_status_t AParcel_read##Name(const AParcel* parcel, Type* value) { \
        return read(parcel, value);                                          \
    }

#define HB_PARCEL_ARRAY(Name, Type)                                                        \
    binder_status_t AParcel_write##Name##Array(AParcel* parcel, const Type* arrayData,     \
                                               int32_t length) {                           \
        return writeArray(parcel, arrayData, length);                                      \
    }                                                                                      \
    binder_status_t AParcel_read##Name##Array(const AParcel* parcel, void* arrayData,      \
                                              bool (*allocator)(void*, int32_t, Type**)) { \
        return readArray(parcel, arrayData, allocator);                                    \
    }

HB_PARCEL_VALUE(Int32, int32_t, writeValue, readValue)
HB_PARCEL_VALUE(Uint32, uint32_t, writeValue, readValue)
HB_PARCEL_VALUE(Int64, int64_t, writeValue, readValue)
HB_PARCEL_VALUE(Uint64, uint64_t, writeValue, readValue)
HB_PARCEL_VALUE(Float, float, writeValue, readValue)
HB_PARCEL_VALUE(Double, double, writeValue, readValue)
HB_PARCEL_VALUE(Bool, bool, writeAsInt32, readFromInt32)
HB_PARCEL_VALUE(Char, char16_t, writeAsInt32, readFromInt32)
HB_PARCEL_VALUE(Byte, int8_t, writeAsInt32, readFromInt32)
HB_PARCEL_ARRAY(Int32, int32_t)
HB_PARCEL_ARRAY(Uint32, uint32_t)
HB_PARCEL_ARRAY(Int64, int64_t)
HB_PARCEL_ARRAY(Uint64, uint64_t)
HB_PARCEL_ARRAY(Float, float)
HB_PARCEL_ARRAY(Double, double)
HB_PARCEL_ARRAY(Char, char16_t)
HB_PARCEL_ARRAY(Byte, int8_t)

#undef HB_PARCEL_VALUE
#undef HB_PARCEL_ARRAY

// Bools have no packed form: one word per element.
binder_status_t AParcel_writeBoolArray(AParcel* parcel, const void* arrayData, int32_t length,
                                       AParcel_boolArrayGetter getter) {
    return writeElements(parcel, length, getter != nullptr, [&](size_t i) {
        return writeAsInt32(parcel, getter(arrayData, i) ? 1 : 0);
    });
}

binder_status_t AParcel_readBoolArray(const AParcel* parcel, void* arrayData,
                                      AParcel_boolArrayAllocator allocator,
                                      AParcel_boolArraySetter setter) {
    if (parcel == nullptr || allocator == nullptr) return STATUS_UNEXPECTED_NULL;
    int32_t length = 0;
    binder_status_t st = readArrayLength(parcel, 4, &length);
    if (st != STATUS_OK) return st;
    if (!allocator(arrayData, length)) return STATUS_NO_MEMORY;
    return readElements(length, setter != nullptr, [&](size_t i) {
        bool value = false;
        binder_status_t elementSt = readFromInt32(parcel, &value);
        if (elementSt == STATUS_OK) setter(arrayData, i, value);
        return elementSt;
    });
}
