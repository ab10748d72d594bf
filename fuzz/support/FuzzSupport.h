#pragma once

// Helpers shared by the fuzzers: failing loudly on a broken promise, keeping the library's log
// lines out of the way, decoding service records. They need nothing of the host runtime, so the
// device fuzzers use them too.

#include <aidl/vendor/vemra/hardware/jorv/JorvRequestData.h>
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <list>
#include <string>
#include <vector>

#include "QarResource.h"

namespace qarfuzz {

using ::aidl::vendor::vemra::hardware::jorv::JorvRequestData;

// A broken promise is a finding like a crash: say which one and abort, so that libFuzzer keeps
// the input.
void check(bool ok, const char* what);

// Sends every log line, down to VERBOSE, to a logger that drops it: the lines are still
// formatted (their arguments are exercised) but cost no output.
void discardLogs();

// Text of up to `maxLength` bytes that the binder runtime accepts as a string: bytes are folded
// into 7-bit ASCII (NULs included), which is always valid UTF-8. The runtime refuses to send
// anything else, so texts that must arrive are made this way.
std::string consumeSendableText(FuzzedDataProvider& provider, size_t maxLength);

// Records as a service sends them: up to `maxRecords`, each field present or absent as the input
// says, texts of up to `maxText` bytes.
std::vector<JorvRequestData> consumeRecords(FuzzedDataProvider& provider, size_t maxRecords = 8,
                                            size_t maxText = 48);

// Whether a caller's callback got exactly the records the service sent: by id their ids and
// values; by path their values and paths, each absent text as a blank.
bool deliveredById(const std::list<QarClient::Resource>& got,
                   const std::vector<JorvRequestData>& sent);
bool deliveredByPath(const std::vector<std::string>& values, const std::vector<std::string>& paths,
                     const std::vector<JorvRequestData>& sent);

}  // namespace qarfuzz
