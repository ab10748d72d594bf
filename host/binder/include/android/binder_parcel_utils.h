/*
 * Host build of <android/binder_parcel_utils.h>: reading and writing C++ values in an AParcel, as
 * AIDL-generated NDK code does.
 *
 * ndk::AParcel_writeData / ndk::AParcel_readData handle every type an AIDL NDK interface uses:
 * scalars, enums, std::string, SpAIBinder, ScopedFileDescriptor, parcelables (classes with
 * writeToParcel / readFromParcel), interfaces (std::shared_ptr<I> where I has fromBinder), vectors
 * of all of these, and std::optional of strings, vectors and parcelables. Types that may be null
 * without being optional (binders, file descriptors) are written as required by AParcel_writeData
 * and as nullable by AParcel_writeNullableData. Reading a null into a non-nullable value fails with
 * STATUS_UNEXPECTED_NULL.
 */
#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_parcel.h>
#include <android/binder_status.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace ndk {

// Whether a parcelable may cross partitions (VINTF) or only be used within one (LOCAL).
enum parcelable_stability_t {
    STABILITY_LOCAL,
    STABILITY_VINTF,
};

template <typename T>
inline binder_status_t AParcel_writeData(AParcel* parcel, const T& value);
template <typename T>
inline binder_status_t AParcel_readData(const AParcel* parcel, T* value);
template <typename T>
inline binder_status_t AParcel_writeNullableData(AParcel* parcel, const T& value);
template <typename T>
inline binder_status_t AParcel_readNullableData(const AParcel* parcel, T* value);

