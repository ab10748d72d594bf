// What this process holds that a leak would make grow: descriptors, and threads by kind.
#pragma once

#include <string>

namespace qarrel {

struct Census {
    int fds = 0;
    int poolThreads = 0;     // the binder runtime's pool ("hb:binder")
    int runtimeThreads = 0;  // the runtime's own: its event loop and service listeners
    int otherThreads = 0;    // everything else
};

// The binder pool only grows, up to this many threads (the NDK's default cap), and keeps them.
inline constexpr int kPoolThreadCap = 15;

Census takeCensus();
std::string toString(const Census& census);

// The value of environment variable `name` when it holds a positive number, else `fallback`.
int countFromEnv(const char* name, int fallback);

}  // namespace qarrel
