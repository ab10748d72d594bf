#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <string>

#include "QarExport.h"

namespace QarClient {

// One resource of a request: the resource (or resource command) number and the value to apply.
// An id of 0 stands for "no id" and must then carry no text.
struct Resource {
    int32_t id = 0;
    std::optional<std::string> value;
};

}  // namespace QarClient

// Checks a resource list before it is sent: every element with a non-zero id needs a non-empty
// value, every element with id 0 must have no value or an empty one. An empty list is valid.
// Only reads the list; logs nothing.
QAR_EXPORT bool checkResourceList(std::list<QarClient::Resource>& resources);