namespace parcel_detail {

template <typename T>
inline constexpr bool kDependentFalse = false;

template <typename T>
struct IsVector : std::false_type {};
template <typename E>
struct IsVector<std::vector<E>> : std::true_type {};

template <typename T>
struct IsOptional : std::false_type {};
template <typename V>
struct IsOptional<std::optional<V>> : std::true_type {};

template <typename T, typename = void>
struct IsParcelable : std::false_type {};
template <typename T>
struct IsParcelable<
        T, std::void_t<decltype(std::declval<const T&>().writeToParcel(std::declval<AParcel*>())),
                       decltype(std::declval<T&>().readFromParcel(std::declval<const AParcel*>()))>>
    : std::true_type {};

// Interface pointers: std::shared_ptr<I> where I::fromBinder makes an I of a binder.
template <typename T, typename = void>
struct IsInterface : std::false_type {};
template <typename I>
struct IsInterface<std::shared_ptr<I>,
                   std::void_t<decltype(I::fromBinder(std::declval<const SpAIBinder&>())),
                               decltype(std::declval<I&>().asBinder())>> : std::true_type {};

template <typename T>
inline constexpr bool kIsScalar =
        std::is_same_v<T, int32_t> || std::is_same_v<T, uint32_t> || std::is_same_v<T, int64_t> ||
        std::is_same_v<T, uint64_t> || std::is_same_v<T, float> || std::is_same_v<T, double> ||
        std::is_same_v<T, bool> || std::is_same_v<T, char16_t> || std::is_same_v<T, int8_t>;

// Element types written with the C API's typed array calls (bool and uint8_t have their own).
template <typename T>
inline constexpr bool kHasTypedArray =
        std::is_same_v<T, int32_t> || std::is_same_v<T, uint32_t> || std::is_same_v<T, int64_t> ||
        std::is_same_v<T, uint64_t> || std::is_same_v<T, float> || std::is_same_v<T, double> ||
        std::is_same_v<T, char16_t> || std::is_same_v<T, int8_t>;

template <typename T>
inline constexpr bool kIsStringElement =
        std::is_same_v<T, std::string> || std::is_same_v<T, std::optional<std::string>>;

inline binder_status_t writeScalar(AParcel* p, int32_t v) {
    return ::AParcel_writeInt32(p, v);
}
inline binder_status_t writeScalar(AParcel* p, uint32_t v) {
    return ::AParcel_writeUint32(p, v);
}
inline binder_status_t writeScalar(AParcel* p, int64_t v) {
    return ::AParcel_writeInt64(p, v);
}
inline binder_status_t writeScalar(AParcel* p, uint64_t v) {
    return ::AParcel_writeUint64(p, v);
}
inline binder_status_t writeScalar(AParcel* p, float v) {
    return ::AParcel_writeFloat(p, v);
}
inline binder_status_t writeScalar(AParcel* p, double v) {
    return ::AParcel_writeDouble(p, v);
}
inline binder_status_t writeScalar(AParcel* p, bool v) {
    return ::AParcel_writeBool(p, v);
}
inline binder_status_t writeScalar(AParcel* p, char16_t v) {
    return ::AParcel_writeChar(p, v);
}
inline binder_status_t writeScalar(AParcel* p, int8_t v) {
    return ::AParcel_writeByte(p, v);
}

inline binder_status_t readScalar(const AParcel* p, int32_t* v) {
    return ::AParcel_readInt32(p, v);
}
inline binder_status_t readScalar(const AParcel* p, uint32_t* v) {
    return ::AParcel_readUint32(p, v);
}
inline binder_status_t readScalar(const AParcel* p, int64_t* v) {
    return ::AParcel_readInt64(p, v);
}
inline binder_status_t readScalar(const AParcel* p, uint64_t* v) {
    return ::AParcel_readUint64(p, v);
}
inline binder_status_t readScalar(const AParcel* p, float* v) {
    return ::AParcel_readFloat(p, v);
}
inline binder_status_t readScalar(const AParcel* p, double* v) {
    return ::AParcel_readDouble(p, v);
}
inline binder_status_t readScalar(const AParcel* p, bool* v) {
    return ::AParcel_readBool(p, v);
}
inline binder_status_t readScalar(const AParcel* p, char16_t* v) {
    return ::AParcel_readChar(p, v);
}
inline binder_status_t readScalar(const AParcel* p, int8_t* v) {
    return ::AParcel_readByte(p, v);
}

inline binder_status_t writeTypedArray(AParcel* p, const int32_t* d, int32_t n) {
    return ::AParcel_writeInt32Array(p, d, n);
}
inline binder_status_t writeTypedArray(AParcel* p, const uint32_t* d, int32_t n) {
    return ::AParcel_writeUint32Array(p, d, n);
}
inline binder_status_t writeTypedArray(AParcel* p, const int64_t* d, int32_t n) {
    return ::AParcel_writeInt64Array(p, d, n);
}
inline binder_status_t writeTypedArray(AParcel* p, const uint64_t* d, int32_t n) {
    return ::AParcel_writeUint64Array(p, d, n);
}
inline binder_status_t writeTypedArray(AParcel* p, const float* d, int32_t n) {
    return ::AParcel_writeFloatArray(p, d, n);
}
inline binder_status_t writeTypedArray(AParcel* p, const double* d, int32_t n) {
    return ::AParcel_writeDoubleArray(p, d, n);
}
inline binder_status_t writeTypedArray(AParcel* p, const char16_t* d, int32_t n) {
    return ::AParcel_writeCharArray(p, d, n);
}
inline binder_status_t writeTypedArray(AParcel* p, const int8_t* d, int32_t n) {
    return ::AParcel_writeByteArray(p, d, n);
}

inline binder_status_t readTypedArray(const AParcel* p, void* d, AParcel_int32ArrayAllocator a) {
    return ::AParcel_readInt32Array(p, d, a);
}
inline binder_status_t readTypedArray(const AParcel* p, void* d, AParcel_uint32ArrayAllocator a) {
    return ::AParcel_readUint32Array(p, d, a);
}
inline binder_status_t readTypedArray(const AParcel* p, void* d, AParcel_int64ArrayAllocator a) {
    return ::AParcel_readInt64Array(p, d, a);
}
inline binder_status_t readTypedArray(const AParcel* p, void* d, AParcel_uint64ArrayAllocator a) {
    return ::AParcel_readUint64Array(p, d, a);
}
inline binder_status_t readTypedArray(const AParcel* p, void* d, AParcel_floatArrayAllocator a) {
    return ::AParcel_readFloatArray(p, d, a);
}
inline binder_status_t readTypedArray(const AParcel* p, void* d, AParcel_doubleArrayAllocator a) {
    return ::AParcel_readDoubleArray(p, d, a);
}
inline binder_status_t readTypedArray(const AParcel* p, void* d, AParcel_charArrayAllocator a) {
    return ::AParcel_readCharArray(p, d, a);
}
inline binder_status_t readTypedArray(const AParcel* p, void* d, AParcel_byteArrayAllocator a) {
    return ::AParcel_readByteArray(p, d, a);
}

// Lengths travel as int32; anything longer cannot be written.
inline bool lengthFits(size_t size) {
    return size <= static_cast<size_t>(std::numeric_limits<int32_t>::max());
}

/*
 * String buffers. The runtime asks for `length` bytes including the terminator, then copies the
 * characters and the terminator: the string gets length - 1 characters, and the terminator lands
 * in std::string's own terminator slot. A non-null string always has length >= 1.
 */
inline char* prepareStringBuffer(std::string* s, int32_t length) {
    s->resize(static_cast<size_t>(length) - 1);
    return s->data();
}

// Destination of a read that may find null: exactly one of `required` and `optional` is set.
template <typename V>
struct ReadTarget {
    V* required = nullptr;
    std::optional<V>* optional = nullptr;
    V* value = nullptr;    // where the data goes, once known not to be null
    bool sawNull = false;  // a null arrived for `required`

