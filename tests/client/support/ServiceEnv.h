#pragma once

#include <hostbinder/control.h>

#include <memory>
#include <string>

#include "support/FakeJorv.h"
#include "support/WaitFor.h"

namespace qartest {

inline constexpr const char kInstance[] = "vendor.vemra.hardware.jorv.IJorv/default";

// A private service directory for one test, the fake service published in it, and a library
// whose connections start and end the test disconnected.
class ServiceEnv {
public:
    ServiceEnv();
    ~ServiceEnv();
    ServiceEnv(const ServiceEnv&) = delete;
    ServiceEnv& operator=(const ServiceEnv&) = delete;

    void declare() { HostBinder_declareInstance(kInstance); }
    void undeclare() { HostBinder_undeclareInstance(kInstance); }

    // Publishes a new fake (replacing the published one, if any) and returns it.
    std::shared_ptr<FakeJorv> publish();
    // Makes the published service die for its clients.
    void kill() { HostBinder_killService(kInstance); }
    const std::shared_ptr<FakeJorv>& fake() const { return mFake; }
    const std::string& dir() const { return mDir; }

    HostBinderLookupCounts lookups() const {
        HostBinderLookupCounts counts{};
        HostBinder_getLookupCounts(&counts);
        return counts;
    }

private:
    std::string mDir;
    std::shared_ptr<FakeJorv> mFake;
};

// The two clients' connections, seen from inside (tests link the library statically).
bool jorvHalConnected();
bool qarHalConnected();
// Forgets both connections and their death links, as a freshly loaded library would be.
void resetConnections();
// Empties request_callbacks and the listening registry.
void resetCallbackRegistries();
// Sizes of the two registries.
size_t requestCallbackCount();
size_t listeningGroupCount();

}  // namespace qartest
