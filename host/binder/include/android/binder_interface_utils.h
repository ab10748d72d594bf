/*
 * Host build of <android/binder_interface_utils.h>: the C++ base classes that AIDL-generated NDK
 * interfaces, stubs and proxies derive from.
 */
#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

namespace ndk {

/*
 * Base of objects that are shared with the binder runtime. They are created only through make<T>(),
 * which puts them under a std::shared_ptr and remembers a weak reference to it, so that code
 * holding a plain pointer (the runtime, with the pointer it was given) can get a shared_ptr back
 * with ref().
 */
class SharedRefBase {
public:
    SharedRefBase() {}
    virtual ~SharedRefBase() {}

    SharedRefBase(const SharedRefBase&) = delete;
    SharedRefBase& operator=(const SharedRefBase&) = delete;

    template <class T, class... Args>
    static std::shared_ptr<T> make(Args&&... args) {
        T* object = new T(std::forward<Args>(args)...);
        std::shared_ptr<T> strong(object);
        object->SharedRefBase::mThis = strong;
        return strong;
    }

    // A new shared owner of this object; empty if it was not created with make().
    template <typename T = SharedRefBase>
    std::shared_ptr<T> ref() {
        return std::static_pointer_cast<T>(mThis.lock());
    }
    template <typename T = SharedRefBase>
    std::shared_ptr<const T> ref() const {
        return std::static_pointer_cast<const T>(mThis.lock());
    }

    static void operator delete(void* p) { ::operator delete(p); }

private:
    // Only make() allocates, so every object ends up under a shared_ptr.
    static void* operator new(size_t size) { return ::operator new(size); }
    static void* operator new[](size_t size) = delete;

    std::weak_ptr<SharedRefBase> mThis;
};

/*
 * Base of every NDK AIDL interface. A local object (stub) is reachable from its binder: the
 * binder's user data holds a shared_ptr to it, so the object lives at least as long as the binder.
 */
class ICInterface : public SharedRefBase {
public:
    ICInterface() {}
    virtual ~ICInterface() {}

    // The binder for this object: a proxy's remote binder, or the local binder of a stub.
    virtual SpAIBinder asBinder() = 0;
    virtual bool isRemote() = 0;

    // Serves a dump request made on this object's binder; nothing to say by default.
    virtual binder_status_t dump(int /*fd*/, const char** /*args*/, uint32_t /*numArgs*/) {
        return STATUS_OK;
    }

    /*
     * Defines the class of an interface's local binders. AIBinder_new(clazz, ICInterface*) then
     * makes a binder that keeps that object alive until the binder is destroyed.
     */
    static inline AIBinder_Class* defineClass(const char* interfaceDescriptor,
                                              AIBinder_Class_onTransact onTransact);

    /*
     * The object behind a local binder of a class made by defineClass(), or null. The caller must
     * have checked the binder's class (AIBinder_associateClass) before asking.
     */
    static inline std::shared_ptr<ICInterface> asInterface(AIBinder* binder);

private:
    // User data of a local binder.
    struct BinderUserData {
        std::shared_ptr<ICInterface> object;

        static void* onCreate(void* args);
        static void onDestroy(void* userData);
        static binder_status_t onDump(AIBinder* binder, int fd, const char** args,
                                      uint32_t numArgs);
    };
};

inline void* ICInterface::BinderUserData::onCreate(void* args) {
    ICInterface* object = static_cast<ICInterface*>(args);
    std::shared_ptr<ICInterface> strong = object->ref<ICInterface>();
    if (strong == nullptr) {
        // A binder for an object nobody owns would serve calls on freed memory sooner or later.
        std::fprintf(stderr, "ICInterface: object not created with SharedRefBase::make\n");
        std::abort();
    }
    return new BinderUserData{std::move(strong)};
}

inline void ICInterface::BinderUserData::onDestroy(void* userData) {
    delete static_cast<BinderUserData*>(userData);
}

inline binder_status_t ICInterface::BinderUserData::onDump(AIBinder* binder, int fd,
                                                           const char** args, uint32_t numArgs) {
    std::shared_ptr<ICInterface> object = ICInterface::asInterface(binder);
    if (object == nullptr) return STATUS_UNEXPECTED_NULL;
    return object->dump(fd, args, numArgs);
}

inline AIBinder_Class* ICInterface::defineClass(const char* interfaceDescriptor,
                                                AIBinder_Class_onTransact onTransact) {
    AIBinder_Class* clazz = AIBinder_Class_define(interfaceDescriptor, BinderUserData::onCreate,
                                                  BinderUserData::onDestroy, onTransact);
    if (clazz == nullptr) return nullptr;
    AIBinder_Class_setOnDump(clazz, BinderUserData::onDump);
    return clazz;
}

inline std::shared_ptr<ICInterface> ICInterface::asInterface(AIBinder* binder) {
    if (binder == nullptr) return nullptr;
    void* userData = AIBinder_getUserData(binder);
    if (userData == nullptr) return nullptr;
    return static_cast<BinderUserData*>(userData)->object;
}

/*
 * Base of a generated stub (BnFoo). The local binder is made on first use and only weakly
 * remembered: it lives while someone (a client, the service manager) holds it, and asking again
 * after it is gone makes a new one.
 */
template <typename INTERFACE>
class BnCInterface : public INTERFACE {
public:
    BnCInterface() {}
    virtual ~BnCInterface() {}

    SpAIBinder asBinder() override final;
    bool isRemote() override final { return false; }

protected:
    // A new local binder for this object (AIBinder_new with this interface's class).
    virtual SpAIBinder createBinder() = 0;

private:
    std::mutex mMutex;
    ScopedAIBinder_Weak mWeakBinder;  // guarded by mMutex
};

template <typename INTERFACE>
SpAIBinder BnCInterface<INTERFACE>::asBinder() {
    std::lock_guard<std::mutex> lock(mMutex);
    SpAIBinder binder = mWeakBinder.promote();
    if (binder.get() == nullptr) {
        binder = createBinder();
        mWeakBinder.set(binder.get() != nullptr ? AIBinder_Weak_new(binder.get()) : nullptr);
    }
    return binder;
}

/*
 * Base of a generated proxy (BpFoo): the binder of the remote object, on which it transacts.
 */
template <typename INTERFACE>
class BpCInterface : public INTERFACE {
public:
    explicit BpCInterface(const SpAIBinder& binder) : mBinder(binder) {}
    virtual ~BpCInterface() {}

    SpAIBinder asBinder() override final { return mBinder; }
    bool isRemote() override final { return AIBinder_isRemote(mBinder.get()); }

    binder_status_t dump(int fd, const char** args, uint32_t numArgs) override {
        return AIBinder_dump(mBinder.get(), fd, args, numArgs);
    }

private:
    const SpAIBinder mBinder;
};

}  // namespace ndk