    // Called with the length the parcel holds; false stops the read.
    bool accept(int32_t length) {
        if (length < 0) {
            if (optional == nullptr) {
                sawNull = true;
                return false;
            }
            optional->reset();
            return true;
        }
        value = required != nullptr ? required : &optional->emplace();
        return true;
    }

    binder_status_t result(binder_status_t status) const {
        return status != STATUS_OK && sawNull ? STATUS_UNEXPECTED_NULL : status;
    }
};

inline bool stringAllocator(void* data, int32_t length, char** buffer) {
    auto* target = static_cast<ReadTarget<std::string>*>(data);
    *buffer = nullptr;
    if (length == 0) return false;
    if (!target->accept(length)) return false;
    if (target->value != nullptr) *buffer = prepareStringBuffer(target->value, length);
    return true;
}

inline binder_status_t writeString(AParcel* parcel, const std::string* s) {
    if (s == nullptr) return ::AParcel_writeString(parcel, nullptr, -1);
    if (!lengthFits(s->size())) return STATUS_BAD_VALUE;
    return ::AParcel_writeString(parcel, s->data(), static_cast<int32_t>(s->size()));
}

inline binder_status_t readString(const AParcel* parcel, ReadTarget<std::string>* target) {
    return target->result(::AParcel_readString(parcel, target, stringAllocator));
}

template <typename E>
using VectorTarget = ReadTarget<std::vector<E>>;

template <typename E>
bool vectorAllocator(void* data, int32_t length) {
    auto* target = static_cast<VectorTarget<E>*>(data);
    if (!target->accept(length)) return false;
    if (target->value != nullptr) target->value->resize(static_cast<size_t>(length));
    return true;
}

template <typename E, typename Buffer>
bool typedArrayAllocator(void* data, int32_t length, Buffer** buffer) {
    auto* target = static_cast<VectorTarget<E>*>(data);
    *buffer = nullptr;
    if (!vectorAllocator<E>(data, length)) return false;
    if (target->value != nullptr) *buffer = reinterpret_cast<Buffer*>(target->value->data());
    return true;
}

inline bool boolArrayGetter(const void* data, size_t index) {
    return (*static_cast<const std::vector<bool>*>(data))[index];
}
inline void boolArraySetter(void* data, size_t index, bool value) {
    (*static_cast<VectorTarget<bool>*>(data)->value)[index] = value;
}

template <typename S>
const char* stringArrayGetter(const void* data, size_t index, int32_t* outLength) {
    const S& element = (*static_cast<const std::vector<S>*>(data))[index];
    const std::string* s;
    if constexpr (std::is_same_v<S, std::string>) {
        s = &element;
    } else {
        if (!element.has_value()) {
            *outLength = -1;
            return nullptr;
        }
        s = &*element;
    }
    *outLength = static_cast<int32_t>(s->size());
    return s->c_str();
}

template <typename S>
bool stringArrayElementAllocator(void* data, size_t index, int32_t length, char** buffer) {
    auto* target = static_cast<VectorTarget<S>*>(data);
    S& element = (*target->value)[index];
    *buffer = nullptr;
    if (length == 0) return false;
    if constexpr (std::is_same_v<S, std::string>) {
        if (length < 0) {
            target->sawNull = true;
            return false;
        }
        *buffer = prepareStringBuffer(&element, length);
    } else {
        if (length < 0) {
            element.reset();
            return true;
        }
        *buffer = prepareStringBuffer(&element.emplace(), length);
    }
    return true;
}

template <typename E>
binder_status_t elementWriter(AParcel* parcel, const void* data, size_t index) {
    return AParcel_writeData(parcel, (*static_cast<const std::vector<E>*>(data))[index]);
}

template <typename E>
binder_status_t elementReader(const AParcel* parcel, void* data, size_t index) {
    auto* target = static_cast<VectorTarget<E>*>(data);
    return AParcel_readData(parcel, &(*target->value)[index]);
}

// Writes `vec`, or a null array when it is null.
template <typename E>
binder_status_t writeVector(AParcel* parcel, const std::vector<E>* vec) {
    if (vec != nullptr && !lengthFits(vec->size())) return STATUS_BAD_VALUE;
    const int32_t length = vec != nullptr ? static_cast<int32_t>(vec->size()) : -1;
    if constexpr (std::is_same_v<E, bool>) {
        return ::AParcel_writeBoolArray(parcel, vec, length, boolArrayGetter);
    } else if constexpr (std::is_same_v<E, uint8_t>) {
        // AIDL byte[] maps to std::vector<uint8_t> and travels as bytes.
        const int8_t* bytes =
                vec != nullptr ? reinterpret_cast<const int8_t*>(vec->data()) : nullptr;
        return ::AParcel_writeByteArray(parcel, bytes, length);
    } else if constexpr (kHasTypedArray<E>) {
        return writeTypedArray(parcel, vec != nullptr ? vec->data() : nullptr, length);
    } else if constexpr (kIsStringElement<E>) {
        if (vec != nullptr) {
            for (const E& element : *vec) {
                if constexpr (std::is_same_v<E, std::string>) {
                    if (!lengthFits(element.size())) return STATUS_BAD_VALUE;
                } else {
                    if (element.has_value() && !lengthFits(element->size()))
                        return STATUS_BAD_VALUE;
                }
            }
        }
        return ::AParcel_writeStringArray(parcel, vec, length, stringArrayGetter<E>);
    } else {
        // Parcelables, binders, interfaces, nested vectors: one element after another.
        return ::AParcel_writeParcelableArray(parcel, vec, length, elementWriter<E>);
    }
}

// Reads into target->required, or into target->optional (which a null array resets).
template <typename E>
binder_status_t readVector(const AParcel* parcel, VectorTarget<E>* target) {
    binder_status_t status;
    if constexpr (std::is_same_v<E, bool>) {
        status = ::AParcel_readBoolArray(parcel, target, vectorAllocator<bool>, boolArraySetter);
    } else if constexpr (std::is_same_v<E, uint8_t>) {
        status = ::AParcel_readByteArray(parcel, target, typedArrayAllocator<uint8_t, int8_t>);
    } else if constexpr (kHasTypedArray<E>) {
        status = readTypedArray(parcel, target, typedArrayAllocator<E, E>);
    } else if constexpr (kIsStringElement<E>) {
        status = ::AParcel_readStringArray(parcel, target, vectorAllocator<E>,
                                           stringArrayElementAllocator<E>);
    } else {
        status =
                ::AParcel_readParcelableArray(parcel, target, vectorAllocator<E>, elementReader<E>);
    }
    return target->result(status);
}

// Binders: a null one is accepted only when `nullable`.
inline binder_status_t writeBinder(AParcel* parcel, const SpAIBinder& binder, bool nullable) {
    if (!nullable && binder.get() == nullptr) return STATUS_UNEXPECTED_NULL;
    return ::AParcel_writeStrongBinder(parcel, binder.get());
}
inline binder_status_t readBinder(const AParcel* parcel, SpAIBinder* binder, bool nullable) {
    SpAIBinder read;
    binder_status_t status = ::AParcel_readStrongBinder(parcel, read.getR());
    if (status != STATUS_OK) return status;
    if (!nullable && read.get() == nullptr) return STATUS_UNEXPECTED_NULL;
    *binder = std::move(read);
    return STATUS_OK;
}

inline binder_status_t writeFd(AParcel* parcel, const ScopedFileDescriptor& fd, bool nullable) {
    if (!nullable && fd.get() < 0) return STATUS_UNEXPECTED_NULL;
    return ::AParcel_writeParcelFileDescriptor(parcel, fd.get());
}
inline binder_status_t readFd(const AParcel* parcel, ScopedFileDescriptor* fd, bool nullable) {
    int read = -1;
    binder_status_t status = ::AParcel_readParcelFileDescriptor(parcel, &read);
    if (status != STATUS_OK) return status;
    ScopedFileDescriptor owned(read);
    if (!nullable && owned.get() < 0) return STATUS_UNEXPECTED_NULL;
    *fd = std::move(owned);
    return STATUS_OK;
}

// Interfaces are always nullable: the binder of the object, or null.
template <typename I>
binder_status_t writeInterface(AParcel* parcel, const std::shared_ptr<I>& object) {
    SpAIBinder binder;
    if (object != nullptr) binder = object->asBinder();
    return ::AParcel_writeStrongBinder(parcel, binder.get());
}
template <typename I>
binder_status_t readInterface(const AParcel* parcel, std::shared_ptr<I>* object) {
    SpAIBinder binder;
    binder_status_t status = readBinder(parcel, &binder, true);
    if (status != STATUS_OK) return status;
    *object = binder.get() != nullptr ? I::fromBinder(binder) : nullptr;
    return STATUS_OK;
}

// Parcelables are preceded by a presence marker: 1 for a value, 0 for null.
template <typename P>
binder_status_t writeParcelable(AParcel* parcel, const P* parcelable) {
    if (parcelable == nullptr) return ::AParcel_writeInt32(parcel, 0);
    binder_status_t status = ::AParcel_writeInt32(parcel, 1);
    if (status != STATUS_OK) return status;
    return parcelable->writeToParcel(parcel);
}
template <typename P>
binder_status_t readParcelable(const AParcel* parcel, ReadTarget<P>* target) {
    int32_t present = 0;
    binder_status_t status = ::AParcel_readInt32(parcel, &present);
    if (status != STATUS_OK) return status;
    if (!target->accept(present != 0 ? 0 : -1)) return STATUS_UNEXPECTED_NULL;
    if (target->value == nullptr) return STATUS_OK;
    return target->value->readFromParcel(parcel);
}

}  // namespace parcel_detail

