#include "ProcessCensus.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace qarrel {

Census takeCensus() {
    Census census;
    std::error_code ec;
    for (auto it = std::filesystem::directory_iterator("/proc/self/fd", ec);
         !ec && it != std::filesystem::directory_iterator(); it.increment(ec)) {
        ++census.fds;
    }
    // The listing's own descriptor.
    if (census.fds > 0) --census.fds;
    for (auto it = std::filesystem::directory_iterator("/proc/self/task", ec);
         !ec && it != std::filesystem::directory_iterator(); it.increment(ec)) {
        std::ifstream comm(it->path() / "comm");
        std::string name;
        std::getline(comm, name);
        if (name == "hb:binder") {
            ++census.poolThreads;
        } else if (name == "hb:loop" || name == "hb:listener") {
            ++census.runtimeThreads;
        } else {
            ++census.otherThreads;
        }
    }
    return census;
}

std::string toString(const Census& census) {
    return "fds " + std::to_string(census.fds) + ", threads: pool " +
           std::to_string(census.poolThreads) + ", runtime " +
           std::to_string(census.runtimeThreads) + ", other " + std::to_string(census.otherThreads);
}

int countFromEnv(const char* name, int fallback) {
    const char* text = std::getenv(name);
    if (text == nullptr) return fallback;
    char* end = nullptr;
    const long value = std::strtol(text, &end, 10);
    return end != text && *end == '\0' && value > 0 && value <= 1000000 ? static_cast<int>(value)
                                                                        : fallback;
}

}  // namespace qarrel
