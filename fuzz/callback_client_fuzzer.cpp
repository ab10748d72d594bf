// Fuzzes JorvCallbackClient::onCallback, the entry point the service calls on a binder thread, with
// arbitrary records for every kind of client: routed by id or by path, one-shot (kept in
// request_callbacks until its first callback) or a listening registration, with or without a
// caller's callback. The registry around the client is arbitrary too: other clients before and
// after it, and the client itself more than once. After every delivery the harness checks what
// the caller's callback received against the records, what the registry holds against what it
// held before, and at the end that the library keeps no reference to the client.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "halclient/CallbackRegistries.h"
#include "halclient/JorvCallbackClient.h"
#include "support/FuzzSupport.h"
#include "support/RecordingCallbacks.h"

namespace {

using jorvHalclient::IClientCallback;
using jorvHalclient::IClientCallbackByPath;
using jorvHalclient::JorvCallbackClient;
using qarfuzz::check;
using qarfuzz::JorvRequestData;
using qartest::RecordingCallback;
using qartest::RecordingPathCallback;
using Registry = std::vector<std::shared_ptr<JorvCallbackClient>>;

enum class Routing {
    kById,
    kByPath,
    // Made from a path callback without the path flag: it routes by id, where it has no callback.
    kPathCallbackById,
};

struct ClientKind {
    Routing routing;
    bool oneShot;
    bool withCallback;
};

// The harness is the only thread; the lock is still taken the way the library takes it.
Registry snapshotRegistry() {
    jorvHalclient::RequestCallbacksLock lock;
    return jorvHalclient::requestCallbacks();
}

void pushToRegistry(const std::shared_ptr<JorvCallbackClient>& client) {
    jorvHalclient::RequestCallbacksLock lock;
    jorvHalclient::requestCallbacks().push_back(client);
}

// Empties the registry; the clients it held are dropped after the lock is let go, as the library
// does, since their destructors log.
void clearRegistry() {
    Registry dropped;
    jorvHalclient::RequestCallbacksLock lock;
    dropped.swap(jorvHalclient::requestCallbacks());
}

ClientKind consumeKind(FuzzedDataProvider& provider) {
    const auto routing = static_cast<Routing>(provider.ConsumeIntegralInRange<int>(0, 2));
    return ClientKind{routing, provider.ConsumeBool(), provider.ConsumeBool()};
}

// Another one-shot request's client, made the way a request makes it.
void addBystander(FuzzedDataProvider& provider) {
    if (provider.ConsumeBool()) {
        jorvHalclient::addRequestCallback(std::shared_ptr<IClientCallback>(), "bystander");
    } else {
        jorvHalclient::addRequestCallback(std::shared_ptr<IClientCallbackByPath>(), "bystander");
    }
}

class Harness {
public:
    explicit Harness(FuzzedDataProvider& provider)
        : mProvider(provider),
          mKind(consumeKind(provider)),
          mIdCallback(std::make_shared<RecordingCallback>()),
          mPathCallback(std::make_shared<RecordingPathCallback>()) {}

    void run() {
        clearRegistry();
        for (int n = mProvider.ConsumeIntegralInRange(0, 3); n > 0; --n) addBystander(mProvider);
        makeClient();
        // Extra entries for the same client: a one-shot client must take all of them out, a
        // registration must leave them where they are.
        for (int n = mProvider.ConsumeIntegralInRange(0, 2); n > 0; --n) pushToRegistry(mClient);
        for (int n = mProvider.ConsumeIntegralInRange(0, 3); n > 0; --n) addBystander(mProvider);

        for (int n = mProvider.ConsumeIntegralInRange(1, 3); n > 0; --n) {
            deliver(qarfuzz::consumeRecords(mProvider));
        }

        std::weak_ptr<JorvCallbackClient> watched = mClient;
        mClient.reset();
        clearRegistry();
        check(watched.expired(), "the library kept a reference to a callback client");
    }

private:
    void makeClient() {
        const std::shared_ptr<IClientCallback> byId =
                mKind.withCallback ? mIdCallback : std::shared_ptr<RecordingCallback>();
        const std::shared_ptr<IClientCallbackByPath> byPath =
                mKind.withCallback ? mPathCallback : std::shared_ptr<RecordingPathCallback>();
        if (mKind.oneShot && mKind.routing != Routing::kPathCallbackById) {
            // One-shot clients exist only as requests make them: registered on creation.
            const size_t before = snapshotRegistry().size();
            mClient = mKind.routing == Routing::kById
                              ? jorvHalclient::addRequestCallback(byId, "fuzzed request")
                              : jorvHalclient::addRequestCallback(byPath, "fuzzed request");
            const Registry after = snapshotRegistry();
            check(after.size() == before + 1 && after.back() == mClient,
                  "a request's callback client was not appended to request_callbacks");
        } else {
            const bool isRegister = !mKind.oneShot;
            switch (mKind.routing) {
                case Routing::kById:
                    mClient = ::ndk::SharedRefBase::make<JorvCallbackClient>(byId, isRegister);
                    break;
                case Routing::kByPath:
                    mClient = ::ndk::SharedRefBase::make<JorvCallbackClient>(byPath, isRegister,
                                                                             true);
                    break;
                case Routing::kPathCallbackById:
                    mClient = ::ndk::SharedRefBase::make<JorvCallbackClient>(byPath, isRegister,
                                                                             false);
                    break;
            }
            if (mProvider.ConsumeBool()) pushToRegistry(mClient);
        }
        check(mClient->is_register == !mKind.oneShot, "client built with the wrong is_register");
        check(mClient->is_path == (mKind.routing == Routing::kByPath),
              "client built with the wrong is_path");
    }

    void deliver(const std::vector<JorvRequestData>& records) {
        const Registry before = snapshotRegistry();
        const size_t idCalls = mIdCallback->calls().size();
        const size_t pathCalls = mPathCallback->calls().size();

        check(mClient->onCallback(records).isOk(), "onCallback returned a failed status");

        const bool delivered = !records.empty() && mKind.withCallback;
        const bool byId = delivered && mKind.routing == Routing::kById;
        const bool byPath = delivered && mKind.routing == Routing::kByPath;
        check(mIdCallback->calls().size() == idCalls + (byId ? 1 : 0),
              "the id callback was called the wrong number of times");
        check(mPathCallback->calls().size() == pathCalls + (byPath ? 1 : 0),
              "the path callback was called the wrong number of times");
        check(!byId || qarfuzz::deliveredById(mIdCallback->calls().back(), records),
              "the id callback got other records than the service sent");
        check(!byPath || qarfuzz::deliveredByPath(mPathCallback->calls().back().values,
                                                  mPathCallback->calls().back().paths, records),
              "the path callback got other records than the service sent");

        Registry expected = before;
        if (mKind.oneShot) {
            expected.erase(std::remove(expected.begin(), expected.end(), mClient), expected.end());
        }
        check(snapshotRegistry() == expected, "request_callbacks changed the wrong way");
    }

    FuzzedDataProvider& mProvider;
    const ClientKind mKind;
    const std::shared_ptr<RecordingCallback> mIdCallback;
    const std::shared_ptr<RecordingPathCallback> mPathCallback;
    std::shared_ptr<JorvCallbackClient> mClient;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    qarfuzz::discardLogs();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider provider(data, size);
    Harness(provider).run();
    return 0;
}
