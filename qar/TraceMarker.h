#pragma once

namespace qarEvent {

// When the always-on trace tag is enabled, emits a trace section of zero length named by the
// printf-style text (cut at 1023 bytes): a marker of when the call was made, not a span over it.
void traceMarker(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace qarEvent
