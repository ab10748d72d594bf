#define ATRACE_TAG ATRACE_TAG_ALWAYS

#include "TraceMarker.h"

#include <cutils/trace.h>

#include <cstdarg>
#include <cstdio>

namespace qarEvent {

void traceMarker(const char* format, ...) {
    if (!ATRACE_ENABLED()) return;
    char text[1024] = {};
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    ATRACE_BEGIN(text);
    ATRACE_END();
}

}  // namespace qarEvent