/*
 * Writes `value`. Optionals are written as nullable values; a null binder or file descriptor is
 * rejected with STATUS_UNEXPECTED_NULL (use AParcel_writeNullableData for those).
 */
template <typename T>
inline binder_status_t AParcel_writeData(AParcel* parcel, const T& value) {
    using namespace parcel_detail;
    if constexpr (kIsScalar<T>) {
        return writeScalar(parcel, value);
    } else if constexpr (std::is_enum_v<T>) {
        return writeScalar(parcel, static_cast<std::underlying_type_t<T>>(value));
    } else if constexpr (std::is_same_v<T, std::string>) {
        return writeString(parcel, &value);
    } else if constexpr (std::is_same_v<T, SpAIBinder>) {
        return writeBinder(parcel, value, false);
    } else if constexpr (std::is_same_v<T, ScopedFileDescriptor>) {
        return writeFd(parcel, value, false);
    } else if constexpr (IsInterface<T>::value) {
        return writeInterface(parcel, value);
    } else if constexpr (IsVector<T>::value) {
        return writeVector(parcel, &value);
    } else if constexpr (IsOptional<T>::value) {
        return AParcel_writeNullableData(parcel, value);
    } else if constexpr (IsParcelable<T>::value) {
        return writeParcelable(parcel, &value);
    } else {
        static_assert(kDependentFalse<T>, "type cannot be written to a parcel");
    }
}

