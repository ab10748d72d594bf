// HostBinder_*: host-only control of the runtime (see <hostbinder/control.h>).
#include <hostbinder/control.h>

#include <cstring>
#include <string>

#include "receive_buffer.h"
#include "service_dir.h"
#include "service_manager.h"
#include "service_registry.h"

void HostBinder_setServiceDir(const char* dir) {
    hostbinder::setServiceDir(dir);
}

void HostBinder_setServiceDirShared(bool shared) {
    hostbinder::setServiceDirShared(shared);
}

size_t HostBinder_getServiceDir(char* buf, size_t size) {
    const std::string dir = hostbinder::serviceDir();
    if (buf != nullptr && size > 0) {
        const size_t n = dir.size() < size ? dir.size() : size - 1;
        std::memcpy(buf, dir.data(), n);
        buf[n] = '\0';
    }
    return dir.size();
}

void HostBinder_declareInstance(const char* instance) {
    hostbinder::declareInstance(instance);
}

void HostBinder_undeclareInstance(const char* instance) {
    hostbinder::undeclareInstance(instance);
}

int HostBinder_listInManifest(const char* instance) {
    return hostbinder::listInManifest(instance);
}

binder_status_t HostBinder_killService(const char* instance) {
    return hostbinder::killService(instance);
}

void HostBinder_getLookupCounts(HostBinderLookupCounts* out) {
    if (out != nullptr) hostbinder::lookupCounts(out);
}

size_t HostBinder_setReceiveBufferSize(size_t bytes) {
    return hostbinder::setReceiveBufferSize(bytes);
}

size_t HostBinder_getReceiveBufferInUse(void) {
    return hostbinder::receiveBufferInUse();
}
