#pragma once

// Helpers shared by the fuzzers. They need nothing of the host runtime, so the device fuzzers use
// them too.

#include <aidl/vendor/vemra/hardware/jorv/JorvRequestData.h>
#include <fuzzer/FuzzedDataProvider.h>

#include <list>
#include <string>
#include <vector>

#include "QarResource.h"

namespace qarfuzz {

using ::aidl::vendor::vemra::hardware::jorv::JorvRequestData;

// A broken promise is a finding like a crash: says which one and aborts, so that libFuzzer keeps
// the input.
void check(bool ok, const char* what);

// Sends every log line, down to VERBOSE, to a logger that drops it: the lines are still formatted
// (their arguments are exercised) but cost no output.
void discardLogs();

// Up to `maxLength` bytes folded into 7-bit ASCII, which is always valid UTF-8: the binder runtime
// refuses to send any other string, so texts that must arrive are made this way.
std::string consumeSendableText(FuzzedDataProvider& provider, size_t maxLength);

// Records as a service sends them: fields present or absent, texts often numbers (callers parse
// them), ids often among `asked` (the ids the caller asked about).
std::vector<JorvRequestData> consumeRecords(FuzzedDataProvider& provider,
                                            const std::vector<int32_t>& asked = {});

// Whether a caller's callback got exactly the records sent: by id their ids and values; by path
// their values and paths, an absent text as a blank.
bool sameRecords(const std::list<QarClient::Resource>& got,
                 const std::vector<JorvRequestData>& sent);
bool sameRecords(const std::vector<std::string>& values, const std::vector<std::string>& paths,
                 const std::vector<JorvRequestData>& sent);

}  // namespace qarfuzz