/*
 * Reads into `value`. A null read into anything but an optional or an interface pointer fails
 * with STATUS_UNEXPECTED_NULL.
 */
template <typename T>
inline binder_status_t AParcel_readData(const AParcel* parcel, T* value) {
    using namespace parcel_detail;
    if constexpr (kIsScalar<T>) {
        return readScalar(parcel, value);
    } else if constexpr (std::is_enum_v<T>) {
        std::underlying_type_t<T> raw{};
        binder_status_t status = readScalar(parcel, &raw);
        if (status == STATUS_OK) *value = static_cast<T>(raw);
        return status;
    } else if constexpr (std::is_same_v<T, std::string>) {
        ReadTarget<std::string> target;
        target.required = value;
        return readString(parcel, &target);
    } else if constexpr (std::is_same_v<T, SpAIBinder>) {
        return readBinder(parcel, value, false);
    } else if constexpr (std::is_same_v<T, ScopedFileDescriptor>) {
        return readFd(parcel, value, false);
    } else if constexpr (IsInterface<T>::value) {
        return readInterface(parcel, value);
    } else if constexpr (IsVector<T>::value) {
        VectorTarget<typename T::value_type> target;
        target.required = value;
        return readVector(parcel, &target);
    } else if constexpr (IsOptional<T>::value) {
        return AParcel_readNullableData(parcel, value);
    } else if constexpr (IsParcelable<T>::value) {
        ReadTarget<T> target;
        target.required = value;
        return readParcelable(parcel, &target);
    } else {
        static_assert(kDependentFalse<T>, "type cannot be read from a parcel");
    }
}

