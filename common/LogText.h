#pragma once

// How the library's log lines show caller-supplied text. Internal.

#include <string>

namespace qar {

// Logs show "none" for an empty text, so that the field stays visible; a parcel carries the empty
// text itself.
inline const char* orNone(const std::string& text) {
    return text.empty() ? "none" : text.c_str();
}

}  // namespace qar
