/*
 * Host build of <android/binder_auto_utils.h>: C++ owners for the handles of the binder NDK C API.
 * Same names and behaviour as the NDK's header, so client code builds unchanged on the host.
 */
#pragma once

#include <android/binder_ibinder.h>
#include <android/binder_parcel.h>
#include <android/binder_status.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace ndk {

namespace impl {

// Ends the process the way the platform does when an owner's handle was replaced by another thread
// while the owner was releasing the old one: both threads would otherwise release the same handle.
[[noreturn]] inline void abortOnRace(const char* file, int line) {
    std::fprintf(stderr, "%s:%d: Race detected.\n", file, line);
    std::fflush(stderr);
    std::abort();
}

// Reads the handle again from memory rather than from a register, so that a concurrent writer is
// noticed by the check after the release.
template <typename T>
inline T readHandle(const T& slot) {
    return *const_cast<const volatile T*>(&slot);
}

/*
 * Unique owner of a handle `T` that `Destroy` releases. `DEFAULT` is the value meaning "nothing
 * owned", which is never passed to `Destroy`. Move-only.
 */
template <typename T, void (*Destroy)(T), T DEFAULT>
class ScopedAResource {
public:
    explicit ScopedAResource(T t = DEFAULT) : mT(t) {}
    ~ScopedAResource() { set(DEFAULT); }

    ScopedAResource(const ScopedAResource&) = delete;
    ScopedAResource& operator=(const ScopedAResource&) = delete;

    ScopedAResource(ScopedAResource&& other) noexcept : mT(other.release()) {}
    ScopedAResource& operator=(ScopedAResource&& other) noexcept {
        if (this != &other) set(other.release());
        return *this;
    }

    T get() const { return mT; }

    /*
     * The address of the owned handle, for C calls that return a new handle through an out
     * parameter: `AParcel_readStatusHeader(parcel, status.getR())`. Whatever was owned before is
     * overwritten without being released, so use it on an empty owner.
     */
    T* getR() { return &mT; }

    // Releases what is owned and takes ownership of `t`.
    void set(T t) {
        const T previous = readHandle(mT);
        if (previous == t) return;
        if (previous != DEFAULT) Destroy(previous);
        if (readHandle(mT) != previous) abortOnRace(__FILE__, __LINE__);
        mT = t;
    }

    // Gives up ownership without releasing.
    [[nodiscard]] T release() {
        T t = mT;
        mT = DEFAULT;
        return t;
    }

private:
    T mT;
};

inline void closeFileDescriptor(int fd) {
    if (fd >= 0) ::close(fd);
}

}  // namespace impl

/*
 * Shared owner of one strong reference to an AIBinder. Copies take another strong reference.
 */
class SpAIBinder {
public:
    SpAIBinder() : mBinder(nullptr) {}
    SpAIBinder(std::nullptr_t) : SpAIBinder() {}  // NOLINT(google-explicit-constructor)
    // Adopts a strong reference the caller already holds (as every C call returning one gives).
    explicit SpAIBinder(AIBinder* binder) : mBinder(binder) {}
    ~SpAIBinder() { set(nullptr); }

    SpAIBinder(const SpAIBinder& other) : mBinder(other.mBinder) {
        if (mBinder != nullptr) AIBinder_incStrong(mBinder);
    }
    SpAIBinder& operator=(const SpAIBinder& other) {
        // Take the new reference first: `other` may be the only thing keeping its binder alive.
        if (other.mBinder != nullptr) AIBinder_incStrong(other.mBinder);
        set(other.mBinder);
        return *this;
    }
    SpAIBinder(SpAIBinder&& other) noexcept : mBinder(other.mBinder) { other.mBinder = nullptr; }
    SpAIBinder& operator=(SpAIBinder&& other) noexcept {
        if (this != &other) {
            AIBinder* binder = other.mBinder;
            other.mBinder = nullptr;
            set(binder);
        }
        return *this;
    }

    AIBinder* get() const { return mBinder; }

    // See impl::ScopedAResource::getR(): for C calls that hand back a new strong reference.
    AIBinder** getR() { return &mBinder; }

    // Drops the reference held and adopts `binder`'s (already taken by the caller).
    void set(AIBinder* binder) {
        AIBinder* const previous = impl::readHandle(mBinder);
        if (previous == binder) {
            // Adopting a second reference to the binder already held: keep only one.
            if (binder != nullptr) AIBinder_decStrong(binder);
            return;
        }
        if (previous != nullptr) AIBinder_decStrong(previous);
        if (impl::readHandle(mBinder) != previous) impl::abortOnRace(__FILE__, __LINE__);
        mBinder = binder;
    }

    bool operator==(const SpAIBinder& rhs) const { return mBinder == rhs.mBinder; }
    bool operator!=(const SpAIBinder& rhs) const { return mBinder != rhs.mBinder; }
    bool operator<(const SpAIBinder& rhs) const { return mBinder < rhs.mBinder; }
    bool operator<=(const SpAIBinder& rhs) const { return mBinder <= rhs.mBinder; }
    bool operator>(const SpAIBinder& rhs) const { return mBinder > rhs.mBinder; }
    bool operator>=(const SpAIBinder& rhs) const { return mBinder >= rhs.mBinder; }

private:
    AIBinder* mBinder;
};