// Writes `value`, which may be null: an empty optional, binder, file descriptor or interface.
template <typename T>
inline binder_status_t AParcel_writeNullableData(AParcel* parcel, const T& value) {
    using namespace parcel_detail;
    if constexpr (IsOptional<T>::value) {
        using V = typename T::value_type;
        if (value.has_value()) return AParcel_writeData(parcel, *value);
        if constexpr (std::is_same_v<V, std::string>) {
            return writeString(parcel, nullptr);
        } else if constexpr (IsVector<V>::value) {
            return writeVector<typename V::value_type>(parcel, nullptr);
        } else if constexpr (IsParcelable<V>::value) {
            return writeParcelable<V>(parcel, nullptr);
        } else {
            static_assert(kDependentFalse<T>, "this type has no null form in a parcel");
        }
    } else if constexpr (std::is_same_v<T, SpAIBinder>) {
        return writeBinder(parcel, value, true);
    } else if constexpr (std::is_same_v<T, ScopedFileDescriptor>) {
        return writeFd(parcel, value, true);
    } else {
        return AParcel_writeData(parcel, value);
    }
}

// Reads a value that may be null: a null empties the optional, binder, descriptor or interface.
template <typename T>
inline binder_status_t AParcel_readNullableData(const AParcel* parcel, T* value) {
    using namespace parcel_detail;
    if constexpr (IsOptional<T>::value) {
        using V = typename T::value_type;
        if constexpr (std::is_same_v<V, std::string>) {
            ReadTarget<std::string> target;
            target.optional = value;
            return readString(parcel, &target);
        } else if constexpr (IsVector<V>::value) {
            VectorTarget<typename V::value_type> target;
            target.optional = value;
            return readVector(parcel, &target);
        } else if constexpr (IsParcelable<V>::value) {
            ReadTarget<V> target;
            target.optional = value;
            return readParcelable(parcel, &target);
        } else {
            static_assert(kDependentFalse<T>, "this type has no null form in a parcel");
        }
    } else if constexpr (std::is_same_v<T, SpAIBinder>) {
        return readBinder(parcel, value, true);
    } else if constexpr (std::is_same_v<T, ScopedFileDescriptor>) {
        return readFd(parcel, value, true);
    } else {
        return AParcel_readData(parcel, value);
    }
}

