// Fuzzes JorvCallbackClient::onCallback for every kind of client (by id or by path, one-shot or
// registration, with or without a caller's callback) amid other request_callbacks entries, itself
// among them. Checked: what the callback got, the registry, and that no reference is kept.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "halclient/CallbackRegistries.h"
#include "halclient/JorvCallbackClient.h"
#include "support/FuzzSupport.h"
#include "support/RecordingCallbacks.h"
#include "support/ServiceEnv.h"

namespace {

namespace hal = ::jorvHalclient;
using hal::JorvCallbackClient;
using qarfuzz::check;
using Registry = std::vector<std::shared_ptr<JorvCallbackClient>>;
using Records = std::vector<qarfuzz::JorvRequestData>;

// Whether the caller's callback got exactly the records: by id their ids and values, by path their
// values and paths, an absent text as a blank.
bool sameRecords(const std::list<QarClient::Resource>& got, const Records& sent) {
    return std::equal(got.begin(), got.end(), sent.begin(), sent.end(),
                      [](const QarClient::Resource& r, const qarfuzz::JorvRequestData& d) {
                          return r.id == d.id && r.value == d.value;
                      });
}

bool sameRecords(const qartest::RecordingPathCallback::Received& got, const Records& sent) {
    qartest::RecordingPathCallback::Received want;
    for (const auto& d : sent) {
        want.values.push_back(d.value.value_or(""));
        want.paths.push_back(d.path.value_or(""));
    }
    return got.values == want.values && got.paths == want.paths;
}

// The harness is the only thread; the lock is still taken the way the library takes it.
Registry snapshot() {
    hal::RequestCallbacksLock lock;
    return hal::requestCallbacks();
}

// Adds `n` entries for `client`, or, without one, for other requests, made the way requests make
// them.
void addEntries(FuzzedDataProvider& p, const std::shared_ptr<JorvCallbackClient>& client, int n) {
    for (; n > 0; --n) {
        if (client != nullptr) {
            hal::RequestCallbacksLock lock;
            hal::requestCallbacks().push_back(client);
        } else if (p.ConsumeBool()) {
            hal::addRequestCallback(std::shared_ptr<hal::IClientCallback>(), "bystander");
        } else {
            hal::addRequestCallback(std::shared_ptr<hal::IClientCallbackByPath>(), "bystander");
        }
    }
}

void fuzzOne(FuzzedDataProvider& p) {
    // By id, by path, or made from a path callback without the path flag: that one routes by id,
    // where it has no callback.
    const int routing = p.ConsumeIntegralInRange(0, 2);
    const bool oneShot = p.ConsumeBool();
    const bool withCallback = p.ConsumeBool();
    const auto idCallback = std::make_shared<qartest::RecordingCallback>();
    const auto pathCallback = std::make_shared<qartest::RecordingPathCallback>();
    const std::shared_ptr<hal::IClientCallback> byId = withCallback ? idCallback : nullptr;
    const std::shared_ptr<hal::IClientCallbackByPath> byPath =
            withCallback ? pathCallback : nullptr;

    addEntries(p, nullptr, p.ConsumeIntegralInRange(0, 3));
    std::shared_ptr<JorvCallbackClient> client;
    if (oneShot && routing < 2) {
        // One-shot clients exist only as requests make them, registered on creation.
        client = routing == 0 ? hal::addRequestCallback(byId, "fuzzed request")
                              : hal::addRequestCallback(byPath, "fuzzed request");
    } else {
        client = routing == 0 ? ndk::SharedRefBase::make<JorvCallbackClient>(byId, !oneShot)
                              : ndk::SharedRefBase::make<JorvCallbackClient>(byPath, !oneShot,
                                                                             routing == 1);
    }
    addEntries(p, client, p.ConsumeIntegralInRange(0, 2));
    addEntries(p, nullptr, p.ConsumeIntegralInRange(0, 3));

    size_t deliveries = 0;
    for (int n = p.ConsumeIntegralInRange(1, 3); n > 0; --n) {
        const Records records = qarfuzz::consumeRecords(p);
        Registry expected = snapshot();
        if (oneShot) {
            expected.erase(std::remove(expected.begin(), expected.end(), client), expected.end());
        }
        check(client->onCallback(records).isOk(), "onCallback returned a failed status");
        check(snapshot() == expected, "request_callbacks changed the wrong way");

        const bool delivered = !records.empty() && withCallback;
        deliveries += delivered;
        const auto ids = idCallback->calls();
        const auto paths = pathCallback->calls();
        check(ids.size() == (routing == 0 ? deliveries : 0) &&
                      paths.size() == (routing == 1 ? deliveries : 0),
              "a caller's callback was called the wrong number of times");
        check(!delivered || routing != 0 || sameRecords(ids.back(), records),
              "the id callback got other records than the service sent");
        check(!delivered || routing != 1 || sameRecords(paths.back(), records),
              "the path callback got other records than the service sent");
    }

    const std::weak_ptr<JorvCallbackClient> watched = client;
    client.reset();
    qartest::resetCallbackRegistries();
    check(watched.expired(), "the library kept a reference to a callback client");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    qarfuzz::discardLogs();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider provider(data, size);
    fuzzOne(provider);
    return 0;
}
