#include "ClientGlobals.h"

#include "JorvCallbackClient.h"

namespace jorvHalclient {

// Definition order is initialisation order, and its reverse the order of destruction at exit: the
// connection, its lock, then the two callback registries, each after its mutex so that it is
// destroyed before the mutex. Static initialisation is ordered only within one file, hence the one
// file for all of them.
std::shared_ptr<IJorv> g_jorv_hal;
qar::SharedTimedMutex g_jorv_hal_mutex;
AIBinder_DeathRecipient* g_jorv_death_recipient = nullptr;
qar::Mutex listening_callback_mutex;
std::vector<JorvCallbackGroup> listening_callbacks;
std::mutex request_callback_mutex;
std::vector<std::shared_ptr<JorvCallbackClient>> request_callbacks;
RequestCallbacksCapability gRequestCallbacksCapability;

}  // namespace jorvHalclient