class ScopedAParcel : public impl::ScopedAResource<AParcel*, AParcel_delete, nullptr> {
public:
    explicit ScopedAParcel(AParcel* a = nullptr) : ScopedAResource(a) {}
    ~ScopedAParcel() {}
    ScopedAParcel(ScopedAParcel&&) = default;
    ScopedAParcel& operator=(ScopedAParcel&&) = default;
};

/*
 * Owner of an AStatus: the result of every binder call. A default-constructed one owns nothing;
 * only isOk() may be asked of it.
 */
class ScopedAStatus : public impl::ScopedAResource<AStatus*, AStatus_delete, nullptr> {
public:
    explicit ScopedAStatus(AStatus* a = nullptr) : ScopedAResource(a) {}
    ~ScopedAStatus() {}
    ScopedAStatus(ScopedAStatus&&) = default;
    ScopedAStatus& operator=(ScopedAStatus&&) = default;

    bool isOk() const { return get() != nullptr && AStatus_isOk(get()); }
    binder_exception_t getExceptionCode() const { return AStatus_getExceptionCode(get()); }
    // Meaningful when the exception code is EX_SERVICE_SPECIFIC; 0 otherwise.
    int32_t getServiceSpecificError() const { return AStatus_getServiceSpecificError(get()); }
    // Meaningful when the exception code is EX_TRANSACTION_FAILED; STATUS_OK otherwise.
    binder_status_t getStatus() const { return AStatus_getStatus(get()); }
    const char* getMessage() const { return AStatus_getMessage(get()); }

    std::string getDescription() const {
        const char* description = AStatus_getDescription(get());
        if (description == nullptr) return std::string();
        std::string copy(description);
        AStatus_deleteDescription(description);
        return copy;
    }

    static ScopedAStatus ok() { return ScopedAStatus(AStatus_newOk()); }
    static ScopedAStatus fromExceptionCode(binder_exception_t exception) {
        return ScopedAStatus(AStatus_fromExceptionCode(exception));
    }
    static ScopedAStatus fromExceptionCodeWithMessage(binder_exception_t exception,
                                                      const char* message) {
        return ScopedAStatus(AStatus_fromExceptionCodeWithMessage(exception, message));
    }
    static ScopedAStatus fromServiceSpecificError(int32_t serviceSpecific) {
        return ScopedAStatus(AStatus_fromServiceSpecificError(serviceSpecific));
    }
    static ScopedAStatus fromServiceSpecificErrorWithMessage(int32_t serviceSpecific,
                                                             const char* message) {
        return ScopedAStatus(AStatus_fromServiceSpecificErrorWithMessage(serviceSpecific, message));
    }
    static ScopedAStatus fromStatus(binder_status_t status) {
        return ScopedAStatus(AStatus_fromStatus(status));
    }
};

class ScopedAIBinder_DeathRecipient
    : public impl::ScopedAResource<AIBinder_DeathRecipient*, AIBinder_DeathRecipient_delete,
                                   nullptr> {
public:
    explicit ScopedAIBinder_DeathRecipient(AIBinder_DeathRecipient* a = nullptr)
        : ScopedAResource(a) {}
    ~ScopedAIBinder_DeathRecipient() {}
    ScopedAIBinder_DeathRecipient(ScopedAIBinder_DeathRecipient&&) = default;
    ScopedAIBinder_DeathRecipient& operator=(ScopedAIBinder_DeathRecipient&&) = default;
};

class ScopedAIBinder_Weak
    : public impl::ScopedAResource<AIBinder_Weak*, AIBinder_Weak_delete, nullptr> {
public:
    explicit ScopedAIBinder_Weak(AIBinder_Weak* a = nullptr) : ScopedAResource(a) {}
    ~ScopedAIBinder_Weak() {}
    ScopedAIBinder_Weak(ScopedAIBinder_Weak&&) = default;
    ScopedAIBinder_Weak& operator=(ScopedAIBinder_Weak&&) = default;

    // A strong reference to the object, or an empty one once it is gone.
    SpAIBinder promote() const {
        if (get() == nullptr) return SpAIBinder();
        return SpAIBinder(AIBinder_Weak_promote(get()));
    }
};

class ScopedFileDescriptor : public impl::ScopedAResource<int, impl::closeFileDescriptor, -1> {
public:
    explicit ScopedFileDescriptor(int a = -1) : ScopedAResource(a) {}
    ~ScopedFileDescriptor() {}
    ScopedFileDescriptor(ScopedFileDescriptor&&) = default;
    ScopedFileDescriptor& operator=(ScopedFileDescriptor&&) = default;

    // A new owner of a duplicate of the descriptor (-1 when there is none or dup fails).
    ScopedFileDescriptor dup() const {
        return ScopedFileDescriptor(get() >= 0 ? ::dup(get()) : -1);
    }

    bool operator==(const ScopedFileDescriptor& rhs) const { return get() == rhs.get(); }
    bool operator!=(const ScopedFileDescriptor& rhs) const { return get() != rhs.get(); }
    bool operator<(const ScopedFileDescriptor& rhs) const { return get() < rhs.get(); }
    bool operator<=(const ScopedFileDescriptor& rhs) const { return get() <= rhs.get(); }
    bool operator>(const ScopedFileDescriptor& rhs) const { return get() > rhs.get(); }
    bool operator>=(const ScopedFileDescriptor& rhs) const { return get() >= rhs.get(); }
};

}  // namespace ndk