// Named helpers of older generated code; each is one of the calls above.

inline binder_status_t AParcel_writeRequiredStrongBinder(AParcel* parcel,
                                                         const SpAIBinder& binder) {
    return AParcel_writeData(parcel, binder);
}
inline binder_status_t AParcel_readRequiredStrongBinder(const AParcel* parcel, SpAIBinder* binder) {
    return AParcel_readData(parcel, binder);
}
inline binder_status_t AParcel_writeNullableStrongBinder(AParcel* parcel,
                                                         const SpAIBinder& binder) {
    return AParcel_writeNullableData(parcel, binder);
}
inline binder_status_t AParcel_readNullableStrongBinder(const AParcel* parcel, SpAIBinder* binder) {
    return AParcel_readNullableData(parcel, binder);
}

inline binder_status_t AParcel_writeRequiredParcelFileDescriptor(AParcel* parcel,
                                                                 const ScopedFileDescriptor& fd) {
    return AParcel_writeData(parcel, fd);
}
inline binder_status_t AParcel_readRequiredParcelFileDescriptor(const AParcel* parcel,
                                                                ScopedFileDescriptor* fd) {
    return AParcel_readData(parcel, fd);
}
inline binder_status_t AParcel_writeNullableParcelFileDescriptor(AParcel* parcel,
                                                                 const ScopedFileDescriptor& fd) {
    return AParcel_writeNullableData(parcel, fd);
}
inline binder_status_t AParcel_readNullableParcelFileDescriptor(const AParcel* parcel,
                                                                ScopedFileDescriptor* fd) {
    return AParcel_readNullableData(parcel, fd);
}

inline binder_status_t AParcel_writeString(AParcel* parcel, const std::string& str) {
    return AParcel_writeData(parcel, str);
}
inline binder_status_t AParcel_readString(const AParcel* parcel, std::string* str) {
    return AParcel_readData(parcel, str);
}
inline binder_status_t AParcel_writeString(AParcel* parcel, const std::optional<std::string>& str) {
    return AParcel_writeNullableData(parcel, str);
}
inline binder_status_t AParcel_readString(const AParcel* parcel, std::optional<std::string>* str) {
    return AParcel_readNullableData(parcel, str);
}

template <typename T>
inline binder_status_t AParcel_writeVector(AParcel* parcel, const std::vector<T>& vec) {
    return AParcel_writeData(parcel, vec);
}
template <typename T>
inline binder_status_t AParcel_readVector(const AParcel* parcel, std::vector<T>* vec) {
    return AParcel_readData(parcel, vec);
}
template <typename T>
inline binder_status_t AParcel_writeVector(AParcel* parcel,
                                           const std::optional<std::vector<T>>& vec) {
    return AParcel_writeNullableData(parcel, vec);
}
template <typename T>
inline binder_status_t AParcel_readVector(const AParcel* parcel,
                                          std::optional<std::vector<T>>* vec) {
    return AParcel_readNullableData(parcel, vec);
}

template <typename P>
inline binder_status_t AParcel_writeRequiredParcelable(AParcel* parcel, const P& p) {
    return parcel_detail::writeParcelable(parcel, &p);
}
template <typename P>
inline binder_status_t AParcel_readRequiredParcelable(const AParcel* parcel, P* p) {
    return AParcel_readData(parcel, p);
}
template <typename P>
inline binder_status_t AParcel_writeNullableParcelable(AParcel* parcel, const std::optional<P>& p) {
    return AParcel_writeNullableData(parcel, p);
}
template <typename P>
inline binder_status_t AParcel_readNullableParcelable(const AParcel* parcel, std::optional<P>* p) {
    return AParcel_readNullableData(parcel, p);
}

}  // namespace ndk
