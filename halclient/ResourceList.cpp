#include "QarResource.h"

bool checkResourceList(std::list<QarClient::Resource>& resources) {
    for (const QarClient::Resource& resource : resources) {
        const bool hasText = resource.value.has_value() && !resource.value->empty();
        // A resource needs a value to apply; id 0 is a placeholder that must not carry one.
        if (hasText != (resource.id != 0)) return false;
    }
    return true;
}
