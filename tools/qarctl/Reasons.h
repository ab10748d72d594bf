#pragma once

#include <string>
#include <vector>

namespace qarctl {

// Reads the library's own log lines in this process (liblog's logger hook) to tell why a call
// failed. Lines still go on to the usual logger unless `quiet`.
void installLogWatch(bool quiet);

// Forgets the lines seen so far (and an earlier death of the service): the next reason() covers
// only what is logged after this.
void startCall();

// Why the calls since startCall() failed, from the lines they logged; empty when none says.
std::string reason();

// The reason for one log line, or empty when the line says nothing about a failure.
std::string reasonOfLine(const std::string& line);
// The reason that `lines` (in the order logged) give, the first cause of the table first.
std::string reasonOfLines(const std::vector<std::string>& lines);

}  // namespace qarctl
