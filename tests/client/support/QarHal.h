#pragma once

namespace qartest {

// The event API's connection, seen from inside (tests link the library statically).
bool qarHalConnected();
// Forgets the connection and its death link, as a freshly loaded library would be.
void resetQarHal();

}  // namespace qartest
